#include "Core/metadata/MetadataTransfer.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/AppTarget.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"

#include <fmt/format.h>

#include <functional>
#include <map>

namespace quorvel {

namespace {

void noteDryRun(const Invocation& invocation) {
    if (invocation.global.dryRun) invocation.output.note("Dry run: nothing was written.");
}

// As the app's one operation; a dry run changes nothing and needs no turn.
void change(const Invocation& invocation, AppTarget& target, MetadataOperation operation,
            const std::function<void()>& work) {
    if (invocation.global.dryRun)
        work();
    else
        target.controller()->perform(operation, work);
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

ExitStatus importMetadata(Invocation& invocation) {
    const auto tree = invocation.surroundings.workingFolder / *invocation.arguments.value("DIR");
    if (!std::filesystem::is_directory(tree))
        throw CommandError(ExitStatus::notFound, fmt::format("there is no folder {}", tree.string()));
    AppTarget target(invocation, AppTarget::Reach::account);
    const MetadataStore store = target.storeOf(target.contextToFill());
    ImportReport report;
    change(invocation, target, MetadataOperation::importTexts, [&] {
        report = importTree(tree, store, invocation.composition.clock(), dryRunOf(invocation.global));
    });
    Output& output = invocation.output;
    output.document(report);
    const bool rehearsed = invocation.global.dryRun;
    output.line(fmt::format("{} {} of {} into {}; {} unchanged, {} {} a final line break.",
                            rehearsed ? "Would import" : "Imported", counted(report.imported.size(), "field"),
                            counted(report.locales.size(), "locale"), store.folder().rootURL.string(),
                            report.unchanged, report.stripped, rehearsed ? "would lose" : "lost"));
    printKept(output, report.kept, dryRunOf(invocation.global));
    for (const FieldKey& over : report.overLimit)
        output.warning(fmt::format("{} {} is over its limit of {} characters and will not be pushed",
                                   over.locale, shortLabelOf(over.field), limitOf(over.field)));
    printSkipped(invocation, report.skipped);
    noteDryRun(invocation);
    return ExitStatus::done;
}

ExitStatus exportMetadata(Invocation& invocation) {
    AppTarget target(invocation, AppTarget::Reach::records);
    const auto tree = invocation.surroundings.workingFolder / *invocation.arguments.value("DIR");
    const ExportReport report = exportTree(target.localStore(), tree, dryRunOf(invocation.global));
    Output& output = invocation.output;
    output.document(report);
    const bool rehearsed = invocation.global.dryRun;
    output.line(fmt::format("{} into {}: {} files {}, {} of them over another text; {} unchanged.",
                            rehearsed ? "Would export" : "Exported", tree.string(), report.written,
                            rehearsed ? "to write" : "written", report.replaced.size(), report.unchanged));
    noteDryRun(invocation);
    return ExitStatus::done;
}

std::string_view whatWasTidied(const TidiedField& field) {
    if (field.finalLineBreak && field.byteOrderMark) return "final line break and byte order mark";
    return field.finalLineBreak ? "final line break" : "byte order mark";
}

ExitStatus tidyMetadata(Invocation& invocation) {
    AppTarget target(invocation, AppTarget::Reach::records);
    const MetadataStore store = target.localStore();
    std::vector<TidiedField> tidied;
    change(invocation, target, MetadataOperation::tidy,
           [&] { tidied = tidyTree(store, dryRunOf(invocation.global)); });
    Output& output = invocation.output;
    output.document(tidied);
    Table table{.columns = {{"Locale"}, {"Field"}, {invocation.global.dryRun ? "Would remove" : "Removed"}},
                .rows = {}};
    for (const TidiedField& field : tidied)
        table.rows.push_back({field.locale, shortLabelOf(field.field), whatWasTidied(field)});
    if (tidied.empty())
        output.line("Nothing to tidy.");
    else
        output.table(table);
    noteDryRun(invocation);
    return ExitStatus::done;
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
         .details = "One final line break of each file is dropped. What is no locale or no field is skipped "
                    "and named. Push sends the imported texts."},
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
