#include "Quorvel/actions/MonitorActions.h"

#include "Platform/task/Task.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/workspace/WorkspaceIndex.h"

namespace quorvel {

namespace {

template <typename Request>
ReviewStateMonitor::Options monitorOptions(Application& application, const Request& request,
                                           const ReviewOutlets& outlets) {
    const AppDirectory directory(application, {request.app, request.workspace});
    ReviewStateMonitor::Options options{.notifier = outlets.notifier, .program = outlets.program};
    if (request.workspace) options.workspaceID = directory.requireWorkspace(*request.workspace).id;
    if (request.app) options.appID = directory.require(*request.app).id;
    return options;
}

void requireTargets(const ReviewStateMonitor& monitor) {
    if (monitor.targets().empty())
        throw ApplicationError(FailureKind::noAppRecorded, "there is no app to watch");
}

} // namespace

CheckReviews::Result CheckReviews::perform(Application& application, const Request& request,
                                           const ActionProgress&, const ReviewOutlets& outlets) {
    ReviewStateMonitor monitor(application, monitorOptions(application, request, outlets));
    requireTargets(monitor);
    return monitor.check("manual");
}

WatchReviews::Result WatchReviews::perform(Application& application, const Request& request,
                                           const ActionProgress&, const ReviewOutlets& outlets,
                                           const Observer& observer) {
    if (request.intervalMinutes)
        requireNumber("intervalMinutes", *request.intervalMinutes, 1, longestMinutes);
    ReviewStateMonitor monitor(application, monitorOptions(application, request, outlets));
    requireTargets(monitor);
    if (request.intervalMinutes)
        ReviewMonitorSettings(application.userDefaults()).setIntervalMinutes(*request.intervalMinutes);
    const auto selections = application.notifications()->observe(
        selectAppRequestedNotification, [&](const Notification& notification) {
            const auto app = application.apps().find(notification.payload.at("app"));
            if (app && outlets.appWasSelected) outlets.appWasSelected(*app);
        });
    const auto subscription = monitor.observe(inlineExecutor(), [&] {
        if (observer) observer(*monitor.state());
    });
    try {
        monitor.run();
    } catch (const CancellationError&) {
        // The way in which it ends.
    }
    return {monitor.state()->checks};
}

} // namespace quorvel
