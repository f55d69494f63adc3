#include "Core/metadata/MetadataTexts.h"
#include "Platform/text/Counted.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/TreeActions.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

namespace quorvel {

namespace {

void noteDryRun(const Invocation& invocation) {
    if (invocation.global.dryRun) invocation.output.note("Dry run: nothing was written.");
}

// A tree of another tool holds many files of the same few kinds.
void printSkipped(const Invocation& invocation, const std::vector<SkippedEntry>& skipped) {
    std::map<std::string_view, std::vector<std::string>> pathsOf; // by reason
    for (const SkippedEntry& entry : skipped) {
        if (invocation.global.verbose)
            invocation.output.warning(fmt::format("skipped {}: {}", entry.path, entry.reason));
        else
            pathsOf[entry.reason].push_back(entry.path);
    }
    for (const auto& [reason, paths] : pathsOf)
        invocation.output.warning(paths.size() == 1 ? fmt::format("skipped {}: {}", paths.front(), reason)
                                                    : fmt::format("skipped {} entries ({}): {}", paths.size(),
                                                                  someOf(paths), reason));
}

// A text that stays behind is no success: it cannot be read, or probably has another name.
ExitStatus statusFor(const std::vector<SkippedEntry>& skipped, bool didSomething) {
    using Kind = SkippedEntry::Kind;
    const bool leavesTexts = std::ranges::any_of(skipped, [](const SkippedEntry& entry) {
        return entry.kind == Kind::unreadable || entry.kind == Kind::misnamed;
    });
    if (!leavesTexts) return ExitStatus::done;
    return didSomething ? ExitStatus::partlyDone : ExitStatus::failed;
}

void printImport(const Invocation& invocation, const std::string& folder, const ImportReport& report) {
    const bool isDryRun = invocation.global.dryRun;
    Output& output = invocation.output;
    output.line(fmt::format("{} {} of {} into {}; {} unchanged, {} {} a final line break.",
                            isDryRun ? "Would import" : "Imported", counted(report.imported.size(), "field"),
                            counted(report.locales.size(), "locale"), folder, report.unchanged,
                            report.stripped, isDryRun ? "would lose" : "lost"));
    if (!report.fromDefault.empty())
        output.line(fmt::format("{} of them had no text of their own and took that of default/: {}.",
                                counted(report.fromDefault.size(), "field"), placesOf(report.fromDefault)));
    printBackups(output, report.kept, isDryRun ? Backups::planned : Backups::made);
    for (const FieldKey& over : report.overLimit)
        output.warning(fmt::format("{} {} is over its limit of {} characters and will not be pushed",
                                   shownLocale(over.locale), shortLabelOf(over.field), limitOf(over.field)));
    printSkipped(invocation, report.skipped);
}

ExitStatus importMetadata(Invocation& invocation) {
    auto request = requestOf<ImportTexts::Request>(invocation);
    request.tree = *invocation.arguments.value("DIR");
    const auto result = perform<ImportTexts>(invocation, request);
    invocation.output.document(result);
    printImport(invocation, result.folder, result.report);
    std::vector<SkippedEntry> skipped = result.report.skipped;
    bool didSomething = !result.report.imported.empty() || result.report.unchanged > 0;
    for (const auto& [folder, context, report] : result.others) {
        printImport(invocation, folder, report);
        skipped.insert(skipped.end(), report.skipped.begin(), report.skipped.end());
        didSomething |= !report.imported.empty() || report.unchanged > 0;
    }
    noteDryRun(invocation);
    return statusFor(skipped, didSomething);
}

ExitStatus exportMetadata(Invocation& invocation) {
    auto request = requestOf<ExportTexts::Request>(invocation);
    request.tree = *invocation.arguments.value("DIR");
    const auto result = perform<ExportTexts>(invocation, request);
    const ExportReport& report = result.report;
    Output& output = invocation.output;
    output.document(result);
    output.line(fmt::format("{} into {}: {} files {}, {} of them over another text; {} unchanged.",
                            request.dryRun ? "Would export" : "Exported", result.tree, report.written,
                            request.dryRun ? "to write" : "written", report.replaced.size(),
                            report.unchanged));
    if (result.warning) output.warning(*result.warning);
    printSkipped(invocation, report.skipped);
    noteDryRun(invocation);
    return statusFor(report.skipped, report.written > 0 || report.unchanged > 0);
}

std::string_view whatWasTidied(const TidiedField& field) {
    if (field.finalLineBreak && field.byteOrderMark) return "final line break and byte order mark";
    return field.finalLineBreak ? "final line break" : "byte order mark";
}

ExitStatus tidyMetadata(Invocation& invocation) {
    const auto request = requestOf<TidyTexts::Request>(invocation);
    const auto result = perform<TidyTexts>(invocation, request);
    Output& output = invocation.output;
    output.document(result);
    Table table{.columns = {{"Locale"}, {"Field"}, {request.dryRun ? "Would remove" : "Removed"}},
                .rows = {}};
    for (const TidiedField& field : result.report.tidied)
        table.rows.push_back({field.locale, shortLabelOf(field.field), whatWasTidied(field)});
    if (result.report.tidied.empty())
        output.line("Nothing to tidy.");
    else
        output.table(table);
    printSkipped(invocation, result.report.skipped);
    noteDryRun(invocation);
    return statusFor(result.report.skipped, !result.report.tidied.empty());
}

ArgumentSpec treeArgument(std::string_view description) {
    return {"DIR", "DIR", description, {}, ArgumentSpec::Need::required};
}

} // namespace

std::vector<Command> treeCommands() {
    return {
        {.name = "metadata", .summary = "Exchange store texts with trees of other release tools"},
        {.name = "metadata import",
         .summary = "Take the texts of a tree of <locale>/<field>.txt files",
         .arguments = {treeArgument("The tree"), folderArgument()},
         .heeds = {"--app", "--workspace", "--context", "--dry-run"},
         .run = importMetadata,
         .details =
             "One final line break of each file is dropped. A text of the folder \"default\" is taken for each "
             "locale without its own, and a folder per platform (ios, macos, …) goes into that platform's "
             "version. "
             "What is no locale or no field is skipped and named; status 7 tells that texts were left behind. "
             "Push sends the imported texts."},
        {.name = "metadata export",
         .summary = "Write the local texts as a tree of <locale>/<field>.txt files",
         .arguments = {treeArgument("Where to write"), folderArgument()},
         .heeds = {"--app", "--workspace", "--context", "--dry-run"},
         .run = exportMetadata},
        {.name = "metadata tidy",
         .summary = "Strip final line breaks and byte order marks from the local texts",
         .arguments = {folderArgument()},
         .heeds = {"--app", "--workspace", "--context", "--dry-run"},
         .run = tidyMetadata},
    };
}

} // namespace quorvel
