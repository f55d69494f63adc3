#include "Platform/desktop/DesktopNotifier.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/CSV.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/PartEnd.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/RankTexts.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/KeywordActions.h"
#include "Quorvel/application/Application.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

std::string termName(const TrackedKeyword& keyword) {
    return fmt::format("{} ({})", keyword.term, keyword.country);
}

std::vector<std::string> termNames(const std::vector<TrackedKeyword>& keywords) {
    std::vector<std::string> names;
    std::ranges::transform(keywords, std::back_inserter(names), termName);
    return names;
}

std::string countedItems(std::int64_t count, std::string_view noun) {
    return counted(static_cast<std::size_t>(std::max<std::int64_t>(count, 0)), noun);
}

// "12 searches and 3 pages, about 2 minutes: Apple allows …".
std::string costText(std::int64_t searches, std::int64_t pages, std::int64_t seconds) {
    std::string text = searches == 1 ? "One search" : fmt::format("{} searches", searches);
    if (pages > 0) text += fmt::format(" and {}", countedItems(pages, "page"));
    if (seconds > 0)
        text += fmt::format(", about {}, as Apple allows some 20 searches a minute",
                            countedItems((seconds + 59) / 60, "minute"));
    return text + ".";
}

void noteHowToTrack(Output& output) {
    output.note("No term is tracked. Begin with 'quorvel keywords track TERM --country us'.");
}

ExitStatus trackKeywords(Invocation& invocation) {
    auto request = requestOf<TrackKeywords::Request>(invocation);
    request.terms = listOf(invocation.arguments, "TERM");
    request.countries = listOf(invocation.arguments, "--country");
    request.platform = invocation.arguments.value("--platform");
    request.note = invocation.arguments.value("--note");
    const auto result = perform<TrackKeywords>(invocation, request);
    Output& output = invocation.output;
    output.document(result);
    if (!result.added.empty())
        output.line(fmt::format("Tracking {}: {}.", countedItems(std::ssize(result.added), "new term"),
                                fmt::join(termNames(result.added), ", ")));
    if (!result.known.empty())
        output.line(fmt::format("Tracked already: {}.", fmt::join(termNames(result.known), ", ")));
    if (!result.added.empty()) output.note("'quorvel keywords refresh' asks the store for their ranks.");
    return ExitStatus::done;
}

ExitStatus untrackKeywords(Invocation& invocation) {
    auto request = requestOf<PlanUntracking::Request>(invocation);
    request.terms = listOf(invocation.arguments, "TERM");
    request.countries = listOf(invocation.arguments, "--country");
    const auto plan = perform<PlanUntracking>(invocation, request);
    std::vector<std::string> names;
    std::int64_t snapshots = 0;
    for (const TrackedTerm& term : plan.terms) {
        names.push_back(termName(term.keyword));
        snapshots += term.snapshots;
    }
    const Consent consent =
        askConsent(invocation, {fmt::format("Forget {} with {}?",
                                            escapeControls(fmt::format("{}", fmt::join(names, ", "))),
                                            countedItems(snapshots, "captured rank"))});
    const auto result = perform<UntrackKeywords>(invocation, {plan.terms}, consent);
    invocation.output.document(result);
    invocation.output.line(
        fmt::format("No longer tracked: {}; {} forgotten.", fmt::join(names, ", "),
                    snapshots == 1 ? "1 captured rank is" : fmt::format("{} captured ranks are", snapshots)));
    return ExitStatus::done;
}

void printAlerts(Output& output, const std::vector<RankAlert>& alerts) {
    for (const RankAlert& one : alerts) {
        const bool isWarning = one.alert.severity == RankVelocityDetector::Severity::warning;
        output.styledLine(fmt::format(
            "{} {}", output.styled(isWarning ? Style::red : Style::green, isWarning ? "▼" : "▲"),
            output.styled(Style::bold, fmt::format("{} ({}): {}", escapeControls(one.alert.keywordTerm),
                                                   one.country, one.alert.summary))));
        output.line(fmt::format("  {}", one.alert.detail));
    }
}

std::string rankOf(const RefreshKeywords::Term& term) {
    if (!term.snapshot) return "no longer tracked";
    if (!term.snapshot->ourRank)
        return term.snapshot->resultCount == 0 ? "no app is found" : "not among the first 200";
    return fmt::format("#{}", *term.snapshot->ourRank);
}

