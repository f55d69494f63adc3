#include "Core/metadata/ClosedFields.h"

namespace quorvel {

std::optional<std::string> ClosedFields::refusalOf(FieldType field) const {
    const std::lock_guard lock(mutex_);
    const auto found = refusals_.find(field);
    return found == refusals_.end() ? std::nullopt : std::optional(found->second);
}

void ClosedFields::close(FieldType field, const std::string& refusal) {
    const std::lock_guard lock(mutex_);
    refusals_.emplace(field, refusal);
}

void ClosedFields::closeAll(FieldHome home, const std::string& refusal) {
    for (const FieldType field : allFieldTypes)
        if (homeOf(field) == home && field != FieldType::promotionalText) close(field, refusal);
}

} // namespace quorvel
