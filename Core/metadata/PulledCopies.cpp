#include "Core/metadata/PulledCopies.h"

#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/merge/TextConflicts.h"
#include "Platform/text/Text.h"

#include <algorithm>

namespace quorvel {

namespace {

bool hasLocalText(const MetadataStore& store, const TextComparison& compared, const FieldKey& key) {
    return std::ranges::binary_search(compared.fromDefault, key) ||
           std::ranges::find(compared.unreadable, key, &UnreadableText::key) != compared.unreadable.end() ||
           (isPageField(key.field) ? !isBlank(store.read(key.locale, key.field).value_or(""))
                                   : store.exists(key.locale, key.field));
}

} // namespace

bool hasCopiesOf(const MetadataStore& store, std::string_view versionID) {
    return store.wasPulled() && store.pulledVersionID() == versionID;
}

void writePulledCopies(const MetadataStore& store, const ReadTexts& remote, const TextComparison& compared,
                       std::string_view versionID, Date moment) {
    // An end in between must not leave copies of two versions that look whole.
    store.beginPull();
    std::vector<std::string> copied = store.localesOnDisk(TextSide::pulled);
    copied.emplace_back(pageLocale);
    for (const std::string& locale : copied)
        for (const FieldType field : fieldsOf(locale))
            store.remove(locale, field, TextSide::pulled);
    LocaleTexts all = remote.texts;
    all.emplace(pageLocale, remote.page);
    for (const auto& [locale, texts] : all)
        for (const FieldType field : fieldsOf(locale))
            if (texts[field] && hasLocalText(store, compared, {locale, field}))
                store.write(locale, field, *texts[field], TextSide::pulled, Durability::later);
    const TextConflicts conflicts(store.folder());
    for (TextConflict conflict : conflicts.all()) {
        std::string now = remote.text(conflict.key).value_or("");
        if (!conflict.knowsTexts() || now == conflict.theirs) continue;
        conflict.earlier.push_back(contentDigest(conflict.theirs));
        conflict.theirs = std::move(now);
        conflicts.keep(conflict);
    }
    store.notePulledVersion(versionID, moment);
    store.endPull();
}

} // namespace quorvel
