#include "Core/metadata/FieldType.h"

#include "Core/metadata/FieldRule.h"
#include "Platform/text/Text.h"

namespace quorvel {

namespace {

constexpr bool rowsFollowTheEnumeration() {
    for (std::size_t row = 0; row < fieldFacts.size(); ++row)
        if (static_cast<std::size_t>(fieldFacts[row].field) != row) return false;
    return true;
}
static_assert(rowsFollowTheEnumeration());

} // namespace

std::size_t limitOf(FieldType field, std::span<const FieldRule> rules) {
    for (const FieldRule& rule : rules)
        if (rule.fieldTypeValue() == field && rule.maxLength.value_or(0) > 0)
            return static_cast<std::size_t>(*rule.maxLength);
    return limitOf(field);
}

bool isOverLimit(std::string_view text, FieldType field) {
    // No cluster is shorter than a byte, so most texts need no counting.
    return text.size() > limitOf(field) && graphemeCount(text) > limitOf(field);
}

} // namespace quorvel
