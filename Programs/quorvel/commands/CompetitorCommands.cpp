#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/PartEnd.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/CompetitorActions.h"
#include "Quorvel/application/Application.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace quorvel {

namespace {

constexpr std::size_t mostChangesShown = 10;

ExitStatus addCompetitors(Invocation& invocation) {
    auto request = requestOf<AddCompetitors::Request>(invocation);
    request.competitors = invocation.arguments.values("APP");
    request.countries = listOf(invocation.arguments, "--country");
    request.note = invocation.arguments.value("--note");
    const auto result = perform<AddCompetitors>(invocation, request);
    Output& output = invocation.output;
    output.document(result);
    for (const auto& outcome : result.outcomes)
        if (outcome.competitor)
            output.line(fmt::format("{} {} ({}, {}).", outcome.wasKnown ? "Followed already:" : "Following",
                                    outcome.competitor->name, outcome.competitor->appStoreId,
                                    outcome.country));
    const PartEnd end = tellFailures(output, result.outcomes, [](const auto& outcome) {
        return fmt::format("{} ({})", outcome.given, outcome.country);
    });
    if (end.succeeded > 0)
        output.note("'quorvel keywords refresh' captures their pages and their ranks for your terms.");
    return end.status();
}

std::string competitorRating(const std::optional<CompetitorSnapshot>& snapshot) {
    if (!snapshot || !snapshot->averageRating) return "";
    return fmt::format("{:.1f} ({})", *snapshot->averageRating, snapshot->ratingCount.value_or(0));
}

ExitStatus listCompetitors(Invocation& invocation) {
    const auto result = perform<ListCompetitors>(invocation, requestOf<ListCompetitors::Request>(invocation));
    Output& output = invocation.output;
    output.document(result);
    if (result.competitors.empty()) {
        output.note("No app is followed. Begin with 'quorvel competitors add ID --country us'.");
        return ExitStatus::done;
    }
    Table table{.columns = {{"App", Table::Align::left, Table::Fit::cut},
                            {"ID"},
                            {"Store"},
                            {"Version"},
                            {"Rating", Table::Align::right},
                            {"Captured"},
                            {"Subtitle", Table::Align::left, Table::Fit::drop}},
                .rows = {}};
    const Date now = invocation.application.clock()();
    for (const auto& row : result.competitors)
        table.rows.push_back({row.competitor.name, row.competitor.appStoreId, row.competitor.country,
                              row.newest ? row.newest->versionString : "", competitorRating(row.newest),
                              row.newest ? relativeTime(row.newest->capturedAt, now) : "never",
                              row.newest ? row.newest->subtitle : ""});
    output.table(table);
    if (output.isJSON()) return ExitStatus::done;
    std::size_t shown = 0;
    for (const auto& row : result.competitors)
        for (const CompetitorChange& change : row.changes) {
            if (++shown > mostChangesShown) continue;
            if (shown == 1) output.line();
            output.line(fmt::format("{} ({}) changed its {} {}: {} → {}", row.competitor.name,
                                    row.competitor.country, change.member,
                                    relativeTime(change.noticedAt, now),
                                    change.before.empty() ? "nothing" : change.before,
                                    change.after.empty() ? "nothing" : change.after));
        }
    if (shown > mostChangesShown)
        output.note(fmt::format("{} of the last 30 days; --json lists all.",
                                counted(shown - mostChangesShown, "more change")));
    return ExitStatus::done;
}

ExitStatus removeCompetitors(Invocation& invocation) {
    auto request = requestOf<PlanCompetitorRemoval::Request>(invocation);
    request.competitors = invocation.arguments.values("APP");
    request.countries = listOf(invocation.arguments, "--country");
    const auto plan = perform<PlanCompetitorRemoval>(invocation, request);
    std::vector<std::string> names;
    std::int64_t snapshots = 0;
    std::vector<TrackedCompetitor> competitors;
    for (const auto& row : plan.competitors) {
        names.push_back(fmt::format("{} ({})", row.competitor.name, row.competitor.country));
        snapshots += row.snapshots;
        competitors.push_back(row.competitor);
    }
    const Consent consent =
        askConsent(invocation, {fmt::format("Forget {} with {}?",
                                            escapeControls(fmt::format("{}", fmt::join(names, ", "))),
                                            counted(static_cast<std::size_t>(snapshots), "captured page"))});
    const auto result = perform<RemoveCompetitors>(invocation, {competitors}, consent);
    invocation.output.document(result);
    invocation.output.line(fmt::format("No longer followed: {}.", fmt::join(names, ", ")));
    return ExitStatus::done;
}

ArgumentSpec competitorArgument(std::string_view description) {
    return {"APP", "APP", description, {}, ArgumentSpec::Need::required, ArgumentSpec::Count::repeated};
}

ArgumentSpec storefrontsOption(std::string_view description) {
    return {.name = "--country",
            .value = "CODES",
            .description = description,
            .count = ArgumentSpec::Count::repeated};
}

} // namespace

std::vector<Command> competitorCommands() {
    return {
        {.name = "competitors", .summary = "Follow other makers' apps"},
        {.name = "competitors add",
         .summary = "Follow other makers' apps",
         .arguments = {competitorArgument("App Store ids, bundle ids or links to the store"),
                       storefrontsOption("The storefronts, such as us,de; that of a link without it"),
                       {"--note", "TEXT", "Why it is followed"}},
         .heeds = {"--app", "--workspace"},
         .run = addCompetitors,
         .details =
             "Each is looked up in the store. 'quorvel keywords refresh' then captures its page and its "
             "rank for each of your terms.\n\n"
             "Example: quorvel competitors add https://apps.apple.com/us/app/id6700000301"},
        {.name = "competitors list",
         .summary = "List the followed apps and what they changed",
         .heeds = {"--app", "--workspace"},
         .run = listCompetitors},
        {.name = "competitors remove",
         .summary = "Follow apps no longer and forget what was captured of them",
         .arguments = {competitorArgument("App Store ids, bundle ids, links or names"),
                       storefrontsOption("Only these storefronts, such as us,de")},
         .heeds = {"--app", "--workspace", "--yes"},
         .run = removeCompetitors,
         .asksFirst = true},
    };
}

} // namespace quorvel
