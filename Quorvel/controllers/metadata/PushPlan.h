// What a push of texts would do.
#pragma once

#include "Core/metadata/MetadataPusher.h"
#include "Core/metadata/PushSelection.h"

#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// The app that a plan or a result is of.
struct AppReference {
    std::optional<std::string> id; // of its record; nothing when it is not recorded
    std::string appStoreId;
    std::string bundleId;
    std::string displayName;
    QUORVEL_RECORD(AppReference, id, appStoreId, bundleId, displayName)
    bool operator==(const AppReference&) const = default;
};

struct PushPlan {
    AppReference app;
    std::string folder;                    // the app's metadata folder
    std::string context;                   // "ios/next"
    PlatformContext version;               // as App Store Connect has it now
    std::vector<PlatformContext> contexts; // all that the app has
    std::vector<PendingChange> changes;    // that would be sent
    std::vector<LeftOutChange> leftOut;    // of those that the filter takes
    std::vector<PushWarning> warnings;     // about `changes`
    std::vector<std::string> notices;      // about the copies of the last pull
    std::optional<std::string> nothing;    // why nothing would be sent
    std::vector<PlannedRequest> requests;  // where they were asked for
    std::vector<PushOutcome> conflicts;    // changes that would fail, known with the requests
    bool overwrites = false; // compared with what App Store Connect holds, for want of pulled copies
    QUORVEL_RECORD(PushPlan, app, folder, context, version, contexts, changes, leftOut, warnings, notices,
                   nothing, requests, conflicts, overwrites)

    /// Whether something stays behind that was asked for.
    [[nodiscard]] bool leavesWaiting() const;
};

/// What was sent, each change with its outcome.
struct PushReport {
    AppReference app;
    std::string context; // "ios/next"
    PlatformContext version;
    std::vector<PushOutcome> outcomes;
    std::vector<LeftOutChange> leftOut;
    std::vector<PushWarning> warnings;
    std::string report;
    std::string run;                           // in the history
    std::optional<std::string> historyProblem; // why not all of it is there
    QUORVEL_RECORD(PushReport, app, context, version, outcomes, leftOut, warnings, report, run,
                   historyProblem)
};

} // namespace quorvel
