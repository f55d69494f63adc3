// What the sets of screenshots and of previews have in common: files are reserved, uploaded in parts and
// committed.
#pragma once

#include "Sandbox/rules/Operation.h"

#include <cstdint>
#include <string_view>

namespace quorvel::sandbox {

/// One kind of file that a set holds.
struct AssetKind {
    std::string_view word;        // "screenshot"
    std::string_view setType;     // "appScreenshotSets"
    std::string_view setChoice;   // the attribute that a set is identified by
    std::string_view type;        // "appScreenshots"
    std::string_view setRelation; // "appScreenshotSet"
    std::string_view state;       // the attribute that tells how far its delivery is
    std::size_t mostPerSet = 0;
    std::int64_t largestFile = 0; // bytes
    std::string_view processed;   // the event
};

[[nodiscard]] const Resource& setOf(const World& world, const AssetKind& kind, const Resource& asset);
void requireEditableSet(const World& world, const Resource& set);

[[nodiscard]] JSONValue deliveryState(std::string_view state, JSONValue::Array errors = {});
void setFailed(const AssetKind& kind, Resource& asset, std::string_view code, std::string_view description);

[[nodiscard]] Answer createSet(World& world, const AssetKind& kind, const Change& change);
/// Checks the limits of the set and of the file and expects the parts; `attributes` are those that only
/// this kind has.
[[nodiscard]] Answer reserveAsset(World& world, const AssetKind& kind, const Change& change,
                                  JSONValue attributes, std::string_view contentType);
/// Takes "uploaded" and the checksum; nothing is done without the former.
[[nodiscard]] Answer commitAsset(World& world, const AssetKind& kind, const Change& change);
[[nodiscard]] Answer deleteAsset(World& world, const AssetKind& kind, const Change& change);

} // namespace quorvel::sandbox
