#include "Quorvel/actions/AppActions.h"

#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/AssistantHandoff.h"
#include "Quorvel/workspace/AppFolder.h"

#include <algorithm>

namespace quorvel {

namespace {

std::vector<AccountApp> appsToImport(const AppDirectory& directory, const ImportApps::Request& request) {
    if (request.apps.empty() != request.all)
        throw ApplicationError(FailureKind::badRequest, "say which apps, or that all are meant");
    if (request.folder && request.apps.size() != 1)
        throw ApplicationError(FailureKind::badRequest, "a folder is for the import of a single app");
    const auto account = directory.accountApps();
    if (request.all) return account;
    std::vector<AccountApp> apps;
    for (const std::string& wanted : request.apps)
        apps.push_back(locateAmong(account, wanted));
    return apps;
}

ImportedAppReport importInto(Application& application, const AppDirectory& directory, const AccountApp& app,
                             const std::optional<std::string>& folder) {
    ImportedAppReport imported = directory.import(app);
    if (!folder) return imported;
    const MetadataFolder chosen{application.absolutePath(*folder)};
    imported.app = chooseAppFolder(imported.app, chosen, application.home(), application.apps());
    imported.folder = chosen.rootURL.string();
    imported.avoidedFolder.reset(); // the user's own choice
    return imported;
}

} // namespace

ListApps::Result ListApps::perform(Application& application, const Request& request, const ActionProgress&) {
    if (!application.hasRecords()) return {};
    const auto apps = request.all ? application.apps().all()
                                  : AppDirectory(application, targetOf(request).choice).appsInView();
    return {overviewsOf(application, apps, PendingChanges::leave)};
}

ListAccountApps::Result ListAccountApps::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    const auto apps = AppDirectory(application, targetOf(request).choice).accountApps();
    std::vector<ManagedApp> recorded;
    if (application.hasRecords()) recorded = application.apps().all();
    const auto slugs = slugsOf(apps);
    Result result;
    for (std::size_t index = 0; index < apps.size(); ++index) {
        const auto known = std::ranges::find(recorded, apps[index].id, &ManagedApp::appStoreId);
        const bool isRecorded = known != recorded.end();
        result.apps.push_back({.id = apps[index].id,
                               .type = apps[index].type,
                               .attributes = apps[index].attributes,
                               .slug = isRecorded ? known->slug : slugs[index],
                               .isRecorded = isRecorded});
    }
    std::ranges::stable_sort(result.apps, nameLess,
                             [](const App& app) { return app.attributes.name.value_or(""); });
    return result;
}

ImportApps::Result ImportApps::perform(Application& application, const Request& request,
                                       const ActionProgress&) {
    const AppDirectory directory(application, targetOf(request).choice);
    const auto apps = appsToImport(directory, request);
    Result result;
    for (const AccountApp& app : apps) {
        try {
            result.imported.push_back(importInto(application, directory, app, request.folder));
        } catch (const CancellationError&) {
            throw;
        } catch (const std::exception& error) {
            if (apps.size() == 1) throw;
            result.failed.push_back({app.id, app.attributes.bundleId.value_or(app.id), failureOf(error)});
        }
    }
    return result;
}

PlanAppRemoval::Result PlanAppRemoval::perform(Application& application, const Request& request,
                                               const ActionProgress&) {
    const AppDirectory directory(application, {{}, request.workspace});
    Result result;
    for (const std::string& wanted : request.apps)
        result.apps.push_back(directory.require(wanted));
    return result;
}

RemoveApps::Result RemoveApps::perform(Application& application, const Request& request,
                                       const ActionProgress&) {
    Result result{request.apps, {}};
    for (const ManagedApp& app : request.apps) {
        (void)application.apps().remove(app.id);
        application.forgetSession(app.id);
        if (application.keychain().removeScope(app.id)) result.forgottenKeys.push_back(app.id);
    }
    refreshAssistantHandoff(application);
    return result;
}

MoveApp::Result MoveApp::perform(Application& application, const Request& request, const ActionProgress&) {
    const AppDirectory directory(application, {{}, request.workspace});
    const ManagedApp app = directory.require(request.app);
    const ManagedWorkspace target = directory.requireWorkspace(request.toWorkspace);
    application.apps().moveToWorkspace(app.id, target.id);
    return {application.apps().find(app.id).value_or(app), target.name};
}

} // namespace quorvel
