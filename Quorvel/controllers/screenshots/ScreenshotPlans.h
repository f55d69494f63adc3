// What work on screenshots would do, and what came of it.
#pragma once

#include "Core/screenshots/ScreenshotFile.h"
#include "Core/screenshots/ScreenshotImport.h"
#include "Core/screenshots/ScreenshotPlan.h"
#include "Core/screenshots/ScreenshotPreparation.h"
#include "Core/screenshots/ScreenshotsStore.h"
#include "Quorvel/controllers/metadata/PushPlan.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

template <>
struct RawValues<ScreenshotPushMode> {
    static constexpr std::pair<ScreenshotPushMode, std::string_view> values[] = {
        {ScreenshotPushMode::append, "append"}, {ScreenshotPushMode::replaceSet, "replace"}};
};

struct ScreenshotsPull {
    AppReference app;
    std::string context; // "ios/next"
    PlatformContext version;
    ScreenshotsPullSummary summary;
    std::string thumbnails; // their folder
    QUORVEL_RECORD(ScreenshotsPull, app, context, version, summary, thumbnails)
};

struct ScreenshotStatus {
    std::string folder; // of the pictures
    bool hasFolder = true;
    std::string context;
    ScreenshotPushMode mode = ScreenshotPushMode::replaceSet; // what the differences are of
    std::optional<Date> lastPulledAt;
    std::optional<std::string> versionString;
    std::vector<ScreenshotSetStatus> sets;
    std::vector<GuessedDisplayType> guesses;
    std::vector<std::string> warnings;
    std::vector<std::string> failures;
    std::vector<std::string> flattened; // files that would go as copies without their alpha channel
    std::int64_t flattenable = 0;       // those of the failures that could
    QUORVEL_RECORD(ScreenshotStatus, folder, hasFolder, context, mode, lastPulledAt, versionString, sets,
                   guesses, warnings, failures, flattened, flattenable)
};

struct ScreenshotImport {
    std::string folder; // of the pictures
    std::string context;
    ScreenshotImportReport report;
    QUORVEL_RECORD(ScreenshotImport, folder, context, report)
};

struct ScreenshotPushPlan {
    AppReference app;
    std::string folder; // the app's metadata folder
    std::string context;
    PlatformContext version;
    ScreenshotPushMode mode = ScreenshotPushMode::append;
    std::vector<std::string> locales;      // that were chosen; empty: all
    std::vector<std::string> displayTypes; // the same
    bool checked = true;                   // the pictures were
    bool flatten = false;                  // opaque ones go as copies without their alpha channel
    bool prune = false;                    // sets without local files are emptied
    std::vector<ScreenshotSetStatus> sets;
    std::int64_t uploads = 0;
    std::int64_t uploadBytes = 0;
    std::int64_t deletions = 0;
    std::int64_t changedSets = 0;
    std::vector<GuessedDisplayType> guesses;
    std::vector<std::string> warnings;
    std::vector<std::string> failures;  // files and sets that cannot be sent, and why
    std::int64_t unreadableFolders = 0; // whose pictures are missing
    std::int64_t leftOut = 0;           // pictures that are not meant for this push, each in a warning
    std::vector<std::string> flattened; // files that go as copies without their alpha channel
    std::int64_t flattenable = 0;       // those of the failures that could
    // What was found; made again for a plan that comes back without it.
    std::shared_ptr<const PreparedScreenshots> prepared = nullptr;
    QUORVEL_RECORD_EXCEPT(ScreenshotPushPlan, (prepared), app, folder, context, version, mode, locales,
                          displayTypes, checked, flatten, prune, sets, uploads, uploadBytes, deletions,
                          changedSets, guesses, warnings, failures, unreadableFolders, leftOut, flattened,
                          flattenable)

    [[nodiscard]] ScreenshotChoice choice() const {
        return {mode,
                {.locales = locales, .displayTypes = displayTypes},
                checked ? PictureCheck::full : PictureCheck::none,
                flatten ? AlphaChannel::dropped : AlphaChannel::refused,
                prune ? SetsWithoutFiles::empty : SetsWithoutFiles::leave};
    }
};

struct ScreenshotPushReport {
    AppReference app;
    std::string context;
    PlatformContext version;
    std::int64_t uploaded = 0;
    std::int64_t deleted = 0;
    std::int64_t setsCreated = 0;
    std::vector<std::string> uploadedFiles; // also those that an interrupted push had sent already
    std::vector<std::string> warnings;
    std::vector<std::string> failures;
    std::int64_t notDone = 0;      // items of all kinds, each in `warnings` or `failures`
    bool somethingIsThere = false; // of what was to be pushed, on App Store Connect
    std::optional<std::int64_t> posterFrames = std::nullopt; // that were chosen of previews that stayed
    QUORVEL_RECORD(ScreenshotPushReport, app, context, version, uploaded, deleted, setsCreated, uploadedFiles,
                   warnings, failures, notDone, somethingIsThere, posterFrames)
};

} // namespace quorvel
