// What needs attention, over all apps.
#pragma once

#include "Quorvel/actions/AppOverview.h"
#include "Quorvel/controllers/revenue/RevenueController.h"

namespace quorvel {

struct ShowHome {
    static constexpr ActionInfo info{"show_home",
                                     "Show what needs attention, what is in review, what is live"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, app, workspace)
        static constexpr JSONMember members[] = {{"app", "Only this app."}, workspaceMember};
    };
    struct Result {
        std::optional<ManagedWorkspace> workspace;
        std::int64_t attentionCount = 0;
        std::vector<AppOverview> apps;
        bool hasRecordedApps = false; // in any workspace
        bool hasKey = false;          // that requests about one of these apps, or about none, would use
        std::optional<RevenueCache> revenue; // of the last seven days, as it was shown last
        QUORVEL_RECORD(Result, workspace, attentionCount, apps, hasRecordedApps, hasKey, revenue)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
