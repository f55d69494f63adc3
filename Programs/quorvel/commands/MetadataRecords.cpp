#include "Programs/quorvel/commands/MetadataRecords.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <map>

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

std::string someOf(const std::vector<std::string>& names) {
    constexpr std::size_t namedAtMost = 5;
    const std::size_t named = std::min(names.size(), namedAtMost);
    std::string list =
        fmt::format("{}", fmt::join(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(named), ", "));
    if (names.size() > named) list += fmt::format(" and {} more", names.size() - named);
    return list;
}

void printChanges(Output& output, const std::vector<PendingChange>& changes) {
    Table table{.columns = {{"Locale"}, {"Field"}, {"What", Table::Align::left, Table::Fit::wrap}},
                .rows = {}};
    std::map<std::string_view, std::vector<std::string_view>> newLocales;
    for (const PendingChange& change : changes)
        if (change.isNewLocale) newLocales[change.locale].push_back(shortLabelOf(change.field));
    for (const PendingChange& change : changes) {
        const Style style = change.clears() ? Style::yellow : Style::plain;
        if (!change.isNewLocale)
            table.rows.push_back(
                {change.locale, shortLabelOf(change.field), {MetadataDiff::explain(change), style}});
        else if (const auto fields = newLocales.extract(change.locale))
            table.rows.push_back({change.locale, counted(fields.mapped().size(), "field"),
                                  fmt::format("New locale — {}", fmt::join(fields.mapped(), ", "))});
    }
    output.table(table);
}

void printLeftOut(Output& output, const std::vector<LeftOutChange>& leftOut) {
    if (leftOut.empty()) return;
    output.line(fmt::format("{} left out:", counted(leftOut.size(), "change")));
    for (const LeftOutChange& one : leftOut)
        output.line(fmt::format("  {} {}: {}", escapeControls(one.change.locale),
                                shortLabelOf(one.change.field), one.explanation));
    if (std::ranges::find(leftOut, LeftOutReason::localeDisabled, &LeftOutChange::reason) != leftOut.end())
        output.line("  'quorvel locale enable LOCALE' lets a disabled locale take part again.");
}

void printWarnings(Output& output, const std::vector<PushWarning>& warnings) {
    std::vector<std::pair<std::string_view, std::vector<std::string>>>
        places; // of each text, the first first
    for (const PushWarning& warning : warnings) {
        auto found = std::ranges::find(places, warning.text, &decltype(places)::value_type::first);
        if (found == places.end()) found = places.insert(found, {warning.text, {}});
        found->second.push_back(fmt::format(
            "{}{}", warning.locale, warning.field ? fmt::format(" {}", shortLabelOf(*warning.field)) : ""));
    }
    for (const auto& [text, where] : places)
        output.warning(fmt::format("{} ({})", text, someOf(where)));
}

void printKept(Output& output, const std::vector<KeptEdit>& kept, DryRun dryRun, std::string_view lead) {
    std::map<std::filesystem::path, std::vector<std::string>> places; // by the folder of the locales
    for (const KeptEdit& edit : kept)
        places[std::filesystem::path(edit.path).parent_path().parent_path()].push_back(
            fmt::format("{} {}", edit.locale, shortLabelOf(edit.field)));
    for (const auto& [folder, names] : places)
        output.warning(fmt::format("{}{} edited locally, {}: {}", lead, counted(names.size(), "text"),
                                   dryRun == DryRun::yes ? "which would be put aside"
                                                         : "put aside under " + folder.string(),
                                   fmt::join(names, ", ")));
}

} // namespace quorvel
