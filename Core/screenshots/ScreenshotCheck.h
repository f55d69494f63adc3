// Checks the pictures of a context without asking App Store Connect.
#pragma once

#include "Core/metadata/check/CheckFinding.h"
#include "Core/screenshots/ScreenshotPushScanner.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace quorvel {

struct CheckedPictures {
    std::vector<CheckFinding> findings; // with whole paths
    std::size_t pictures = 0;           // of the locales that were asked for
};

/// What a push would refuse of the pictures in a folder and of how many there are, and those that it would
/// not take; nothing where there is no such folder. Only the locales that `isAsked` takes count; it is asked
/// with an empty one about what is of none. Throws `CancellationError`.
[[nodiscard]] CheckedPictures checkPictures(const std::filesystem::path& pictures, ASCPlatform platform,
                                            const std::function<bool(const std::string& locale)>& isAsked);

} // namespace quorvel
