// What changed in the review of the user's apps.
#pragma once

#include "Quorvel/actions/Target.h"
#include "Quorvel/monitor/ReviewStateMonitor.h"

#include <functional>
#include <memory>
#include <optional>

namespace quorvel {

/// Where changes go beside the result; a face of the user's own hands these in.
struct ReviewOutlets {
    std::shared_ptr<DesktopNotifier> notifier; // none: nothing is notified
    std::optional<ChangeProgram> program;
    /// Called on any thread when somebody asked for an app, as by a tap on a notification.
    std::function<void(const ManagedApp& app)> appWasSelected;
};

/// One check. Its changes are those since the check before, in this home.
struct CheckReviews {
    static constexpr ActionInfo info{
        "check_reviews", "Ask for the review state of every app and tell what changed", Effect::localFiles};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, app, workspace)
        static constexpr JSONMember members[] = {
            {"app", "Only this app, instead of those of all workspaces."},
            {"workspace", "Only the apps of this workspace."}};
    };
    using Result = ReviewStateMonitor::Check;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {},
                                        const ReviewOutlets& outlets = {});
};

/// Checks until its task is cancelled, which is how it ends.
struct WatchReviews {
    static constexpr std::int64_t longestMinutes = 7 * 24 * 60;
    static constexpr ActionInfo info{"watch_reviews", "Check the review states again and again",
                                     Effect::localFiles};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::int64_t> intervalMinutes;
        QUORVEL_RECORD(Request, app, workspace, intervalMinutes)
        static constexpr JSONMember members[] = {
            {"app", "Only this app, instead of those of all workspaces."},
            {"workspace", "Only the apps of this workspace."},
            {"intervalMinutes", "The time between checks from now on; at least five minutes are kept."}};
    };
    struct Result {
        std::int64_t checks = 0;
        QUORVEL_RECORD(Result, checks)
    };
    using Observer = std::function<void(const ReviewStateMonitor::State&)>;
    /// `observer` is called after each change of the monitor's state.
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {},
                                        const ReviewOutlets& outlets = {}, const Observer& observer = {});
};

} // namespace quorvel
