// The parts of a text that no translation changes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// What programs fill in: "%@", "%1$@", "%ld", "{name}"; in order, repeated ones each time.
[[nodiscard]] std::vector<std::string_view> placeholdersIn(std::string_view text);

/// Web and mail addresses, bare host names such as "example.com/help" included, without the full stop or the
/// bracket that ends a sentence; in order.
[[nodiscard]] std::vector<std::string_view> addressesIn(std::string_view text);

/// Numbers of two digits or more outside of addresses and placeholders as plain digits, whatever their script
/// and their separators of thousands: "10,000", "10.000" and "١٠٠٠٠" are all "10000". Shorter ones are often
/// written as words.
[[nodiscard]] std::vector<std::string> numbersIn(std::string_view text);
/// The same for every way to read the text: "10 000" may be one number or two, and "10.30" a time of day.
[[nodiscard]] std::vector<std::string> possibleNumbersIn(std::string_view text);

/// Whether `text` holds `term` and no letter or digit of ASCII stands right beside it.
[[nodiscard]] bool holdsTerm(std::string_view text, std::string_view term);

} // namespace quorvel