ExitStatus reportRefresh(Invocation& invocation, const RefreshKeywords::Result& result) {
    Output& output = invocation.output;
    output.document(result);
    Table table{.columns = {{"Term", Table::Align::left, Table::Fit::cut}, {"Store"}, {"Rank"}}, .rows = {}};
    for (const auto& term : result.terms)
        if (!term.failure) table.rows.push_back({term.keyword.term, term.keyword.country, rankOf(term)});
    if (!table.rows.empty()) output.table(table);
    PartEnd end = tellFailures(output, result.terms, [](const auto& term) { return termName(term.keyword); });
    end += tellFailures(output, result.competitors, [](const auto& one) {
        return fmt::format("{} ({})", one.competitor.name, one.competitor.country);
    });
    output.line(fmt::format("{} captured{}.",
                            countedItems(static_cast<std::int64_t>(end.succeeded), "answer"),
                            result.upToDate > 0 ? fmt::format(", {} not due yet", result.upToDate) : ""));
    if (result.leftDue > 0)
        output.warning(fmt::format(
            "{} not asked for after several failures in a row; 'quorvel keywords refresh' goes on there.",
            result.leftDue == 1 ? "1 more was" : fmt::format("{} more were", result.leftDue)));
    if (result.notificationProblem)
        output.warning(fmt::format("Alerts are not shown on the desktop: {}.", *result.notificationProblem));
    if (!result.alerts.empty() && !output.isJSON()) {
        output.line();
        printAlerts(output, result.alerts);
    }
    return end.status();
}

ExitStatus refreshKeywords(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<PlanKeywordRefresh::Request>(invocation);
    request.all = invocation.arguments.has("--all");
    const auto plan = perform<PlanKeywordRefresh>(invocation, request);
    const std::int64_t upToDate = plan.keywordsUpToDate + plan.competitorsUpToDate;
    const std::string cost = costText(plan.searchRequests, plan.pageRequests, plan.estimatedSeconds);
    if (invocation.global.dryRun) {
        output.document(plan);
        for (const TrackedKeyword& keyword : plan.keywords)
            output.line(termName(keyword));
        for (const TrackedCompetitor& one : plan.competitors)
            output.line(fmt::format("{} ({}), the page", one.name, one.country));
        output.note(fmt::format("Dry run: nothing was asked. {}", cost));
        return ExitStatus::done;
    }
    if (plan.searchRequests == 0) {
        RefreshKeywords::Result nothing{.app = plan.app, .upToDate = upToDate};
        output.document(nothing);
        if (upToDate == 0)
            noteHowToTrack(output);
        else
            output.line(fmt::format("Nothing is due: {} captured within the last 20 hours. --all asks again.",
                                    upToDate == 1 ? "1 was" : fmt::format("all {} were", upToDate)));
        return ExitStatus::done;
    }
    output.note(cost);
    std::shared_ptr<DesktopNotifier> notifier;
    if (invocation.arguments.has("--notify"))
        notifier = makeDesktopNotifier(
            {.applicationName = "Quorvel", .busAddress = sessionBusAddress(invocation.surroundings.variable)},
            [](const std::string&) {});
    const auto result = [&] {
        OperationProgress progress(output);
        return RefreshKeywords::perform(invocation.application, request, progress.actionProgress(), notifier);
    }();
    return reportRefresh(invocation, result);
}

std::string useText(const std::optional<TermUse>& use) {
    if (!use) return "";
    std::vector<std::string_view> fields;
    for (const FieldType field : use->fields)
        fields.push_back(rawValue(field));
    if (use->isSpread) fields.push_back("spread");
    std::string text = fmt::format("{}", fmt::join(fields, ", "));
    if (text.empty() && !use->others.empty()) text = use->others.front();
    return text.empty() ? "nowhere" : text;
}

void printRemarksOnRanks(Output& output, const ShowRanks::Result& result) {
    output.line();
    output.line(rankPlotLegend);
    std::set<std::string> texts;
    bool isSpread = false;
    for (const auto& row : result.rows)
        if (row.use) {
            texts.insert(fmt::format("{}/{}", row.use->context, row.use->locale));
            isSpread |= row.use->isSpread;
        }
    if (texts.empty())
        output.note("Which terms your texts use is not known before 'quorvel pull'.");
    else
        output.line(fmt::format("Used in: your texts in {}{}.", fmt::join(texts, ", "),
                                isSpread ? "; spread: its words stand in several fields" : ""));
}

