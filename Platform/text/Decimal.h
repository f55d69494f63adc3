// Decimal numbers as texts.
#pragma once

#include <optional>
#include <string_view>

namespace quorvel {

/// The number in digits with at most one point between or behind them, such as "7" or "7.25"; nothing for any
/// other text, and for one above nine quintillions. In place of std::from_chars for double, which some
/// systems' libraries lack.
[[nodiscard]] inline std::optional<double> parseDecimal(std::string_view text) {
    if (text.empty() || text.front() == '.') return std::nullopt;
    double number = 0;
    double scale = 1;
    bool isFraction = false;
    for (const char character : text) {
        if (character == '.' && !isFraction) {
            isFraction = true;
            continue;
        }
        if (character < '0' || character > '9') return std::nullopt;
        const int digit = character - '0';
        if (isFraction)
            number += (scale /= 10) * digit;
        else
            number = number * 10 + digit;
    }
    constexpr double largest = 9e18; // beyond it an integer of 64 bits has no such value
    return number <= largest ? std::optional(number) : std::nullopt;
}

} // namespace quorvel
