// What needs attention, over all apps.
#pragma once

#include "Quorvel/actions/AppOverview.h"
#include "Quorvel/controllers/revenue/RevenueController.h"
#include "Quorvel/repository/RepositoryFile.h"

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
    /// New reviews of an app without a response, as the last refresh found them.
    struct Reviews {
        std::string app; // its short name
        std::string displayName;
        std::int64_t unanswered = 0;
        Date refreshedAt;
        QUORVEL_RECORD(Reviews, app, displayName, unanswered, refreshedAt)
    };
    struct Result {
        std::optional<ManagedWorkspace> workspace;
        std::int64_t attentionCount = 0;
        std::vector<AppOverview> apps;
        bool hasRecordedApps = false; // in any workspace
        bool hasKey = false;          // that requests about one of these apps, or about none, would use
        std::optional<RevenueCache> revenue;      // of the last seven days, as it was shown last
        std::vector<Reviews> reviews;             // of the apps that have any
        std::optional<RepositoryFile> repository; // the quorvel.toml in force
        QUORVEL_RECORD(Result, workspace, attentionCount, apps, hasRecordedApps, hasKey, revenue, reviews,
                       repository)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
