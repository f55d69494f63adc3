// A request to App Store Connect as data.
#pragma once

#include "Platform/http/HTTPMessage.h"
#include "Platform/json/JSON.h"

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

/// One item of a query; an item without a value is not sent.
struct ASCQueryItem {
    std::string_view name;
    std::optional<std::string_view> value;
};
using ASCQuery = std::initializer_list<ASCQueryItem>;

/// One call: `path` begins with "v1/" or "v2/" and is relative to the API's base address; `query` is sent in
/// order, percent-encoded. An `absoluteURL` (a link that App Store Connect gave) is used as it is instead.
struct ASCRequest {
    std::string method;
    std::string path;
    std::vector<std::pair<std::string, std::string>> query;
    std::optional<std::string> body; // JSON
    std::string accept = "application/json";
    std::optional<std::string> absoluteURL;
    Repetition repetition = Repetition::ofIdempotentMethods; // after an answer that was lost
    std::optional<std::uint64_t> maximumAnswerBytes;         // the transport's bound when empty

    [[nodiscard]] static ASCRequest get(std::string path, ASCQuery query = {}) {
        ASCRequest request{.method = "GET", .path = std::move(path)};
        for (const auto& [name, value] : query)
            if (value) request.query.emplace_back(name, *value);
        return request;
    }
    template <typename Document>
    [[nodiscard]] static ASCRequest post(std::string path, const Document& document) {
        return {.method = "POST", .path = std::move(path), .body = encodeJSON(document)};
    }
    /// May be repeated: what it sets is the same the second time. Not for a step from one state to the next,
    /// which is refused the second time.
    template <typename Document>
    [[nodiscard]] static ASCRequest patch(std::string path, const Document& document) {
        return {.method = "PATCH",
                .path = std::move(path),
                .body = encodeJSON(document),
                .repetition = Repetition::allowed};
    }
    [[nodiscard]] static ASCRequest remove(std::string path) {
        return {.method = "DELETE", .path = std::move(path)};
    }
};

/// Joins the pieces of a path, each identifier percent-encoded, so that no identifier can reach another
/// resource.
[[nodiscard]] std::string ascPath(std::string_view collection, std::string_view id,
                                  std::string_view rest = {});

} // namespace quorvel
