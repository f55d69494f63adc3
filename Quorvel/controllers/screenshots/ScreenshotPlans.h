// What work on screenshots would do, and what came of it.
#pragma once

#include "Core/screenshots/ScreenshotFile.h"
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

/// Which pictures to look at, and how.
struct ScreenshotChoice {
    ScreenshotPushMode mode = ScreenshotPushMode::append;
    ScreenshotSelection selection = {};
    PictureCheck check = PictureCheck::full;
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
    QUORVEL_RECORD(ScreenshotStatus, folder, hasFolder, context, mode, lastPulledAt, versionString, sets,
                   guesses, warnings, failures)
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
    std::vector<ScreenshotSetStatus> sets;
    std::int64_t uploads = 0;
    std::int64_t uploadBytes = 0;
    std::int64_t deletions = 0;
    std::int64_t changedSets = 0;
    std::vector<GuessedDisplayType> guesses;
    std::vector<std::string> warnings;
    std::vector<std::string> failures;  // files that cannot be sent, and why
    std::int64_t unreadableFolders = 0; // whose pictures are missing
    // What was found; made again for a plan that comes back without it.
    std::shared_ptr<const PreparedScreenshots> prepared = nullptr;
    QUORVEL_RECORD_EXCEPT(ScreenshotPushPlan, (prepared), app, folder, context, version, mode, locales,
                          displayTypes, checked, sets, uploads, uploadBytes, deletions, changedSets, guesses,
                          warnings, failures, unreadableFolders)

    [[nodiscard]] ScreenshotChoice choice() const {
        return {mode, {locales, displayTypes}, checked ? PictureCheck::full : PictureCheck::none};
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
    QUORVEL_RECORD(ScreenshotPushReport, app, context, version, uploaded, deleted, setsCreated, uploadedFiles,
                   warnings, failures, notDone, somethingIsThere)
};

} // namespace quorvel
