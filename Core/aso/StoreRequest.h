// Requests to the public services of the App Store; for the sources of this folder.
#pragma once

#include "Platform/http/HTTPClient.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct StoreRequest {
    struct Item {
        std::string_view name;
        std::string_view value;
    };
    std::string_view baseURL; // slashes at its end do not count
    std::string path;         // begins with a slash; used as it is
    std::vector<Item> query = {};
    std::vector<HTTPHeader> headers = {};
    std::uint64_t maximumBodyBytes = 16ULL << 20;
};

/// The body of the answer. Throws `ASOError::InvalidURL` and `ASOError::HTTPError`.
[[nodiscard]] std::string fetchFromStore(HTTPClient& http, const StoreRequest& request);

/// A country's code in small letters. Throws `ASOError::InvalidURL` for what is not two letters.
[[nodiscard]] std::string storeCountry(std::string_view country);

/// Throws `ASOError::InvalidURL` for what is no number of an app.
void requireAppNumber(std::string_view appId);

} // namespace quorvel
