#include "Core/metadata/PulledCopies.h"

#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/merge/TextConflicts.h"
#include <algorithm>

namespace quorvel {

namespace {

bool hasLocalText(const MetadataStore& store, const TextComparison& compared, const FieldKey& key) {
    return std::ranges::binary_search(compared.fromDefault, key) ||
           std::ranges::find(compared.unreadable, key, &UnreadableText::key) != compared.unreadable.end() ||
           store.exists(key.locale, key.field);
}

} // namespace

bool hasCopiesOf(const MetadataStore& store, std::string_view versionID) {
    return store.wasPulled() && store.pulledVersionID() == versionID;
}

void writePulledCopies(const MetadataStore& store, const LocaleTexts& remote, const TextComparison& compared,
                       std::string_view versionID, Date moment) {
    // An end in between must not leave copies of two versions that look whole.
    store.beginPull();
    for (const std::string& locale : store.localesOnDisk(TextSide::pulled))
        for (const FieldType field : localeFields)
            store.remove(locale, field, TextSide::pulled);
    for (const auto& [locale, texts] : remote)
        for (const FieldType field : localeFields)
            if (texts[field] && hasLocalText(store, compared, {locale, field}))
                store.write(locale, field, *texts[field], TextSide::pulled, Durability::later);
    const TextConflicts conflicts(store.folder());
    for (TextConflict conflict : conflicts.all()) {
        const auto held = remote.find(conflict.key.locale);
        std::string now = held == remote.end() ? "" : held->second[conflict.key.field].value_or("");
        if (conflict.problem || now == conflict.theirs) continue;
        conflict.earlier.push_back(contentDigest(conflict.theirs));
        conflict.theirs = std::move(now);
        conflicts.keep(conflict);
    }
    store.notePulledVersion(versionID, moment);
    store.endPull();
}

} // namespace quorvel
