// Names of HTTP headers, which are compared without regard to ASCII case.
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

} // namespace quorvel
