// The charts of the App Store, from Apple's public feeds.
#pragma once

#include "Core/aso/AppStoreGenre.h"
#include "Platform/http/HTTPClient.h"
#include "Platform/json/JSON.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

enum class ChartKind { topFree, topPaid, topGrossing };

template <>
struct RawValues<ChartKind> {
    static constexpr std::pair<ChartKind, std::string_view> values[] = {
        {ChartKind::topFree, "topFree"},
        {ChartKind::topPaid, "topPaid"},
        {ChartKind::topGrossing, "topGrossing"}};
};

struct ChartGenre {
    std::string genreId;
    std::string name;
    std::optional<std::string> url;
    QUORVEL_RECORD(ChartGenre, genreId, name, url)
    bool operator==(const ChartGenre&) const = default;
};

/// One row of a chart.
struct ChartApp {
    std::string id; // App Store id
    std::string name;
    std::string artistName;
    std::vector<ChartGenre> genres;
    std::optional<std::string> releaseDate; // as the feed writes it
    std::optional<std::string> url;
    std::optional<std::string> artworkUrl100;
    std::int64_t rank = 0; // from 1
    QUORVEL_RECORD(ChartApp, id, name, artistName, genres, releaseDate, url, artworkUrl100, rank)
    bool operator==(const ChartApp&) const = default;
};

/// The rows of a current feed, or of a legacy one, ranked from 1 in its order. Throws
/// `ASOError::ParseFailure`.
[[nodiscard]] std::vector<ChartApp> readChartFeed(std::string_view json);
[[nodiscard]] std::vector<ChartApp> readLegacyChart(std::string_view json);

/// Blocking; any thread; obeys the current task. Throws `ASOError`, `TransportError` and `CancellationError`.
class AppleChartsClient {
  public:
    static constexpr int mostApps = 100;

    /// Addresses of the marketing feeds and of the legacy ones, without a slash at their ends.
    AppleChartsClient(std::shared_ptr<HTTPClient> http, std::string marketingURL, std::string legacyURL);

    /// `limit` is brought into 1…100. With a genre, `all` included, the legacy feed is asked: only that one
    /// knows genres.
    [[nodiscard]] std::vector<ChartApp> topApps(ChartKind kind, std::string_view country,
                                                int limit = mostApps,
                                                std::optional<AppStoreGenre> genre = {}) const;

  private:
    std::shared_ptr<HTTPClient> http_;
    std::string marketingURL_;
    std::string legacyURL_;
};

} // namespace quorvel
