#include "Core/metadata/check/TextCheck.h"

#include "Core/metadata/FieldValue.h"
#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/WebAddress.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

struct TextUnderCheck {
    std::string_view text;
    FieldType field;
    const FieldTexts& beside;
    std::string_view copy;
};

using Faults = std::vector<TextFault>;

constexpr CheckRule ruleOf(TextRemark remark) {
    return fromRawValue<CheckRule>(rawValue(remark)).value();
}
static_assert(ruleOf(TextRemark::keywordPhrase) == CheckRule::keywordPhrase);

void findRemarked(const TextUnderCheck& checked, Faults& faults) {
    if (isSecret(checked.field)) return; // a remark may quote
    // Other fields are sent without what editors add.
    const std::string value = canonicalValue(checked.field, checked.text);
    for (const FoundRemark& found :
         findRemarks(isStoreText(checked.field) ? checked.text : value, checked.field))
        faults.push_back({ruleOf(found.remark), found.offset, explain(found, checked.text, checked.field)});
}

void findLength(const TextUnderCheck& checked, Faults& faults) {
    const auto& [text, field, beside, copy] = checked;
    if (isOverLimit(text, field))
        faults.push_back({CheckRule::overLimit, graphemePrefix(text, limitOf(field)).size(),
                          explainOverLimit(text, field)});
    constexpr std::size_t shortestName = 2; // App Store Connect takes none of one character
    if (field == FieldType::name && graphemeCount(trim(text)) < shortestName)
        faults.push_back(
            {CheckRule::tooShort, 0,
             fmt::format("A name has at least {} characters. Write a longer one.", shortestName)});
}

// Words that the App Store knows the app by already.
void findKeywordsOfName(const TextUnderCheck& checked, Faults& faults) {
    if (checked.field != FieldType::keywords) return;
    std::set<std::string> known;
    for (const FieldType field : {FieldType::name, FieldType::subtitle})
        if (const auto& text = checked.beside[field])
            for (const std::string_view word : words(*text))
                known.insert(caseFolded(word));
    std::vector<std::string_view> repeated;
    std::optional<std::size_t> first;
    for (const KeywordTerm& term : keywordTermsOf(checked.text))
        if (known.contains(term.folded)) {
            if (!first) first = term.offset;
            repeated.push_back(term.text);
        }
    if (!first) return;
    std::string list;
    for (const std::string_view word : repeated)
        list += fmt::format("{}\"{}\"", list.empty() ? "" : ", ", escapeControls(word));
    faults.push_back(
        {CheckRule::keywordInName, first,
         fmt::format("Repeats {} of the name or the subtitle, by which the app is found already. "
                     "Use the characters for other words.",
                     list)});
}

void findValue(const TextUnderCheck& checked, Faults& faults) {
    if (auto fault = valueFault(checked.field, checked.text, checked.copy))
        faults.push_back({CheckRule::invalidValue, 0, *std::move(fault)});
    else if (kindOf(checked.field) == FieldKind::address && isUnencrypted(checked.text))
        faults.push_back({CheckRule::unencryptedAddress, 0,
                          "The address begins with http:, which anybody on the way can read and change; "
                          "write https: where the page has it."});
}

constexpr void (*textRules[])(const TextUnderCheck&, Faults&) = {findRemarked, findLength, findValue,
                                                                 findKeywordsOfName};

} // namespace

TextPlace placeOf(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, std::min(offset, text.size()));
    const std::size_t lineStart = before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
    return {1 + std::ranges::count(before, '\n'),
            1 + static_cast<std::int64_t>(graphemeCount(before.substr(lineStart)))};
}

std::vector<TextFault> faultsOf(std::string_view text, FieldType field, const FieldTexts& beside,
                                std::string_view copy) {
    Faults faults;
    if (isBlank(text)) return faults;
    for (const auto rule : textRules)
        rule({text, field, beside, copy}, faults);
    return faults;
}

} // namespace quorvel
