#include "Core/screenshots/AssetOperations.h"

#include "Core/screenshots/previews/PreviewFile.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quorvel {

namespace {

std::vector<ASCUploadOperation> partsOf(const std::optional<std::vector<ASCUploadOperation>>& parts) {
    return parts.value_or(std::vector<ASCUploadOperation>());
}

StoreAsset assetOf(const ASCResource<AppScreenshotAttributes>& screenshot) {
    const AppScreenshotAttributes& attributes = screenshot.attributes;
    return {.id = screenshot.id,
            .fileName = attributes.fileName,
            .fileSize = attributes.fileSize,
            .sourceFileChecksum = attributes.sourceFileChecksum,
            .image = attributes.imageAsset,
            .delivery = attributes.assetDeliveryState,
            .posterFrame = {},
            .uploadOperations = partsOf(attributes.uploadOperations)};
}

StoreAsset assetOf(const ASCResource<AppPreviewAttributes>& preview) {
    const AppPreviewAttributes& attributes = preview.attributes;
    const auto& frame = attributes.previewFrameImage;
    return {.id = preview.id,
            .fileName = attributes.fileName,
            .fileSize = attributes.fileSize,
            .sourceFileChecksum = attributes.sourceFileChecksum,
            .image = frame && frame->image ? frame->image : attributes.previewImage,
            .delivery =
                attributes.videoDeliveryState ? attributes.videoDeliveryState : attributes.assetDeliveryState,
            .posterFrame = attributes.previewFrameTimeCode,
            .uploadOperations = partsOf(attributes.uploadOperations)};
}

template <typename Resources>
StoreAssets assetsOf(const Resources& resources) {
    StoreAssets assets;
    std::ranges::transform(resources, std::back_inserter(assets),
                           [](const auto& resource) { return assetOf(resource); });
    return assets;
}

} // namespace

std::vector<StoreAssetSet> AssetOperations::listSets(std::string_view localizationID) const {
    std::vector<StoreAssetSet> sets;
    if (kind_ == AssetKind::preview)
        for (auto& set : client_.listPreviewSets(localizationID))
            sets.push_back({std::move(set.id), std::move(set.attributes.previewType)});
    else
        for (auto& set : client_.listScreenshotSets(localizationID))
            sets.push_back({std::move(set.id), std::move(set.attributes.screenshotDisplayType)});
    return sets;
}

std::string AssetOperations::createSet(std::string_view localizationID, std::string_view displayType) const {
    return kind_ == AssetKind::preview ? client_.createPreviewSet(localizationID, displayType).id
                                       : client_.createScreenshotSet(localizationID, displayType).id;
}

StoreAssets AssetOperations::list(std::string_view setID) const {
    return kind_ == AssetKind::preview ? assetsOf(client_.listPreviews(setID))
                                       : assetsOf(client_.listScreenshots(setID));
}

StoreAsset AssetOperations::reserve(std::string_view setID, const ScreenshotPushItem& item,
                                    std::uint64_t size) const {
    const auto bytes = static_cast<std::int64_t>(size);
    if (kind_ == AssetKind::screenshot)
        return assetOf(client_.reserveScreenshot(setID, {bytes, item.fileName()}));
    return assetOf(client_.reservePreview(
        setID, {.fileSize = bytes,
                .fileName = item.fileName(),
                .previewFrameTimeCode =
                    item.posterFrame.empty() ? std::nullopt : std::optional<std::string>(item.posterFrame),
                .mimeType = std::string(mimeTypeOfVideo(item.fileURL))}));
}

void AssetOperations::commit(std::string_view id, const std::string& checksum) const {
    if (kind_ == AssetKind::preview)
        (void)client_.commitPreview(
            id, {.uploaded = true, .sourceFileChecksum = checksum, .previewFrameTimeCode = {}});
    else
        (void)client_.commitScreenshot(id, checksum);
}

void AssetOperations::remove(std::string_view id) const {
    if (kind_ == AssetKind::preview)
        client_.deletePreview(id);
    else
        client_.deleteScreenshot(id);
}

void AssetOperations::reorder(std::string_view setID, const std::vector<std::string>& ids) const {
    client_.reorderScreenshots(setID, ids);
}

void AssetOperations::choosePosterFrame(std::string_view id, const std::string& timeCode) const {
    (void)client_.commitPreview(id,
                                {.uploaded = {}, .sourceFileChecksum = {}, .previewFrameTimeCode = timeCode});
}

} // namespace quorvel
