#include "Core/screenshots/ScreenshotsCatalog.h"

#include "Core/screenshots/ScreenshotError.h"
#include "Platform/files/Files.h"

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::int64_t currentFormat = 1;

// Read on its own, as the rest of a newer file may have any form.
struct FormatOnly {
    std::optional<std::int64_t> formatVersion;
    QUORVEL_RECORD(FormatOnly, formatVersion)
};

} // namespace

const ScreenshotsCatalog::Set& ScreenshotsCatalog::setOf(const std::string& locale,
                                                         const std::string& displayType) const {
    static const Set none;
    const auto types = sets.find(locale);
    if (types == sets.end()) return none;
    const auto set = types->second.find(displayType);
    return set == types->second.end() ? none : set->second;
}

std::size_t ScreenshotsCatalog::screenshotCount() const {
    std::size_t count = 0;
    for (const auto& [locale, types] : sets)
        for (const auto& [type, set] : types)
            count += set.size();
    return count;
}

ScreenshotsCatalog::Entry catalogEntryOf(const ASCResource<AppScreenshotAttributes>& screenshot,
                                         std::size_t displayOrder) {
    const AppScreenshotAttributes& attributes = screenshot.attributes;
    const ASCImageAsset asset = attributes.imageAsset.value_or(ASCImageAsset{});
    // The service sends an empty text until it knows the checksum.
    const bool hasChecksum = attributes.sourceFileChecksum && !attributes.sourceFileChecksum->empty();
    return {.id = screenshot.id,
            .fileName = attributes.fileName,
            .fileSize = attributes.fileSize,
            .sourceFileChecksum = hasChecksum ? attributes.sourceFileChecksum : std::nullopt,
            .imageURLTemplate = asset.templateUrl,
            .width = asset.width,
            .height = asset.height,
            .displayOrder = static_cast<std::int64_t>(displayOrder),
            .thumbnailFileName = {},
            .assetState =
                attributes.assetDeliveryState ? attributes.assetDeliveryState->state : std::nullopt};
}

ScreenshotPaths screenshotPaths(const MetadataFolder& appFolder, const ContextID& context) {
    std::string suffix;
    if (context != ContextID{}) {
        suffix = "-" + context.text();
        std::ranges::replace(suffix, '/', '-');
    }
    // Another tool's tree takes the user's pictures, and no files of this program.
    const auto own = appFolder.inPlace ? appFolder.privateFolder() : appFolder.rootURL;
    return {appFolder.rootURL / ("screenshots" + suffix), own / ("screenshots-catalog" + suffix + ".json"),
            own / ("screenshots-cache" + suffix)};
}

std::optional<ScreenshotsCatalog> loadCatalog(const std::filesystem::path& file) {
    const auto text = readFile(file);
    if (!text) return std::nullopt;
    try {
        if (decodeJSON<FormatOnly>(*text).formatVersion.value_or(currentFormat) > currentFormat)
            throw ScreenshotError::newerCatalog(file);
        return decodeJSON<ScreenshotsCatalog>(*text);
    } catch (const JSONError& error) {
        throw ScreenshotError::badCatalog(file, error.what());
    }
}

void saveCatalog(const std::filesystem::path& file, ScreenshotsCatalog catalog) {
    catalog.formatVersion = currentFormat;
    createFolders(file.parent_path());
    writeFileAtomically(file, encodeJSON(catalog, JSONFormat::stateFile()));
}

} // namespace quorvel
