#include "Platform/text/Text.h"

#include "Platform/text/GraphemeBreaks.h"
#include "Platform/text/UTF8.h"

#include <unicode/uchar.h>

#include <algorithm>

namespace quorvel {

namespace {

bool isWhiteSpace(CodePoint codePoint) {
    return u_isUWhiteSpace(static_cast<UChar32>(codePoint.value));
}

// Embeddings, overrides and isolates turn the text around them about, and the line and paragraph separators
// break it: in a message they mislead as control characters do.
bool isControl(char32_t value) {
    return value < 0x20 || (value >= 0x7F && value < 0xA0) || (value >= 0x2028 && value <= 0x202E) ||
           (value >= 0x2066 && value <= 0x2069);
}

// These are part of texts from right to left, but in a document that is read letter by letter they mislead.
bool isDirectionMark(char32_t value) {
    return value == 0x061C || value == 0x200E || value == 0x200F;
}

constexpr std::string_view hexDigits = "0123456789ABCDEF";

void appendEscape(std::string& result, CodePoint codePoint, char byte) {
    switch (codePoint.value) {
    case '\n':
        result += "\\n";
        return;
    case '\r':
        result += "\\r";
        return;
    case '\t':
        result += "\\t";
        return;
    default:
        break;
    }
    const bool isByte = !codePoint.isWellFormed || codePoint.value < 0x80;
    const char32_t value = isByte ? static_cast<std::uint8_t>(byte) : codePoint.value;
    result += isByte ? "\\x" : "\\u";
    for (int shift = isByte ? 4 : 12; shift >= 0; shift -= 4)
        result.push_back(hexDigits[value >> shift & 15]);
}

std::size_t cellsOf(char32_t value, GraphemeClass kind) {
    using enum GraphemeClass;
    const int width = u_getIntPropertyValue(static_cast<UChar32>(value), UCHAR_EAST_ASIAN_WIDTH);
    switch (kind) {
    case extend:
        return width == U_EA_HALFWIDTH ? 1 : 0; // the voiced sound marks of half-width kana have a cell
    case carriageReturn:
    case lineFeed:
    case control:
    case extendMark:
    case virama:
    case joiner:
    case spacingMark:
    case vowel:
    case trailing:
        return 0;
    default:
        return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
    }
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

// Takes the run of digits at the start of `text` and returns it without leading zeros.
std::string_view takeNumber(std::string_view& text) {
    const auto end = static_cast<std::size_t>(std::ranges::find_if_not(text, isDigit) - text.begin());
    std::string_view number = text.substr(0, end);
    text.remove_prefix(end);
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

} // namespace

std::size_t codePointCount(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t at = 0; at < text.size(); at += decodeUTF8(text, at).size)
        ++count;
    return count;
}

bool isValidUTF8(std::string_view text) {
    for (std::size_t at = asciiRun(text); at < text.size(); at += asciiRun(text.substr(at))) {
        const CodePoint next = decodeUTF8(text, at);
        if (!next.isWellFormed) return false;
        at += next.size;
    }
    return true;
}

std::string repairUTF8(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint next = decodeUTF8(text, at);
        if (next.isWellFormed)
            result.append(text, at, next.size);
        else
            result += "\xEF\xBF\xBD";
        at += next.size;
    }
    return result;
}

std::string_view trim(std::string_view text) {
    while (!text.empty()) {
        const CodePoint first = decodeUTF8(text, 0);
        if (!isWhiteSpace(first)) break;
        text.remove_prefix(first.size);
    }
    while (!text.empty()) {
        const CodePoint last = decodeUTF8Before(text, text.size());
        if (!isWhiteSpace(last)) break;
        text.remove_suffix(last.size);
    }
    return text;
}

bool isBlank(std::string_view text) {
    return trim(text).empty();
}

std::size_t displayWidth(std::string_view text) {
    constexpr char32_t emojiPresentation = 0xFE0F;
    GraphemeBreaks breaks;
    std::size_t cells = 0;
    std::size_t cluster = 0; // cells of the cluster so far
    GraphemeClass previous = GraphemeClass::control;
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint next = decodeUTF8(text, at);
        const GraphemeClass kind = graphemeClass(next.value);
        if (breaks.beginsCluster(kind)) {
            cells += cluster;
            cluster = cellsOf(next.value, kind);
        } else if (next.value == emojiPresentation) {
            if (cluster == 1) cluster = 2;
        } else if (kind != GraphemeClass::pictographic || previous != GraphemeClass::joiner) {
            cluster += cellsOf(next.value, kind); // all but the further people of a family
        }
        previous = kind;
        at += next.size;
    }
    return cells + cluster;
}

std::string escapeControls(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint next = decodeUTF8(text, at);
        if (!next.isWellFormed || isControl(next.value))
            appendEscape(result, next, text[at]);
        else
            result.append(text, at, next.size);
        at += next.size;
    }
    return result;
}

std::string escapeControlsInJSON(std::string_view document) {
    std::string result;
    result.reserve(document.size());
    for (std::size_t at = 0; at < document.size();) {
        const CodePoint next = decodeUTF8(document, at);
        if (next.value != '\n' && (isControl(next.value) || isDirectionMark(next.value))) {
            result += "\\u";
            for (int shift = 12; shift >= 0; shift -= 4)
                result.push_back(hexDigits[next.value >> shift & 15]);
        } else {
            result.append(document, at, next.size);
        }
        at += next.size;
    }
    return result;
}

bool naturalLess(std::string_view left, std::string_view right) {
    std::string_view leftRest = left, rightRest = right;
    while (!leftRest.empty() && !rightRest.empty()) {
        if (isDigit(leftRest.front()) && isDigit(rightRest.front())) {
            const std::string_view leftNumber = takeNumber(leftRest), rightNumber = takeNumber(rightRest);
            if (leftNumber.size() != rightNumber.size()) return leftNumber.size() < rightNumber.size();
            if (leftNumber != rightNumber) return leftNumber < rightNumber;
        } else {
            const auto leftByte = static_cast<std::uint8_t>(leftRest.front());
            const auto rightByte = static_cast<std::uint8_t>(rightRest.front());
            if (leftByte != rightByte) return leftByte < rightByte;
            leftRest.remove_prefix(1);
            rightRest.remove_prefix(1);
        }
    }
    if (leftRest.empty() != rightRest.empty()) return leftRest.empty();
    return left < right; // equal but for leading zeros
}

std::string asciiLowercase(std::string_view text) {
    std::string result(text);
    for (char& character : result)
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
    return result;
}

std::string withASCIIDigits(std::string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint next = decodeUTF8(text, at);
        const std::int32_t digit = u_charDigitValue(static_cast<UChar32>(next.value));
        if (digit >= 0)
            result += static_cast<char>('0' + digit);
        else
            result += text.substr(at, next.size);
        at += next.size;
    }
    return result;
}

} // namespace quorvel
