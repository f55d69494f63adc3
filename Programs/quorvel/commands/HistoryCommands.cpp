#include "Platform/text/Text.h"
#include "Programs/quorvel/AppLookup.h"
#include "Programs/quorvel/AppTarget.h"
#include "Programs/quorvel/ChangeRendering.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/OperationProgress.h"
#include "Programs/quorvel/commands/AppOverviews.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace quorvel {

namespace {

constexpr std::string_view newestRun = "last";

// The shortest beginning of a run's identifier, of some length, that no other run of the app shares.
std::string shortID(const PushHistory& history, const std::string& appID, const std::string& sessionID) {
    constexpr std::size_t least = 8;
    std::size_t length = std::min(least, sessionID.size());
    while (length < sessionID.size() &&
           history.runsBeginningWith(appID, sessionID.substr(0, length)).size() > 1)
        ++length;
    return sessionID.substr(0, length);
}

// "ios/next", or what was recorded where that is none.
std::string contextOf(const PushRun& run) {
    const auto platform = fromRawValue<ASCPlatform>(run.platform.value_or(""));
    const auto slot = fromRawValue<AppStoreVersionStateClass>(run.stateClass.value_or(""));
    return platform && slot ? ContextID{*platform, *slot}.text() : run.platform.value_or("");
}

ExitStatus listRuns(Invocation& invocation) {
    constexpr long mostRuns = 100'000;
    constexpr long usualRuns = 20;
    const ManagedApp app = requireRecordedApp(invocation);
    const PushHistory history = invocation.composition.history();
    const auto limit = invocation.arguments.number("--limit", 1, mostRuns).value_or(usualRuns);
    const auto runs = history.runs(app.id, static_cast<std::size_t>(limit));
    invocation.output.document(runs);
    Table table{.columns = {{"Run"},
                            {"When (UTC)"},
                            {"Version"},
                            {"Context"},
                            {"Fields", Table::Align::right},
                            {"Locales", Table::Align::right},
                            {"Failed", Table::Align::right}},
                .rows = {}};
    for (const PushRun& run : runs)
        table.rows.push_back({shortID(history, app.id, run.sessionId),
                              shortTime(run.finished),
                              run.versionString.value_or(""),
                              contextOf(run),
                              std::to_string(run.fields),
                              std::to_string(run.locales),
                              {std::to_string(run.failed), run.failed > 0 ? Style::red : Style::dim}});
    if (runs.empty())
        invocation.output.line(fmt::format("Nothing was pushed for {} yet.", app.displayName));
    else
        invocation.output.table(table);
    return ExitStatus::done;
}

PushRun requireRun(Invocation& invocation, const ManagedApp& app) {
    const PushHistory history = invocation.composition.history();
    const std::string wanted = *invocation.arguments.value("RUN");
    const auto runs =
        wanted == newestRun ? history.runs(app.id, 1) : history.runsBeginningWith(app.id, wanted);
    for (const PushRun& run : runs)
        if (runs.size() == 1 || run.sessionId == wanted) return run;
    if (runs.empty())
        throw CommandError(ExitStatus::notFound,
                           wanted == newestRun
                               ? fmt::format("nothing was pushed for {} yet", app.displayName)
                               : fmt::format("{} has no run {}", app.displayName, quotedWord(wanted)),
                           "'quorvel history' lists the runs.");
    std::vector<std::string> ids;
    for (const PushRun& run : runs)
        ids.push_back(shortID(history, app.id, run.sessionId));
    throw UsageError(fmt::format("{} stands for several runs", quotedWord(wanted)),
                     fmt::format("There are {}.", someOf(ids)));
}

struct RunRecord {
    PushRun run;
    std::vector<PushHistoryEntry> entries;
    QUORVEL_RECORD(RunRecord, run, entries)
};

void printEntry(Output& output, const PushHistoryEntry& entry) {
    const auto field = fromRawValue<FieldType>(entry.fieldType);
    if (!field) return; // of a field that this version of the program does not know
    const std::string_view outcome = !entry.success ? "FAILED"
                                     : entry.previousValue == entry.newValue
                                         ? "App Store Connect had it already"
                                         : "pushed";
    printTextChange(output, {entry.locale, *field}, outcome, wordDiff(entry.previousValue, entry.newValue),
                    entry.errorMessage.value_or(""));
}

ExitStatus showRun(Invocation& invocation) {
    const ManagedApp app = requireRecordedApp(invocation);
    const PushRun run = requireRun(invocation, app);
    auto entries = invocation.composition.history().entriesOfRun(app.id, run.sessionId);
    // Fields are pushed side by side, so that the order of their ends is chance.
    std::ranges::stable_sort(entries, {}, [](const PushHistoryEntry& entry) {
        return std::pair(entry.locale, fromRawValue<FieldType>(entry.fieldType));
    });
    Output& output = invocation.output;
    output.document(RunRecord{run, entries});
    if (output.isJSON()) return ExitStatus::done;
    output.line(fmt::format("Run {} of {}, {} {}, {}", run.sessionId, app.displayName, contextOf(run),
                            run.versionString.value_or(""), shortTime(run.finished)));
    output.line();
    for (const PushHistoryEntry& entry : entries)
        printEntry(output, entry);
    output.line(fmt::format("{} tried, {} failed.", counted(static_cast<std::size_t>(run.fields), "field"),
                            run.failed));
    return ExitStatus::done;
}

// Whether a reverted text was none before, so that a push would remove it on App Store Connect.
bool clearsText(const RevertReport& report, const std::vector<PushHistoryEntry>& entries) {
    return std::ranges::any_of(entries, [&](const PushHistoryEntry& entry) {
        const auto field = fromRawValue<FieldType>(entry.fieldType);
        return field && entry.success && isBlank(entry.previousValue) &&
               std::ranges::find(report.reverted, FieldKey{entry.locale, *field}) != report.reverted.end();
    });
}

void printReport(Invocation& invocation, const RevertReport& report,
                 const std::vector<PushHistoryEntry>& entries) {
    Output& output = invocation.output;
    const bool rehearsed = invocation.global.dryRun;
    Table table{.columns = {{"Locale"}, {"Field"}, {"What"}}, .rows = {}};
    for (const FieldKey& key : report.reverted)
        table.rows.push_back(
            {key.locale, shortLabelOf(key.field),
             Table::Cell{rehearsed ? "would take its previous text" : "has its previous text",
                         Style::green}});
    for (const FieldKey& key : report.unchanged)
        table.rows.push_back(
            {key.locale, shortLabelOf(key.field), Table::Cell{"had it already", Style::dim}});
    if (!table.rows.empty()) output.table(table);
    printKept(output, report.kept, dryRunOf(invocation.global));
    for (const std::string& warning : report.warnings)
        output.warning(warning);
    const std::string texts =
        fmt::format("{} of {}", counted(report.reverted.size(), "text"), report.context.id());
    if (report.reverted.empty())
        output.line("There is nothing to put back.");
    else if (rehearsed)
        output.line(fmt::format("{} would be put back.", texts));
    else
        output.line(fmt::format("{} put back locally; '{}' sends that.", texts,
                                clearsText(report, entries) ? "quorvel push --allow-clear" : "quorvel push"));
    if (rehearsed) output.note("Dry run: nothing was written.");
}

ExitStatus revertRun(Invocation& invocation) {
    AppTarget target(invocation, AppTarget::Reach::records);
    const PushRun run = requireRun(invocation, target.app());
    const auto controller = target.controller();
    const RevertReport report = [&] {
        const OperationProgress progress(invocation.output, *controller);
        return controller->revert(run.sessionId, dryRunOf(invocation.global));
    }();
    invocation.output.document(report);
    const auto entries = invocation.composition.history().entriesOfRun(target.app().id, run.sessionId);
    printReport(invocation, report, entries);
    const LocaleSet disabled = target.disabledLocales();
    if (std::ranges::any_of(entries, [&](const auto& entry) { return disabled.contains(entry.locale); }))
        invocation.output.note("'quorvel locale enable LOCALE' lets a disabled locale take part again.");
    return ExitStatus::done;
}

ArgumentSpec runArgument() {
    return {"RUN",
            "RUN",
            "Its identifier, the beginning of that, or last",
            {},
            ArgumentSpec::Need::required,
            ArgumentSpec::Count::once,
            {newestRun}};
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
         .details = "Only local files change; the next push sends them. A text that was edited since is put "
                    "aside first."},
    };
}

} // namespace quorvel
