#include "Core/metadata/WebAddress.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace quorvel {

namespace {

constexpr std::string_view encrypted = "https://";
constexpr std::string_view unencrypted = "http://";

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

// Letters beyond ASCII belong to internationalised names, which browsers translate.
bool isHostCharacter(char character) {
    return isLetter(character) || isDigit(character) || character == '-' || character == '_' ||
           static_cast<unsigned char>(character) >= 0x80;
}

// "mailto" of "mailto:a@b.c"; empty where there is no scheme.
std::string_view schemeOf(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0 || !isLetter(text.front())) return {};
    const std::string_view scheme = text.substr(0, colon);
    const bool isScheme = std::ranges::all_of(scheme, [](char character) {
        return isLetter(character) || isDigit(character) || character == '+' || character == '-';
    });
    // "localhost:8080" is a host with its port.
    const bool hasPort = colon + 1 < text.size() && isDigit(text[colon + 1]);
    return isScheme && !hasPort ? scheme : std::string_view();
}

std::string problemWithoutScheme(std::string_view text) {
    const std::string_view scheme = schemeOf(text);
    const std::string lower = asciiLowercase(text);
    if (lower.starts_with(encrypted) || lower.starts_with(unencrypted))
        return fmt::format("begins with \"{}://\"; write that in small letters", scheme);
    if (scheme == "mailto" || (scheme.empty() && text.find('@') != std::string_view::npos))
        return "is an e-mail address; write the address of a web page, such as https://example.com/support";
    if (scheme == "http" || scheme == "https")
        return fmt::format("has no \"//\" behind \"{}:\"; write {}://…", scheme, scheme);
    if (!scheme.empty())
        return fmt::format("begins with \"{}:\"; write an address that begins with https://",
                           escapeControls(scheme));
    if (text.find('.') != std::string_view::npos)
        return fmt::format("has no https:// in front; write https://{}",
                           escapeControls(text.substr(text.find_first_not_of('/'))));
    return "is no address; write one such as https://example.com/support";
}

std::optional<std::string> problemOfPort(std::string_view port) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    if (error == std::errc{} && end == port.data() + port.size() && number > 0 && number < 65536)
        return std::nullopt;
    return fmt::format("has the port \"{}\", which is none", port);
}

std::optional<std::string> problemOfName(std::string_view host) {
    if (host.ends_with('.')) host.remove_suffix(1); // the root of all names
    std::size_t labels = 0;
    for (std::string_view rest = host;; ++labels) {
        const std::size_t dot = std::min(rest.find('.'), rest.size());
        const std::string_view label = rest.substr(0, dot);
        if (label.empty() || label.size() > 63 || label.starts_with('-') || label.ends_with('-') ||
            !std::ranges::all_of(label, isHostCharacter))
            return fmt::format("has the host \"{}\", which no server can have", escapeControls(host));
        if (dot == rest.size()) break;
        rest.remove_prefix(dot + 1);
    }
    if (labels == 0)
        return fmt::format("has the host \"{}\", which nobody else can reach; write the whole name", host);
    return std::nullopt;
}

std::optional<std::string> problemOfHost(std::string_view authority) {
    if (authority.empty()) return "has no host behind \"//\"";
    if (authority.find('@') != std::string_view::npos)
        return "holds a user's name in front of the host; leave that out";
    if (authority.starts_with('[')) {
        const std::size_t end = authority.find(']');
        const std::string_view inside = authority.substr(1, end == std::string_view::npos ? 0 : end - 1);
        const bool isNumeric = inside.find(':') != std::string_view::npos &&
                               inside.find_first_not_of("0123456789abcdefABCDEF:.") == std::string_view::npos;
        if (!isNumeric) return "has an unreadable host in brackets";
        const std::string_view behind = authority.substr(end + 1);
        if (behind.empty()) return std::nullopt;
        return behind.starts_with(':') ? problemOfPort(behind.substr(1))
                                       : std::optional<std::string>("has an unreadable host in brackets");
    }
    const std::size_t colon = authority.find(':');
    if (auto problem = problemOfName(authority.substr(0, colon))) return problem;
    return colon == std::string_view::npos ? std::nullopt : problemOfPort(authority.substr(colon + 1));
}

} // namespace

std::optional<std::string> problemOfAddress(std::string_view text) {
    const std::string_view address = trim(text);
    if (address.empty()) return "is blank";
    if (address.find_first_of("\n\r") != std::string_view::npos)
        return "holds several lines; write one address";
    const auto isBlankSegment = [](std::string_view segment) { return isBlank(segment); };
    if (address.find_first_of(" \t") != std::string_view::npos ||
        (std::ranges::any_of(address, [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; }) &&
         std::ranges::any_of(wordSegments(address), isBlankSegment)))
        return "holds a blank; write %20 for it, or a single address";
    const std::string_view prefix = address.starts_with(encrypted)     ? encrypted
                                    : address.starts_with(unencrypted) ? unencrypted
                                                                       : std::string_view();
    if (prefix.empty()) return problemWithoutScheme(address);
    const std::string_view rest = address.substr(prefix.size());
    if (auto problem = problemOfHost(rest.substr(0, rest.find_first_of("/?#")))) return problem;
    const std::size_t strange = address.find_first_of("<>\"\\^`{|}");
    if (strange != std::string_view::npos)
        return fmt::format("holds {}, which no address does", address.substr(strange, 1));
    if (std::ranges::any_of(address, [](char byte) {
            return static_cast<unsigned char>(byte) < 0x20 || static_cast<unsigned char>(byte) == 0x7F;
        }))
        return "holds a control character; remove it";
    return std::nullopt;
}

bool isUnencrypted(std::string_view address) {
    return asciiLowercase(trim(address).substr(0, unencrypted.size())) == unencrypted;
}

} // namespace quorvel
