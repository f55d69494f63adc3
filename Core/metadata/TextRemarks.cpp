#include "Core/metadata/TextRemarks.h"

#include "Platform/crypto/Digest.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <set>

namespace quorvel {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
// Full-width, ideographic, half-width ideographic, small, small ideographic and Arabic.
constexpr std::array<std::string_view, 6> foreignCommas = {"\uFF0C", "\u3001", "\uFF64",
                                                           "\uFE50", "\uFE51", "\u060C"};
// Semicolons and bars of all scripts, and lines.
constexpr std::array<std::string_view, 8> otherSeparators = {";",      "|",      "\n",     "\t",
                                                             "\u061B", "\uFF1B", "\uFF5C", "•"};

using Place = std::optional<FoundRemark>;

Place placeAt(TextRemark remark, std::size_t offset, std::string_view about = {}) {
    if (offset == std::string_view::npos) return std::nullopt;
    return FoundRemark{remark, offset, std::string(about)};
}

Place findBlankBesideComma(std::string_view keywords) {
    for (std::size_t comma = keywords.find(','); comma != std::string_view::npos;
         comma = keywords.find(',', comma + 1)) {
        if (comma > 0 && keywords[comma - 1] == ' ') return placeAt(TextRemark::blankAfterComma, comma - 1);
        const std::string_view rest = keywords.substr(comma + 1);
        if (!isBlank(rest) && trim(rest).data() != rest.data())
            return placeAt(TextRemark::blankAfterComma, comma + 1);
    }
    return std::nullopt;
}

template <std::size_t count>
Place findFirstOf(TextRemark remark, const std::array<std::string_view, count>& signs,
                  std::string_view text) {
    std::size_t first = std::string_view::npos;
    for (const std::string_view sign : signs)
        first = std::min(first, text.find(sign));
    return placeAt(remark, first);
}

// Whether `text` begins with a code point that has no place in a name.
bool isUnusual(std::string_view text) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    if (byte(0) == '<' || byte(0) == '>') return true;
    if (byte(0) == 0xF0 && text.size() >= 4) { // U+1F000 to U+1FAFF
        const unsigned point = (byte(1) & 0x3FU) << 12U | (byte(2) & 0x3FU) << 6U | (byte(3) & 0x3FU);
        return point >= 0x1F000 && point < 0x1FB00;
    }
    if (byte(0) == 0xE2 && text.size() >= 3) { // U+2600 to U+27BF
        const unsigned point = 0x2000U | (byte(1) & 0x3FU) << 6U | (byte(2) & 0x3FU);
        return point >= 0x2600 && point < 0x27C0;
    }
    return false;
}

Place findUnusualCharacter(std::string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at)
        if (isUnusual(text.substr(at)))
            return placeAt(TextRemark::unusualCharacter, at, graphemePrefix(text.substr(at), 1));
    return std::nullopt;
}

// The terms of a list, and their folded spellings in order.
struct Terms {
    std::vector<KeywordTerm> list;
    std::vector<std::string_view> folded;

    [[nodiscard]] bool holds(std::string_view term) const { return std::ranges::binary_search(folded, term); }
};

// The first term that `judge` finds fault with.
template <typename Judge>
Place findTerm(TextRemark remark, const Terms& terms, Judge&& judge) {
    for (const KeywordTerm& term : terms.list)
        if (judge(term)) return placeAt(remark, term.offset, term.text);
    return std::nullopt;
}

Place findEmptyKeyword(const Terms& terms) {
    return findTerm(TextRemark::emptyKeyword, terms,
                    [](const KeywordTerm& term) { return term.text.empty(); });
}

Place findRepeatedKeyword(const Terms& terms) {
    if (std::ranges::adjacent_find(terms.folded) == terms.folded.end()) return std::nullopt;
    std::set<std::string_view> seen;
    return findTerm(TextRemark::repeatedKeyword, terms, [&](const KeywordTerm& term) {
        return !term.text.empty() && !seen.insert(term.folded).second;
    });
}

