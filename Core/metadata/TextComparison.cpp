#include "Core/metadata/TextComparison.h"

#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataTexts.h"
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

std::vector<PendingChange> readableChanges(const ReadTexts& pulled, const ReadTexts& local,
                                           const UnreadableByKey& unreadable) {
    std::vector<PendingChange> changes = MetadataDiff::compare(pulled.texts, local.texts);
    std::erase_if(changes, [&](const PendingChange& change) { return unreadable.contains(change.key()); });
    for (PendingChange& change : changes)
        if (std::ranges::find(pulled.unreadable, change.locale, &UnreadableText::locale) !=
            pulled.unreadable.end())
            change.isNewLocale = false; // it has copies, though they cannot be read
    return changes;
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

std::vector<std::string> enabledWithoutFolder(const ReadTexts& pulled, const ReadTexts& local,
                                              const LocaleSet& disabled) {
    std::vector<std::string> locales;
    for (const auto& [locale, texts] : pulled.texts)
        if (!local.texts.contains(locale) && !texts.isAbsent() && !disabled.contains(locale))
            locales.push_back(locale);
    return locales;
}

} // namespace

TextComparison compareTexts(const MetadataStore& store, const ContextID& context, const TextRules& rules,
                            const PushFilter& filter) {
    ReadTexts local = store.readAllUsable();
    const ReadTexts pulled = store.readAllUsable(TextSide::pulled);
    const LocaleSet& disabledLocales = rules.disabledLocales;
    TextComparison result;
    const std::vector<std::string> withoutFolder = enabledWithoutFolder(pulled, local, disabledLocales);
    result.removedLocales = withoutFolder;
    const FallbackTexts fallbacks(store.folder());
    result.fromDefault = fallbacks.fill(local, withoutFolder);
    countTexts(rules.finalLineBreak, local.texts, pulled.texts);
    result.context = context;
    result.disabledLocales = disabledLocales;
    result.grid = MetadataSnapshot::of(local.texts);
    result.unreadable = local.unreadable;
    result.unreadable.insert(result.unreadable.end(), pulled.unreadable.begin(), pulled.unreadable.end());
    const UnreadableByKey unreadable = byKey(result.unreadable);

    result.unread = ReviewMarks::load(store.folder()).unreadIn(local.texts);
    std::erase_if(result.unread,
                  [&](const UnreadText& text) { return disabledLocales.contains(text.locale); });
    result.changes = readableChanges(pulled, local, unreadable);
    const std::set<FieldKey> fromDefault(result.fromDefault.begin(), result.fromDefault.end());
    std::erase_if(result.changes, [&](const PendingChange& change) { // nothing else is said of such a locale
        return std::ranges::binary_search(withoutFolder, change.locale) &&
               !fromDefault.contains(change.key());
    });
    for (PendingChange& change : result.changes)
        if (const auto found = std::ranges::find(result.unread, change.key(), &UnreadText::key);
            found != result.unread.end())
            change.review = found->mark;
    result.selection = selectForPush(result.changes, filter, disabledLocales);
    for (const PendingChange& change : result.selection.chosen)
        if (fromDefault.contains(change.key()))
            result.selection.warnings.push_back({change.locale, change.field, std::string(fromDefaultText)});
    for (const auto& [key, text] : unreadable)
        if (filter.takes(key) && !disabledLocales.contains(key.locale))
            result.selection.leftOut.push_back(leftOutFor(*text, pulled, local));
    std::ranges::sort(result.selection.leftOut, {},
                      [](const LeftOutChange& one) { return one.change.key(); });
    std::erase_if(result.changes,
                  [&](const PendingChange& change) { return disabledLocales.contains(change.locale); });

    for (const auto& [locale, texts] : pulled.texts)
        result.pulledLocales.push_back(locale);
    result.misnamed = misnamedEntries(store.folder());
    const auto unused = fallbacks.unused(result.fromDefault);
    result.misnamed.insert(result.misnamed.end(), unused.begin(), unused.end());
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
