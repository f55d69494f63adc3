// Brings local screenshots and previews to App Store Connect, set by set.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/metadata/PlatformContext.h"
#include "Core/screenshots/Retry.h"
#include "Core/screenshots/ScreenshotPlan.h"
#include "Platform/http/HTTPClient.h"
#include "Platform/log/Log.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct ScreenshotPushSummary {
    std::int64_t uploaded = 0;
    std::int64_t deleted = 0;
    std::int64_t setsCreated = 0;
    std::int64_t posterFrames = 0; // of previews that stayed
    std::vector<std::string> warnings;
    std::vector<std::string> failures;
    // Also those that a push which was cut off had sent already.
    std::vector<std::filesystem::path> successfullyUploadedLocalURLs;
    bool operator==(const ScreenshotPushSummary&) const = default;
};

/// The stage of a push that lasts as long as Apple's servers take.
[[nodiscard]] constexpr std::string_view processingStage(AssetKind kind) {
    return kind == AssetKind::preview ? "Waiting for App Store Connect to process the previews…"
                                      : "Waiting for App Store Connect to process the screenshots…";
}

/// The bytes of one file on their way.
struct ScreenshotTransfer {
    enum class Stage { running, finished, failed };
    std::filesystem::path fileURL;
    std::uint64_t sent = 0; // smaller than before when a part has to be sent again
    std::uint64_t total = 0;
    Stage stage = Stage::running;
};

/// How patient a push is. All times in seconds.
struct ScreenshotPushOptions : RetryOptions {
    AssetKind kind = AssetKind::screenshot;
    std::size_t width = 6;           // files and sets at once
    double visibilityDeadline = 30;  // until lists show what was changed
    double processingDeadline = 600; // until an asset is processed; 0: it is not waited for
};

/// Carries out set edits. Several sets and several files of a set are sent at once, each slice of a file
/// streamed from the disk; afterwards the set is put into its final order and read back, and a difference in
/// count or order is a failure. A failure of one file or set never stops the others.
///
/// A push that was cut off is taken up again by planning and pushing anew: files that were committed are
/// recognised by name and checksum and not sent again, and reservations of our files that nobody committed
/// are removed. One push at a time may work on a version, as it would take another's reservations for
/// leftovers; callers hold the lock of the app's folder.
class ScreenshotPusher {
  public:
    struct PushProgress {
        std::string stage;
        std::int64_t completed = 0;
        std::int64_t total = 0;
        bool operator==(const PushProgress&) const = default;
    };
    /// Called from the threads of the push, several at once; must not block for long.
    struct Observer {
        std::function<void(const PushProgress&)> progress;
        std::function<void(const ScreenshotTransfer&)> transfer;
    };

    /// `uploads` sends the parts of the files directly to the hosts that App Store Connect names, without a
    /// token. Both clients must outlive the pusher.
    ScreenshotPusher(const ASCClientProtocol& client, HTTPClient& uploads, PlatformContext context,
                     std::string appStoreId, ScreenshotPushOptions options = {});

    /// Throws `ScreenshotError` before the first request when the version takes no changes; `ASCError` when
    /// the localizations cannot be listed; `CancellationError`.
    [[nodiscard]] ScreenshotPushSummary push(const std::vector<ScreenshotSetEdit>& edits,
                                             const Observer& observer = {}) const;

  private:
    const ASCClientProtocol& client_;
    HTTPClient& uploads_;
    PlatformContext context_;
    std::string appStoreId_;
    ScreenshotPushOptions options_;
    Logger logger_{"ScreenshotPusher"};
};

} // namespace quorvel
