// The chapter of the demo on search terms: tracked, refreshed, and an alert when a rank moved.
#pragma once

#include "Programs/quorvel/commands/DemoStage.h"

#include <cstdint>
#include <string_view>

namespace quorvel {

/// Follows terms of the app with this short name, whose next version is then released; how many alerts the
/// last refresh raised.
[[nodiscard]] std::int64_t playKeywords(DemoStage& stage, std::string_view slug);

} // namespace quorvel
