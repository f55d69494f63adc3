#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/AppActions.h"
#include "Quorvel/application/Application.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

ExitStatus listRemoteApps(Invocation& invocation) {
    const auto result = perform<ListAccountApps>(invocation, requestOf<ListAccountApps::Request>(invocation));
    Output& output = invocation.output;
    output.document(result);
    Table table{.columns = {{""},
                            {"Name"},
                            {"Short name", Table::Align::left, Table::Fit::drop},
                            {"Bundle ID"},
                            {"Store ID"},
                            {"Primary locale", Table::Align::left, Table::Fit::drop}},
                .rows = {}};
    for (const ListAccountApps::App& app : result.apps)
        table.rows.push_back({app.isRecorded ? "*" : "", app.attributes.name.value_or(""), app.slug,
                              app.attributes.bundleId.value_or(""), app.id,
                              app.attributes.primaryLocale.value_or("")});
    output.table(table);
    if (result.apps.empty()) output.note("The account has no app that this key may see.");
    if (std::ranges::any_of(result.apps, &ListAccountApps::App::isRecorded)) output.note("* recorded");
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
    const Date now = invocation.application.clock()();
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
    auto request = requestOf<ListApps::Request>(invocation);
    request.all = invocation.arguments.has("--all");
    if (invocation.arguments.has("--remote")) {
        if (request.all)
            throw UsageError("--remote and --all exclude each other",
                             "--remote lists the account, --all the records of every workspace.");
        return listRemoteApps(invocation);
    }
    const auto result = perform<ListApps>(invocation, request);
    invocation.output.document(result);
    if (result.apps.empty())
        invocation.output.line(
            "No app is recorded here. 'quorvel apps --remote' lists those of your account, "
            "'quorvel apps import' takes them.");
    else
        printApps(invocation, result.apps, request.all);
    return ExitStatus::done;
}

// The call that works on these apps without naming them.
std::string callForAll(const std::vector<ImportedAppReport>& imported) {
    if (imported.empty() || imported.front().isActiveWorkspace) return "quorvel";
    const auto& first = imported.front();
    const bool together = std::ranges::all_of(imported, [&](const ImportedAppReport& one) {
        return one.app.workspace && one.app.workspace == first.app.workspace;
    });
    return together ? callInWorkspace(first.workspaceName) : "quorvel";
}

ExitStatus importApps(Invocation& invocation) {
    auto request = requestOf<ImportApps::Request>(invocation);
    request.apps = invocation.arguments.values("APP");
    request.all = invocation.arguments.has("--all");
    if (request.apps.empty() != request.all)
        throw UsageError("\"apps import\" needs bundle ids, or --all",
                         "'quorvel apps --remote' lists the apps of your account.");
    if (request.folder && request.apps.size() != 1)
        throw UsageError("--folder is for the import of a single app");
    const auto result = perform<ImportApps>(invocation, request);
    for (const ImportedAppReport& imported : result.imported)
        printImported(invocation, imported);
    for (const ImportApps::FailedApp& failed : result.failed)
        invocation.output.warning(fmt::format("{}: {}", failed.bundleId, reportOf(failed.failure).text));
    invocation.output.document(result);
    invocation.output.line(fmt::format("{} recorded. '{} pull --all-apps' brings their texts.",
                                       counted(result.imported.size(), "app"), callForAll(result.imported)));
    if (result.failed.empty()) return ExitStatus::done;
    return result.imported.empty() ? ExitStatus::failed : ExitStatus::partlyDone;
}

constexpr std::string_view removalText =
    "Quorvel will stop tracking this app — the local metadata files in ~/Documents/Brevant/ stay on disk so "
    "you can re-import them later. Tracked keywords, push history and review snapshots for this app are "
    "deleted.";

ExitStatus removeApps(Invocation& invocation) {
    auto request = requestOf<PlanAppRemoval::Request>(invocation);
    request.apps = invocation.arguments.values("APP");
    const auto plan = perform<PlanAppRemoval>(invocation, request);
    Consent consent = consentToNothing();
    for (const ManagedApp& app : plan.apps) // all first: who declines one is told that nothing was changed
        consent = askConsent(invocation, {fmt::format("{}\nRemove {}?", removalText, app.displayName)});
    const auto result = perform<RemoveApps>(invocation, {plan.apps}, consent);
    for (const ManagedApp& app : result.apps) {
        const bool hadKey = std::ranges::find(result.forgottenKeys, app.id) != result.forgottenKeys.end();
        invocation.output.line(fmt::format("{} is no longer recorded{}. Its texts are still on disk.",
                                           app.displayName, hadKey ? " and its key forgotten" : ""));
    }
    invocation.output.document(result);
    return ExitStatus::done;
}

ExitStatus moveApp(Invocation& invocation) {
    auto request = requestOf<MoveApp::Request>(invocation);
    request.app = *invocation.arguments.value("APP");
    request.toWorkspace = *invocation.arguments.value("WORKSPACE");
    const auto result = perform<MoveApp>(invocation, request);
    invocation.output.document(result);
    invocation.output.line(
        fmt::format("{} is now in the workspace \"{}\".", result.app.displayName, result.workspaceName));
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
         .arguments =
             {{"APP", "BUNDLE_ID", "Bundle ids or App Store ids", {}, Need::optional, Count::repeated},
              {"--all", "", "All apps of the account"},
              {"--folder", "DIR", "The metadata folder of a single app (~/Documents/Brevant/<short name>)"}},
         .heeds = {"--workspace"},
         .run = importApps,
         .details = "An app that is recorded already is brought up to date; its folder and settings stay. "
                    "Pulling an app that is not recorded imports it as well."},
        {.name = "apps remove",
         .summary = "Forget apps with their history; their files stay",
         .arguments = {appArgument("The apps", Count::repeated, Need::required)},
         .heeds = {"--yes", "--workspace"},
         .run = removeApps,
         .asksFirst = true},
        {.name = "apps move",
         .summary = "Put an app into another workspace",
         .arguments = {appArgument("The app", Count::once, Need::required),
                       {"WORKSPACE", "WORKSPACE", "The workspace", {}, Need::required}},
         .run = moveApp},
    };
}

} // namespace quorvel