Place findSimilarKeyword(const Terms& terms) {
    constexpr std::size_t shortest = 4; // letters of a plural
    return findTerm(TextRemark::similarKeyword, terms, [&](const KeywordTerm& term) {
        const std::string_view word = term.folded;
        if (word.size() < shortest || !word.ends_with('s')) return false;
        return terms.holds(word.substr(0, word.size() - 1)) ||
               (word.ends_with("es") && terms.holds(word.substr(0, word.size() - 2)));
    });
}

Place findKeywordPhrase(const Terms& terms) {
    return findTerm(TextRemark::keywordPhrase, terms, [&](const KeywordTerm& term) {
        std::size_t parts = 0;
        for (std::string_view rest = term.folded; !rest.empty(); ++parts) {
            const std::size_t end = std::min(rest.find(' '), rest.size());
            if (end == term.folded.size() || !terms.holds(rest.substr(0, end))) return false;
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        return parts > 1;
    });
}

Place find(TextRemark remark, std::string_view text, FieldType field, const Terms& terms) {
    const bool isKeywords = field == FieldType::keywords;
    switch (remark) {
    case TextRemark::byteOrderMark:
        return placeAt(remark, text.starts_with(byteOrderMark) ? 0 : std::string_view::npos);
    case TextRemark::controlCharacter: {
        const auto place = findControlCharacter(text);
        return place ? placeAt(remark, *place, text.substr(*place, 1)) : std::nullopt;
    }
    case TextRemark::carriageReturn:
        return placeAt(remark, text.find('\r'));
    case TextRemark::finalLineBreak:
        return withoutFinalLineBreak(text).size() < text.size()
                   ? placeAt(remark, withoutFinalLineBreak(text).size())
                   : std::nullopt;
    case TextRemark::codePointsOverLimit:
        return text.size() > limitOf(field) && codePointCount(text) > limitOf(field) &&
                       !isOverLimit(text, field)
                   ? placeAt(remark, 0)
                   : std::nullopt;
    case TextRemark::unusualCharacter:
        return field == FieldType::name || field == FieldType::subtitle ? findUnusualCharacter(text)
                                                                        : std::nullopt;
    case TextRemark::blankAfterComma:
        return isKeywords ? findBlankBesideComma(text) : std::nullopt;
    case TextRemark::foreignComma:
        return isKeywords ? findFirstOf(remark, foreignCommas, text) : std::nullopt;
    case TextRemark::otherSeparator:
        return isKeywords ? findFirstOf(remark, otherSeparators, withoutFinalLineBreak(text)) : std::nullopt;
    case TextRemark::emptyKeyword:
        return isKeywords ? findEmptyKeyword(terms) : std::nullopt;
    case TextRemark::repeatedKeyword:
        return isKeywords ? findRepeatedKeyword(terms) : std::nullopt;
    case TextRemark::similarKeyword:
        return isKeywords ? findSimilarKeyword(terms) : std::nullopt;
    case TextRemark::keywordPhrase:
        return isKeywords ? findKeywordPhrase(terms) : std::nullopt;
    }
    return std::nullopt;
}

} // namespace

std::vector<FoundRemark> findRemarks(std::string_view text, FieldType field) {
    std::vector<FoundRemark> found;
    if (isBlank(text)) return found;
    Terms terms;
    if (field == FieldType::keywords) terms.list = keywordTermsOf(text);
    for (const KeywordTerm& term : terms.list)
        terms.folded.push_back(term.folded);
    std::ranges::sort(terms.folded);
    for (const auto& [remark, raw] : RawValues<TextRemark>::values)
        if (auto place = find(remark, text, field, terms)) found.push_back(*std::move(place));
    return found;
}

