#include "Platform/task/Task.h"
#include "Programs/quorvel/AppLookup.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Workspaces.h"
#include "Programs/quorvel/commands/AppOverviews.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

struct AccountAppRecord {
    std::string id;
    std::string type;
    ASCAppAttributes attributes;
    std::string slug; // the short name that --app takes and the folder has
    bool isImported = false;
    QUORVEL_RECORD(AccountAppRecord, id, type, attributes, slug, isImported)
};

std::vector<AccountAppRecord> accountRecords(Invocation& invocation, const std::vector<AccountApp>& apps) {
    std::vector<ManagedApp> recorded;
    if (invocation.composition.hasRecords()) recorded = invocation.composition.apps().all();
    const auto slugs = slugsOf(apps);
    std::vector<AccountAppRecord> records;
    for (std::size_t index = 0; index < apps.size(); ++index) {
        const auto known = std::ranges::find(recorded, apps[index].id, &ManagedApp::appStoreId);
        const bool isImported = known != recorded.end();
        records.push_back({apps[index].id, apps[index].type, apps[index].attributes,
                           isImported ? known->slug : slugs[index], isImported});
    }
    return records;
}

ExitStatus listRemoteApps(Invocation& invocation) {
    const auto apps = invocation.composition.client(currentKeyOwner(invocation))->listApps();
    const auto records = accountRecords(invocation, apps);
    invocation.output.document(records);
    Table table{.columns = {{""},
                            {"Name", Table::Align::left, Table::Fit::cut},
                            {"Short name"},
                            {"Bundle ID"},
                            {"App Store ID"},
                            {"Primary locale", Table::Align::left, Table::Fit::drop}},
                .rows = {}};
    for (const AccountAppRecord& app : records)
        table.rows.push_back({app.isImported ? "*" : "", app.attributes.name.value_or(""), app.slug,
                              app.attributes.bundleId.value_or(""), app.id,
                              app.attributes.primaryLocale.value_or("")});
    invocation.output.table(table);
    if (apps.empty()) invocation.output.note("The account has no app that this key may see.");
    if (std::ranges::any_of(records, &AccountAppRecord::isImported)) invocation.output.note("* recorded");
    return ExitStatus::done;
}

void printApps(Invocation& invocation, const std::vector<AppOverview>& overviews, bool ofAllWorkspaces) {
    Table table{.columns = {{"Name"},
                            {"Short name"},
                            {"Bundle ID", Table::Align::left, Table::Fit::drop},
                            {"State"},
                            {"Last pull"},
                            {"Folder", Table::Align::left, Table::Fit::drop}},
                .rows = {}};
    if (ofAllWorkspaces) table.columns.insert(table.columns.begin() + 3, {"Workspace"});
    const Date now = invocation.composition.clock()();
    for (const AppOverview& app : overviews) {
        auto& row = table.rows.emplace_back();
        row = {app.displayName,
               app.slug,
               app.bundleId,
               app.headline ? contextCell(*app.headline) : Table::Cell{"not pulled", Style::dim},
               app.lastUpdated ? relativeTime(*app.lastUpdated, now) : "",
               app.folder.empty() ? "(not found)" : app.folder};
        if (ofAllWorkspaces) row.insert(row.begin() + 3, app.workspaceName.value_or("(none)"));
    }
    invocation.output.table(table);
}

ExitStatus listApps(Invocation& invocation) {
    const bool all = invocation.arguments.has("--all");
    if (invocation.arguments.has("--remote")) {
        if (all)
            throw UsageError("--remote and --all exclude each other",
                             "--remote lists the account, --all the records of every workspace.");
        return listRemoteApps(invocation);
    }
    std::vector<ManagedApp> apps;
    if (invocation.composition.hasRecords())
        apps = all ? invocation.composition.apps().all() : appsInView(invocation);
    const auto overviews = overviewsOf(invocation, apps, PendingChanges::leave);
    invocation.output.document(overviews);
    if (overviews.empty())
        invocation.output.line(
            "No app is recorded here. 'quorvel apps --remote' lists those of your account, "
            "'quorvel apps import' takes them.");
    else
        printApps(invocation, overviews, all);
    return ExitStatus::done;
}

std::vector<AccountApp> appsToImport(Invocation& invocation) {
    const auto wanted = invocation.arguments.values("APP");
    const bool all = invocation.arguments.has("--all");
    if (wanted.empty() != all)
        throw UsageError("\"apps import\" needs bundle ids, or --all",
                         "'quorvel apps --remote' lists the apps of your account.");
    if (invocation.arguments.has("--folder") && wanted.size() != 1)
        throw UsageError("--folder is for the import of a single app");
    const auto account = invocation.composition.client(currentKeyOwner(invocation))->listApps();
    if (all) return account;
    std::vector<AccountApp> apps;
    for (const std::string& one : wanted)
        apps.push_back(locateAmong(account, one));
    return apps;
}

