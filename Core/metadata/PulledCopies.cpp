#include "Core/metadata/PulledCopies.h"

#include <algorithm>

namespace quorvel {

namespace {

bool hasLocalText(const TextComparison& compared, const FieldKey& key) {
    return compared.grid.cell(key.locale, key.field).status != MetadataSnapshot::CellStatus::notPulled ||
           std::ranges::find(compared.unreadable, key, &UnreadableText::key) != compared.unreadable.end();
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
        for (const FieldType field : allFieldTypes)
            store.remove(locale, field, TextSide::pulled);
    for (const auto& [locale, texts] : remote)
        for (const FieldType field : allFieldTypes)
            if (texts[field] && hasLocalText(compared, {locale, field}))
                store.write(locale, field, *texts[field], TextSide::pulled, Durability::later);
    store.notePulledVersion(versionID, moment);
    store.endPull();
}

} // namespace quorvel
