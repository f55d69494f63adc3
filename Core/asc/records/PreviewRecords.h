// Sets of app previews and the videos in them.
#pragma once

#include "Core/asc/records/ScreenshotRecords.h"

namespace quorvel {

struct AppPreviewSetAttributes {
    std::string previewType;
    QUORVEL_RECORD(AppPreviewSetAttributes, previewType)
    bool operator==(const AppPreviewSetAttributes&) const = default;
};

struct AppPreviewSetCreateAttributes {
    std::string previewType;
    QUORVEL_RECORD(AppPreviewSetCreateAttributes, previewType)
    bool operator==(const AppPreviewSetCreateAttributes&) const = default;
};

struct ASCPreviewFrameImage {
    std::optional<ASCImageAsset> image;
    QUORVEL_RECORD(ASCPreviewFrameImage, image)
    bool operator==(const ASCPreviewFrameImage&) const = default;
};

struct AppPreviewAttributes {
    std::optional<std::int64_t> fileSize;
    std::optional<std::string> fileName;
    std::optional<std::string> sourceFileChecksum;
    std::optional<std::string> previewFrameTimeCode; // "00:00:05:00": hours, minutes, seconds, frames
    std::optional<std::string> mimeType;
    std::optional<ASCPreviewFrameImage> previewFrameImage;
    std::optional<ASCImageAsset> previewImage; // the older form of the image
    std::optional<ASCAssetDeliveryState> videoDeliveryState;
    std::optional<ASCAssetDeliveryState> assetDeliveryState; // the older form of the state
    std::optional<std::vector<ASCUploadOperation>> uploadOperations;
    QUORVEL_RECORD(AppPreviewAttributes, fileSize, fileName, sourceFileChecksum, previewFrameTimeCode,
                   mimeType, previewFrameImage, previewImage, videoDeliveryState, assetDeliveryState,
                   uploadOperations)
    bool operator==(const AppPreviewAttributes&) const = default;
};

struct AppPreviewCreateAttributes {
    std::int64_t fileSize = 0;
    std::string fileName;
    std::optional<std::string> previewFrameTimeCode;
    std::optional<std::string> mimeType;
    QUORVEL_RECORD(AppPreviewCreateAttributes, fileSize, fileName, previewFrameTimeCode, mimeType)
    bool operator==(const AppPreviewCreateAttributes&) const = default;
};

/// What is left out stays as it is.
struct AppPreviewPatchAttributes {
    std::optional<bool> uploaded;
    std::optional<std::string> sourceFileChecksum;
    std::optional<std::string> previewFrameTimeCode;
    QUORVEL_RECORD(AppPreviewPatchAttributes, uploaded, sourceFileChecksum, previewFrameTimeCode)
    bool operator==(const AppPreviewPatchAttributes&) const = default;
};

} // namespace quorvel
