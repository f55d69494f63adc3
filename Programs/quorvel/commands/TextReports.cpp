#include "Programs/quorvel/commands/TextReports.h"

#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataTexts.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <map>
#include <set>

namespace quorvel {

std::string withReview(std::string explanation, const std::optional<ReviewMark>& review) {
    return review ? fmt::format("{} · {}", explanation, shortTextOf(*review)) : explanation;
}

std::vector<ListedChange> listedChangesOf(const std::vector<PendingChange>& changes) {
    std::vector<ListedChange> listed;
    for (const PendingChange& change : changes)
        listed.push_back({.locale = change.locale,
                          .field = change.field,
                          .explanation = withReview(MetadataDiff::explain(change), change.review),
                          .isNewLocale = change.isNewLocale,
                          .clears = change.clears()});
    return listed;
}

void printChanges(Output& output, const std::vector<ListedChange>& changes) {
    Table table{.columns = {{"Locale"}, {"Field"}, {"What", Table::Align::left, Table::Fit::wrap}},
                .rows = {}};
    std::map<std::string_view, std::vector<std::string_view>> newLocales;
    for (const ListedChange& change : changes)
        if (change.isNewLocale) newLocales[change.locale].push_back(shortLabelOf(change.field));
    for (const ListedChange& change : changes) {
        const Style style = change.clears ? Style::yellow : Style::plain;
        if (!change.isNewLocale)
            table.rows.push_back(
                {shownLocale(change.locale), shortLabelOf(change.field), {change.explanation, style}});
        else if (const auto fields = newLocales.extract(change.locale))
            table.rows.push_back({change.locale, counted(fields.mapped().size(), "field"),
                                  fmt::format("New locale — {}", fmt::join(fields.mapped(), ", "))});
    }
    output.table(table);
}

void printLeftOut(Output& output, const std::vector<LeftOutChange>& leftOut, Detail detail) {
    constexpr std::size_t listedAtMost = 3; // of a reason
    if (leftOut.empty()) return;
    output.line(fmt::format("{} left out:", counted(leftOut.size(), "change")));
    for (const LeftOutGroup& group : groupsOf(leftOut)) {
        const bool isToldAtOnce = std::ranges::all_of(
            group.changes, [&](const LeftOutChange& one) { return one.explanation == group.explanation; });
        if (detail == Detail::each || (group.changes.size() <= listedAtMost && !isToldAtOnce)) {
            for (const LeftOutChange& one : group.changes)
                output.line(fmt::format("  {}: {}", placesOf({one.change.key()}), one.explanation));
            continue;
        }
        std::vector<FieldKey> keys;
        for (const LeftOutChange& one : group.changes)
            keys.push_back(one.change.key());
        output.line(keys.size() == 1 ? fmt::format("  {}: {}", placesOf(keys), group.explanation)
                                     : fmt::format("  {} changes ({}): {}", keys.size(), placesOf(keys),
                                                   group.explanation));
    }
    if (std::ranges::find(leftOut, LeftOutReason::clearsField, &LeftOutChange::reason) != leftOut.end())
        output.line("  'quorvel push --allow-clear' removes texts from App Store Connect, too.");
    if (std::ranges::find(leftOut, LeftOutReason::localeDisabled, &LeftOutChange::reason) != leftOut.end())
        output.line("  'quorvel locale enable LOCALE' lets a disabled locale take part again.");
}

std::string placesOf(const std::vector<FieldKey>& keys) {
    std::map<FieldType, std::vector<std::string>> localesOf;
    std::set<std::string_view> locales;
    for (const FieldKey& key : keys) {
        localesOf[key.field].push_back(escapeControls(shownLocale(key.locale)));
        locales.insert(key.locale);
    }
    std::vector<std::string> parts;
    for (const auto& [field, names] : localesOf)
        parts.push_back(locales.size() == 1 ? std::string(shortLabelOf(field))
                                            : fmt::format("{} of {}", shortLabelOf(field), someOf(names)));
    if (locales.size() != 1) return fmt::format("{}", fmt::join(parts, "; "));
    return fmt::format("{} {}", escapeControls(shownLocale(*locales.begin())), fmt::join(parts, ", "));
}

void printRequests(Output& output, const std::vector<PlannedRequest>& requests) {
    for (const PlannedRequest& request : requests) {
        output.line(fmt::format("{} {}", request.method, request.path));
        output.verbatim(encodeJSON(request.body, {JSONLayout::pretty, JSONKeyOrder::declared}));
        output.line();
    }
}

void printWarnings(Output& output, const std::vector<PushWarning>& warnings) {
    std::vector<std::pair<std::string_view, std::vector<std::string>>> places; // by text, the first first
    for (const PushWarning& warning : warnings) {
        auto found = std::ranges::find(places, warning.text, &decltype(places)::value_type::first);
        if (found == places.end()) found = places.insert(found, {warning.text, {}});
        found->second.push_back(
            fmt::format("{}{}", shownLocale(warning.locale),
                        warning.field ? fmt::format(" {}", shortLabelOf(*warning.field)) : ""));
    }
    for (const auto& [text, where] : places)
        output.warning(fmt::format("{} ({})", text, someOf(where)));
}

// The folder above the locales' folders and the files of the page.
std::filesystem::path folderOfBackups(const KeptEdit& edit) {
    const auto below = std::filesystem::path(edit.locale) / fileNameOf(edit.field);
    std::filesystem::path folder = edit.path;
    for (auto part = below.begin(); part != below.end(); ++part)
        folder = folder.parent_path();
    return folder;
}

void printBackups(Output& output, const std::vector<KeptEdit>& kept, Backups backups, std::string_view lead) {
    std::map<std::filesystem::path, std::vector<std::string>> places; // by the folder of the locales
    for (const KeptEdit& edit : kept)
        places[folderOfBackups(edit)].push_back(
            fmt::format("{} {}", shownLocale(edit.locale), shortLabelOf(edit.field)));
    for (const auto& [folder, names] : places)
        output.warning(fmt::format("{}{} edited locally, {}: {}", lead, counted(names.size(), "text"),
                                   backups == Backups::planned ? "which would be backed up"
                                                               : "backed up under " + folder.string(),
                                   fmt::join(names, ", ")));
}

std::string relativeTime(Date then, Date now) {
    struct Unit {
        std::chrono::seconds length;
        std::string_view name;
    };
    static constexpr std::array<Unit, 6> units = {{{std::chrono::hours(24 * 365), "year"},
                                                   {std::chrono::hours(24 * 30), "month"},
                                                   {std::chrono::hours(24 * 7), "week"},
                                                   {std::chrono::hours(24), "day"},
                                                   {std::chrono::hours(1), "hour"},
                                                   {std::chrono::minutes(1), "minute"}}};
    for (const Unit& unit : units)
        if (const auto count = (now - then) / unit.length; count > 0)
            return fmt::format("{} ago", counted(static_cast<std::size_t>(count), unit.name));
    return "just now";
}

std::string shortTime(Date date) {
    std::string text = formatISO8601(date); // 2026-03-01T12:30:00Z
    text[text.find('T')] = ' ';
    return text.substr(0, text.rfind(':')) + "Z";
}

Style styleOfState(std::string_view state) {
    if (isEditableState(state)) return Style::cyan;
    if (state.starts_with("REPLACED") || state.ends_with("REMOVED_FROM_SALE")) return Style::dim;
    return stateClassOf(state) == AppStoreVersionStateClass::live ? Style::green : Style::yellow;
}

Table::Cell contextCell(const PlatformContext& context) {
    return {fmt::format("{} {} {}", context.id(), context.versionString, context.appStoreState),
            styleOfState(context.appStoreState)};
}

std::string attentionText(std::int64_t count) {
    if (count == 0) return {};
    return fmt::format("{} {} attention", counted(static_cast<std::size_t>(count), "version"),
                       count == 1 ? "needs" : "need");
}

std::string callInWorkspace(const std::optional<std::string>& workspace) {
    if (!workspace) return "quorvel";
    const bool isWord = workspace->find_first_of(" '\"\\$`&;|<>()*?!#~") == std::string::npos;
    return fmt::format("quorvel --workspace {}", isWord ? *workspace : fmt::format("\"{}\"", *workspace));
}

std::string priceText(double dollars) {
    constexpr double cent = 0.01;
    return dollars > 0 && dollars < cent ? "less than $0.01" : fmt::format("${:.2f}", dollars);
}

std::string priceText(double dollars, bool isAtMost) {
    constexpr double cent = 0.01;
    return isAtMost && dollars >= cent ? "at most " + priceText(dollars) : priceText(dollars);
}

} // namespace quorvel
