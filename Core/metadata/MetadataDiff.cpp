#include "Core/metadata/MetadataDiff.h"

#include "Core/metadata/FieldValue.h"
#include "Core/metadata/FinalLineBreak.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

// App Store Connect makes nothing of white space alone, so blank texts are equal.
bool differ(std::string_view left, std::string_view right) {
    return left != right && !(isBlank(left) && isBlank(right));
}

// Leaves of a secret what is done to it.
void hide(PendingChange& change) {
    const bool wasSet = !isBlank(change.remote);
    if (!isBlank(change.local)) change.local = wasSet ? changedSecretText : setSecretText;
    change.remote = wasSet ? setSecretText : "";
}

} // namespace

std::vector<PendingChange> MetadataDiff::compare(const LocaleTexts& pulled, const LocaleTexts& local) {
    static const FieldTexts nothing;
    std::vector<PendingChange> changes;
    for (const auto& [locale, texts] : local) {
        const auto found = pulled.find(locale);
        const FieldTexts& copies = found == pulled.end() ? nothing : found->second;
        const bool isNewLocale = copies.isAbsent();
        for (const FieldType field : localeFields) {
            const std::string_view remote = copies[field] ? std::string_view(*copies[field]) : "";
            const std::string_view text = texts[field] ? std::string_view(*texts[field]) : "";
            if (differ(remote, text))
                changes.push_back({locale, field, std::string(remote), std::string(text),
                                   isOverLimit(text, field), isNewLocale});
        }
    }
    return changes;
}

std::vector<PendingChange> MetadataDiff::comparePage(const FieldTexts& pulled, const FieldTexts& local) {
    std::vector<PendingChange> changes;
    for (const FieldType field : pageFields) {
        const std::string_view remote = pulled[field] ? std::string_view(*pulled[field]) : "";
        // Who has no file for a field sets it elsewhere.
        if (!local[field] || !differ(remote, *local[field])) continue;
        PendingChange change{.locale = std::string(pageLocale),
                             .field = field,
                             .remote = std::string(remote),
                             .local = *local[field],
                             .isOverLimit = isOverLimit(*local[field], field)};
        if (isSecret(field)) {
            change.secretFault = valueFault(field, change.local, change.remote);
            hide(change);
        }
        changes.push_back(std::move(change));
    }
    return changes;
}

std::vector<PendingChange> MetadataDiff::compare(const MetadataStore& store) {
    const auto read = [&](TextSide side) {
        return ReadTexts{store.readAll(side), store.readLocale(pageLocale, side), {}};
    };
    ReadTexts local = read(TextSide::local);
    const ReadTexts pulled = read(TextSide::pulled);
    countTexts(FinalLineBreak::keep, local, pulled);
    return compare(pulled, local);
}

std::vector<PendingChange> MetadataDiff::compare(const ReadTexts& pulled, const ReadTexts& local) {
    auto changes = comparePage(pulled.page, local.page);
    for (PendingChange& change : compare(pulled.texts, local.texts))
        changes.push_back(std::move(change));
    return changes;
}

std::string MetadataDiff::explain(const PendingChange& change) {
    if (change.isNewLocale) return "New locale — not on App Store Connect yet. Push to publish.";
    if (isSecret(change.field) && !change.clears() && !isBlank(change.remote))
        return "Changed locally; its text is shown nowhere. Push to update ASC.";
    if (isBlank(change.remote)) return "Newly filled — not yet pushed to App Store Connect.";
    if (change.clears()) return "Cleared locally — Push will remove the field from ASC.";
    if (kindOf(change.field) != FieldKind::text && kindOf(change.field) != FieldKind::line)
        return "Edited locally. Push to update ASC.";
    const auto difference = static_cast<std::int64_t>(graphemeCount(change.local)) -
                            static_cast<std::int64_t>(graphemeCount(change.remote));
    return fmt::format("Edited locally (Δ {:+} chars). Push to update ASC.", difference);
}

} // namespace quorvel
