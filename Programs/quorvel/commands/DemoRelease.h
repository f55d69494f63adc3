// The last chapters of the demo: a whole release of a second app, and its review.
#pragma once

#include "Programs/quorvel/commands/DemoStage.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace quorvel {

/// What stands in for Apple's developer tools, beside this program; nothing when it is missing.
[[nodiscard]] std::optional<std::filesystem::path> standInBeside(const Surroundings& surroundings);

/// Ships a version of an app from its number to "Waiting for Review"; its state at the end.
[[nodiscard]] std::string playRelease(DemoStage& stage, const std::filesystem::path& standIn);

/// Lets App Review approve the shipped version and the monitor notice it; how many changes it told.
[[nodiscard]] std::int64_t playReview(DemoStage& stage);

} // namespace quorvel
