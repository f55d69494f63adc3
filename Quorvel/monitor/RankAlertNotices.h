// Shows rank alerts on the desktop.
#pragma once

#include "Core/records/Models.h"
#include "Platform/defaults/UserDefaults.h"
#include "Platform/desktop/DesktopNotifier.h"
#include "Quorvel/controllers/keywords/KeywordTracker.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

/// Notifies each alert once: again only after the term came to rest in between, turned around, or went on by
/// as many places as make an alert. What was notified is kept in the user's settings. The caller sees to it
/// that one works on a home at a time.
class RankAlertNotices {
  public:
    static constexpr std::string_view notifiedKey = "KeywordAlerts.notified.v1";
    static constexpr std::size_t mostNotified = 500;
    /// Beyond that many at once one notification tells of all.
    static constexpr std::size_t mostSingle = 4;

    struct Outcome {
        std::int64_t notified = 0; // alerts, not notifications
        std::optional<std::string> problem;
    };

    RankAlertNotices(std::shared_ptr<UserDefaults> defaults, std::shared_ptr<DesktopNotifier> notifier)
        : defaults_(std::move(defaults)), notifier_(std::move(notifier)) {}

    /// `alerts` are all that there are of the app now. Throws `FileError`, `CancellationError`.
    Outcome tell(const ManagedApp& app, const std::vector<KeywordAlert>& alerts) const;

  private:
    std::shared_ptr<UserDefaults> defaults_;
    std::shared_ptr<DesktopNotifier> notifier_;
};

} // namespace quorvel
