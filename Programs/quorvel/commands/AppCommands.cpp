#include "Programs/quorvel/AppLocator.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Invocation.h"
#include "Programs/quorvel/commands/Groups.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

ExitStatus listRemoteApps(Invocation& invocation) {
    if (!invocation.arguments.has("--remote"))
        throw UsageError("\"apps\" needs --remote",
                         "'quorvel apps --remote' lists the apps of your account on App Store Connect.");
    const auto apps = invocation.composition.client().listApps();
    invocation.output.document(apps);
    Table table{.columns = {{"Name"}, {"Short name"}, {"Bundle ID"}, {"App Store ID"}, {"Primary locale"}},
                .rows = {}};
    for (const AppListEntry& app : withSlugs(apps))
        table.rows.push_back({app.name, app.slug, app.bundleID, app.id, app.primaryLocale});
    invocation.output.table(table);
    if (apps.empty()) invocation.output.note("The account has no app that this key may see.");
    return ExitStatus::done;
}

} // namespace

std::vector<Command> appCommands() {
    return {
        {.name = "apps",
         .summary = "List apps",
         .arguments = {{"--remote", "", "The apps of the account on App Store Connect"}},
         .run = listRemoteApps},
    };
}

} // namespace quorvel
