// What is odd about a store text, though it is within its limit.
#pragma once

#include "Core/metadata/FieldType.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

enum class TextRemark {
    byteOrderMark,       // begins with U+FEFF
    controlCharacter,    // one that is neither a line break nor a tab
    carriageReturn,      // line breaks of CR LF or CR
    finalLineBreak,      // ends with a line break
    codePointsOverLimit, // within the limit as people count, above it in code points
    unusualCharacter,    // name and subtitle: a pictograph or an angle bracket
    blankAfterComma,     // keywords: blanks beside commas
    foreignComma,        // keywords: full-width, ideographic or Arabic commas do not separate terms
    otherSeparator,      // keywords: semicolons, bars or lines do not separate terms either
    emptyKeyword,        // keywords: a comma with no term beside it
    repeatedKeyword,     // keywords: a term more than once
    similarKeyword,      // keywords: a term and its plural
    keywordPhrase,       // keywords: a term of words that are terms themselves
};

template <>
struct RawValues<TextRemark> {
    static constexpr std::pair<TextRemark, std::string_view> values[] = {
        {TextRemark::byteOrderMark, "byteOrderMark"},
        {TextRemark::controlCharacter, "controlCharacter"},
        {TextRemark::carriageReturn, "carriageReturn"},
        {TextRemark::finalLineBreak, "finalLineBreak"},
        {TextRemark::codePointsOverLimit, "codePointsOverLimit"},
        {TextRemark::unusualCharacter, "unusualCharacter"},
        {TextRemark::blankAfterComma, "blankAfterComma"},
        {TextRemark::foreignComma, "foreignComma"},
        {TextRemark::otherSeparator, "otherSeparator"},
        {TextRemark::emptyKeyword, "emptyKeyword"},
        {TextRemark::repeatedKeyword, "repeatedKeyword"},
        {TextRemark::similarKeyword, "similarKeyword"},
        {TextRemark::keywordPhrase, "keywordPhrase"},
    };
};

/// A remark with the place that it is about.
struct FoundRemark {
    TextRemark remark = TextRemark::finalLineBreak;
    std::size_t offset = 0; // in bytes
    std::string about = {}; // what is meant, such as the keyword; empty where the remark says it all
};

/// Everything odd about `text` as the value of `field`, in the order of the enumeration, each with its first
/// place; blank texts have no remarks.
[[nodiscard]] std::vector<FoundRemark> findRemarks(std::string_view text, FieldType field);
/// The same without places.
[[nodiscard]] std::vector<TextRemark> remarksOn(std::string_view text, FieldType field);

/// A term of a keyword list, between commas and without blanks around it.
struct KeywordTerm {
    std::string_view text;
    std::size_t offset = 0; // in bytes
    std::string folded;     // equal for what people take for the same term
};
[[nodiscard]] std::vector<KeywordTerm> keywordTermsOf(std::string_view keywords);

/// One sentence for users: what is odd and what comes of it.
[[nodiscard]] std::string_view explain(TextRemark remark);
/// The same with what is meant in this text, and with both of its counts.
[[nodiscard]] std::string explain(const FoundRemark& found, std::string_view text, FieldType field);

/// What is said of a text that is over the limit of its field, and what to do.
[[nodiscard]] std::string explainOverLimit(std::string_view text, FieldType field);

/// The first control character that App Store Connect refuses: none of tab, LF and CR.
[[nodiscard]] std::optional<std::size_t> findControlCharacter(std::string_view text);
/// `text` without one final line break (LF, CR LF or CR).
[[nodiscard]] std::string_view withoutFinalLineBreak(std::string_view text);
/// `text` without a byte order mark at its start.
[[nodiscard]] std::string_view withoutByteOrderMark(std::string_view text);
/// 64 hexadecimal digits that tell texts apart; what editors add, a byte order mark or a final line break,
/// makes no other text.
[[nodiscard]] std::string contentDigest(std::string_view text);

} // namespace quorvel