std::vector<TextRemark> remarksOn(std::string_view text, FieldType field) {
    std::vector<TextRemark> remarks;
    for (const FoundRemark& found : findRemarks(text, field))
        remarks.push_back(found.remark);
    return remarks;
}

std::vector<KeywordTerm> keywordTermsOf(std::string_view keywords) {
    std::vector<KeywordTerm> terms;
    for (std::size_t start = 0;;) {
        const std::size_t end = std::min(keywords.find(',', start), keywords.size());
        const std::string_view term = trim(keywords.substr(start, end - start));
        const auto offset = term.empty() ? start : static_cast<std::size_t>(term.data() - keywords.data());
        terms.push_back({term, offset, caseFolded(term)});
        if (end == keywords.size()) return terms;
        start = end + 1;
    }
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
    case TextRemark::otherSeparator:
        return "Has semicolons, bars, tabs or lines, which do not separate keywords; use \",\".";
    case TextRemark::emptyKeyword:
        return "Has a comma without a keyword beside it, which counts as a character; remove it.";
    case TextRemark::repeatedKeyword:
        return "Names a keyword more than once.";
    case TextRemark::similarKeyword:
        return "Names a keyword and its plural, where the App Store mostly finds both by one.";
    case TextRemark::keywordPhrase:
        return "Names words one by one and again as a phrase, though the App Store combines the words itself.";
    case TextRemark::unusualCharacter:
        return "Holds a pictograph or an angle bracket, which App Store Connect may refuse here.";
    }
    return {};
}

std::string explain(const FoundRemark& found, std::string_view text, FieldType field) {
    switch (found.remark) {
    case TextRemark::codePointsOverLimit:
        return fmt::format(
            "Has {} characters as people count them, within the limit of {}, but {} code points; "
            "App Store Connect may refuse it. Shorten it to be safe.",
            graphemeCount(text), limitOf(field), codePointCount(text));
    case TextRemark::controlCharacter:
        return fmt::format("Holds the control character {}, which App Store Connect refuses; remove it.",
                           escapeControls(found.about));
    default:
        return found.about.empty()
                   ? std::string(explain(found.remark))
                   : fmt::format("{} (\"{}\")", explain(found.remark), escapeControls(found.about));
    }
}

std::string explainOverLimit(std::string_view text, FieldType field) {
    const std::size_t limit = limitOf(field);
    const std::string_view stripped = withoutFinalLineBreak(text);
    if (stripped.size() < text.size() && !isOverLimit(stripped, field))
        return fmt::format("{} has {} characters where {} are allowed, only because of its final line break. "
                           "Tidying removes it; finalLineBreak = strip leaves it out.",
                           fileNameOf(field), graphemeCount(text), limit);
    return fmt::format("{} has {} characters where {} are allowed. Shorten it.", fileNameOf(field),
                       graphemeCount(text), limit);
}

std::optional<std::size_t> findControlCharacter(std::string_view text) {
    // Eight bytes at a time, as most texts have none: whether one of them is below 0x20 or is 0x7F.
    const auto mayHold = [](std::uint64_t bytes) {
        constexpr std::uint64_t each = 0x0101010101010101, highest = 0x80 * each;
        const std::uint64_t others = bytes ^ (0x7F * each);
        return ((((bytes - 0x20 * each) & ~bytes) | ((others - each) & ~others)) & highest) != 0;
    };
    for (std::size_t at = 0; at < text.size();) {
        std::uint64_t bytes = 0;
        if (text.size() - at >= sizeof bytes) {
            std::memcpy(&bytes, text.data() + at, sizeof bytes);
            if (!mayHold(bytes)) {
                at += sizeof bytes;
                continue;
            }
        }
        for (const std::size_t end = std::min(at + sizeof bytes, text.size()); at < end; ++at) {
            const auto byte = static_cast<unsigned char>(text[at]);
            if (byte == 0x7F || (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r')) return at;
        }
    }
    return std::nullopt;
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
