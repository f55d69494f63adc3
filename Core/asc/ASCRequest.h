// A request to App Store Connect as data.
#pragma once

#include "Platform/json/JSON.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quorvel {

/// One call: `path` begins with "v1/" or "v2/" and is relative to the API's base address; `query` is sent in
/// order, percent-encoded. When `absoluteURL` is set (a link that App Store Connect gave) it is used as it
/// is.
struct ASCRequest {
    std::string method;
    std::string path;
    std::vector<std::pair<std::string, std::string>> query;
    std::optional<std::string> body; // JSON
    std::string accept = "application/json";
    std::optional<std::string> absoluteURL;

    [[nodiscard]] static ASCRequest get(std::string path,
                                        std::vector<std::pair<std::string, std::string>> query = {}) {
        return {"GET", std::move(path), std::move(query), std::nullopt, "application/json", std::nullopt};
    }
    template <typename Document>
    [[nodiscard]] static ASCRequest post(std::string path, const Document& document) {
        return {"POST", std::move(path), {}, encodeJSON(document), "application/json", std::nullopt};
    }
    template <typename Document>
    [[nodiscard]] static ASCRequest patch(std::string path, const Document& document) {
        return {"PATCH", std::move(path), {}, encodeJSON(document), "application/json", std::nullopt};
    }
    [[nodiscard]] static ASCRequest remove(std::string path) {
        return {"DELETE", std::move(path), {}, std::nullopt, "application/json", std::nullopt};
    }
};

/// Joins the pieces of a path, each identifier percent-encoded, so that no identifier can reach another
/// resource.
[[nodiscard]] std::string ascPath(std::string_view collection, std::string_view id,
                                  std::string_view rest = {});

} // namespace quorvel
