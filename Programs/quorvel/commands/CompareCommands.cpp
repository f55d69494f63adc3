#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataTexts.h"
#include "Core/metadata/TextRemarks.h"
#include "Platform/text/Counted.h"
#include "Programs/quorvel/AllApps.h"
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

void printConflictCount(Output& output, const std::vector<FieldKey>& conflicts) {
    if (conflicts.empty()) return;
    output.warning(fmt::format("{} in conflict ({}). 'quorvel conflicts' shows both sides, 'quorvel resolve' "
                               "settles them.",
                               counted(conflicts.size(), "text"), placesOf(conflicts)));
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
    for (const FieldType field : storeTexts)
        table.columns.push_back(
            {fmt::format("{} ", shortLabelOf(field)), Table::Align::right, Table::Fit::cut});
    for (const std::string& locale : status.locales) {
        auto& row = table.rows.emplace_back();
        row.push_back({locale, isAppStoreLocale(locale) ? Style::plain : Style::yellow});
        const auto cells = status.cells.find(locale);
        for (const FieldType field : storeTexts) {
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
    for (const FieldType field : storeTexts)
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
        for (const FieldType field : storeTexts) {
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

enum class Grid { all, changed };

// "Support URL 40, Marketing URL 38", and what is set of the page.
void printOtherFields(Output& output, const TextStatus::Result& status) {
    std::vector<std::string> ofLocales, set, missing;
    std::int64_t changedLocales = 0, changedPage = 0;
    for (const FieldType field : allFieldTypes) {
        const auto found = status.fields.find(std::string(rawValue(field)));
        if (found == status.fields.end()) continue;
        const FieldCount& count = found->second;
        (isPageField(field) ? changedPage : changedLocales) += count.changed;
        if (!isPageField(field))
            ofLocales.push_back(fmt::format("{} {}", shortLabelOf(field), count.filled));
        else
            (count.filled > 0 ? set : missing).emplace_back(shortLabelOf(field));
    }
    const auto print = [&](std::string line, std::int64_t changed) {
        if (changed > 0) line += fmt::format(" {} changed.", changed);
        output.line(line);
    };
    output.line();
    print(fmt::format("Of {}: {}.", counted(status.locales.size(), "locale"), fmt::join(ofLocales, ", ")),
          changedLocales);
    if (set.empty() && changedPage == 0) return output.line("Page: no field is set.");
    print(fmt::format("Page: {} set{}.", fmt::join(set, ", "),
                      missing.empty() ? "" : fmt::format("; not {}", fmt::join(missing, ", "))),
          changedPage);
}

void printSummary(Output& output, const TextStatus::Result& status, Grid shows) {
    output.line();
    output.line(fmt::format("{} {}. {} {}", counted(status.locales.size(), "locale"),
                            shows == Grid::changed ? "with changes" : "on disk", whatWaits(status),
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

void printStatus(Invocation& invocation, const TextStatus::Result& status) {
    const ComparedContext& compared = status.compared;
    Output& output = invocation.output;
    output.line(fmt::format("{}{} {}", compared.context,
                            compared.version ? fmt::format(" {} ({}),", compared.version->versionString,
                                                           compared.version->appStoreState)
                                             : ",",
                            ageOf(compared, status.wasPulled, invocation.application.clock()())));
    output.line(compared.folder);
    if (status.repositoryFile) output.note(fmt::format("By {}.", *status.repositoryFile));
    output.line();
    const Grid shows = invocation.arguments.has("--changed") ? Grid::changed : Grid::all;
    if (shows == Grid::changed && status.locales.empty()) {
        output.line(status.wasPulled ? "No locale has changes." : "Nothing was pulled to compare with.");
        printNotices(output, status.notices);
        return;
    }
    if (status.locales.empty()) {
        output.line(status.wasPulled
                        ? "No locales here or on App Store Connect. Add one with 'quorvel locale add'."
                        : "No locales here. Pull, or add one with 'quorvel locale add'.");
        printNotices(output, status.notices);
        return;
    }
    printGrid(output, status);
    printOtherFields(output, status);
    printSummary(output, status, shows);
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
    printConflictCount(output, status.conflicts);
    printUnread(output, status.unread);
    printRemarks(output, status);
}

ExitStatus showTextStatus(Invocation& invocation) {
    auto request = requestOf<TextStatus::Request>(invocation);
    request.changed = invocation.arguments.has("--changed");
    if (!invocation.arguments.has("--all-apps")) {
        const auto status = perform<TextStatus>(invocation, request);
        invocation.output.document(status);
        printStatus(invocation, status);
        return ExitStatus::done;
    }
    refuseSingleApp(invocation);
    const auto all = perform<TextStatusOfAllApps>(invocation, request);
    invocation.output.document(all);
    return printOfAllApps(invocation.output, all.apps, [&](const TextStatus::Result& status) {
        printStatus(invocation, status);
        return ExitStatus::done;
    });
}

std::string_view explainRemote(const DiffRemote::Difference& one) {
    switch (one.changedBy) {
    case ChangedBy::nobody:
        break;
    case ChangedBy::appStoreConnect:
        return "Changed on App Store Connect only.";
    case ChangedBy::local:
        return "Changed here only.";
    case ChangedBy::bothAlike:
        return "Changed on both sides alike.";
    case ChangedBy::bothDifferently:
        return one.merges ? "Changed on both sides, on App Store Connect so; a pull merges them."
                          : "Changed on both sides, on App Store Connect so; a pull makes it a conflict.";
    }
    return "";
}

// How many characters each side added and removed.
void printRemoteStatistics(Output& output, const std::vector<DiffRemote::Difference>& differences) {
    const auto cell = [](const DiffRemote::Difference& one, const DiffRemote::Extent& extent,
                         ChangedBy otherSide) {
        if (isSecret(one.field) && one.changedBy != otherSide) return Table::Cell{"changed"};
        return extent.added == 0 && extent.removed == 0
                   ? Table::Cell{"–", Style::dim}
                   : Table::Cell{fmt::format("+{} -{}", extent.added, extent.removed)};
    };
    Table table{.columns = {{"Locale"},
                            {"Field"},
                            {"App Store Connect", Table::Align::right},
                            {"Here", Table::Align::right}},
                .rows = {}};
    for (const DiffRemote::Difference& one : differences)
        table.rows.push_back(
            {shownLocale(one.locale), shortLabelOf(one.field), cell(one, one.changedThere, ChangedBy::local),
             one.changedBy == ChangedBy::bothAlike ? Table::Cell{"the same", Style::dim}
                                                   : cell(one, one.changedHere, ChangedBy::appStoreConnect)});
    if (!table.rows.empty()) output.table(table);
}

ExitStatus showRemoteDiff(Invocation& invocation) {
    if (invocation.arguments.has("--all-apps")) throw UsageError("--all-apps does not go with --remote.");
    auto request = requestOf<DiffRemote::Request>(invocation);
    request.locales = listOf(invocation.arguments, "--locale");
    for (const std::string& field : invocation.arguments.values("--field"))
        request.fields.push_back(*fromRawValue<FieldType>(field));
    const auto diff = perform<DiffRemote>(invocation, request);
    Output& output = invocation.output;
    output.document(diff);
    const auto print = [&](const DiffRemote::Difference& one, std::string_view explanation,
                           const std::vector<DiffRemote::Segment>& segments) {
        std::vector<DiffSegment> words;
        for (const auto& [kind, text] : segments)
            words.push_back({kind, text});
        printTextChange(output, {one.locale, one.field}, explanation, words);
    };
    std::map<ChangedBy, std::size_t> counts;
    for (const DiffRemote::Difference& one : diff.differences)
        ++counts[one.changedBy];
    // In a fresh checkout that is most of them.
    const bool listsAlike = invocation.global.verbose;
    auto listed = diff.differences;
    if (!listsAlike)
        std::erase_if(listed, [](const auto& one) { return one.changedBy == ChangedBy::bothAlike; });
    const bool showsWords = !invocation.arguments.has("--stat");
    if (!showsWords) printRemoteStatistics(output, listed);
    for (const DiffRemote::Difference& one : listed) {
        if (!showsWords) break;
        const bool onlyHere = one.changedBy == ChangedBy::local;
        print(one, explainRemote(one), onlyHere ? one.here : one.there);
        if (one.changedBy == ChangedBy::bothDifferently) print(one, "And here so.", one.here);
    }
    output.line(fmt::format(
        "{} {}, since {}.", diff.compared.context, diff.compared.version->versionString,
        !diff.wasPulled ? "it was never pulled"
        : !diff.compared.pulledAt
            ? "the last push"
            : fmt::format("the pull of {}, {}", shortTime(*diff.compared.pulledAt),
                          relativeTime(*diff.compared.pulledAt, invocation.application.clock()()))));
    output.line(
        diff.differences.empty()
            ? "Nothing changed on either side."
            : fmt::format("{} changed: {} on App Store Connect only, {} here only, {} on both alike, {} "
                          "on both differently.",
                          counted(diff.differences.size(), "text"), counts[ChangedBy::appStoreConnect],
                          counts[ChangedBy::local], counts[ChangedBy::bothAlike],
                          counts[ChangedBy::bothDifferently]));
    if (listed.size() < diff.differences.size())
        output.note("Those that changed on both sides alike are listed with --verbose.");
    for (const UnreadableText& text : diff.unreadable)
        output.warning(fmt::format("{} {} was not compared: {}", shownLocale(text.locale),
                                   shortLabelOf(text.field), text.explanation));
    printNotices(output, diff.notices);
    printConflictCount(output, diff.conflicts);
    const bool tells = invocation.arguments.has("--exit-code") && !diff.differences.empty();
    return tells ? ExitStatus::failed : ExitStatus::done;
}

// How many characters each change adds and removes.
void printStatistics(Output& output, const DiffTexts::Result& diff) {
    Table table{
        .columns = {{"Locale"}, {"Field"}, {"Added", Table::Align::right}, {"Removed", Table::Align::right}},
        .rows = {}};
    std::int64_t added = 0;
    std::int64_t removed = 0;
    for (const auto& difference : diff.differences) {
        if (isSecret(difference.change.field)) {
            table.rows.push_back({shownLocale(difference.change.locale),
                                  shortLabelOf(difference.change.field),
                                  {"changed"},
                                  {""}});
            continue;
        }
        table.rows.push_back({shownLocale(difference.change.locale),
                              shortLabelOf(difference.change.field),
                              {fmt::format("+{}", difference.added), Style::green},
                              {fmt::format("-{}", difference.removed), Style::red}});
        added += difference.added;
        removed += difference.removed;
    }
    if (table.rows.empty()) return;
    output.table(table);
    output.line(fmt::format("{} characters added, {} removed.", added, removed));
}

void printDiff(Invocation& invocation, const DiffTexts::Result& diff) {
    Output& output = invocation.output;
    const bool showsWords = !invocation.arguments.has("--stat");
    std::set<FieldKey> shown;
    std::size_t sent = 0; // by a push that names nothing
    if (!showsWords) printStatistics(output, diff);
    for (const auto& [change, segments, added, removed] : diff.differences) {
        std::vector<DiffSegment> words;
        for (const auto& [kind, text] : segments)
            words.push_back({kind, text});
        if (showsWords)
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
}

ExitStatus showDiff(Invocation& invocation) {
    if (invocation.arguments.has("--remote")) return showRemoteDiff(invocation);
    auto request = requestOf<DiffTexts::Request>(invocation);
    request.locales = listOf(invocation.arguments, "--locale");
    for (const std::string& field : invocation.arguments.values("--field"))
        request.fields.push_back(*fromRawValue<FieldType>(field));
    const auto endOf = [&](const DiffTexts::Result& diff) {
        const bool tells = invocation.arguments.has("--exit-code") && !diff.differences.empty();
        return tells ? ExitStatus::failed : ExitStatus::done;
    };
    if (!invocation.arguments.has("--all-apps")) {
        const auto diff = perform<DiffTexts>(invocation, request);
        invocation.output.document(diff);
        printDiff(invocation, diff);
        return endOf(diff);
    }
    refuseSingleApp(invocation);
    const auto all = perform<DiffTextsOfAllApps>(invocation, request);
    invocation.output.document(all);
    return printOfAllApps(invocation.output, all.apps, [&](const DiffTexts::Result& diff) {
        printDiff(invocation, diff);
        return endOf(diff);
    });
}

} // namespace

std::vector<Command> compareCommands() {
    return {
        {.name = "status",
         .summary = "Show the grid of locales and fields, what changed, and what a push would leave out",
         .arguments = {folderArgument(), {"--changed", "", "Only locales with changes"}, allAppsOption()},
         .heeds = {"--app", "--workspace", "--context"},
         .run = showTextStatus,
         .details = "Compares with the copies of the last pull, without asking App Store Connect. "
                    "With --all-apps an app that fails does not stop the others, and the worst of their "
                    "statuses is the command's."},
        {.name = "diff",
         .summary = "Show the pending changes word by word",
         .arguments =
             {folderArgument(),
              {"--remote", "",
               "Ask App Store Connect, and show who changed what there and here since the last pull"},
              {"--locale",
               "LOCALE",
               "Only this locale",
               {},
               ArgumentSpec::Need::optional,
               ArgumentSpec::Count::repeated},
              fieldOption(Fields::all),
              {"--stat", "", "Only how many characters each change adds and removes"},
              {"--exit-code", "", "End with status 1 when something differs, for scripts"},
              allAppsOption()},
         .heeds = {"--app", "--workspace", "--context"},
         .run = showDiff,
         .details =
             "Removed words stand in [-…-] and added ones in {+…+}, or in red and green on a terminal. "
             "--remote asks what a pull asks and writes nothing: it says of each text whether it was changed on "
             "App Store Connect only, here only, or on both sides, and whether a pull merges the two; "
             "texts that changed on both alike are counted, and listed with --verbose. "
             "App Store Connect does not tell who of a team it was. "
             "Without it the copies of the last pull are compared, without asking App Store Connect: in a fresh "
             "checkout 'quorvel pull --leave-edits' comes first, and keeps the texts that are there. "
             "For example: quorvel diff --exit-code --stat --locale de-DE,ja"},
    };
}

} // namespace quorvel
