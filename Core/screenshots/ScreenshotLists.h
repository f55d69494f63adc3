// Small questions about lists of screenshots and previews.
#pragma once

#include "Core/screenshots/AssetOperations.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace quorvel {

[[nodiscard]] inline bool isIn(const std::vector<std::string>& ids, const std::string& id) {
    return std::ranges::find(ids, id) != ids.end();
}

[[nodiscard]] inline std::vector<std::string> idsOf(const StoreAssets& assets) {
    std::vector<std::string> ids;
    std::ranges::transform(assets, std::back_inserter(ids), &StoreAsset::id);
    return ids;
}

} // namespace quorvel
