#include "Core/metadata/merge/RemoteComparison.h"

#include "Core/metadata/merge/TextConflicts.h"

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

const FieldTexts* textsIn(const LocaleTexts& texts, std::string_view locale) {
    const auto found = texts.find(locale);
    return found == texts.end() ? nullptr : &found->second;
}

std::string textIn(const FieldTexts* texts, FieldType field) {
    return texts ? (*texts)[field].value_or("") : "";
}

} // namespace

RemoteComparison compareWithRemote(const MetadataStore& store, const TextRules& rules,
                                   const LocaleTexts& remote) {
    const ReadContext read = readContext(store, rules);
    const ReadTexts& local = read.local;
    const ReadTexts& pulled = read.pulled;
    RemoteComparison comparison{
        .unreadable = local.unreadable, .wasPulled = store.wasPulled(), .pulledAt = store.pulledAt()};
    comparison.unreadable.insert(comparison.unreadable.end(), pulled.unreadable.begin(),
                                 pulled.unreadable.end());
    std::set<FieldKey> unreadable;
    for (const UnreadableText& text : comparison.unreadable)
        unreadable.insert(text.key());
    for (const TextConflict& conflict : TextConflicts(store.folder()).all())
        if (!rules.disabledLocales.contains(conflict.key.locale))
            comparison.conflicts.push_back(conflict.key);

    std::set<std::string, std::less<>> locales;
    const auto addLocales = [&](const LocaleTexts& side) {
        for (const auto& [locale, texts] : side)
            if (!rules.disabledLocales.contains(locale)) locales.insert(locale);
    };
    addLocales(local.texts);
    addLocales(pulled.texts);
    addLocales(remote);
    for (const std::string& locale : locales) {
        const bool hasFolder = !std::ranges::binary_search(read.withoutFolder, locale);
        const FieldTexts* const here = textsIn(local.texts, locale);
        const FieldTexts* const before = textsIn(pulled.texts, locale);
        const FieldTexts* const there = textsIn(remote, locale);
        // Of a locale without a folder only the texts of all locales count.
        const auto isHere = [&](bool folder, FieldType field) {
            return folder || std::ranges::binary_search(read.fromDefault, FieldKey{locale, field});
        };
        for (const FieldType field : localeFields) {
            if (unreadable.contains({locale, field})) continue;
            RemoteDifference difference{.key = {locale, field},
                                        .base = textIn(before, field),
                                        .local =
                                            textIn(here && isHere(hasFolder, field) ? here : before, field),
                                        .remote = textIn(there, field)};
            const FieldMerge merge = mergeField({field, difference.base, difference.local, difference.remote},
                                                rules.finalLineBreak);
            if (merge.changedBy == ChangedBy::nobody) continue;
            difference.changedBy = merge.changedBy;
            difference.merges = merge.text.has_value();
            comparison.differences.push_back(std::move(difference));
        }
    }
    return comparison;
}

} // namespace quorvel
