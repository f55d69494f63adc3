// What the public product page of an app shows.
#pragma once

#include "Platform/http/HTTPClient.h"
#include "Platform/json/JSON.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

struct AppStorePageData {
    std::string appStoreId;
    std::optional<std::string> subtitle;
    std::optional<double> aggregateRating;
    std::optional<std::int64_t> aggregateRatingCount;
    std::optional<std::string> category;
    std::optional<std::string> operatingSystem;
    QUORVEL_RECORD(AppStorePageData, appStoreId, subtitle, aggregateRating, aggregateRatingCount, category,
                   operatingSystem)
    bool operator==(const AppStorePageData&) const = default;
};

/// What the text of a product page holds, in a time that grows with its length alone. Throws
/// `ASOError::ParseFailure` for what is not UTF-8.
[[nodiscard]] AppStorePageData readProductPage(std::string_view html, std::string_view appId);

/// Blocking; any thread; obeys the current task. Throws `ASOError`, `TransportError` and `CancellationError`.
class AppStoreHTMLScraper {
  public:
    static constexpr std::string_view defaultUserAgent =
        "Mozilla/5.0 (Macintosh; Intel Mac OS X 14_0) AppleWebKit/605.1.15";

    AppStoreHTMLScraper(std::shared_ptr<HTTPClient> http, std::string baseURL,
                        std::string userAgent = std::string(defaultUserAgent));

    /// Throws `ASOError::HTTPError` also for an app that has no page in that country.
    [[nodiscard]] AppStorePageData fetch(std::string_view appId, std::string_view country) const;

  private:
    std::shared_ptr<HTTPClient> http_;
    std::string baseURL_;
    std::string userAgent_;
};

} // namespace quorvel
