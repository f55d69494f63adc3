// From a folder of pictures to what a push has to do.
#pragma once

#include "Core/screenshots/ScreenshotPlan.h"
#include "Core/screenshots/ScreenshotPushScanner.h"

#include <filesystem>
#include <string>
#include <vector>

namespace quorvel {

/// Which sets to look at; an empty list means all.
struct ScreenshotSelection {
    std::vector<std::string> locales;
    std::vector<std::string> displayTypes;

    [[nodiscard]] bool takes(const std::string& locale, const std::string& displayType) const;
};

struct PreparedScreenshots {
    ScreenshotPlan plan; // of the files that can be sent
    std::vector<std::string> warnings;
    std::vector<GuessedDisplayType> guesses;
    std::vector<std::string> failures; // files that cannot be sent, and why
    std::size_t unreadableFolders = 0; // whose pictures are missing
};

/// The pictures under a folder that are of the selection. Throws `ScreenshotError` when there is no such
/// folder, and `CancellationError`.
[[nodiscard]] ScreenshotPushScanner::ScanResult scanScreenshots(const std::filesystem::path& pictures,
                                                                const ScreenshotSelection& selection = {});

/// The locales that have a picture, sorted.
[[nodiscard]] std::vector<std::string> localesOf(const ScreenshotPushScanner::ScanResult& scan);

/// Checks each file and compares those that can be sent with what `remote` holds of the selection; a
/// screenshot with the name of a file that cannot be sent, or that an unreadable folder may hold, is not
/// deleted for it. Throws `CancellationError`.
[[nodiscard]] PreparedScreenshots prepareScreenshots(ScreenshotPushScanner::ScanResult scan,
                                                     const ScreenshotsCatalog& remote,
                                                     ScreenshotPushMode mode, PictureCheck check,
                                                     const ScreenshotSelection& selection = {});

} // namespace quorvel
