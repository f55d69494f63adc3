#include "Core/metadata/TextComparison.h"

#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataTexts.h"
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

std::vector<PendingChange> readableChanges(const ReadTexts& pulled, const ReadTexts& local,
                                           const UnreadableByKey& unreadable) {
    std::vector<PendingChange> changes = MetadataDiff::compare(pulled, local);
    std::erase_if(changes, [&](const PendingChange& change) { return unreadable.contains(change.key()); });
    for (PendingChange& change : changes)
        if (std::ranges::find(pulled.unreadable, change.locale, &UnreadableText::locale) !=
            pulled.unreadable.end())
            change.isNewLocale = false; // it has copies, though they cannot be read
    return changes;
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
    const auto textIn = [&](const ReadTexts& read) -> std::string {
        if (isSecret(text.field)) return {};
        if (text.locale == pageLocale) return read.page[text.field].value_or("");
        const auto found = read.texts.find(text.locale);
        return found == read.texts.end() ? std::string() : found->second[text.field].value_or("");
    };
    return {{.locale = text.locale, .field = text.field, .remote = textIn(pulled), .local = textIn(local)},
            LeftOutReason::unreadableFile,
            text.explanation};
}

} // namespace

TextComparison compareTexts(const MetadataStore& store, const ContextID& context, const TextRules& rules,
                            const PushFilter& filter) {
    ReadTexts local = store.readAllUsable();
    const ReadTexts pulled = store.readAllUsable(TextSide::pulled);
    countTexts(rules.finalLineBreak, local, pulled);
    const LocaleSet& disabledLocales = rules.disabledLocales;
    TextComparison result;
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
    result.changes = readableChanges(pulled, local, unreadable);
    for (PendingChange& change : result.changes)
        if (const auto found = std::ranges::find(result.unread, change.key(), &UnreadText::key);
            found != result.unread.end())
            change.review = found->mark;
    result.selection = selectForPush(result.changes, filter, disabledLocales);
    for (const auto& [key, text] : unreadable)
        if (filter.takes(key) && !disabledLocales.contains(key.locale))
            result.selection.leftOut.push_back(leftOutFor(*text, pulled, local));
    std::ranges::sort(result.selection.leftOut, {},
                      [](const LeftOutChange& one) { return one.change.key(); });
    std::erase_if(result.changes,
                  [&](const PendingChange& change) { return disabledLocales.contains(change.locale); });

    for (const auto& [locale, texts] : pulled.texts) {
        result.pulledLocales.push_back(locale);
        if (!local.texts.contains(locale) && !texts.isAbsent() && !disabledLocales.contains(locale))
            result.removedLocales.push_back(locale);
    }
    result.misnamed = misnamedEntries(store.folder());
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
