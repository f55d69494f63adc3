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
static_assert(storeTexts.back() == FieldType::keywords && pageFields.front() == FieldType::copyright);

// Without the case and the marks in which the spellings of a name differ.
std::string lettersOf(std::string_view name) {
    std::string letters = asciiLowercase(name);
    std::erase_if(letters,
                  [](char byte) { return byte == '_' || byte == '-' || byte == ' ' || byte == '\''; });
    return letters;
}

} // namespace

std::size_t limitOf(FieldType field, std::span<const FieldRule> rules) {
    for (const FieldRule& rule : rules)
        if (rule.fieldTypeValue() == field && rule.maxLength.value_or(0) > 0)
            return static_cast<std::size_t>(*rule.maxLength);
    return limitOf(field);
}

std::optional<FieldType> fieldNamed(std::string_view name) {
    const std::string wanted = lettersOf(name);
    if (wanted == "notes" || wanted == "notes.txt") return std::nullopt; // of the release, or for the review?
    for (const FieldFacts& facts : fieldFacts) {
        const std::string_view path = facts.fileName;
        const std::string_view file = path.substr(path.find('/') + 1); // all where there is no folder
        const std::string_view stem = file.substr(0, file.rfind('.'));
        for (const std::string_view known :
             {facts.rawName, facts.attribute, stem, file, path, facts.shortLabel})
            if (lettersOf(known) == wanted) return facts.field;
    }
    return std::nullopt;
}

bool isOverLimit(std::string_view text, FieldType field) {
    // No cluster is shorter than a byte, so most texts need no counting.
    return text.size() > limitOf(field) && graphemeCount(text) > limitOf(field);
}

} // namespace quorvel
