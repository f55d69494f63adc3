// Keeps the catalogue and the thumbnails of a version's screenshots, or previews, in the app's metadata
// folder.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/screenshots/Retry.h"
#include "Core/screenshots/ScreenshotsCatalog.h"
#include "Platform/http/HTTPClient.h"
#include "Platform/log/Log.h"
#include "Platform/time/Date.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct ScreenshotsPullSummary {
    std::vector<std::string> locales; // that have a screenshot set
    std::int64_t totalSets = 0;
    std::int64_t totalScreenshots = 0;
    std::int64_t thumbnailsDownloaded = 0;
    std::vector<std::string> warnings;
    std::vector<std::string> failures; // locales, sets and thumbnails that could not be had, and why
    QUORVEL_RECORD(ScreenshotsPullSummary, locales, totalSets, totalScreenshots, thumbnailsDownloaded,
                   warnings, failures)
    bool operator==(const ScreenshotsPullSummary&) const = default;
};

class ScreenshotsStore {
  public:
    /// `folder` is the app's metadata folder.
    ScreenshotsStore(MetadataFolder folder, PlatformContext context, Clock clock, RetryOptions retries = {},
                     AssetKind kind = AssetKind::screenshot);

    [[nodiscard]] const ScreenshotPaths& paths() const { return paths_; }
    /// The catalogue of the last pull; throws as `loadCatalog`.
    [[nodiscard]] std::optional<ScreenshotsCatalog> catalog() const {
        return loadCatalog(paths_.catalog, kind_);
    }

    /// What App Store Connect holds now of these locales (none given: of all), without thumbnails; sets
    /// without a screenshot are listed as empty. Writes nothing. Throws `ASCError`, `CancellationError`.
    [[nodiscard]] ScreenshotsCatalog readRemote(const ASCClientProtocol& client,
                                                const std::vector<std::string>& locales = {}) const;

    /// Reads what App Store Connect holds, downloads the thumbnails that are not there yet through `images`
    /// (to other hosts, without a token; a thumbnail holds at most 16 MiB), removes those of screenshots that
    /// are gone, and writes the catalogue. What gets no answer is tried again; a locale or set that cannot be
    /// read all the same stays as the catalogue had it and is among the failures, like a thumbnail. A damaged
    /// catalogue is replaced. Throws what `readRemote` throws where nothing could be read, `ScreenshotError`
    /// for a catalogue of a newer version, and `FileError`.
    [[nodiscard]] ScreenshotsPullSummary pull(const ASCClientProtocol& client, HTTPClient& images) const;

    /// Takes what was read of these locales into the catalogue, where there is one of the same version.
    /// Throws `FileError`.
    void remember(const ScreenshotsCatalog& remote, const std::vector<std::string>& locales) const;

  private:
    struct Reading;
    [[nodiscard]] Reading read(const ASCClientProtocol& client,
                               const std::vector<std::string>& locales) const;
    void fetchThumbnails(HTTPClient& images, ScreenshotsCatalog& catalog,
                         ScreenshotsPullSummary& summary) const;
    void removeOtherThumbnails(const ScreenshotsCatalog& catalog) const;
    void noteKnownThumbnails(ScreenshotsCatalog& catalog) const;

    MetadataFolder folder_;
    PlatformContext context_;
    Clock clock_;
    ScreenshotPaths paths_;
    RetryOptions retries_;
    AssetKind kind_;
    Logger logger_{"ScreenshotsStore"};
};

/// The URL of a picture of at most `longestSide` pixels, from the asset's template
/// ("https://…/{w}x{h}bb.{f}") and its size.
[[nodiscard]] std::string thumbnailURL(std::string_view imageURLTemplate, std::optional<std::int64_t> width,
                                       std::optional<std::int64_t> height, int longestSide);

} // namespace quorvel
