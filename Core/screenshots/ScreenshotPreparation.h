// From a folder of pictures or videos to what a push has to do.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/screenshots/PNGAlpha.h"
#include "Core/screenshots/ScreenshotFile.h"
#include "Core/screenshots/ScreenshotPlan.h"
#include "Core/screenshots/ScreenshotPushScanner.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace quorvel {

/// Which sets to look at; an empty list means all.
struct ScreenshotSelection {
    std::vector<std::string> locales = {};
    std::vector<std::string> displayTypes = {};
    ASCPlatform platform = ASCPlatform::iOS;
    LocaleSet disabledLocales = {}; // which are left alone, also where `locales` names them
    AssetKind kind = AssetKind::screenshot;

    [[nodiscard]] bool takes(const std::string& locale, const std::string& displayType) const;
};

/// Which pictures to look at, and how.
struct ScreenshotChoice {
    ScreenshotPushMode mode = ScreenshotPushMode::append;
    ScreenshotSelection selection = {};
    PictureCheck check = PictureCheck::full;
    AlphaChannel alpha = AlphaChannel::refused;
    SetsWithoutFiles withoutFiles = SetsWithoutFiles::leave; // heeded where there is a picture at all
};

struct PreparedScreenshots {
    ScreenshotPlan plan; // of the files that can be sent
    std::vector<std::string> warnings;
    std::vector<GuessedDisplayType> guesses;
    std::vector<std::string> failures;  // files and sets that cannot be sent, and why
    std::size_t unreadableFolders = 0;  // whose pictures are missing
    std::size_t leftOut = 0;            // pictures that are not meant for this push, each in a warning
    std::vector<std::string> flattened; // files that go as copies without their alpha channel
    std::size_t flattenable = 0;        // those of the failures that could
    std::shared_ptr<const TemporaryCopies> copies = {};
};

/// The pictures under a folder that are of the selection; those that it leaves out are in the warnings,
/// together where the reason is the same, and in the failures where their locale was asked for. Throws
/// `ScreenshotError` when there is no such folder, and `CancellationError`.
[[nodiscard]] ScreenshotPushScanner::ScanResult scanScreenshots(const std::filesystem::path& pictures,
                                                                const ScreenshotSelection& selection = {});

/// The locales that have a picture, sorted.
[[nodiscard]] std::vector<std::string> localesOf(const ScreenshotPushScanner::ScanResult& scan);

/// Checks each file and compares those that can be sent with what `remote` holds of the selection; a
/// screenshot with the name of a file that cannot be sent, or that an unreadable folder may hold, is not
/// deleted for it. Throws `CancellationError`.
[[nodiscard]] PreparedScreenshots prepareScreenshots(ScreenshotPushScanner::ScanResult scan,
                                                     const ScreenshotsCatalog& remote,
                                                     const ScreenshotChoice& choice);

} // namespace quorvel
