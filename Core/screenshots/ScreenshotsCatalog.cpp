#include "Core/screenshots/ScreenshotsCatalog.h"

#include "Core/screenshots/ScreenshotError.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

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

ScreenshotsCatalog::Entry catalogEntryOf(const StoreAsset& asset, std::size_t displayOrder) {
    const ASCImageAsset image = asset.image.value_or(ASCImageAsset{});
    // The service sends an empty text until it knows the checksum.
    const bool hasChecksum = asset.sourceFileChecksum && !asset.sourceFileChecksum->empty();
    const bool hasFailed = asset.state() == assetFailed;
    return {.id = asset.id,
            .fileName = asset.fileName,
            .fileSize = asset.fileSize,
            .sourceFileChecksum = hasChecksum ? asset.sourceFileChecksum : std::nullopt,
            .imageURLTemplate = image.templateUrl,
            .width = image.width,
            .height = image.height,
            .displayOrder = static_cast<std::int64_t>(displayOrder),
            .thumbnailFileName = {},
            .assetState = asset.delivery ? asset.delivery->state : std::nullopt,
            .posterFrame = asset.posterFrame,
            .problem = hasFailed ? std::optional(failureReasonOf(*asset.delivery)) : std::nullopt};
}

std::string failureReasonOf(const ASCAssetDeliveryState& state) {
    std::string reason;
    for (const ASCAssetProblem& problem : state.errors.value_or(std::vector<ASCAssetProblem>())) {
        if (!reason.empty()) reason += "; ";
        reason += problem.code.value_or("");
        if (problem.description) reason += (problem.code ? ": " : "") + *problem.description;
    }
    return reason.empty() ? "App Store Connect gave no reason." : escapeControls(reason);
}

ScreenshotPaths screenshotPaths(const MetadataFolder& appFolder, const ContextID& context, AssetKind kind) {
    std::string suffix;
    if (context != ContextID{}) {
        suffix = "-" + context.text();
        std::ranges::replace(suffix, '/', '-');
    }
    const std::string name(traitsOf(kind).many);
    // Another tool's tree takes the user's pictures, and no files of this program.
    const auto own = appFolder.inPlace ? appFolder.privateFolder() : appFolder.rootURL;
    return {appFolder.rootURL / (name + suffix), own / (name + "-catalog" + suffix + ".json"),
            own / (name + "-cache" + suffix)};
}

std::optional<ScreenshotsCatalog> loadCatalog(const std::filesystem::path& file, AssetKind kind) {
    const auto text = readFile(file);
    if (!text) return std::nullopt;
    try {
        if (decodeJSON<FormatOnly>(*text).formatVersion.value_or(currentFormat) > currentFormat)
            throw ScreenshotError::newerCatalog(file, kind);
        return decodeJSON<ScreenshotsCatalog>(*text);
    } catch (const JSONError& error) {
        throw ScreenshotError::badCatalog(file, error.what(), kind);
    }
}

void saveCatalog(const std::filesystem::path& file, ScreenshotsCatalog catalog) {
    catalog.formatVersion = currentFormat;
    createFolders(file.parent_path());
    writeFileAtomically(file, encodeJSON(catalog, JSONFormat::stateFile()));
}

} // namespace quorvel
