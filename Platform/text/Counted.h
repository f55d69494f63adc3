// Numbers of things in words.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorvel {

/// "1 field", "3 fields": for nouns whose plural ends in "s".
[[nodiscard]] inline std::string counted(std::size_t count, std::string_view noun) {
    std::string text = std::to_string(count) + " ";
    text += noun;
    if (count != 1) text += 's';
    return text;
}

} // namespace quorvel
