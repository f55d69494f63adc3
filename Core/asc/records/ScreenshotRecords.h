// Screenshot sets, screenshots and their upload operations.
#pragma once

#include "Core/asc/records/Documents.h"

namespace quorvel {

struct AppScreenshotSetAttributes {
    std::string screenshotDisplayType;
    QUORVEL_RECORD(AppScreenshotSetAttributes, screenshotDisplayType)
    bool operator==(const AppScreenshotSetAttributes&) const = default;
};

struct AppScreenshotSetCreateAttributes {
    std::string screenshotDisplayType;
    QUORVEL_RECORD(AppScreenshotSetCreateAttributes, screenshotDisplayType)
    bool operator==(const AppScreenshotSetCreateAttributes&) const = default;
};

struct ASCUploadHeader {
    std::string name;
    std::string value;
    QUORVEL_RECORD(ASCUploadHeader, name, value)
    bool operator==(const ASCUploadHeader&) const = default;
};

/// One part of a file: `length` bytes from `offset`, sent to `url` without a bearer token.
struct ASCUploadOperation {
    std::string method;
    std::string url;
    std::int64_t length = 0;
    std::int64_t offset = 0;
    std::optional<std::vector<ASCUploadHeader>> requestHeaders;
    QUORVEL_RECORD(ASCUploadOperation, method, url, length, offset, requestHeaders)
    bool operator==(const ASCUploadOperation&) const = default;
};

struct ASCImageAsset {
    std::optional<std::string> templateUrl;
    std::optional<std::int64_t> width;
    std::optional<std::int64_t> height;
    QUORVEL_RECORD(ASCImageAsset, templateUrl, width, height)
    bool operator==(const ASCImageAsset&) const = default;
};

/// Why App Store Connect could not use a file.
struct ASCAssetProblem {
    std::optional<std::string> code;
    std::optional<std::string> description;
    QUORVEL_RECORD(ASCAssetProblem, code, description)
    bool operator==(const ASCAssetProblem&) const = default;
};

struct ASCAssetDeliveryState {
    std::optional<std::string> state;
    std::optional<std::vector<ASCAssetProblem>> errors; // of the state FAILED
    QUORVEL_RECORD(ASCAssetDeliveryState, state, errors)
    bool operator==(const ASCAssetDeliveryState&) const = default;
};

struct AppScreenshotAttributes {
    std::optional<std::int64_t> fileSize;
    std::optional<std::string> fileName;
    std::optional<std::string> sourceFileChecksum;
    std::optional<ASCImageAsset> imageAsset;
    std::optional<ASCAssetDeliveryState> assetDeliveryState;
    std::optional<bool> uploaded;
    std::optional<std::vector<ASCUploadOperation>> uploadOperations;
    QUORVEL_RECORD(AppScreenshotAttributes, fileSize, fileName, sourceFileChecksum, imageAsset,
                   assetDeliveryState, uploaded, uploadOperations)
    bool operator==(const AppScreenshotAttributes&) const = default;
};

struct AppScreenshotCreateAttributes {
    std::int64_t fileSize = 0;
    std::string fileName;
    QUORVEL_RECORD(AppScreenshotCreateAttributes, fileSize, fileName)
    bool operator==(const AppScreenshotCreateAttributes&) const = default;
};

struct AppScreenshotPatchAttributes {
    bool uploaded = false;
    std::string sourceFileChecksum;
    QUORVEL_RECORD(AppScreenshotPatchAttributes, uploaded, sourceFileChecksum)
    bool operator==(const AppScreenshotPatchAttributes&) const = default;
};

} // namespace quorvel
