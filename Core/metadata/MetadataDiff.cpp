#include "Core/metadata/MetadataDiff.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

// App Store Connect makes nothing of white space alone, so blank texts are equal.
bool differ(std::string_view left, std::string_view right) {
    return left != right && !(isBlank(left) && isBlank(right));
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

std::vector<PendingChange> MetadataDiff::compare(const MetadataStore& store) {
    return compare(store.readAll(TextSide::pulled), store.readAll(TextSide::local));
}

std::string MetadataDiff::explain(const PendingChange& change) {
    if (change.isNewLocale) return "New locale — not on App Store Connect yet. Push to publish.";
    if (isBlank(change.remote)) return "Newly filled — not yet pushed to App Store Connect.";
    if (change.clears()) return "Cleared locally — Push will remove the field from ASC.";
    const auto difference = static_cast<std::int64_t>(graphemeCount(change.local)) -
                            static_cast<std::int64_t>(graphemeCount(change.remote));
    return fmt::format("Edited locally (Δ {:+} chars). Push to update ASC.", difference);
}

} // namespace quorvel
