// The two kinds of files that the page shows in sets, and what tells them apart.
#pragma once

#include <cstddef>
#include <string_view>

namespace quorvel {

enum class AssetKind { screenshot, preview };

/// How App Store Connect decides in which order a set is shown.
enum class AssetOrder {
    asWanted,  // a request puts a set into any order
    asCreated, // whatever is to stand elsewhere is sent again
};

struct AssetTraits {
    std::string_view one;  // "screenshot"
    std::string_view many; // "screenshots": of texts, folders and commands
    std::string_view file; // "picture"
    std::string_view folderExample;
    std::size_t mostPerSet = 0; // App Store Connect takes no more in one set
    AssetOrder order = AssetOrder::asWanted;
};

[[nodiscard]] constexpr AssetTraits traitsOf(AssetKind kind) {
    if (kind == AssetKind::preview)
        return {.one = "preview",
                .many = "previews",
                .file = "video",
                .folderExample = "en-US/IPHONE_67",
                .mostPerSet = 3,
                .order = AssetOrder::asCreated};
    return {.one = "screenshot",
            .many = "screenshots",
            .file = "picture",
            .folderExample = "en-US/iphone-67",
            .mostPerSet = 10,
            .order = AssetOrder::asWanted};
}

} // namespace quorvel
