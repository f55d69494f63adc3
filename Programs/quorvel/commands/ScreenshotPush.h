// What follows once it stands what a push of screenshots has to do.
#pragma once

#include "Core/screenshots/ScreenshotPreparation.h"
#include "Core/screenshots/ScreenshotsStore.h"
#include "Programs/quorvel/AppTarget.h"
#include "Programs/quorvel/Invocation.h"

#include <string>
#include <vector>

namespace quorvel {

struct ScreenshotPush {
    Invocation& invocation;
    AppTarget& target;
    const PlatformContext& context;
    const ScreenshotsStore& store;
    const std::vector<std::string>& locales; // that have pictures
    const PreparedScreenshots& prepared;
};

/// Shows the plan. Its status is the push's where nothing would be sent.
[[nodiscard]] ExitStatus rehearse(const ScreenshotPush& push);

/// Asks on a terminal, pushes and tells what came of it. Throws `CommandError` when the answer is no,
/// `ASCError`, `CancellationError`.
[[nodiscard]] ExitStatus perform(const ScreenshotPush& push);

} // namespace quorvel
