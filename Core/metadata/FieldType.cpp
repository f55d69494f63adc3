#include "Core/metadata/FieldType.h"

#include "Core/metadata/FieldRule.h"
#include "Platform/text/Text.h"

namespace quorvel {

namespace {

struct FieldFacts {
    std::size_t limit;
    FieldHome home;
    std::string_view attribute;
    std::string_view fileName;
    std::string_view shortLabel;
};

constexpr std::array<FieldFacts, allFieldTypes.size()> facts = {{
    {30, FieldHome::appInfoLocalization, "name", "name.txt", "Name"},
    {30, FieldHome::appInfoLocalization, "subtitle", "subtitle.txt", "Subtitle"},
    {4000, FieldHome::versionLocalization, "description", "description.txt", "Description"},
    {170, FieldHome::versionLocalization, "promotionalText", "promotional_text.txt", "Promo text"},
    {4000, FieldHome::versionLocalization, "whatsNew", "release_notes.txt", "What's new"},
    {100, FieldHome::versionLocalization, "keywords", "keywords.txt", "Keywords"},
}};

const FieldFacts& factsOf(FieldType field) {
    return facts[static_cast<std::size_t>(field)];
}

} // namespace

std::size_t limitOf(FieldType field) {
    return factsOf(field).limit;
}
FieldHome homeOf(FieldType field) {
    return factsOf(field).home;
}
std::string_view attributeOf(FieldType field) {
    return factsOf(field).attribute;
}
std::string_view fileNameOf(FieldType field) {
    return factsOf(field).fileName;
}
std::string_view shortLabelOf(FieldType field) {
    return factsOf(field).shortLabel;
}

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
