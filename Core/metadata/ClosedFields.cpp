#include "Core/metadata/ClosedFields.h"

namespace quorvel {

std::optional<std::string> ClosedFields::refusalOf(FieldType field) const {
    constexpr std::size_t enough = 2;
    const std::lock_guard lock(mutex_);
    const auto found = refusals_.find(field);
    if (found == refusals_.end() || found->second.locales.size() < enough) return std::nullopt;
    return found->second.text;
}

void ClosedFields::note(FieldType field, const std::string& locale, const std::string& refusal) {
    const std::lock_guard lock(mutex_);
    Refusals& refusals = refusals_[field];
    refusals.locales.insert(locale);
    refusals.text = refusal;
}

void ClosedFields::noteAll(FieldHome home, const std::string& locale, const std::string& refusal) {
    for (const FieldType field : localeFields)
        if (homeOf(field) == home && field != FieldType::promotionalText) note(field, locale, refusal);
}

} // namespace quorvel
