// The operations of App Store Connect on the files of one kind, and these files as it tells them.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/screenshots/AssetKind.h"
#include "Core/screenshots/ScreenshotPushScanner.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// A screenshot or preview as App Store Connect tells it.
struct StoreAsset {
    std::string id;
    std::optional<std::string> fileName;
    std::optional<std::int64_t> fileSize; // bytes
    std::optional<std::string> sourceFileChecksum;
    std::optional<ASCImageAsset> image; // that people see before a video is played
    std::optional<ASCAssetDeliveryState> delivery;
    std::optional<std::string> posterFrame; // of a preview
    std::vector<ASCUploadOperation> uploadOperations;

    /// The asset's state; empty when App Store Connect tells none.
    [[nodiscard]] std::string state() const { return delivery ? delivery->state.value_or("") : ""; }
};
using StoreAssets = std::vector<StoreAsset>;

struct StoreAssetSet {
    std::string id;
    std::string displayType;
};

/// All throw `ASCError` and `CancellationError`. The client must outlive this.
class AssetOperations {
  public:
    AssetOperations(const ASCClientProtocol& client, AssetKind kind) : client_(client), kind_(kind) {}

    [[nodiscard]] AssetKind kind() const { return kind_; }
    [[nodiscard]] std::vector<StoreAssetSet> listSets(std::string_view localizationID) const;
    /// The id of the new set.
    [[nodiscard]] std::string createSet(std::string_view localizationID, std::string_view displayType) const;
    [[nodiscard]] StoreAssets list(std::string_view setID) const;
    [[nodiscard]] StoreAsset reserve(std::string_view setID, const ScreenshotPushItem& item,
                                     std::uint64_t size) const;
    void commit(std::string_view id, const std::string& checksum) const;
    void remove(std::string_view id) const;
    /// Of kinds that are ordered as wanted.
    void reorder(std::string_view setID, const std::vector<std::string>& ids) const;
    /// Of previews.
    void choosePosterFrame(std::string_view id, const std::string& timeCode) const;

  private:
    const ASCClientProtocol& client_;
    AssetKind kind_;
};

} // namespace quorvel
