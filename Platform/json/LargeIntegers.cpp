#include "Platform/json/LargeIntegers.h"

#include <charconv>
#include <cstdint>
#include <system_error>

namespace quorvel::json {

namespace {

// The end of the string literal that begins at `at`.
std::size_t endOfString(std::string_view text, std::size_t at) {
    for (++at; at < text.size() && text[at] != '"'; ++at)
        if (text[at] == '\\') ++at;
    return at < text.size() ? at + 1 : text.size();
}

bool isTooLarge(std::string_view number) {
    std::int64_t ignored = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), ignored);
    return error == std::errc::result_out_of_range && end == number.data() + number.size();
}

} // namespace

std::optional<std::string> withLargeIntegersAsDoubles(std::string_view text) {
    std::string result;
    std::size_t copied = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == '"') {
            at = endOfString(text, at);
            continue;
        }
        const std::size_t end = text.find_first_not_of("+-.0123456789Ee", at);
        const std::string_view number = text.substr(at, end == std::string_view::npos ? end : end - at);
        at += number.empty() ? 1 : number.size();
        if (!isTooLarge(number)) continue;
        result.append(text, copied, at - copied).append(".0");
        copied = at;
    }
    if (copied == 0) return std::nullopt;
    return result.append(text, copied);
}

} // namespace quorvel::json
