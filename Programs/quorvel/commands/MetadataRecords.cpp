#include "Programs/quorvel/commands/MetadataRecords.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

ChangeRecord recordOf(const PendingChange& change) {
    return {change.locale,
            change.field,
            change.remote,
            change.local,
            change.isOverLimit,
            change.isNewLocale,
            MetadataDiff::explain(change)};
}

std::vector<ChangeRecord> recordsOf(const std::vector<PendingChange>& changes) {
    std::vector<ChangeRecord> records;
    for (const PendingChange& change : changes)
        records.push_back(recordOf(change));
    return records;
}

std::string counted(std::size_t count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

void printChanges(Output& output, const std::vector<PendingChange>& changes) {
    Table table{.columns = {{"Locale"}, {"Field"}, {"What", Table::Align::left, Table::Fit::wrap}},
                .rows = {}};
    for (const PendingChange& change : changes) {
        const Style style = change.clears() ? Style::yellow : Style::plain;
        table.rows.push_back(
            {change.locale, shortLabelOf(change.field), {MetadataDiff::explain(change), style}});
    }
    output.table(table);
}

void printLeftOut(Output& output, const std::vector<LeftOutChange>& leftOut) {
    if (leftOut.empty()) return;
    output.line();
    output.line(fmt::format("{} left out:", counted(leftOut.size(), "change")));
    for (const LeftOutChange& one : leftOut)
        output.line(fmt::format("  {} {}: {}", escapeControls(one.change.locale),
                                shortLabelOf(one.change.field), one.explanation));
}

void printWarnings(Output& output, const std::vector<PushWarning>& warnings) {
    for (const PushWarning& warning : warnings)
        output.warning(fmt::format("{}{}: {}", warning.locale,
                                   warning.field ? fmt::format(" {}", shortLabelOf(*warning.field)) : "",
                                   warning.text));
}

} // namespace quorvel
