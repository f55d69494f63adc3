// What App Store Connect holds of a version's screenshots, as it was last seen.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/metadata/MetadataFolder.h"
#include "Core/screenshots/AssetOperations.h"
#include "Platform/time/Date.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct ScreenshotsCatalog {
    struct Entry {
        std::string id; // of the screenshot on App Store Connect
        std::optional<std::string> fileName;
        std::optional<std::int64_t> fileSize; // bytes
        std::optional<std::string> sourceFileChecksum;
        std::optional<std::string> imageURLTemplate;
        std::optional<std::int64_t> width; // pixels
        std::optional<std::int64_t> height;
        std::int64_t displayOrder = 0; // place in its set, from 0
        std::optional<std::string> thumbnailFileName;
        std::optional<std::string> assetState;
        std::optional<std::string> posterFrame = std::nullopt; // time code of a preview
        std::optional<std::string> problem = std::nullopt;     // why it could not be processed
        QUORVEL_RECORD(Entry, id, fileName, fileSize, sourceFileChecksum, imageURLTemplate, width, height,
                       displayOrder, thumbnailFileName, assetState, posterFrame, problem)
        bool operator==(const Entry&) const = default;
    };
    using Set = std::vector<Entry>; // in order

    std::optional<Date> lastPulledAt;
    std::optional<std::string> versionString;
    std::optional<std::string> versionState;
    std::map<std::string, std::map<std::string, Set>> sets; // locale → display type → its screenshots
    std::optional<std::int64_t> formatVersion;              // of the file; absent: 1
    QUORVEL_RECORD(ScreenshotsCatalog, lastPulledAt, versionString, versionState, sets, formatVersion)
    bool operator==(const ScreenshotsCatalog&) const = default;

    /// The screenshots of a set; none when there is no such set.
    [[nodiscard]] const Set& setOf(const std::string& locale, const std::string& displayType) const;
    /// The number of all screenshots.
    [[nodiscard]] std::size_t screenshotCount() const;
};

/// The entry of a screenshot or preview at a place of its set.
[[nodiscard]] ScreenshotsCatalog::Entry catalogEntryOf(const StoreAsset& asset, std::size_t displayOrder);

/// Why an asset failed, in Apple's words: "IMAGE_UNREADABLE: The picture cannot be read."
[[nodiscard]] std::string failureReasonOf(const ASCAssetDeliveryState& state);

// The states of an asset that matter to a push.
inline constexpr std::string_view assetAwaitsUpload = "AWAITING_UPLOAD";
inline constexpr std::string_view assetComplete = "COMPLETE";
inline constexpr std::string_view assetFailed = "FAILED";

/// Where the screenshots of one context of an app lie, all in the app's metadata folder.
struct ScreenshotPaths {
    std::filesystem::path pictures; // <locale>/<display type>/<file>
    std::filesystem::path catalog;
    std::filesystem::path thumbnails;
    bool operator==(const ScreenshotPaths&) const = default;
};

/// For screenshots "screenshots", "screenshots-catalog.json" and "screenshots-cache" for the default context,
/// iOS's next version; the others append their platform and slot ("screenshots-catalog-macos-live.json").
[[nodiscard]] ScreenshotPaths screenshotPaths(const MetadataFolder& appFolder, const ContextID& context,
                                              AssetKind kind = AssetKind::screenshot);

/// Reads a catalogue; nothing when there is none. Throws `ScreenshotError` for a damaged one and for one of a
/// newer version, and `FileError`.
[[nodiscard]] std::optional<ScreenshotsCatalog> loadCatalog(const std::filesystem::path& file,
                                                            AssetKind kind = AssetKind::screenshot);
/// Replaces a catalogue in one step. Throws `FileError`.
void saveCatalog(const std::filesystem::path& file, ScreenshotsCatalog catalog);

} // namespace quorvel
