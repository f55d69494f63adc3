#include "Programs/quorvel/AppLocator.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Invocation.h"
#include "Programs/quorvel/commands/Groups.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

struct AppRecord {
    std::string id;
    std::string type;
    ASCAppAttributes attributes;
    std::string slug; // the short name that --app takes and the folder has
    QUORVEL_RECORD(AppRecord, id, type, attributes, slug)
};

ExitStatus listRemoteApps(Invocation& invocation) {
    if (!invocation.arguments.has("--remote"))
        throw UsageError("\"apps\" needs --remote",
                         "'quorvel apps --remote' lists the apps of your account on App Store Connect.");
    const auto apps = invocation.composition.client().listApps();
    const auto entries = withSlugs(apps);
    std::vector<AppRecord> records;
    for (std::size_t index = 0; index < apps.size(); ++index)
        records.push_back({apps[index].id, apps[index].type, apps[index].attributes, entries[index].slug});
    invocation.output.document(records);
    Table table{.columns = {{"Name", Table::Align::left, Table::Fit::cut},
                            {"Short name"},
                            {"Bundle ID"},
                            {"App Store ID"},
                            {"Primary locale"}},
                .rows = {}};
    for (const AppListEntry& app : entries)
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