ExitStatus showRanks(Invocation& invocation) {
    auto request = requestOf<ShowRanks::Request>(invocation);
    request.countries = listOf(invocation.arguments, "--country");
    const auto result = perform<ShowRanks>(invocation, request);
    Output& output = invocation.output;
    output.document(result);
    if (result.rows.empty()) {
        noteHowToTrack(output);
        return ExitStatus::done;
    }
    Table table{.columns = {{"Term", Table::Align::left, Table::Fit::cut},
                            {"Store"},
                            {"Rank", Table::Align::right},
                            {"7 d", Table::Align::right},
                            {"30 d", Table::Align::right},
                            {"Plot"},
                            {"Used in", Table::Align::left, Table::Fit::cut},
                            {"Best competitor", Table::Align::left, Table::Fit::drop},
                            {"Captured", Table::Align::left, Table::Fit::drop}},
                .rows = {}};
    const Date now = invocation.application.clock()();
    for (const auto& row : result.rows)
        table.rows.push_back(
            {row.keyword.term, row.keyword.country, rankText(row.capturedAt.has_value(), row.rank),
             changeCell(row.weekChange), changeCell(row.monthChange), rankPlot(row.days), useText(row.use),
             row.competitors.empty()
                 ? ""
                 : fmt::format("#{} {}", row.competitors.front().rank, row.competitors.front().name),
             row.capturedAt ? relativeTime(*row.capturedAt, now) : "never"});
    output.table(table);
    if (!output.isJSON()) printRemarksOnRanks(output, result);
    return ExitStatus::done;
}

ExitStatus listAlerts(Invocation& invocation) {
    const auto result = perform<ListRankAlerts>(invocation, requestOf<ListRankAlerts::Request>(invocation));
    Output& output = invocation.output;
    output.document(result);
    if (!output.isJSON()) printAlerts(output, result.alerts);
    if (result.trackedTerms == 0)
        noteHowToTrack(output);
    else if (result.alerts.empty())
        output.line(fmt::format("No term moved by five places within the last seven days; {} of {} were "
                                "captured twice.",
                                result.comparedTerms, result.trackedTerms));
    return ExitStatus::done;
}

void printSuggestions(Output& output, const SuggestKeywords::Result& result) {
    Table table{.columns = {{"Term", Table::Align::left, Table::Fit::cut},
                            {"Score", Table::Align::right},
                            {"Why", Table::Align::left, Table::Fit::wrap}},
                .rows = {}};
    for (const KeywordSuggestion& one : result.suggestions)
        table.rows.push_back({one.term, std::to_string(one.score.total), one.explanation});
    if (!table.rows.empty()) output.table(table);
    output.line();
    output.line(result.scoreExplained);
    const auto left = result.candidates - std::ssize(result.suggestions);
    if (left > 0)
        output.note(
            fmt::format("{} found were not scored; --limit scores more.", countedItems(left, "more term")));
}

ExitStatus suggestKeywords(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<SuggestKeywords::Request>(invocation);
    request.country = *invocation.arguments.value("--country");
    request.seeds = listOf(invocation.arguments, "--seed");
    request.limit =
        invocation.arguments.number("--limit", 1, SuggestKeywords::mostTerms).value_or(request.limit);
    output.note(fmt::format("At most {} searches, one for each term that is scored; Apple allows some 20 a "
                            "minute.",
                            SuggestKeywords::searchRequests(request)));
    const auto result = perform<SuggestKeywords>(invocation, request);
    output.document(result);
    if (result.suggestions.empty())
        output.line("Nothing new was found. --seed asks for what people may type, and competitors bring "
                    "their terms.");
    else if (!output.isJSON())
        printSuggestions(output, result);
    for (const LeftOutKeyword& one : result.leftOut)
        if (one.reason != LeftOutKeyword::Reason::tracked && one.reason != LeftOutKeyword::Reason::inName)
            output.note(fmt::format("Left out {}: {}.", one.term, one.remark));
    for (const std::string& problem : result.problems)
        output.warning(problem);
    return result.problems.empty() ? ExitStatus::done : ExitStatus::partlyDone;
}

ExitStatus exportRanks(Invocation& invocation) {
    if (invocation.output.isJSON() && invocation.arguments.has("--csv"))
        throw UsageError("--csv and --json exclude each other");
    auto request = requestOf<ExportRanks::Request>(invocation);
    request.countries = listOf(invocation.arguments, "--country");
    const auto result = perform<ExportRanks>(invocation, request);
    Output& output = invocation.output;
    output.document(result);
    if (output.isJSON()) return ExitStatus::done;
    output.raw("captured,term,country,rank,results\n");
    for (const auto& row : result.rows)
        output.raw(fmt::format("{},{},{},{},{}\n", formatISO8601(row.capturedAt), csvCell(row.term),
                               row.country, row.rank ? std::to_string(*row.rank) : "",
                               row.results ? std::to_string(*row.results) : ""));
    return ExitStatus::done;
}

