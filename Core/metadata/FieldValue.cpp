#include "Core/metadata/FieldValue.h"

#include "Core/metadata/TextRemarks.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

// Quotes a value, cut, as a file may hold anything.
std::string quotedValue(std::string_view value) {
    constexpr std::size_t shown = 60;
    const std::string_view start = graphemePrefix(value, shown);
    return fmt::format("\"{}{}\"", escapeControls(start), start.size() < value.size() ? "…" : "");
}

std::string_view schemeOf(std::string_view address) {
    const std::size_t end = address.find("://");
    return end == std::string_view::npos ? std::string_view() : address.substr(0, end);
}

// "www.example.com" of "https://user@www.example.com:443/path".
std::string_view hostOf(std::string_view address) {
    std::string_view host = address.substr(schemeOf(address).size() + 3);
    host = host.substr(0, host.find_first_of("/?#"));
    if (const std::size_t user = host.rfind('@'); user != std::string_view::npos)
        host.remove_prefix(user + 1);
    return host.substr(0, host.find(':'));
}

std::optional<std::string> addressFault(std::string_view address) {
    if (address.find_first_of(" \t\r\n") != std::string_view::npos || findControlCharacter(address))
        return "has blanks or line breaks inside. Write one address without them.";
    const std::string scheme = asciiLowercase(schemeOf(address));
    if (scheme != "https" && scheme != "http")
        return "is no address of a web page. Write it whole, such as https://example.com/support.";
    const std::string_view host = hostOf(address);
    if (host.find('.') == std::string_view::npos || host.starts_with('.') ||
        host.find("..") != std::string_view::npos)
        return "names no host. Write the address whole, such as https://example.com/support.";
    return std::nullopt;
}

std::optional<std::string> faultOfValue(FieldType field, std::string_view value) {
    switch (kindOf(field)) {
    case FieldKind::address:
        return addressFault(value);
    default:
        return std::nullopt;
    }
}

} // namespace

std::string canonicalValue(FieldType field, std::string_view text) {
    if (isStoreText(field)) return std::string(text);
    const std::string_view bare = withoutByteOrderMark(text);
    if (kindOf(field) == FieldKind::text || isSecret(field)) return std::string(withoutFinalLineBreak(bare));
    return std::string(trim(bare));
}

std::optional<std::string> valueFault(FieldType field, std::string_view text) {
    if (isBlank(text) || isStoreText(field)) return std::nullopt;
    const std::string value = canonicalValue(field, text);
    const auto fault = faultOfValue(field, value);
    if (!fault) return std::nullopt;
    return fmt::format("{}: {} {}", fileNameOf(field), quotedValue(value), *fault);
}

} // namespace quorvel
