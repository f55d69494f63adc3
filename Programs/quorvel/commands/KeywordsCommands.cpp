#include "Platform/text/Counted.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/TranslationActions.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

void print(Output& output, const EnglishKeywords& keywords) {
    Table table{.columns = {{"Locale"},
                            {"Characters", Table::Align::right},
                            {"Keywords, for review", Table::Align::left, Table::Fit::wrap}},
                .rows = {}};
    for (const auto& entry : keywords.entries)
        table.rows.push_back({entry.locale, fmt::format("{}/{}", entry.length, entry.limit), entry.keywords});
    output.table(table);
    for (const auto& entry : keywords.entries) {
        for (const std::string& remark : entry.remarks)
            output.warning(fmt::format("{}: {}", entry.locale, remark));
        if (entry.skipped)
            output.warning(fmt::format(
                "{}: its keywords were edited meanwhile — skipped, so that the edit stays.", entry.locale));
        if (entry.backup)
            output.note(fmt::format("The keywords of {} were backed up as {}", entry.locale, *entry.backup));
    }
    const auto written = std::ranges::count(keywords.entries, false, &EnglishKeywords::Entry::skipped);
    output.line();
    output.lines(keywords.rationale);
    output.line(fmt::format("Wrote the keywords of {} for {}.",
                            counted(static_cast<std::size_t>(written), "locale"),
                            priceText(keywords.costUSD, keywords.costIsAtMost)));
    for (const std::string& locale : keywords.missing)
        output.warning(fmt::format("{}: the answer holds no keywords; the locale was left as it is", locale));
}

std::string_view explain(KeywordsKept reason) {
    switch (reason) {
    case KeywordsKept::upToDate:
        return "has keywords that are up to date; --all replaces them";
    case KeywordsKept::disabled:
        return "is disabled, so nothing is written";
    case KeywordsKept::safeMode:
        return "has keywords, which the locale's safe mode keeps";
    }
    return {};
}

void printKept(Output& output, const std::vector<EnglishLocaleExpansion::KeptLocale>& kept) {
    for (const auto& locale : kept)
        output.note(fmt::format("{} {}.", locale.locale, explain(locale.reason)));
}

ExitStatus expandEnglish(Invocation& invocation) {
    Output& output = invocation.output;
    const bool all = invocation.arguments.has("--all");
    if (invocation.global.dryRun) {
        auto request = requestOf<PlanEnglishKeywords::Request>(invocation);
        request.all = all;
        const auto planned = perform<PlanEnglishKeywords>(invocation, request);
        const auto& prompt = planned.plan.prompt;
        output.document(planned);
        printKept(output, planned.plan.kept);
        if (!output.isJSON() && prompt) output.raw(prompt->system + "\n\n" + prompt->user + "\n");
        output.note(prompt ? "Dry run: one request would be sent, nothing was."
                           : "Dry run: no request would be sent.");
        return ExitStatus::done;
    }
    auto request = requestOf<ExpandEnglishKeywords::Request>(invocation);
    request.all = all;
    request.fresh = invocation.arguments.has("--fresh");
    const auto result = perform<ExpandEnglishKeywords>(invocation, request);
    output.document(result);
    printKept(output, result.keywords.kept);
    if (result.keywords.entries.empty() && result.keywords.missing.empty()) {
        output.line("Every English locale keeps its keywords; nothing was asked or written.");
        return ExitStatus::done;
    }
    print(output, result.keywords);
    return result.keywords.missing.empty() ? ExitStatus::done : ExitStatus::partlyDone;
}

} // namespace

std::vector<Command> keywordsCommands() {
    static const std::string expansionDetails = fmt::format(
        "{} By default those are written that have no keywords, or generated ones that are older than those "
        "of en-US. Disabled locales are left out.",
        EnglishLocaleExpansion::explanation);
    return {
        {.name = "keywords",
         .summary = "Generate keywords for each market, and follow search terms in the store"},
        generateKeywordsCommand(),
        {.name = "keywords expand-english",
         .summary = "Coordinate the keywords of the four English locales",
         .arguments = {{"--all", "",
                        "Also locales whose keywords are up to date; what they replace is backed up"},
                       freshArgument(),
                       folderArgument()},
         .heeds = {"--app", "--workspace", "--context", "--dry-run"},
         .run = expandEnglish,
         .details = expansionDetails},
    };
}

} // namespace quorvel
