// What the home and the lists of apps show of each app.
#pragma once

#include "Quorvel/actions/Target.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/workspace/WorkspaceIndex.h"

namespace quorvel {

/// A recorded app with the summary of its last pull.
struct AppOverview {
    std::string id; // of the app's record
    std::string slug;
    std::string displayName;
    std::string bundleId;
    std::string appStoreId;
    std::optional<std::string> workspace; // id
    std::optional<std::string> workspaceName;
    std::string folder; // empty when it cannot be found
    WorkspaceIndex::Summary::Bucket bucket = WorkspaceIndex::Summary::Bucket::notPulled;
    std::int64_t attentionCount = 0;
    std::optional<PlatformContext> headline;
    std::vector<PlatformContext> contexts;
    std::optional<Date> lastUpdated;
    std::optional<std::int64_t> pendingChanges; // of the contexts that take pushes; nothing when not counted
    std::optional<std::int64_t> openConflicts;  // of the same, changed here and on App Store Connect
    std::optional<Failure> problem;             // with reading its texts
    QUORVEL_RECORD(AppOverview, id, slug, displayName, bundleId, appStoreId, workspace, workspaceName, folder,
                   bucket, attentionCount, headline, contexts, lastUpdated, pendingChanges, openConflicts,
                   problem)
};

enum class PendingChanges { count, leave };

/// The overviews of `apps`, in their order.
[[nodiscard]] std::vector<AppOverview>
overviewsOf(Application& application, const std::vector<ManagedApp>& apps, PendingChanges pending);

} // namespace quorvel
