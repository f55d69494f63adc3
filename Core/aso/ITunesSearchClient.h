// Apple's public search and lookup service.
#pragma once

#include "Platform/http/HTTPClient.h"
#include "Platform/json/JSON.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// An app as the search and lookup services describe it; the keys of the JSON are the names here.
struct ITunesAppResult {
    std::int64_t trackId = 0;
    std::string trackName;
    std::optional<std::string> bundleId, sellerName, artistName, primaryGenreName;
    std::optional<std::vector<std::string>> genres;
    std::optional<double> averageUserRating;
    std::optional<std::int64_t> userRatingCount;
    std::optional<std::string> formattedPrice;
    std::optional<double> price;
    std::optional<std::string> currency, description, releaseNotes;
    std::optional<std::string> releaseDate, currentVersionReleaseDate; // as the service sends them
    std::optional<std::string> version, artworkUrl60, artworkUrl100, artworkUrl512;
    std::optional<std::vector<std::string>> screenshotUrls, ipadScreenshotUrls;
    std::optional<std::string> trackViewUrl;
    std::optional<std::vector<std::string>> languageCodesISO2A;
    std::optional<std::string> minimumOsVersion, fileSizeBytes; // digits
    std::optional<std::vector<std::string>> advisories;
    QUORVEL_RECORD(ITunesAppResult, trackId, trackName, bundleId, sellerName, artistName, primaryGenreName,
                   genres, averageUserRating, userRatingCount, formattedPrice, price, currency, description,
                   releaseNotes, releaseDate, currentVersionReleaseDate, version, artworkUrl60, artworkUrl100,
                   artworkUrl512, screenshotUrls, ipadScreenshotUrls, trackViewUrl, languageCodesISO2A,
                   minimumOsVersion, fileSizeBytes, advisories)
    bool operator==(const ITunesAppResult&) const = default;
};

struct ITunesSearchResponse {
    std::int64_t resultCount = 0;
    std::vector<ITunesAppResult> results;
    QUORVEL_RECORD(ITunesSearchResponse, resultCount, results)
};

/// Reads an answer of the services. A member of an unexpected type is left out of its result; a result
/// without a name keeps its place under the name that is left, one without a number is no app and is left
/// out. Throws `ASOError::ParseFailure`.
[[nodiscard]] ITunesSearchResponse readSearchResponse(std::string_view json);

/// Countries are two letters in either case. Blocking; any thread; obeys the current task. Throws `ASOError`,
/// `TransportError` and `CancellationError`.
class ITunesSearchClient {
  public:
    static constexpr int mostResults = 200;

    /// `baseURL` without a slash at its end.
    ITunesSearchClient(std::shared_ptr<HTTPClient> http, std::string baseURL);

    /// The apps that the store shows for `term`, in its order: the first has rank 1. `limit` is brought into
    /// 1…200.
    [[nodiscard]] std::vector<ITunesAppResult> search(std::string_view term, std::string_view country,
                                                      int limit = mostResults) const;
    /// Throws `ASOError::AppNotFound` also.
    [[nodiscard]] ITunesAppResult lookupApp(std::string_view appId, std::string_view country) const;
    [[nodiscard]] ITunesAppResult lookupBundle(std::string_view bundleId, std::string_view country) const;

  private:
    std::shared_ptr<HTTPClient> http_;
    std::string baseURL_;
};

} // namespace quorvel
