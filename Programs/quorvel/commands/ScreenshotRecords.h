// How the screenshot commands print sets, and their JSON forms.
#pragma once

#include "Core/screenshots/ScreenshotPreparation.h"
#include "Core/screenshots/ScreenshotPusher.h"
#include "Programs/quorvel/ExitStatus.h"
#include "Programs/quorvel/Output.h"

#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct ScreenshotStatusDocument {
    std::string folder;
    std::string context;
    std::optional<Date> lastPulledAt;
    std::optional<std::string> versionString;
    std::vector<ScreenshotSetStatus> sets;
    std::vector<GuessedDisplayType> guesses;
    std::vector<std::string> warnings;
    std::vector<std::string> failures;
    QUORVEL_RECORD(ScreenshotStatusDocument, folder, context, lastPulledAt, versionString, sets, guesses,
                   warnings, failures)
};

struct ScreenshotPushDocument {
    bool dryRun = false;
    std::int64_t uploaded = 0;
    std::int64_t deleted = 0;
    std::int64_t setsCreated = 0;
    std::vector<std::string> warnings;
    std::vector<std::string> failures;
    std::vector<std::string> successfullyUploadedLocalURLs;
    std::vector<ScreenshotSetStatus> sets; // before the push
    std::vector<GuessedDisplayType> guesses;
    QUORVEL_RECORD(ScreenshotPushDocument, dryRun, uploaded, deleted, setsCreated, warnings, failures,
                   successfullyUploadedLocalURLs, sets, guesses)
};

[[nodiscard]] ScreenshotPushDocument documentOf(const PreparedScreenshots& prepared,
                                                const ScreenshotPushSummary& summary);

/// How a push ends that meant to send `planned` files and the pictures of `unreadableFolders`.
[[nodiscard]] ExitStatus statusOf(const ScreenshotPushDocument& document, std::size_t planned,
                                  std::size_t unreadableFolders);

/// What a push came to, in one line.
[[nodiscard]] std::string outcomeText(const PreparedScreenshots& prepared,
                                      const ScreenshotPushSummary& summary);

/// A line for each set with what would change in it.
void printScreenshotSets(Output& output, const std::vector<ScreenshotSetStatus>& sets);
/// What the scan and the check of the files have to say.
void printRemarks(Output& output, const PreparedScreenshots& prepared);

} // namespace quorvel
