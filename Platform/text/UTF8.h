// Decoding UTF-8 code point by code point; for the sources of this folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace quorvel {

struct CodePoint {
    char32_t value = 0;
    std::uint8_t size = 0; // bytes
    bool isWellFormed = true;
};

constexpr CodePoint replacementForOneByte = {0xFFFD, 1, false};

constexpr bool isContinuation(char byte) {
    return (static_cast<std::uint8_t>(byte) & 0xC0) == 0x80;
}

/// The length of the run of ASCII at the start of `text`.
inline std::size_t asciiRun(std::string_view text) {
    constexpr std::uint64_t highBits = 0x8080808080808080;
    std::size_t at = 0;
    for (; at + 32 <= text.size(); at += 32) {
        std::uint64_t words[4];
        std::memcpy(words, text.data() + at, sizeof words);
        if (((words[0] | words[1] | words[2] | words[3]) & highBits) != 0) break;
    }
    while (at < text.size() && static_cast<std::uint8_t>(text[at]) < 0x80)
        ++at;
    return at;
}

/// The code point at `at`, which must lie inside `text`. An ill-formed byte is U+FFFD by itself.
inline CodePoint decodeUTF8(std::string_view text, std::size_t at) {
    const char* const bytes = text.data() + at;
    const std::size_t left = text.size() - at;
    const auto lead = static_cast<std::uint8_t>(*bytes);
    const auto tail = [&](std::size_t index) {
        return char32_t(static_cast<std::uint8_t>(bytes[index]) & 0x3F);
    };
    if (lead < 0x80) return {lead, 1, true};
    if (lead < 0xE0) {
        if (lead >= 0xC2 && left > 1 && isContinuation(bytes[1]))
            return {char32_t(lead & 0x1F) << 6 | tail(1), 2, true};
    } else if (lead < 0xF0) {
        if (left > 2 && isContinuation(bytes[1]) && isContinuation(bytes[2])) {
            const char32_t value = char32_t(lead & 0x0F) << 12 | tail(1) << 6 | tail(2);
            if (value >= 0x800 && (value < 0xD800 || value > 0xDFFF)) return {value, 3, true};
        }
    } else if (lead < 0xF5 && left > 3 && isContinuation(bytes[1]) && isContinuation(bytes[2]) &&
               isContinuation(bytes[3])) {
        const char32_t value = char32_t(lead & 0x07) << 18 | tail(1) << 12 | tail(2) << 6 | tail(3);
        if (value >= 0x10000 && value <= 0x10FFFF) return {value, 4, true};
    }
    return replacementForOneByte;
}

/// The code point that ends before `end`, which must not be 0.
inline CodePoint decodeUTF8Before(std::string_view text, std::size_t end) {
    for (std::size_t size = 1; size <= 4 && size <= end; ++size) {
        if (isContinuation(text[end - size])) continue;
        const CodePoint found = decodeUTF8(text.substr(0, end), end - size);
        return found.size == size ? found : replacementForOneByte;
    }
    return replacementForOneByte;
}

} // namespace quorvel
