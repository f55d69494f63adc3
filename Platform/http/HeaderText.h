// Names of HTTP headers, which are compared without regard to ASCII case, and their values.
#pragma once

#include <algorithm>
#include <string_view>

namespace quorvel {

[[nodiscard]] constexpr char asciiLowercased(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A')) : character;
}

[[nodiscard]] constexpr bool isSameHeaderName(std::string_view left, std::string_view right) {
    return std::ranges::equal(left, right, {}, asciiLowercased, asciiLowercased);
}

/// `text` without blanks and line ends at both ends.
[[nodiscard]] constexpr std::string_view trimBlanks(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const auto start = text.find_first_not_of(blanks);
    if (start == std::string_view::npos) return {};
    return text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

} // namespace quorvel
