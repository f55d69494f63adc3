// The query of a reading operation, checked.
#pragma once

#include "Sandbox/resources/Document.h"
#include "Sandbox/rules/Operation.h"
#include "Sandbox/server/HTTPServer.h"

namespace quorvel::sandbox {

struct QueryFilter {
    std::string name;
    std::vector<std::string> values;
};

struct SortKey {
    std::string name;
    bool descending = false;
};

struct Query {
    std::vector<QueryFilter> filters;
    std::vector<std::pair<std::string, bool>> exists;
    std::vector<SortKey> sorts;
    std::size_t limit = 20;
    std::size_t offset = 0;
    Shape shape;
};

/// Throws `Refusal` for parameters that the operation does not take or whose values it does not know.
[[nodiscard]] Query readQuery(const ReadOperation& operation, const Request& request);

/// The absolute address that was asked for.
[[nodiscard]] std::string ownAddress(std::string_view baseURL, const Request& request);

/// The absolute address of the page that begins at `offset`.
[[nodiscard]] std::string nextPage(std::string_view baseURL, const Request& request, std::size_t offset,
                                   std::size_t limit);

} // namespace quorvel::sandbox
