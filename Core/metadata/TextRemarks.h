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
    blankAfterComma,     // keywords: blanks beside commas
    foreignComma,        // keywords: full-width, ideographic or Arabic commas do not separate terms
    repeatedKeyword,     // keywords: a term more than once
};

template <>
struct RawValues<TextRemark> {
    static constexpr std::pair<TextRemark, std::string_view> values[] = {
        {TextRemark::byteOrderMark, "byteOrderMark"},
        {TextRemark::controlCharacter, "controlCharacter"},
        {TextRemark::carriageReturn, "carriageReturn"},
        {TextRemark::finalLineBreak, "finalLineBreak"},
        {TextRemark::codePointsOverLimit, "codePointsOverLimit"},
        {TextRemark::blankAfterComma, "blankAfterComma"},
        {TextRemark::foreignComma, "foreignComma"},
        {TextRemark::repeatedKeyword, "repeatedKeyword"},
    };
};

/// Everything odd about `text` as the value of `field`, in the order of the enumeration; blank texts have no
/// remarks.
[[nodiscard]] std::vector<TextRemark> remarksOn(std::string_view text, FieldType field);

/// One sentence for users: what is odd and what comes of it.
[[nodiscard]] std::string_view explain(TextRemark remark);

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
