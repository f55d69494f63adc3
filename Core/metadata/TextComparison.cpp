#include "Core/metadata/TextComparison.h"

#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataTexts.h"
#include "Core/metadata/PushChoice.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <map>

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

LeftOutChange leftOutFor(const UnreadableText& text, const ReadTexts& pulled, const ReadTexts& local) {
    const auto textIn = [&](const LocaleTexts& texts) {
        const auto found = texts.find(text.locale);
        return found == texts.end() ? std::string() : found->second[text.field].value_or("");
    };
    return {{.locale = text.locale,
             .field = text.field,
             .remote = textIn(pulled.texts),
             .local = textIn(local.texts)},
            LeftOutReason::unreadableFile,
            text.explanation};
}

} // namespace

std::vector<PendingChange> changesOf(const ReadContext& read, const std::vector<UnreadText>& unread) {
    const auto& [local, pulled] = read;
    std::vector<PendingChange> changes = MetadataDiff::compare(pulled.texts, local.texts);
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
    return changes;
}

std::vector<std::string> removedLocalesOf(const ReadContext& read, const LocaleSet& disabledLocales) {
    std::vector<std::string> removed;
    for (const auto& [locale, texts] : read.pulled.texts)
        if (!read.local.texts.contains(locale) && !texts.isAbsent() && !disabledLocales.contains(locale))
            removed.push_back(locale);
    return removed;
}

ReadContext readContext(const MetadataStore& store, const TextRules& rules) {
    ReadContext read{store.readAllUsable(), store.readAllUsable(TextSide::pulled)};
    countTexts(rules.finalLineBreak, read.local.texts, read.pulled.texts);
    return read;
}

TextComparison compareTexts(const MetadataStore& store, const ContextID& context, const TextRules& rules,
                            const PushFilter& filter) {
    TextComparison result = compareTexts(readContext(store, rules), store, context, rules, filter);
    result.misnamed = misnamedEntries(store.folder());
    return result;
}

TextComparison compareTexts(const ReadContext& read, const MetadataStore& store, const ContextID& context,
                            const TextRules& rules, const PushFilter& filter) {
    const auto& [local, pulled] = read;
    const LocaleSet& disabledLocales = rules.disabledLocales;
    TextComparison result;
    result.context = context;
    result.disabledLocales = disabledLocales;
    result.grid = MetadataSnapshot::of(local.texts);
    result.unreadable = local.unreadable;
    result.unreadable.insert(result.unreadable.end(), pulled.unreadable.begin(), pulled.unreadable.end());
    const UnreadableByKey unreadable = byKey(result.unreadable);

    result.unread = ReviewMarks::load(store.folder()).unreadIn(local.texts);
    std::erase_if(result.unread,
                  [&](const UnreadText& text) { return disabledLocales.contains(text.locale); });
    result.changes = changesOf(read, result.unread);
    result.selection = selectForPush(result.changes, filter, disabledLocales);
    for (const auto& [key, text] : unreadable)
        if (filter.takes(key) && !disabledLocales.contains(key.locale))
            result.selection.leftOut.push_back(leftOutFor(*text, pulled, local));
    std::ranges::sort(result.selection.leftOut, {},
                      [](const LeftOutChange& one) { return one.change.key(); });
    std::erase_if(result.changes,
                  [&](const PendingChange& change) { return disabledLocales.contains(change.locale); });

    for (const auto& [locale, texts] : pulled.texts)
        result.pulledLocales.push_back(locale);
    result.removedLocales = removedLocalesOf(read, disabledLocales);
    result.wasPulled = store.wasPulled();
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
