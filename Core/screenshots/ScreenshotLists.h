// Small questions about lists of screenshots.
#pragma once

#include "Core/asc/ASCClientProtocol.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace quorvel {

/// The asset's state; empty when App Store Connect tells none.
[[nodiscard]] inline std::string stateOf(const ASCResource<AppScreenshotAttributes>& screenshot) {
    const auto& state = screenshot.attributes.assetDeliveryState;
    return state ? state->state.value_or("") : "";
}

[[nodiscard]] inline bool isIn(const std::vector<std::string>& ids, const std::string& id) {
    return std::ranges::find(ids, id) != ids.end();
}

[[nodiscard]] inline std::vector<std::string> idsOf(const ASCList<AppScreenshotAttributes>& screenshots) {
    std::vector<std::string> ids;
    std::ranges::transform(screenshots, std::back_inserter(ids), &ASCResource<AppScreenshotAttributes>::id);
    return ids;
}

} // namespace quorvel
