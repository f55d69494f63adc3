#include "Core/aso/StoreLink.h"

#include "Platform/text/Text.h"

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::size_t mostDigits = 18; // fits a signed number of 64 bits

bool isDigits(std::string_view text) {
    return !text.empty() && text.size() <= mostDigits && text.front() != '0' &&
           std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

bool isBundleId(std::string_view text) {
    const auto isPart = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
               c == '_' || c == '.';
    };
    return text.find('.') != std::string_view::npos && text.front() != '.' && text.back() != '.' &&
           std::ranges::all_of(text, isPart);
}

bool isCountry(std::string_view text) {
    return text.size() == 2 && std::ranges::all_of(text, [](char c) { return c >= 'a' && c <= 'z'; });
}

std::optional<StoreLink> readAddress(std::string_view address) {
    address = address.substr(address.find("//") + 2);
    address = address.substr(0, address.find_first_of("?#"));
    const std::size_t host = address.find('/');
    if (host == std::string_view::npos) return std::nullopt;
    StoreLink link;
    bool isFirst = true;
    for (std::size_t at = host + 1; at <= address.size();) {
        const std::size_t end = std::min(address.find('/', at), address.size());
        const std::string_view part = address.substr(at, end - at);
        if (isFirst && isCountry(asciiLowercase(part))) link.country = asciiLowercase(part);
        if (part.starts_with("id") && isDigits(part.substr(2))) link.appStoreId = std::string(part.substr(2));
        isFirst = false;
        at = end + 1;
    }
    return link.appStoreId ? std::optional(link) : std::nullopt;
}

} // namespace

std::optional<StoreLink> readStoreLink(std::string_view text) {
    const std::string_view word = trim(text);
    if (word.starts_with("https://") || word.starts_with("http://")) return readAddress(word);
    const std::string_view digits = word.starts_with("id") ? word.substr(2) : word;
    if (isDigits(digits)) return StoreLink{.appStoreId = std::string(digits)};
    if (isBundleId(word)) return StoreLink{.bundleId = std::string(word)};
    return std::nullopt;
}

} // namespace quorvel
