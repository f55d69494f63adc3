#include "Quorvel/actions/HomeActions.h"

#include "Quorvel/application/Application.h"
#include "Quorvel/controllers/reviews/ReviewsController.h"

#include <algorithm>

namespace quorvel {

namespace {

bool hasKey(Application& application, const KeyOwner& owner) {
    try {
        return !application.credentials(owner).texts.privateKeyPEM.empty();
    } catch (const std::exception&) { // none, or none of use
        return false;
    }
}

} // namespace

ShowHome::Result ShowHome::perform(Application& application, const Request& request, const ActionProgress&) {
    const AppDirectory directory(application, targetOf(request).choice);
    Result home;
    if (const RepositoryFile* file = application.repository()) home.repository = *file;
    std::vector<ManagedApp> apps;
    if (request.app) {
        apps = {directory.require(*request.app)};
        if (const auto& workspace = apps.front().workspace)
            home.workspace = application.workspaces().find(*workspace);
    } else {
        home.workspace = directory.workspace();
        apps = directory.appsInView();
    }
    home.apps = overviewsOf(application, apps, PendingChanges::count);
    for (const AppOverview& app : home.apps)
        home.attentionCount += app.attentionCount;
    home.hasRecordedApps =
        !home.apps.empty() || (application.hasRecords() && !application.apps().all().empty());
    // Apps may have keys of their own beside a workspace without one.
    home.hasKey =
        (!request.app && hasKey(application, directory.keyOwner())) ||
        std::ranges::any_of(apps, [&](const ManagedApp& app) { return hasKey(application, ownerOf(app)); });
    if (auto revenue = RevenueController::cached(*application.userDefaults());
        revenue && !request.app && revenue->workspace == (home.workspace ? home.workspace->id : ""))
        home.revenue = std::move(revenue);
    const auto unanswered = ReviewsController::unanswered(*application.userDefaults());
    for (const ManagedApp& app : apps)
        if (const auto found = unanswered.find(app.id); found != unanswered.end() && found->second.count > 0)
            home.reviews.push_back(
                {app.slug, app.displayName, found->second.count, found->second.refreshedAt});
    return home;
}

} // namespace quorvel
