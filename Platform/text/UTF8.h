// Decoding UTF-8 code point by code point; for the sources of this folder.
#pragma once

#include <cstddef>
#include <cstdint>
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

/// The code point at `at`, which must lie inside `text`. An ill-formed byte is U+FFFD by itself.
inline CodePoint decodeUTF8(std::string_view text, std::size_t at) {
    const auto lead = static_cast<std::uint8_t>(text[at]);
    if (lead < 0x80) return {lead, 1, true};
    const std::size_t left = text.size() - at;
    const auto tail = [&](std::size_t index) {
        return char32_t(static_cast<std::uint8_t>(text[at + index]) & 0x3F);
    };
    const auto follows = [&](std::size_t count) {
        if (left <= count) return false;
        for (std::size_t index = 1; index <= count; ++index)
            if (!isContinuation(text[at + index])) return false;
        return true;
    };
    if (lead >= 0xC2 && lead <= 0xDF && follows(1)) return {char32_t(lead & 0x1F) << 6 | tail(1), 2, true};
    if (lead >= 0xE0 && lead <= 0xEF && follows(2)) {
        const char32_t value = char32_t(lead & 0x0F) << 12 | tail(1) << 6 | tail(2);
        if (value >= 0x800 && (value < 0xD800 || value > 0xDFFF)) return {value, 3, true};
    }
    if (lead >= 0xF0 && lead <= 0xF4 && follows(3)) {
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
