#include "Platform/text/Text.h"
#include "Programs/quorvel/AppLookup.h"
#include "Programs/quorvel/Help.h"
#include "Programs/quorvel/Workspaces.h"
#include "Programs/quorvel/commands/AppOverviews.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"

#include <fmt/format.h>

#include <array>

namespace quorvel {

namespace {

using Bucket = WorkspaceIndex::Summary::Bucket;

struct HomeRecord {
    std::optional<ManagedWorkspace> workspace;
    std::int64_t attentionCount = 0;
    std::vector<AppOverview> apps;
    QUORVEL_RECORD(HomeRecord, workspace, attentionCount, apps)
};

constexpr std::string_view welcome =
    "Welcome to quorvel. The first steps:\n"
    "\n"
    "  quorvel auth set --issuer-id ID --p8 AuthKey_….p8   store your App Store Connect API key\n"
    "  quorvel apps --remote                               see which apps it reaches\n"
    "  quorvel apps import BUNDLE_ID                       take one into your workspace\n"
    "  quorvel pull                                        its store texts become plain files\n"
    "  quorvel                                             this page, then with your apps\n"
    "\n"
    "Without an account, 'quorvel demo' shows a whole round of work.\n\n";

std::string_view titleOf(Bucket bucket) {
    static constexpr std::array<std::string_view, 4> titles = {"Needs attention", "In review", "Live",
                                                               "Not pulled"};
    return titles[static_cast<std::size_t>(bucket)];
}

// What a version in this state waits for.
std::string_view nextStep(std::string_view state) {
    if (state == "PREPARE_FOR_SUBMISSION") return "finish it and submit";
    if (state == "PENDING_DEVELOPER_RELEASE") return "release it";
    if (state == "INVALID_BINARY") return "upload another build";
    if (state.ends_with("REMOVED_FROM_SALE")) return "off sale";
    return asksForAttention(state) ? "mend it and resubmit" : "";
}

std::string pendingText(const AppOverview& app) {
    const auto count = app.pendingChanges.value_or(0);
    return count == 0 ? "" : counted(static_cast<std::size_t>(count), "local edit");
}

std::vector<Table::Cell> rowOf(const PlatformContext& context, std::string name) {
    const Style style = styleOfState(context.appStoreState);
    return {"  " + std::move(name),
            context.id(),
            context.versionString,
            {context.appStoreState, style},
            Table::Cell(nextStep(context.appStoreState))};
}

// An app's headline, and below it what else waits for the developer.
void addRows(Table& table, const AppOverview& app, Date now) {
    std::vector<Table::Cell> first = app.headline
                                         ? rowOf(*app.headline, app.displayName)
                                         : std::vector<Table::Cell>{"  " + app.displayName, "", "", "", ""};
    const std::string edits = pendingText(app);
    if (app.bucket == Bucket::notPulled) first[4] = {app.folder.empty() ? "folder not found" : "pull it"};
    first.push_back({edits, Style::cyan});
    first.push_back({app.lastUpdated ? relativeTime(*app.lastUpdated, now) : "", Style::dim});
    table.rows.push_back(std::move(first));
    for (const PlatformContext& context : app.contexts)
        if (asksForAttention(context.appStoreState) && context != app.headline)
            table.rows.push_back(rowOf(context, ""));
}

void printHome(Invocation& invocation, const HomeRecord& home) {
    Output& output = invocation.output;
    const std::string attention = attentionText(home.attentionCount);
    output.styledLine(output.styled(
        Style::bold,
        fmt::format("{} · {}{}", escapeControls(home.workspace ? home.workspace->name : "All apps"),
                    counted(home.apps.size(), "app"), attention.empty() ? "" : " · " + attention)));
    Table table{.columns = {{"", Table::Align::left, Table::Fit::cut},
                            {"Context"},
                            {"Version"},
                            {"State"},
                            {"Next"},
                            {"Edits"},
                            {"Last pull"}},
                .rows = {}};
    const Date now = invocation.composition.clock()();
    for (const auto& [bucket, raw] : RawValues<Bucket>::values) {
        bool isTitled = false;
        for (const AppOverview& app : home.apps) {
            if (app.bucket != bucket) continue;
            if (!isTitled) table.rows.push_back({{std::string(titleOf(bucket)), Style::bold}});
            isTitled = true;
            addRows(table, app, now);
        }
    }
    output.table(table);
}

ExitStatus showHome(Invocation& invocation) {
    HomeRecord home;
    home.workspace = currentWorkspace(invocation);
    const auto apps = appsInView(invocation);
    home.apps = overviewsOf(invocation, apps, PendingChanges::count);
    for (const AppOverview& app : home.apps)
        home.attentionCount += app.attentionCount;
    Output& output = invocation.output;
    output.document(home);
    if (output.isJSON()) return ExitStatus::done;
    if (home.apps.empty())
        output.raw(std::string(welcome) + helpOfProgram());
    else
        printHome(invocation, home);
    return ExitStatus::done;
}

} // namespace

const Command& homeCommand() {
    static const Command command{.name = "", .summary = "", .heeds = {"--workspace"}, .run = showHome};
    return command;
}

} // namespace quorvel
