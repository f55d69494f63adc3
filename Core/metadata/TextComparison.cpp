#include "Core/metadata/TextComparison.h"

#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataTexts.h"
#include "Core/metadata/PushChoice.h"
#include "Core/metadata/RemovedLocales.h"
#include "Core/metadata/merge/TextConflicts.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <map>
#include <set>

namespace quorvel {

namespace {

using UnreadableByKey = std::map<FieldKey, const UnreadableText*>;

// The first explanation of each field.
UnreadableByKey byKey(const std::vector<UnreadableText>& unreadable) {
    UnreadableByKey found;
    for (const UnreadableText& text : unreadable)
        found.emplace(text.key(), &text);
    return found;
}

std::map<FieldType, std::size_t> countFilled(const ReadTexts& local, const LocaleSet& disabled) {
    std::map<FieldType, std::size_t> filled;
    const auto count = [&](const FieldTexts& texts, FieldType field) {
        filled[field] += texts[field] && !isBlank(*texts[field]);
    };
    for (const FieldType field : pageFields)
        count(local.page, field);
    for (const FieldType field : localeFields)
        for (const auto& [locale, texts] : local.texts)
            if (!isStoreText(field) && !disabled.contains(locale)) count(texts, field);
    return filled;
}

LeftOutChange leftOutFor(const UnreadableText& text, const ReadTexts& pulled, const ReadTexts& local) {
    const auto textIn = [&](const ReadTexts& read) {
        return isSecret(text.field) ? std::string() : read.text(text.key()).value_or("");
    };
    return {{.locale = text.locale, .field = text.field, .remote = textIn(pulled), .local = textIn(local)},
            LeftOutReason::unreadableFile,
            text.explanation};
}

// A text in conflict is no change that a push may send, whatever its local file holds.
void leaveOutConflicts(TextComparison& result, const MetadataStore& store, const ReadTexts& local,
                       const FinalLineBreak rule, const PushFilter& filter) {
    for (const TextConflict& conflict : TextConflicts(store.folder()).all()) {
        const FieldKey& key = conflict.key;
        if (result.disabledLocales.contains(key.locale)) continue;
        result.conflicts.push_back(key);
        PushSelection& selection = result.selection;
        std::erase_if(selection.chosen, [&](const PendingChange& change) { return change.key() == key; });
        std::erase_if(selection.leftOut, [&](const LeftOutChange& one) { return one.change.key() == key; });
        std::erase_if(selection.warnings, [&](const PushWarning& warning) {
            return warning.locale == key.locale && warning.field == key.field;
        });
        if (!filter.takes(key)) continue;
        const std::string ours = shownTextOf(conflict, local.text(key), rule);
        selection.leftOut.push_back({{.locale = key.locale,
                                      .field = key.field,
                                      .remote = conflict.theirs,
                                      .local = ours,
                                      .isOverLimit = isOverLimit(ours, key.field)},
                                     LeftOutReason::inConflict,
                                     std::string(inConflictText)});
    }
}

std::vector<std::string> localesWithoutFolder(const ReadContext& read, const LocaleSet& disabledLocales) {
    std::vector<std::string> removed;
    for (const auto& [locale, texts] : read.pulled.texts)
        if (!read.local.texts.contains(locale) && !texts.isAbsent() && !disabledLocales.contains(locale))
            removed.push_back(locale);
    return removed;
}

// What both kinds of comparison make of the texts of both sides.
void complete(ReadContext& read, const MetadataStore& store, const TextRules& rules) {
    read.withoutFolder = localesWithoutFolder(read, rules.disabledLocales);
    const FallbackTexts fallbacks(store.folder());
    read.fromDefault = fallbacks.fill(read.local, read.withoutFolder);
    read.unusedDefaults = fallbacks.unused(read.fromDefault);
    countTexts(rules.finalLineBreak, read.local, read.pulled);
}

TextComparison withMisnamed(const ReadContext& read, const MetadataStore& store, const ContextID& context,
                            const TextRules& rules, const PushFilter& filter) {
    TextComparison result = compareTexts(read, store, context, rules, filter);
    result.misnamed = misnamedEntries(store.folder(), read.listings);
    result.misnamed.insert(result.misnamed.end(), read.unusedDefaults.begin(), read.unusedDefaults.end());
    return result;
}

} // namespace

std::vector<PendingChange> changesOf(const ReadContext& read, const std::vector<UnreadText>& unread) {
    const ReadTexts& local = read.local;
    const ReadTexts& pulled = read.pulled;
    std::vector<PendingChange> changes = MetadataDiff::compare(pulled, local);
    const auto isUnreadable = [](const PendingChange& change) {
        return [&](const UnreadableText& text) {
            return text.locale == change.locale && text.field == change.field;
        };
    };
    std::erase_if(changes, [&](const PendingChange& change) {
        return std::ranges::any_of(local.unreadable, isUnreadable(change)) ||
               std::ranges::any_of(pulled.unreadable, isUnreadable(change));
    });
    for (PendingChange& change : changes) {
        if (std::ranges::find(pulled.unreadable, change.locale, &UnreadableText::locale) !=
            pulled.unreadable.end())
            change.isNewLocale = false; // it has copies, though they cannot be read
        if (const auto found = std::ranges::find(unread, change.key(), &UnreadText::key);
            found != unread.end())
            change.review = found->mark;
    }
    const std::set<FieldKey> fromDefault(read.fromDefault.begin(), read.fromDefault.end());
    std::erase_if(changes, [&](const PendingChange& change) { // nothing else is said of such a locale
        return std::ranges::binary_search(read.withoutFolder, change.locale) &&
               !fromDefault.contains(change.key());
    });
    if (read.isRemote) // nothing tells that somebody removed the file, or emptied it: other tools keep empty
                       // ones
        std::erase_if(changes, [&](const PendingChange& change) {
            return !local.text(change.key()) || (isPageField(change.field) && isBlank(change.local));
        });
    return changes;
}

ReadContext readContext(const MetadataStore& store, const TextRules& rules) {
    FolderListings listings;
    ReadTexts local = store.readAllUsable(TextSide::local, &listings);
    ReadContext read{
        std::move(local), store.readAllUsable(TextSide::pulled), {}, {}, {}, std::move(listings), false};
    complete(read, store, rules);
    return read;
}

TextComparison compareTexts(const MetadataStore& store, const ContextID& context, const TextRules& rules,
                            const PushFilter& filter) {
    return withMisnamed(readContext(store, rules), store, context, rules, filter);
}

TextComparison compareWithRemote(const MetadataStore& store, const ContextID& context, const TextRules& rules,
                                 const PushFilter& filter, const ReadTexts& remote) {
    ReadContext read{store.readAllUsable(), remote, {}, {}, {}, {}, true};
    RemovedLocales(store.folder()).leaveOutOf(read.pulled.texts);
    complete(read, store, rules);
    return withMisnamed(read, store, context, rules, filter);
}

TextComparison compareTexts(const ReadContext& read, const MetadataStore& store, const ContextID& context,
                            const TextRules& rules, const PushFilter& filter) {
    const ReadTexts& local = read.local;
    const ReadTexts& pulled = read.pulled;
    const LocaleSet& disabledLocales = rules.disabledLocales;
    TextComparison result;
    result.removedLocales = read.withoutFolder;
    result.fromDefault = read.fromDefault;
    result.context = context;
    result.disabledLocales = disabledLocales;
    result.grid = MetadataSnapshot::of(local.texts);
    result.filled = countFilled(local, disabledLocales);
    result.unreadable = local.unreadable;
    result.unreadable.insert(result.unreadable.end(), pulled.unreadable.begin(), pulled.unreadable.end());
    const UnreadableByKey unreadable = byKey(result.unreadable);

    result.unread = ReviewMarks::load(store.folder()).unreadIn(local.texts);
    std::erase_if(result.unread,
                  [&](const UnreadText& text) { return disabledLocales.contains(text.locale); });
    result.changes = changesOf(read, result.unread);
    result.selection = selectForPush(result.changes, filter, disabledLocales);
    for (const PendingChange& change : result.selection.chosen)
        if (std::ranges::binary_search(read.fromDefault, change.key()))
            result.selection.warnings.push_back({change.locale, change.field, std::string(fromDefaultText)});
    for (const auto& [key, text] : unreadable)
        if (filter.takes(key) && !disabledLocales.contains(key.locale))
            result.selection.leftOut.push_back(leftOutFor(*text, pulled, local));
    leaveOutConflicts(result, store, local, rules.finalLineBreak, filter);
    std::ranges::sort(result.selection.leftOut, {},
                      [](const LeftOutChange& one) { return one.change.key(); });
    std::erase_if(result.changes,
                  [&](const PendingChange& change) { return disabledLocales.contains(change.locale); });

    for (const auto& [locale, texts] : pulled.texts)
        result.pulledLocales.push_back(locale);
    result.wasPulled = read.isRemote || store.wasPulled();
    result.pulledAt = store.pulledAt();
    result.interruptedPull = store.hasInterruptedPull();
    return result;
}

std::size_t TextComparison::waiting() const {
    return selection.chosen.size() +
           static_cast<std::size_t>(std::ranges::count_if(
               selection.leftOut, [](const LeftOutChange& one) { return waitsForUser(one.reason); }));
}

std::size_t TextComparison::overLimit() const {
    std::size_t count = 0;
    for (const auto& [locale, cells] : grid.cells)
        if (!disabledLocales.contains(locale))
            count += static_cast<std::size_t>(std::ranges::count_if(cells, [](const auto& cell) {
                return cell.second.status == MetadataSnapshot::CellStatus::overLimit;
            }));
    return count;
}

std::vector<std::string> TextComparison::notices() const {
    std::vector<std::string> notices;
    if (lacksCopies()) notices.push_back(notPulledText(context.text()));
    if (!removedLocales.empty()) notices.push_back(noFolderText(removedLocales));
    std::map<std::string_view, std::vector<std::string>> misnamedBy; // reason
    for (const SkippedEntry& entry : misnamed)
        misnamedBy[entry.reason].push_back(escapeControls(entry.path));
    for (const auto& [reason, paths] : misnamedBy)
        notices.push_back(misnamedText(paths, reason));
    return notices;
}

} // namespace quorvel