ArgumentSpec termArgument() {
    return {"TERM",
            "TERM",
            "What people search for, in quotation marks where it has several words",
            {},
            ArgumentSpec::Need::required,
            ArgumentSpec::Count::repeated};
}

ArgumentSpec countryOption(std::string_view description,
                           ArgumentSpec::Need need = ArgumentSpec::Need::optional) {
    return {"--country", "CODES", description, {}, need, ArgumentSpec::Count::repeated};
}

constexpr std::string_view onlyCountries = "Only these storefronts, such as us,de";

} // namespace

std::vector<Command> keywordTrackingCommands() {
    using Need = ArgumentSpec::Need;
    return {
        {.name = "keywords track",
         .summary = "Follow the rank of search terms",
         .arguments = {termArgument(),
                       countryOption("The storefronts, two letters each, such as us,de", Need::required),
                       {"--platform",
                        "PLATFORM",
                        "Whose texts the term is meant for; iphone without it",
                        {"iphone", "ipad", "mac"}},
                       {"--note", "TEXT", "Why it is followed"}},
         .heeds = {"--app", "--workspace"},
         .run = trackKeywords,
         .details =
             "Nothing is asked yet. Letter case does not tell terms apart. Apple's public search knows no "
             "platforms, so ranks are those among all apps.\n\n"
             "Example: quorvel keywords track \"plant diary\" garten --country us,de"},
        {.name = "keywords untrack",
         .summary = "Follow terms no longer and forget their ranks",
         .arguments = {termArgument(), countryOption(onlyCountries)},
         .heeds = {"--app", "--workspace", "--yes"},
         .run = untrackKeywords,
         .asksFirst = true},
        {.name = "keywords refresh",
         .summary = "Ask the store for ranks and for competitors' pages",
         .arguments = {{"--all", "", "Also what was captured within the last 20 hours"},
                       {"--notify", "", "Show rank alerts on the desktop, each once"}},
         .heeds = {"--app", "--workspace", "--dry-run"},
         .run = refreshKeywords,
         .details =
             "A term is due 20 hours after it was captured, so a daily run takes all. Each answer is kept at "
             "once: a refresh that was cut off goes on with what is still due. One search per term and "
             "storefront tells the app's rank among the first 200 and those of its competitors; each "
             "competitor takes one more and its page. What fails stops nothing else, and the status is 7 "
             "then.\n\n"
             "Example: quorvel keywords refresh --notify"},
        {.name = "keywords ranks",
         .summary = "Show how the ranks of the tracked terms went",
         .arguments = {countryOption(onlyCountries)},
         .heeds = {"--app", "--workspace", "--context"},
         .run = showRanks,
         .details = "Asks nobody. The changes are against the snapshot of a week and of 30 days before the "
                    "newest. Used in says which of your local texts hold the term, in the locale that the "
                    "storefront shows: name, subtitle, keywords, \"spread\" over several of them, or "
                    "another locale of that storefront."},
        {.name = "keywords alerts",
         .summary = "List fast moves of ranks within seven days",
         .heeds = {"--app", "--workspace"},
         .run = listAlerts,
         .details = "Compares the first and the last snapshot of the last seven days; a move of five places "
                    "or more, and one onto or out of the first 200, is an alert."},
        {.name = "keywords suggest",
         .summary = "Look for search terms that may be worth following",
         .arguments = {{"--country", "CODE", "The storefront, such as us", {}, Need::required},
                       {.name = "--seed",
                        .value = "TERMS",
                        .description = "What the store completes; else tracked terms, or your own",
                        .count = ArgumentSpec::Count::repeated},
                       {"--limit", "N", "How many terms are scored, with one search each (10)"}},
         .heeds = {"--app", "--workspace", "--context"},
         .run = suggestKeywords,
         .details =
             "Candidates are what the store suggests for the seeds, and the words of competitors' names and "
             "subtitles. Tracked terms, what the name holds already, names of other makers and Apple's "
             "trademarks are left out.\n\n"
             "Example: quorvel keywords suggest --country de --seed garten,pflanzen"},
        {.name = "keywords export",
         .summary = "Write all captured ranks as CSV, or with --json as JSON",
         .arguments = {countryOption(onlyCountries),
                       {"--csv", "", "As CSV, which is what it is without --json"}},
         .heeds = {"--app", "--workspace"},
         .run = exportRanks,
         .details =
             "One row per term, storefront and snapshot. Example: quorvel keywords export > ranks.csv"},
    };
}

} // namespace quorvel
