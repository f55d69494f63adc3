#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Platform/text/WordDiff.h"
#include "Programs/quorvel/ChangeRendering.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/HistoryActions.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

ExitStatus listRuns(Invocation& invocation) {
    auto request = requestOf<ListRuns::Request>(invocation);
    request.limit = invocation.arguments.number("--limit", 1, request.mostRuns).value_or(request.limit);
    const auto result = perform<ListRuns>(invocation, request);
    invocation.output.document(result);
    Table table{.columns = {{"Run"},
                            {"When (UTC)"},
                            {"Version"},
                            {"Context"},
                            {"Fields", Table::Align::right},
                            {"Locales", Table::Align::right},
                            {"Failed", Table::Align::right}},
                .rows = {}};
    const bool hasUnknown = std::ranges::any_of(result.runs, [](const auto& run) { return run.unknown > 0; });
    if (hasUnknown) table.columns.push_back({"No answer", Table::Align::right});
    for (const HistoryRun& run : result.runs) {
        table.rows.push_back({run.shortName,
                              shortTime(run.finished),
                              run.versionString.value_or(""),
                              run.context,
                              std::to_string(run.fields),
                              std::to_string(run.locales),
                              {std::to_string(run.failed), run.failed > 0 ? Style::red : Style::dim}});
        if (hasUnknown)
            table.rows.back().push_back(
                {std::to_string(run.unknown), run.unknown > 0 ? Style::yellow : Style::dim});
    }
    if (result.runs.empty())
        invocation.output.line(fmt::format("Nothing was pushed for {} yet.", result.app.displayName));
    else
        invocation.output.table(table);
    return ExitStatus::done;
}

constexpr std::string_view unknownText = "ANSWER LOST: App Store Connect may have taken it";

void printEntry(Output& output, const ShowRun::Entry& entry) {
    const auto field = fromRawValue<FieldType>(entry.field);
    if (!field) return; // of a field that this version of the program does not know
    const std::string_view outcome = entry.isUnknown                ? unknownText
                                     : !entry.success               ? "FAILED"
                                     : isSecret(*field)             ? "pushed; its text is kept nowhere"
                                     : entry.previous == entry.sent ? "App Store Connect had it already"
                                     : isBlank(entry.sent)          ? "removed"
                                                                    : "pushed";
    printTextChange(output, {entry.locale, *field}, outcome, wordDiff(entry.previous, entry.sent),
                    entry.error.value_or(""));
}

ExitStatus showRun(Invocation& invocation) {
    auto request = requestOf<ShowRun::Request>(invocation);
    request.run = *invocation.arguments.value("RUN");
    const auto result = perform<ShowRun>(invocation, request);
    Output& output = invocation.output;
    output.document(result);
    if (output.isJSON()) return ExitStatus::done;
    const HistoryRun& run = result.run;
    output.line(fmt::format("Run {} of {}, {} {}, {}", run.run, result.app.displayName, run.context,
                            run.versionString.value_or(""), shortTime(run.finished)));
    output.line();
    for (const ShowRun::Entry& entry : result.entries)
        printEntry(output, entry);
    std::string sum = fmt::format("{} tried, {} failed",
                                  counted(static_cast<std::size_t>(run.fields), "field"), run.failed);
    if (run.unknown > 0) sum += fmt::format(", {} without an answer", run.unknown);
    output.line(sum + ".");
    return ExitStatus::done;
}

void printReport(Output& output, const RevertRun::Result& result, bool dryRun) {
    const RevertReport& report = result.report;
    Table table{.columns = {{"Locale"}, {"Field"}, {"What"}}, .rows = {}};
    for (const FieldKey& key : report.reverted)
        table.rows.push_back(
            {shownLocale(key.locale), shortLabelOf(key.field),
             Table::Cell{dryRun ? "would take its previous text" : "has its previous text", Style::green}});
    for (const FieldKey& key : report.unchanged)
        table.rows.push_back(
            {shownLocale(key.locale), shortLabelOf(key.field), Table::Cell{"had it already", Style::dim}});
    if (!table.rows.empty()) output.table(table);
    printBackups(output, report.kept, dryRun ? Backups::planned : Backups::made);
    for (const std::string& warning : report.warnings)
        output.warning(warning);
    const std::string texts =
        fmt::format("{} of {}", counted(report.reverted.size(), "text"), report.context);
    if (report.reverted.empty())
        output.line("There is nothing to put back.");
    else if (dryRun)
        output.line(fmt::format("{} would be put back.", texts));
    else
        output.line(fmt::format("{} put back locally; '{}' sends that.", texts,
                                result.clearsTexts ? "quorvel push --allow-clear" : "quorvel push"));
    if (dryRun) output.note("Dry run: nothing was written.");
}

ExitStatus revertRun(Invocation& invocation) {
    auto request = requestOf<RevertRun::Request>(invocation);
    request.run = *invocation.arguments.value("RUN");
    const auto result = perform<RevertRun>(invocation, request);
    invocation.output.document(result);
    printReport(invocation.output, result, request.dryRun);
    if (!result.disabledLocales.empty())
        invocation.output.note("'quorvel locale enable LOCALE' lets a disabled locale take part again.");
    return ExitStatus::done;
}

ArgumentSpec runArgument() {
    return {"RUN", "RUN", "Its identifier, the beginning of that, or last", {}, ArgumentSpec::Need::required};
}

} // namespace

std::vector<Command> historyCommands() {
    return {
        {.name = "history",
         .summary = "List what was pushed, the newest run first",
         .arguments = {{"--limit", "NUMBER", "At most so many runs (20)"}},
         .heeds = {"--app", "--workspace"},
         .run = listRuns},
        {.name = "history show",
         .summary = "Show each field of a run with its previous and its new text",
         .arguments = {runArgument()},
         .heeds = {"--app", "--workspace"},
         .run = showRun},
        {.name = "history revert",
         .summary = "Put the texts back that a run replaced",
         .arguments = {runArgument(), folderArgument()},
         .heeds = {"--app", "--workspace", "--dry-run"},
         .run = revertRun,
         .details =
             "Only local files change; the next push sends them. "
             "A text that was edited since is backed up first. "
             "A text whose answer was lost, as the program was killed or the connection broke, counts as "
             "sent."},
    };
}

} // namespace quorvel
