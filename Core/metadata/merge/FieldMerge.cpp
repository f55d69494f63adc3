#include "Core/metadata/merge/FieldMerge.h"

#include "Core/metadata/AgeRating.h"
#include "Core/metadata/FieldValue.h"
#include "Core/metadata/merge/KeywordMerge.h"
#include "Platform/text/Text.h"

namespace quorvel {

namespace {

std::string withoutMargins(std::string_view text) {
    std::string bare(trim(text));
    std::erase(bare, '\r');
    return bare;
}

bool hasParagraphs(FieldType field) {
    return field == FieldType::description || field == FieldType::promotionalText ||
           field == FieldType::releaseNotes || field == FieldType::privacyPolicyText ||
           field == FieldType::reviewNotes;
}

std::optional<std::string> mergedText(const FieldSides& sides) {
    if (kindOf(sides.field) == FieldKind::json) return mergeAgeRatings(sides.base, sides.ours, sides.theirs);
    // Without a text that both began with, two texts are no two changes.
    if (isBlank(sides.base) || isBlank(sides.ours) || isBlank(sides.theirs)) return std::nullopt;
    if (sides.field == FieldType::keywords) return mergeKeywords(sides.base, sides.ours, sides.theirs);
    if (!hasParagraphs(sides.field)) return std::nullopt;
    ParagraphMerge merge = mergeParagraphs(sides.base, sides.ours, sides.theirs);
    return merge.conflicts == 0 ? std::optional(std::move(merge.text)) : std::nullopt;
}

} // namespace

void hideSecrets(std::string& base, std::string& left, std::string& right) {
    const bool wasSet = !isBlank(base);
    const auto hide = [&](std::string& text) {
        if (isBlank(text))
            text.clear();
        else
            text = !wasSet || text == base ? setSecretText : changedSecretText;
    };
    hide(left);
    hide(right);
    base = wasSet ? setSecretText : "";
}

bool saysTheSame(std::string_view left, std::string_view right) {
    return left == right || withoutMargins(left) == withoutMargins(right);
}

FieldMerge mergeField(const FieldSides& sides, FinalLineBreak rule) {
    const bool changedHere = !saysTheSame(sides.ours, sides.base);
    const bool changedThere = !saysTheSame(sides.theirs, sides.base);
    if (!changedThere) return {changedHere ? ChangedBy::local : ChangedBy::nobody, std::nullopt};
    if (!changedHere) return {ChangedBy::appStoreConnect, std::nullopt};
    if (saysTheSame(sides.ours, sides.theirs)) return {ChangedBy::bothAlike, std::nullopt};
    FieldMerge merge{ChangedBy::bothDifferently, mergedText(sides)};
    if (merge.text && (isBlank(*merge.text) ||
                       isOverLimit(countedText(rule, sides.field, *merge.text, std::nullopt), sides.field)))
        merge.text.reset();
    return merge;
}

} // namespace quorvel
