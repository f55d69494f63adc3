#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataTexts.h"
#include "Core/metadata/TextRemarks.h"
#include "Platform/text/Counted.h"
#include "Programs/quorvel/ChangeRendering.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/CompareActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <map>
#include <set>

namespace quorvel {

namespace {

using Cell = MetadataSnapshot::Cell;
using CellStatus = MetadataSnapshot::CellStatus;

void printNotices(Output& output, const std::vector<std::string>& notices) {
    for (const std::string& notice : notices)
        output.warning(notice);
}

char markOf(const TextChange* change) {
    if (!change) return ' ';
    if (change->isNewLocale) return '+';
    return change->clears ? '-' : '*';
}

Table::Cell gridCell(const Cell& cell, const TextChange* change, bool isFromDefault) {
    const std::string mark = std::string(isFromDefault ? "d" : "") + markOf(change);
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

void printGrid(Output& output, const TextStatus::Result& status) {
    std::map<FieldKey, const TextChange*> changeOf;
    for (const TextChange& change : status.changes)
        changeOf[{change.locale, change.field}] = &change;
    const std::set<FieldKey> fromDefault(status.fromDefault.begin(), status.fromDefault.end());
    Table table{.columns = {{"Locale"}}, .rows = {}};
    for (const FieldType field : allFieldTypes)
        table.columns.push_back(
            {fmt::format("{} ", shortLabelOf(field)), Table::Align::right, Table::Fit::cut});
    for (const std::string& locale : status.locales) {
        auto& row = table.rows.emplace_back();
        row.push_back({locale, isAppStoreLocale(locale) ? Style::plain : Style::yellow});
        const auto cells = status.cells.find(locale);
        for (const FieldType field : allFieldTypes) {
            const auto change = changeOf.find({locale, field});
            Cell cell;
            if (cells != status.cells.end())
                if (const auto known = cells->second.find(std::string(rawValue(field)));
                    known != cells->second.end())
                    cell = known->second;
            row.push_back(gridCell(cell, change == changeOf.end() ? nullptr : change->second,
                                   fromDefault.contains({locale, field})));
        }
    }
    output.table(table);
    std::vector<std::string> limits;
    for (const FieldType field : allFieldTypes)
        limits.push_back(fmt::format("{} {}", shortLabelOf(field), limitOf(field)));
    output.note(fmt::format("Characters per field; limits: {}.", fmt::join(limits, " · ")));
    output.note("* edited, + new locale, - cleared, ! over the limit, ? has a remark, – empty, · no file");
    if (!fromDefault.empty()) output.note("d the text of default/, as the locale has none of its own");
}

// Tidying leaves alone what App Store Connect holds, and so is no advice for it.
std::string_view explainUnchanged(TextRemark remark) {
    if (remark == TextRemark::finalLineBreak) return "Ends with a line break, on App Store Connect too.";
    if (remark == TextRemark::byteOrderMark)
        return "Begins with a byte order mark, on App Store Connect too.";
    return explain(remark);
}

// What is odd about the texts, also about those that are not pending, which the push would not tell.
void printRemarks(Output& output, const TextStatus::Result& status) {
    std::set<FieldKey> pending;
    for (const TextChange& change : status.changes)
        pending.insert({change.locale, change.field});
    std::map<std::pair<TextRemark, std::string_view>, std::vector<std::string>> places;
    for (const auto& [locale, cells] : status.cells)
        for (const FieldType field : allFieldTypes) {
            const auto cell = cells.find(std::string(rawValue(field)));
            if (cell == cells.end()) continue;
            for (const TextRemark remark : cell->second.remarks)
                places[{remark,
                        pending.contains({locale, field}) ? explain(remark) : explainUnchanged(remark)}]
                    .push_back(fmt::format("{} {}", locale, shortLabelOf(field)));
        }
    for (const auto& [remark, where] : places)
        output.warning(fmt::format("{} ({})", remark.second, someOf(where)));
}

// Whether and when the texts were pulled that all others are compared with.
std::string ageOf(const ComparedContext& compared, bool wasPulled, Date now) {
    if (!wasPulled) return "not pulled yet";
    if (!compared.pulledAt) return "not pulled yet, compared with what was pushed";
    return fmt::format("compared with the pull of {}, {}", shortTime(*compared.pulledAt),
                       relativeTime(*compared.pulledAt, now));
}

// Also of texts that were pushed unread.
void printUnread(Output& output, const std::vector<UnreadText>& unread) {
    if (unread.empty()) return;
    std::vector<std::string> where;
    for (const UnreadText& text : unread)
        where.push_back(fmt::format("{} {}{}", text.locale, shortLabelOf(text.field),
                                    text.mark == ReviewMark::cut ? ", cut" : ""));
    output.warning(fmt::format(
        "{} generated and not read since ({}). Read with 'quorvel diff', then "
        "'quorvel translate --accept'.",
        unread.size() == 1 ? "1 text was" : fmt::format("{} texts were", unread.size()), someOf(where)));
}

std::string whatWaits(const TextStatus::Result& status) {
    const auto sent = std::ranges::count_if(
        status.changes, [](const TextChange& change) { return !change.leftOut.has_value(); });
    std::vector<std::string> parts;
    if (sent > 0) parts.push_back(fmt::format("{} waiting for Push.", sent));
    if (!status.leftOut.empty()) parts.push_back(fmt::format("{} left out of it.", status.leftOut.size()));
    if (parts.empty())
        parts.emplace_back(status.wasPulled ? "Local matches App Store Connect."
                                            : "Nothing was pulled to compare with.");
    return fmt::format("{}", fmt::join(parts, " "));
}

void printSummary(Output& output, const TextStatus::Result& status) {
    output.line();
    output.line(fmt::format("{} on disk. {} {}", counted(status.locales.size(), "locale"), whatWaits(status),
                            status.overLimit == 0
                                ? "Nothing over a character limit."
                                : fmt::format("{} to trim before Push.", status.overLimit)));
}

// What a push would send by itself; the rest is listed with its reasons.
std::vector<ListedChange> listedChangesOf(const std::vector<TextChange>& changes) {
    std::vector<ListedChange> listed;
    for (const TextChange& change : changes)
        if (!change.leftOut)
            listed.push_back({.locale = change.locale,
                              .field = change.field,
                              .explanation = withReview(change.explanation, change.review),
                              .isNewLocale = change.isNewLocale,
                              .clears = change.clears});
    return listed;
}

ExitStatus showTextStatus(Invocation& invocation) {
    const auto status = perform<TextStatus>(invocation, requestOf<TextStatus::Request>(invocation));
    const ComparedContext& compared = status.compared;
    Output& output = invocation.output;
    output.document(status);
    output.line(fmt::format("{}{} {}", compared.context,
                            compared.version ? fmt::format(" {} ({}),", compared.version->versionString,
                                                           compared.version->appStoreState)
                                             : ",",
                            ageOf(compared, status.wasPulled, invocation.application.clock()())));
    output.line(compared.folder);
    output.line();
    if (status.locales.empty()) {
        output.line(status.wasPulled
                        ? "No locales here or on App Store Connect. Add one with 'quorvel locale add'."
                        : "No locales here. Pull, or add one with 'quorvel locale add'.");
        printNotices(output, status.notices);
        return ExitStatus::done;
    }
    printGrid(output, status);
    printSummary(output, status);
    if (const auto changes = listedChangesOf(status.changes); !changes.empty()) {
        output.line();
        printChanges(output, changes);
    }
    if (!status.leftOut.empty()) output.line();
    printLeftOut(output, status.leftOut);
    if (status.interruptedPull)
        output.warning(
            "the last pull was interrupted, so pulled texts may look like local edits; pull again");
    printNotices(output, status.notices);
    printUnread(output, status.unread);
    printRemarks(output, status);
    return ExitStatus::done;
}

ExitStatus showDiff(Invocation& invocation) {
    const auto diff = perform<DiffTexts>(invocation, requestOf<DiffTexts::Request>(invocation));
    Output& output = invocation.output;
    output.document(diff);
    std::set<FieldKey> shown;
    std::size_t sent = 0; // by a push that names nothing
    for (const auto& [change, segments] : diff.differences) {
        std::vector<DiffSegment> words;
        for (const auto& [kind, text] : segments)
            words.push_back({kind, text});
        printTextChange(output, {change.locale, change.field},
                        withReview(change.leftOut ? fmt::format("Left out of a push. {}",
                                                                change.leftOutBecause.value_or(""))
                                                  : change.explanation,
                                   change.review),
                        words);
        shown.insert({change.locale, change.field});
        sent += !change.leftOut;
    }
    output.line(fmt::format("{}: {}.", diff.compared.context,
                            ageOf(diff.compared, diff.wasPulled, invocation.application.clock()())));
    if (!diff.differences.empty())
        output.line(sent == diff.differences.size() ? fmt::format("{} in all.", counted(sent, "change"))
                                                    : fmt::format("{} in all, {} of them left out of a push.",
                                                                  counted(diff.differences.size(), "change"),
                                                                  diff.differences.size() - sent));
    else if (diff.leftOut.empty())
        output.line(diff.wasPulled ? "No pending changes — local matches the last-pulled ASC snapshot."
                                   : "Nothing was pulled to compare with, and no text is here.");
    auto others = diff.leftOut; // disabled locales and files that are no texts
    std::erase_if(others, [&](const LeftOutChange& one) { return shown.contains(one.change.key()); });
    printLeftOut(output, others);
    printNotices(output, diff.notices);
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
