#include "Core/metadata/merge/RemoteComparison.h"

#include "Core/metadata/RemovedLocales.h"
#include "Core/metadata/merge/TextConflicts.h"

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

std::string textIn(const FieldTexts* texts, FieldType field) {
    return texts ? (*texts)[field].value_or("") : "";
}

} // namespace

RemoteComparison compareWithRemote(const MetadataStore& store, const TextRules& rules, ReadTexts remote) {
    RemovedLocales(store.folder()).leaveOutOf(remote.texts);
    const ReadContext read = readContext(store, rules);
    const ReadTexts& local = read.local;
    const ReadTexts& pulled = read.pulled;
    RemoteComparison comparison{
        .unreadable = local.unreadable, .wasPulled = store.wasPulled(), .pulledAt = store.pulledAt()};
    comparison.removedLocales = read.withoutFolder;
    comparison.unreadable.insert(comparison.unreadable.end(), pulled.unreadable.begin(),
                                 pulled.unreadable.end());
    std::set<FieldKey> unreadable;
    for (const UnreadableText& text : comparison.unreadable)
        unreadable.insert(text.key());
    for (const TextConflict& conflict : TextConflicts(store.folder()).all())
        if (!rules.disabledLocales.contains(conflict.key.locale))
            comparison.conflicts.push_back(conflict.key);

    LocaleSet locales;
    const auto addLocales = [&](const LocaleTexts& side) {
        for (const auto& [locale, texts] : side)
            locales.insert(locale);
    };
    addLocales(local.texts);
    addLocales(pulled.texts);
    addLocales(remote.texts);
    comparison.locales.assign(locales.begin(), locales.end());
    if (!remote.page.isAbsent()) locales.emplace(pageLocale);
    for (const std::string& locale : locales) {
        if (rules.disabledLocales.contains(locale)) continue;
        const bool hasFolder = !std::ranges::binary_search(read.withoutFolder, locale);
        const FieldTexts* const here = local.find(locale);
        const FieldTexts* const before = pulled.find(locale);
        const FieldTexts* const there = remote.find(locale);
        // Of a locale without a folder only the texts of all locales count.
        const auto isHere = [&](FieldType field) {
            // Who has no file for a field of the page sets it elsewhere.
            if (isPageField(field)) return (*here)[field].has_value();
            return hasFolder || std::ranges::binary_search(read.fromDefault, FieldKey{locale, field});
        };
        for (const FieldType field : fieldsOf(locale)) {
            if (unreadable.contains({locale, field})) continue;
            if (isPageField(field) && !(*there)[field]) continue; // the key may not see it
            RemoteDifference difference{.key = {locale, field},
                                        .base = textIn(before, field),
                                        .local = textIn(here && isHere(field) ? here : before, field),
                                        .remote = textIn(there, field)};
            const FieldMerge merge = mergeField({field, difference.base, difference.local, difference.remote},
                                                rules.finalLineBreak);
            if (merge.changedBy == ChangedBy::nobody) continue;
            difference.changedBy = merge.changedBy;
            difference.merges = merge.text.has_value();
            if (isSecret(field)) hideSecrets(difference.base, difference.local, difference.remote);
            comparison.differences.push_back(std::move(difference));
        }
    }
    return comparison;
}

} // namespace quorvel
