// Takes the screenshots of another tool's tree.
#pragma once

#include "Core/metadata/DryRun.h"
#include "Core/screenshots/ScreenshotPreparation.h"
#include "Platform/time/Date.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace quorvel {

/// Paths are relative: those of pictures to the folder that they are taken into.
struct ScreenshotImportReport {
    std::vector<std::string> locales;  // with at least one picture
    std::vector<std::string> imported; // files that are new or took other bytes
    std::int64_t unchanged = 0;        // pictures that were there already
    struct Kept {
        std::string picture;
        std::string path; // of the copy of what was there
        QUORVEL_RECORD(Kept, picture, path)
        bool operator==(const Kept&) const = default;
    };
    std::vector<Kept> kept;
    std::vector<GuessedDisplayType> guesses;
    std::vector<std::string> warnings;
    std::vector<std::string> failures; // pictures that were not taken, and why
    QUORVEL_RECORD(ScreenshotImportReport, locales, imported, unchanged, kept, guesses, warnings, failures)
};

/// Where an import writes.
struct ScreenshotImportTarget {
    std::filesystem::path pictures;
    std::filesystem::path kept; // a folder for what is replaced
};

/// Copies the pictures of `tree` that are of the selection to <locale>/<display type>/<name>, or into the
/// folder that the set has there already; those under `tree` stay. A different file of that name is kept
/// before it is replaced, and of two pictures that would take one name the second is not taken. Throws
/// `ScreenshotError` when there is no such tree or it is the target itself, `FileError` and
/// `CancellationError`. Unless it is a dry run, the caller holds the lock of the app's folder.
[[nodiscard]] ScreenshotImportReport importScreenshots(const std::filesystem::path& tree,
                                                       const ScreenshotImportTarget& target,
                                                       const ScreenshotSelection& selection, DryRun dryRun);

} // namespace quorvel
