// What the home and the lists of apps show of each app.
#pragma once

#include "Core/records/Models.h"
#include "Programs/quorvel/Invocation.h"
#include "Quorvel/workspace/WorkspaceIndex.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// An app with the summary of its last pull; what `--json` shows of it.
struct AppOverview {
    std::string id; // of the app's record
    std::string slug;
    std::string displayName;
    std::string bundleId;
    std::string appStoreId;
    std::optional<std::string> workspace; // name
    std::string folder;                   // empty when it cannot be found
    WorkspaceIndex::Summary::Bucket bucket = WorkspaceIndex::Summary::Bucket::notPulled;
    std::int64_t attentionCount = 0;
    std::optional<PlatformContext> headline;
    std::vector<PlatformContext> contexts;
    std::optional<Date> lastUpdated;
    std::optional<std::int64_t> pendingChanges; // of the contexts that take pushes; nothing when not counted
    QUORVEL_RECORD(AppOverview, id, slug, displayName, bundleId, appStoreId, workspace, folder, bucket,
                   attentionCount, headline, contexts, lastUpdated, pendingChanges)
};

enum class PendingChanges { count, leave };

/// The overviews of `apps`, in their order.
[[nodiscard]] std::vector<AppOverview>
overviewsOf(Invocation& invocation, const std::vector<ManagedApp>& apps, PendingChanges pending);

/// "just now", "5 minutes ago", "1 day ago", "3 weeks ago".
[[nodiscard]] std::string relativeTime(Date then, Date now);
/// As much of a date as a table shows, in UTC: "2026-03-01 12:30Z".
[[nodiscard]] std::string shortTime(Date date);

/// "ios/next 3.5 PREPARE_FOR_SUBMISSION", in the colour of the state.
[[nodiscard]] Table::Cell contextCell(const PlatformContext& context);
/// "2 versions need attention", or nothing.
[[nodiscard]] std::string attentionText(std::int64_t count);

/// The colour of a version's state.
[[nodiscard]] Style styleOfState(std::string_view appStoreState);

} // namespace quorvel
