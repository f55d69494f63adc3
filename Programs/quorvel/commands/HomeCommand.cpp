#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/RevenuePlot.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/HomeActions.h"
#include "Quorvel/actions/OpenedReviews.h"
#include "Quorvel/application/Application.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

using Bucket = WorkspaceIndex::Summary::Bucket;

struct FirstStep {
    std::string_view command, meaning;
};

constexpr FirstStep keyStep = {"quorvel auth set --issuer-id ID --p8 FILE", "store your API key"};
constexpr FirstStep appSteps[] = {
    {"quorvel apps --remote", "see which apps it reaches"},
    {"quorvel apps import BUNDLE_ID", "take one into your workspace"},
    {"quorvel pull", "its store texts become plain files"},
    {"quorvel", "this page, then with your apps"},
};

// Without the whole help, above which the first steps would be scrolled away.
void printWelcome(Output& output, bool hasKey) {
    output.line(hasKey ? "Welcome to quorvel. An API key is set. The next steps:"
                       : "Welcome to quorvel. The first steps:");
    output.line();
    const auto print = [&](const FirstStep& step) {
        output.line(fmt::format("  {:{}}  {}", step.command, keyStep.command.size(), step.meaning));
    };
    if (!hasKey) print(keyStep);
    for (const FirstStep& step : appSteps)
        print(step);
    output.line();
    output.line("Without an account, 'quorvel demo' shows a whole round of work.");
    output.line("'quorvel help' lists all commands.");
}

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

// What stands under an app: its headline, and what else waits for the developer.
std::vector<PlatformContext> shownContexts(const AppOverview& app) {
    std::vector<PlatformContext> shown;
    if (app.headline) shown.push_back(*app.headline);
    for (const PlatformContext& context : app.contexts)
        if (asksForAttention(context.appStoreState) && context != app.headline) shown.push_back(context);
    return shown;
}

std::string remarksOn(const AppOverview& app, Date now) {
    std::vector<std::string> remarks;
    if (app.folder.empty())
        remarks.push_back("its folder is not found");
    else if (!app.lastUpdated)
        remarks.push_back("quorvel pull --app " + app.slug);
    if (app.lastUpdated) remarks.push_back("pulled " + relativeTime(*app.lastUpdated, now));
    if (const auto edits = app.pendingChanges.value_or(0); edits > 0)
        remarks.push_back(counted(static_cast<std::size_t>(edits), "local edit"));
    if (const auto conflicts = app.openConflicts.value_or(0); conflicts > 0)
        remarks.push_back(counted(static_cast<std::size_t>(conflicts), "conflict"));
    return fmt::format("{}", fmt::join(remarks, " · "));
}

struct ColumnWidths {
    std::size_t context = 0;
    std::size_t version = 0;
    std::size_t state = 0;
};

ColumnWidths widthsOf(const std::vector<AppOverview>& apps) {
    ColumnWidths widths;
    for (const AppOverview& app : apps)
        for (const PlatformContext& context : shownContexts(app)) {
            widths.context = std::max(widths.context, displayWidth(context.id()));
            widths.version = std::max(widths.version, displayWidth(escapeControls(context.versionString)));
            widths.state = std::max(widths.state, displayWidth(escapeControls(context.appStoreState)));
        }
    return widths;
}

// Two levels instead of one wide table, so that names and states stay whole on a narrow terminal.
void printApp(Output& output, const AppOverview& app, const ColumnWidths& widths, Date now) {
    const std::string remarks = remarksOn(app, now);
    const std::string name = escapeControls(app.displayName);
    const Streams& streams = output.streams();
    const bool isNarrow = streams.outIsTerminal && streams.width > 0 &&
                          2 + displayWidth(name) + 2 + displayWidth(remarks) > streams.width;
    output.styledLine(fmt::format("  {}{}{}", name, isNarrow ? "\n  " : "",
                                  remarks.empty() ? "" : output.styled(Style::dim, "  " + remarks)));
    const auto padded = [](std::string_view text, std::size_t width) {
        return padToWidth(escapeControls(text), width, Table::Align::left);
    };
    for (const PlatformContext& context : shownContexts(app)) {
        const std::string_view next = nextStep(context.appStoreState);
        const std::string state = escapeControls(context.appStoreState);
        output.styledLine(fmt::format("    {}  {}  {}{}", padded(context.id(), widths.context),
                                      padded(context.versionString, widths.version),
                                      output.styled(styleOfState(context.appStoreState),
                                                    next.empty() ? state : padded(state, widths.state)),
                                      next.empty() ? "" : fmt::format("  {}", next)));
    }
}

void printHome(Invocation& invocation, const ShowHome::Result& home) {
    Output& output = invocation.output;
    const std::string attention = attentionText(home.attentionCount);
    output.styledLine(output.styled(
        Style::bold,
        fmt::format("{} · {}{}", escapeControls(home.workspace ? home.workspace->name : "All apps"),
                    counted(home.apps.size(), "app"), attention.empty() ? "" : " · " + attention)));
    const ColumnWidths widths = widthsOf(home.apps);
    const Date now = invocation.application.clock()();
    if (home.apps.empty())
        output.line("No app is recorded here: 'quorvel apps --all' lists those of every workspace, "
                    "'quorvel apps import' takes one in.");
    for (const auto& [bucket, raw] : RawValues<Bucket>::values) {
        bool isTitled = false;
        for (const AppOverview& app : home.apps) {
            if (app.bucket != bucket) continue;
            if (!isTitled) output.styledLine("\n" + output.styled(Style::bold, titleOf(bucket)));
            isTitled = true;
            printApp(output, app, widths, now);
        }
    }
    if (home.revenue) {
        const auto& summary = home.revenue->summary;
        output.line();
        output.line(fmt::format(
            "Proceeds and first-time downloads, last 7 days to {}: {} · {}", home.revenue->lastDay,
            moneyText(summary.proceeds, summary.currency.value_or("")),
            counted(static_cast<std::size_t>(std::max<std::int64_t>(summary.downloads, 0)), "download")));
    }
    if (!home.reviews.empty()) output.line();
    for (const auto& each : home.reviews)
        output.line(fmt::format("{}: {} of the last {} days without a response ({})", each.displayName,
                                counted(static_cast<std::size_t>(each.unanswered), "review"),
                                UnansweredReviews::days, relativeTime(each.refreshedAt, now)));
    if (!home.hasKey) output.note(fmt::format("No API key is found: '{}' stores one.", keyStep.command));
    for (const AppOverview& app : home.apps)
        if (app.problem) output.warning(fmt::format("{}: {}", app.displayName, reportOf(*app.problem).text));
}

ExitStatus showHome(Invocation& invocation) {
    const auto home = perform<ShowHome>(invocation, requestOf<ShowHome::Request>(invocation));
    Output& output = invocation.output;
    output.document(home);
    if (output.isJSON()) return ExitStatus::done;
    if (home.repository)
        output.note(fmt::format("{} is in force: {}{}.", home.repository->file, home.repository->app,
                                home.repository->tree ? ", " + *home.repository->tree : ""));
    if (home.hasRecordedApps)
        printHome(invocation, home);
    else
        printWelcome(output, home.hasKey);
    return ExitStatus::done;
}

} // namespace

const Command& homeCommand() {
    static const Command command{
        .name = "", .summary = "", .heeds = {"--workspace", "--app"}, .run = showHome};
    return command;
}

} // namespace quorvel
