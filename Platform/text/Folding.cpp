#include "Platform/text/Text.h"
#include "Platform/text/UTF8.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>

#include <algorithm>
#include <stdexcept>

namespace quorvel {

namespace {

constexpr char32_t nonJoiner = 0x200C, joiner = 0x200D;

bool isInvisible(char32_t character) {
    return u_hasBinaryProperty(static_cast<UChar32>(character), UCHAR_DEFAULT_IGNORABLE_CODE_POINT) != 0;
}

// Whether a letter, a mark or an emoji begins at `at`.
bool isShapedAt(std::string_view text, std::size_t at) {
    if (at >= text.size()) return false;
    const char32_t value = decodeUTF8(text, at).value;
    const auto character = static_cast<UChar32>(value);
    return !isInvisible(value) && !u_isspace(character) && !u_ispunct(character);
}

} // namespace

std::string caseFolded(std::string_view text) {
    if (std::ranges::all_of(text, [](char byte) { return static_cast<unsigned char>(byte) < 0x80; }))
        return asciiLowercase(text); // which no normal form changes
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* composing = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status)) throw std::runtime_error("The normal forms of the text library are missing.");
    // Composed before as well: folding maps some marks that composition would have joined.
    const icu::UnicodeString whole =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    icu::UnicodeString composed = composing->normalize(whole, status);
    const icu::UnicodeString folded = composing->normalize(composed.foldCase(), status);
    if (U_FAILURE(status)) throw std::runtime_error("The text cannot be normalised.");
    std::string result;
    return folded.toUTF8String(result);
}

std::optional<std::string> scriptCode(std::string_view name) {
    const auto isPlain = [](char letter) {
        return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') || letter == ' ' ||
               letter == '_';
    };
    if (name.empty() || !std::ranges::all_of(name, isPlain)) return std::nullopt;
    const auto value = u_getPropertyValueEnum(UCHAR_SCRIPT, std::string(name).c_str());
    const bool isNone = value == UCHAR_INVALID_CODE || value == USCRIPT_COMMON ||
                        value == USCRIPT_INHERITED || value == USCRIPT_UNKNOWN;
    const char* const code =
        isNone ? nullptr : u_getPropertyValueName(UCHAR_SCRIPT, value, U_SHORT_PROPERTY_NAME);
    return code ? std::optional<std::string>(code) : std::nullopt;
}

std::string withoutInvisibles(std::string_view text) {
    std::string visible;
    bool isInWord = false; // what was kept last can join
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t start = at;
        const CodePoint character = decodeUTF8(text, at);
        at += character.size;
        const bool joins =
            (character.value == joiner || character.value == nonJoiner) && isInWord && isShapedAt(text, at);
        if (isInvisible(character.value) && !joins) continue;
        visible += text.substr(start, at - start);
        isInWord = !joins && isShapedAt(text, start);
    }
    return visible;
}

} // namespace quorvel
