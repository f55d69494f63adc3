#include "Platform/text/Markup.h"

#include <unicode/utf8.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

namespace quorvel {

namespace {

// The character of "amp", "#8211" or "#x2013".
std::optional<std::string> characterOf(std::string_view name) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 6> named{
        {{"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"quot", "\""}, {"apos", "'"}, {"nbsp", "\u00A0"}}};
    for (const auto& [known, character] : named)
        if (name == known) return std::string(character);
    if (!name.starts_with('#')) return std::nullopt;
    name.remove_prefix(1);
    const bool isHexadecimal = name.starts_with('x') || name.starts_with('X');
    if (isHexadecimal) name.remove_prefix(1);
    std::uint32_t number = 0;
    const auto [end, problem] =
        std::from_chars(name.data(), name.data() + name.size(), number, isHexadecimal ? 16 : 10);
    const bool isCharacter = number > 0 && number <= 0x10FFFF && (number < 0xD800 || number > 0xDFFF);
    if (problem != std::errc() || end != name.data() + name.size() || !isCharacter) return std::nullopt;
    std::array<char, 4> bytes{};
    std::int32_t size = 0;
    U8_APPEND_UNSAFE(bytes.data(), size, number);
    return std::string(bytes.data(), static_cast<std::size_t>(size));
}

} // namespace

std::string escapedMarkup(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        if (character == '&')
            escaped += "&amp;";
        else if (character == '<')
            escaped += "&lt;";
        else if (character == '>')
            escaped += "&gt;";
        else
            escaped += character;
    }
    return escaped;
}

std::string decodedMarkup(std::string_view text) {
    constexpr std::size_t longestName = 32;
    std::string decoded;
    while (!text.empty()) {
        const std::size_t start = text.find('&');
        decoded += text.substr(0, start);
        if (start == std::string_view::npos) break;
        text.remove_prefix(start);
        const std::size_t end = text.substr(0, longestName).find(';');
        const auto character =
            end == std::string_view::npos ? std::nullopt : characterOf(text.substr(1, end - 1));
        decoded += character.value_or("&");
        text.remove_prefix(character ? end + 1 : 1);
    }
    return decoded;
}

} // namespace quorvel
