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
            output.warning(
                fmt::format("{}: has keywords, which the locale's safe mode keeps — skipped.", entry.locale));
        if (entry.backup)
            output.note(fmt::format("The keywords of {} were backed up as {}", entry.locale, *entry.backup));
    }
    const auto written = std::ranges::count(keywords.entries, false, &EnglishKeywords::Entry::skipped);
    output.line();
    output.lines(keywords.rationale);
    output.line(fmt::format("Wrote the keywords of {} for {}.",
                            counted(static_cast<std::size_t>(written), "locale"),
                            priceText(keywords.costUSD)));
    for (const std::string& locale : keywords.missing)
        output.warning(fmt::format("{}: the answer holds no keywords; the locale was left as it is", locale));
}

ExitStatus expandEnglish(Invocation& invocation) {
    Output& output = invocation.output;
    if (invocation.global.dryRun) {
        const auto planned =
            perform<PlanEnglishKeywords>(invocation, requestOf<PlanEnglishKeywords::Request>(invocation));
        const auto& prompt = planned.plan.prompt;
        output.document(planned);
        if (!output.isJSON()) output.raw(prompt.system + "\n\n" + prompt.user + "\n");
        output.note("Dry run: one request would be sent, nothing was.");
        return ExitStatus::done;
    }
    auto request = requestOf<ExpandEnglishKeywords::Request>(invocation);
    request.fresh = invocation.arguments.has("--fresh");
    const auto result = perform<ExpandEnglishKeywords>(invocation, request);
    output.document(result);
    print(output, result.keywords);
    return result.keywords.missing.empty() ? ExitStatus::done : ExitStatus::partlyDone;
}

} // namespace

std::vector<Command> keywordsCommands() {
    return {
        {.name = "keywords", .summary = "Generate keywords for each market"},
        generateKeywordsCommand(),
        {.name = "keywords expand-english",
         .summary = "Coordinate the keywords of the four English locales",
         .arguments = {freshArgument(), folderArgument()},
         .heeds = {"--app", "--workspace", "--context", "--dry-run"},
         .run = expandEnglish,
         .details = EnglishLocaleExpansion::explanation},
    };
}

} // namespace quorvel
