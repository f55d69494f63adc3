// What the App Store suggests while a search term is typed.
#pragma once

#include "Platform/http/HTTPClient.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The suggestions of a property list of the service, those without a term left out. Throws
/// `ASOError::ParseFailure`.
[[nodiscard]] std::vector<std::string> readHints(std::string_view propertyList);

/// Blocking; any thread; obeys the current task. Throws `ASOError`, `TransportError` and `CancellationError`.
class AppleSearchHintsClient {
  public:
    static constexpr std::string_view defaultUserAgent =
        "iTunes/12.11 (Macintosh; OS X 12.0) AppleWebKit/612.1.29.16.6";

    AppleSearchHintsClient(std::shared_ptr<HTTPClient> http, std::string baseURL,
                           std::string userAgent = std::string(defaultUserAgent));

    /// The suggestions for a prefix, in the store's order.
    [[nodiscard]] std::vector<std::string> hints(std::string_view term, std::string_view country) const;

  private:
    std::shared_ptr<HTTPClient> http_;
    std::string baseURL_;
    std::string userAgent_;
};

} // namespace quorvel
