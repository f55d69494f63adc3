#include "Core/metadata/TextRemarks.h"

#include "Platform/crypto/Digest.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <set>

namespace quorvel {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
// Full-width, ideographic, half-width ideographic, small, small ideographic and Arabic.
constexpr std::array<std::string_view, 6> foreignCommas = {"\uFF0C", "\u3001", "\uFF64",
                                                           "\uFE50", "\uFE51", "\u060C"};

bool hasBlankBesideComma(std::string_view keywords) {
    for (std::size_t comma = keywords.find(','); comma != std::string_view::npos;
         comma = keywords.find(',', comma + 1)) {
        if (comma > 0 && keywords[comma - 1] == ' ') return true;
        const std::string_view rest = keywords.substr(comma + 1);
        if (!isBlank(rest) && trim(rest).data() != rest.data()) return true;
    }
    return false;
}

bool hasForeignComma(std::string_view keywords) {
    return std::ranges::any_of(foreignCommas, [&](std::string_view comma) {
        return keywords.find(comma) != std::string_view::npos;
    });
}

bool hasRepeatedTerm(std::string_view keywords) {
    std::set<std::string> seen;
    for (;;) {
        const std::size_t comma = keywords.find(',');
        const std::string term = caseFolded(trim(keywords.substr(0, comma)));
        if (!term.empty() && !seen.insert(term).second) return true;
        if (comma == std::string_view::npos) return false;
        keywords.remove_prefix(comma + 1);
    }
}

bool applies(TextRemark remark, std::string_view text, FieldType field) {
    switch (remark) {
    case TextRemark::byteOrderMark:
        return text.starts_with(byteOrderMark);
    case TextRemark::controlCharacter:
        return findControlCharacter(text).has_value();
    case TextRemark::carriageReturn:
        return text.find('\r') != std::string_view::npos;
    case TextRemark::finalLineBreak:
        return withoutFinalLineBreak(text).size() < text.size();
    case TextRemark::codePointsOverLimit:
        return text.size() > limitOf(field) && codePointCount(text) > limitOf(field) &&
               !isOverLimit(text, field);
    case TextRemark::blankAfterComma:
        return field == FieldType::keywords && hasBlankBesideComma(text);
    case TextRemark::foreignComma:
        return field == FieldType::keywords && hasForeignComma(text);
    case TextRemark::repeatedKeyword:
        return field == FieldType::keywords && hasRepeatedTerm(text);
    }
    return false;
}

} // namespace

std::vector<TextRemark> remarksOn(std::string_view text, FieldType field) {
    std::vector<TextRemark> remarks;
    if (isBlank(text)) return remarks;
    for (const auto& [remark, raw] : RawValues<TextRemark>::values)
        if (applies(remark, text, field)) remarks.push_back(remark);
    return remarks;
}

std::string_view explain(TextRemark remark) {
    switch (remark) {
    case TextRemark::byteOrderMark:
        return "Begins with a byte order mark, which would become part of the text; "
               "tidying removes it.";
    case TextRemark::controlCharacter:
        return "Holds a control character, which App Store Connect refuses; remove it.";
    case TextRemark::carriageReturn:
        return "Holds carriage returns (CR LF line breaks), which are sent as they are.";
    case TextRemark::finalLineBreak:
        return "Ends with a line break, which counts as a character and is sent. Tidying removes it; "
               "with the app's setting finalLineBreak = strip it stays in the file and is not sent.";
    case TextRemark::codePointsOverLimit:
        return "Is within the limit as people count characters, but above it in code points; "
               "App Store Connect may refuse it.";
    case TextRemark::blankAfterComma:
        return "Has blanks beside commas, which count as characters.";
    case TextRemark::foreignComma:
        return "Has full-width, ideographic or Arabic commas, which do not separate keywords; use \",\".";
    case TextRemark::repeatedKeyword:
        return "Names a keyword more than once.";
    }
    return {};
}

std::optional<std::size_t> findControlCharacter(std::string_view text) {
    const auto found = std::ranges::find_if(text, [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte == 0x7F || (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r');
    });
    return found == text.end() ? std::nullopt : std::optional(static_cast<std::size_t>(found - text.begin()));
}

std::string_view withoutFinalLineBreak(std::string_view text) {
    for (const std::string_view lineBreak : {"\r\n", "\n", "\r"})
        if (text.ends_with(lineBreak)) return text.substr(0, text.size() - lineBreak.size());
    return text;
}

std::string_view withoutByteOrderMark(std::string_view text) {
    return text.starts_with(byteOrderMark) ? text.substr(byteOrderMark.size()) : text;
}

std::string contentDigest(std::string_view text) {
    return sha256Hex(withoutFinalLineBreak(withoutByteOrderMark(text)));
}

} // namespace quorvel