ManagedApp withFolder(Invocation& invocation, ManagedApp app) {
    const auto folder = invocation.arguments.value("--folder");
    if (!folder) return app;
    return chooseAppFolder(
        app, MetadataFolder{(invocation.surroundings.workingFolder / *folder).lexically_normal()},
        invocation.composition.home(), invocation.composition.apps());
}

// A recorded app stays in its workspace, which need not be the one that commands work in.
std::string callForAll(Invocation& invocation, const std::vector<ManagedApp>& apps) {
    const bool together = std::ranges::all_of(apps, [&](const ManagedApp& app) {
        return app.workspace && app.workspace == apps.front().workspace;
    });
    return together && !apps.empty() ? callInWorkspace(invocation, *apps.front().workspace)
                                     : callInWorkspace(invocation);
}

ExitStatus importApps(Invocation& invocation) {
    std::vector<ManagedApp> imported;
    std::vector<std::string> failures;
    const auto apps = appsToImport(invocation);
    for (const AccountApp& app : apps) {
        try {
            imported.push_back(withFolder(invocation, importAccountApp(invocation, app)));
        } catch (const CancellationError&) {
            throw;
        } catch (const std::exception& error) {
            if (apps.size() == 1) throw;
            invocation.output.warning(
                fmt::format("{}: {}", app.attributes.bundleId.value_or(app.id), reportOf(error).text));
            failures.push_back(app.id);
        }
    }
    invocation.output.document(imported);
    invocation.output.line(fmt::format("{} recorded. '{} pull --all-apps' brings their texts.",
                                       counted(imported.size(), "app"), callForAll(invocation, imported)));
    if (failures.empty()) return ExitStatus::done;
    return imported.empty() ? ExitStatus::failed : ExitStatus::partlyDone;
}

constexpr std::string_view removalText =
    "Quorvel will stop tracking this app — the local metadata files in ~/Documents/Brevant/ stay on disk so "
    "you can re-import them later. Tracked keywords, push history and review snapshots for this app are "
    "deleted.";

ExitStatus removeApps(Invocation& invocation) {
    std::vector<ManagedApp> apps;
    for (const std::string& wanted : invocation.arguments.values("APP"))
        apps.push_back(requireRecordedApp(invocation, wanted));
    Composition& composition = invocation.composition;
    for (const ManagedApp& app : apps) // all of them first: who declines one is told that nothing was changed
        confirmRemoval(invocation, fmt::format("{}\nRemove {}?", removalText, app.displayName));
    for (const ManagedApp& app : apps) {
        (void)composition.apps().remove(app.id);
        composition.sessions().forget(app.id);
        const bool hadKey = forgetScope(composition.keychain(), app.id);
        invocation.output.line(fmt::format("{} is no longer recorded{}. Its texts are still on disk.",
                                           app.displayName, hadKey ? " and its key forgotten" : ""));
    }
    invocation.output.document(apps);
    return ExitStatus::done;
}

ExitStatus moveApp(Invocation& invocation) {
    const ManagedApp app = requireRecordedApp(invocation, *invocation.arguments.value("APP"));
    const ManagedWorkspace target = requireWorkspace(invocation, *invocation.arguments.value("WORKSPACE"));
    invocation.composition.apps().moveToWorkspace(app.id, target.id);
    invocation.output.document(invocation.composition.apps().find(app.id));
    invocation.output.line(fmt::format("{} is now in the workspace \"{}\".", app.displayName, target.name));
    return ExitStatus::done;
}

ArgumentSpec appArgument(std::string_view description, ArgumentSpec::Count count, ArgumentSpec::Need need) {
    return {"APP", "APP", description, {}, need, count};
}

} // namespace

std::vector<Command> appCommands() {
    using Count = ArgumentSpec::Count;
    using Need = ArgumentSpec::Need;
    return {
        {.name = "apps",
         .summary = "List the recorded apps of the workspace",
         .arguments = {{"--remote", "", "The apps of the account on App Store Connect instead"},
                       {"--all", "", "The recorded apps of all workspaces, and those of none"}},
         .heeds = {"--workspace"},
         .run = listApps},
        {.name = "apps import",
         .summary = "Record apps of the account in the workspace",
         .arguments = {appArgument("Bundle ids or App Store ids", Count::repeated, Need::optional),
                       {"--all", "", "All apps of the account"},
                       {"--folder", "DIR",
                        "The metadata folder of a single app (~/Documents/Brevant/<short name>)"}},
         .heeds = {"--workspace"},
         .run = importApps,
         .details = "An app that is recorded already is brought up to date; its folder and settings stay. "
                    "Pulling an app that is not recorded imports it as well."},
        {.name = "apps remove",
         .summary = "Forget apps with their history; their files stay",
         .arguments = {appArgument("The apps", Count::repeated, Need::required)},
         .heeds = {"--yes", "--workspace"},
         .run = removeApps},
        {.name = "apps move",
         .summary = "Put an app into another workspace",
         .arguments = {appArgument("The app", Count::once, Need::required),
                       {"WORKSPACE", "WORKSPACE", "The workspace", {}, Need::required}},
         .run = moveApp},
    };
}

} // namespace quorvel
