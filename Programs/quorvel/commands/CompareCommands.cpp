#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataSnapshot.h"
#include "Core/metadata/MetadataTexts.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/AppTarget.h"
#include "Programs/quorvel/ChangeRendering.h"
#include "Programs/quorvel/WordDiff.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <map>
#include <set>

namespace quorvel {

template <>
struct RawValues<DiffSegment::Kind> {
    using K = DiffSegment::Kind;
    static constexpr std::pair<K, std::string_view> values[] = {
        {K::same, "same"}, {K::removed, "removed"}, {K::added, "added"}};
};

namespace {

using Cell = MetadataSnapshot::Cell;
using CellStatus = MetadataSnapshot::CellStatus;

struct StatusDocument {
    std::string folder;
    std::string context;
    std::optional<std::string> versionString;
    std::optional<std::string> appStoreState; // at the last pull
    bool interruptedPull = false;
    std::vector<std::string> locales;
    std::map<std::string, std::map<std::string, Cell>> cells; // locale → field
    std::vector<ChangeRecord> changes;
    std::vector<LeftOutChange> leftOut;
    std::vector<PushWarning> warnings;
    std::vector<std::string> notices; // about the copies of App Store Connect's texts
    QUORVEL_RECORD(StatusDocument, folder, context, versionString, appStoreState, interruptedPull, locales,
                   cells, changes, leftOut, warnings, notices)
};

struct Comparison {
    MetadataSnapshot grid;
    std::vector<PendingChange> changes;
    PushSelection selection;
    std::vector<std::string> notices;
};

std::vector<std::string> localesWithoutFolder(const LocaleTexts& pulled, const LocaleTexts& local,
                                              const LocaleSet& disabledLocales) {
    std::vector<std::string> missing;
    for (const auto& [locale, texts] : pulled)
        if (!texts.isAbsent() && !local.contains(locale) && !disabledLocales.contains(locale))
            missing.push_back(locale);
    return missing;
}

Comparison compare(AppTarget& target, const MetadataStore& store) {
    const LocaleSet disabledLocales = target.disabledLocales();
    const LocaleTexts local = store.readAll(TextSide::local);
    const LocaleTexts pulled = store.readAll(TextSide::pulled);
    Comparison result{MetadataSnapshot::of(local), MetadataDiff::compare(pulled, local), {}, {}};
    result.selection = selectForPush(result.changes, {}, disabledLocales);
    if (lacksItsCopies(store)) result.notices.push_back(notPulledText(target.localContext().text()));
    const auto missing = localesWithoutFolder(pulled, local, disabledLocales);
    if (!missing.empty()) result.notices.push_back(noFolderText(missing.size(), someOf(missing)));
    return result;
}

void printNotices(Output& output, const Comparison& comparison) {
    for (const std::string& notice : comparison.notices)
        output.warning(notice);
}

StatusDocument documentOf(AppTarget& target, const MetadataStore& store, const Comparison& comparison) {
    const ContextID context = target.localContext();
    StatusDocument document{.folder = store.folder().rootURL.string(), .context = context.text()};
    if (const auto saved = target.contexts().savedContext(context)) {
        document.versionString = saved->versionString;
        document.appStoreState = saved->appStoreState;
    }
    document.interruptedPull = store.hasInterruptedPull();
    document.locales = comparison.grid.locales;
    for (const auto& [locale, cells] : comparison.grid.cells)
        for (const auto& [field, cell] : cells)
            document.cells[locale][std::string(rawValue(field))] = cell;
    document.changes = recordsOf(comparison.changes);
    document.leftOut = comparison.selection.leftOut;
    document.warnings = comparison.selection.warnings;
    document.notices = comparison.notices;
    return document;
}

char markOf(const PendingChange* change) {
    if (!change) return ' ';
    if (change->isNewLocale) return '+';
    return change->clears() ? '-' : '*';
}

Table::Cell gridCell(const Cell& cell, const PendingChange* change) {
    const char mark = markOf(change);
    switch (cell.status) {
    case CellStatus::notPulled:
        return {fmt::format("·{}", mark), Style::dim};
    case CellStatus::empty:
        return {fmt::format("–{}", mark), change ? Style::yellow : Style::dim};
    case CellStatus::overLimit:
        return {fmt::format("!{}{}", cell.charCount, mark), Style::red};
    case CellStatus::ok:
        break;
    }
    return {fmt::format("{}{}{}", cell.remarks.empty() ? "" : "?", cell.charCount, mark),
            change ? Style::cyan : Style::plain};
}

void printGrid(Output& output, const Comparison& comparison) {
    std::map<FieldKey, const PendingChange*> changeOf;
    for (const PendingChange& change : comparison.changes)
        changeOf[change.key()] = &change;
    Table table{.columns = {{"Locale"}}, .rows = {}};
    for (const FieldType field : allFieldTypes)
        table.columns.push_back(
            {fmt::format("{} ", shortLabelOf(field)), Table::Align::right, Table::Fit::cut});
    for (const std::string& locale : comparison.grid.locales) {
        auto& row = table.rows.emplace_back();
        row.push_back({locale, isAppStoreLocale(locale) ? Style::plain : Style::yellow});
        for (const FieldType field : allFieldTypes) {
            const auto found = changeOf.find({locale, field});
            row.push_back(gridCell(comparison.grid.cell(locale, field),
                                   found == changeOf.end() ? nullptr : found->second));
        }
    }
    output.table(table);
    std::vector<std::string> limits;
    for (const FieldType field : allFieldTypes)
        limits.push_back(fmt::format("{} {}", shortLabelOf(field), limitOf(field)));
    output.note(
        fmt::format("Characters per field; limits: {}.\n"
                    "* edited, + new locale, - cleared, ! over the limit, ? has a remark, – empty, · no file",
                    fmt::join(limits, " · ")));
}

// Tidying leaves alone what App Store Connect holds, and so is no advice for it.
std::string_view explainUnchanged(TextRemark remark) {
    if (remark == TextRemark::finalLineBreak) return "Ends with a line break, on App Store Connect too.";
    if (remark == TextRemark::byteOrderMark)
        return "Begins with a byte order mark, on App Store Connect too.";
    return explain(remark);
}

// What is odd about the texts, also about those that are not pending, which the push would not tell.
void printRemarks(Output& output, const Comparison& comparison) {
    std::set<FieldKey> pending;
    for (const PendingChange& change : comparison.changes)
        pending.insert(change.key());
    std::map<std::pair<TextRemark, std::string_view>, std::vector<std::string>> places;
    for (const auto& [locale, cells] : comparison.grid.cells)
        for (const auto& [field, cell] : cells)
            for (const TextRemark remark : cell.remarks)
                places[{remark,
                        pending.contains({locale, field}) ? explain(remark) : explainUnchanged(remark)}]
                    .push_back(fmt::format("{} {}", locale, shortLabelOf(field)));
    for (const auto& [remark, where] : places)
        output.warning(fmt::format("{} ({})", remark.second, someOf(where)));
}

void printSummary(Output& output, const StatusDocument& document, const Comparison& comparison) {
    std::size_t over = 0;
    for (const auto& [locale, cells] : comparison.grid.cells)
        for (const auto& [field, cell] : cells)
            over += cell.status == CellStatus::overLimit;
    const std::size_t waiting = comparison.changes.size();
    output.line();
    output.line(fmt::format(
        "{} on disk. {} {}", counted(document.locales.size(), "locale"),
        waiting == 0 ? "Local matches App Store Connect." : fmt::format("{} waiting for Push.", waiting),
        over == 0 ? "Nothing over a character limit." : fmt::format("{} to trim before Push.", over)));
}

ExitStatus showTextStatus(Invocation& invocation) {
    AppTarget target(invocation, AppTarget::Reach::records);
    const MetadataStore store = target.localStore();
    const Comparison comparison = compare(target, store);
    const StatusDocument document = documentOf(target, store, comparison);
    Output& output = invocation.output;
    output.document(document);
    output.line(fmt::format(
        "{} {}{}", document.context, document.versionString.value_or("not pulled yet"),
        document.appStoreState ? fmt::format(" ({} at the last pull)", *document.appStoreState) : ""));
    output.line(document.folder);
    output.line();
    if (document.locales.empty()) {
        output.line("No locales here. Pull, or add one with 'quorvel locale add'.");
        printNotices(output, comparison);
        return ExitStatus::done;
    }
    printGrid(output, comparison);
    printSummary(output, document, comparison);
    if (!comparison.changes.empty()) {
        output.line();
        printChanges(output, comparison.changes);
    }
    if (!comparison.selection.leftOut.empty()) output.line();
    printLeftOut(output, comparison.selection.leftOut);
    if (document.interruptedPull)
        output.warning(
            "the last pull was interrupted, so pulled texts may look like local edits; pull again");
    printNotices(output, comparison);
    printRemarks(output, comparison);
    return ExitStatus::done;
}

struct SegmentRecord {
    DiffSegment::Kind kind = DiffSegment::Kind::same;
    std::string text;
    QUORVEL_RECORD(SegmentRecord, kind, text)
};

struct DiffRecord {
    std::string locale;
    FieldType field = FieldType::name;
    std::string remote;
    std::string local;
    bool isOverLimit = false;
    bool isNewLocale = false;
    std::string explanation;
    std::vector<SegmentRecord> segments;
    QUORVEL_RECORD(DiffRecord, locale, field, remote, local, isOverLimit, isNewLocale, explanation, segments)
};

DiffRecord diffRecordOf(const PendingChange& change, const std::vector<DiffSegment>& segments) {
    DiffRecord record{change.locale,
                      change.field,
                      change.remote,
                      change.local,
                      change.isOverLimit,
                      change.isNewLocale,
                      MetadataDiff::explain(change),
                      {}};
    for (const DiffSegment& segment : segments)
        record.segments.push_back({segment.kind, segment.text});
    return record;
}

ExitStatus showDiff(Invocation& invocation) {
    AppTarget target(invocation, AppTarget::Reach::records);
    const Comparison comparison = compare(target, target.localStore());
    const auto& changes = comparison.changes;
    Output& output = invocation.output;
    std::vector<DiffRecord> records;
    for (const PendingChange& change : changes) {
        const auto segments = wordDiff(change.remote, change.local);
        if (output.isJSON())
            records.push_back(diffRecordOf(change, segments));
        else
            printTextChange(output, {change.locale, change.field}, MetadataDiff::explain(change), segments);
    }
    output.document(records);
    if (changes.empty())
        output.line("No pending changes — local matches the last-pulled ASC snapshot.");
    else
        output.line(fmt::format("{} in all.", counted(changes.size(), "change")));
    printNotices(output, comparison);
    return ExitStatus::done;
}

} // namespace

std::vector<Command> compareCommands() {
    return {
        {.name = "status",
         .summary = "Show the grid of locales and fields, what changed, and what a push would leave out",
         .arguments = {folderArgument()},
         .heeds = {"--app", "--workspace", "--context"},
         .run = showTextStatus,
         .details = "Compares with the copies of the last pull, without asking App Store Connect."},
        {.name = "diff",
         .summary = "Show the pending changes word by word",
         .arguments = {folderArgument()},
         .heeds = {"--app", "--workspace", "--context"},
         .run = showDiff,
         .details =
             "Removed words stand in [-…-] and added ones in {+…+}, or in red and green on a terminal."},
    };
}

} // namespace quorvel
