#include "Platform/http/URLRules.h"

#include "Platform/http/HeaderText.h"
#include "Platform/http/URLSession.h"

#include <curl/curl.h>

#include <arpa/inet.h>
#include <netinet/in.h>

#include <array>
#include <cstring>
#include <memory>

namespace quorvel {

namespace {

struct URLDeleter {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using URLHandle = std::unique_ptr<CURLU, URLDeleter>;

constexpr unsigned parseFlags = CURLU_NON_SUPPORT_SCHEME | CURLU_DISALLOW_USER;

CURLUcode parse(CURLU* handle, std::string_view url, unsigned flags) {
    if (!handle) return CURLUE_OUT_OF_MEMORY;
    if (url.find('\0') != std::string_view::npos) return CURLUE_MALFORMED_INPUT;
    return curl_url_set(handle, CURLUPART_URL, std::string(url).c_str(), flags);
}

std::string part(CURLU* handle, CURLUPart which, unsigned flags = 0) {
    char* text = nullptr;
    if (curl_url_get(handle, which, &text, flags) != CURLUE_OK) return {};
    const std::unique_ptr<char, decltype(&curl_free)> owner(text, &curl_free);
    return text;
}

bool isLoopbackHost(const std::string& host) {
    if (isSameHeaderName(host, "localhost")) return true;
    in_addr v4{};
    if (inet_pton(AF_INET, host.c_str(), &v4) == 1) return ntohl(v4.s_addr) >> 24 == 127;
    if (host.size() < 2 || host.front() != '[' || host.back() != ']') return false;
    in6_addr v6{};
    return inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &v6) == 1 &&
           IN6_IS_ADDR_LOOPBACK(&v6);
}

} // namespace

std::optional<std::string> problemOfURL(std::string_view url) {
    const URLHandle handle(curl_url());
    const CURLUcode code = parse(handle.get(), url, parseFlags);
    if (code == CURLUE_USER_NOT_ALLOWED)
        return "holds a user name or password, which has no place in a URL (remove it)";
    if (code != CURLUE_OK) return "is not a URL";
    const std::string scheme = part(handle.get(), CURLUPART_SCHEME);
    if (scheme != "https" && scheme != "http")
        return "uses the scheme " + scheme + ", which is not accepted (use https)";
    const std::string host = part(handle.get(), CURLUPART_HOST);
    if (host.empty()) return "is not a URL";
    if (scheme == "http" && !isLoopbackHost(host))
        return "uses plain http, which is accepted for this machine only (use https)";
    return std::nullopt;
}

bool isEncryptedURL(std::string_view url) {
    return isSameHeaderName(url.substr(0, 6), "https:");
}

bool isLoopbackURL(std::string_view url) {
    const URLHandle handle(curl_url());
    return parse(handle.get(), url, parseFlags) == CURLUE_OK &&
           isLoopbackHost(part(handle.get(), CURLUPART_HOST));
}

std::string urlWithoutSecrets(std::string_view url) {
    const URLHandle handle(curl_url());
    if (parse(handle.get(), url, CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) return "the URL";
    for (const CURLUPart secret :
         {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_OPTIONS, CURLUPART_QUERY, CURLUPART_FRAGMENT})
        curl_url_set(handle.get(), secret, nullptr, 0);
    return part(handle.get(), CURLUPART_URL);
}

std::optional<std::string> resolveURL(std::string_view base, std::string_view location) {
    const URLHandle handle(curl_url());
    if (parse(handle.get(), base, parseFlags) != CURLUE_OK) return std::nullopt;
    if (parse(handle.get(), location, CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) return std::nullopt;
    return part(handle.get(), CURLUPART_URL);
}

void appendPercentEncoded(std::string& url, std::string_view text, Slash slash) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        const bool plain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                           (byte >= '0' && byte <= '9') || byte == '-' || byte == '.' || byte == '_' ||
                           byte == '~' || (byte == '/' && slash == Slash::keep);
        if (plain) {
            url.push_back(character);
            continue;
        }
        url.push_back('%');
        url.push_back(digits[byte >> 4]);
        url.push_back(digits[byte & 15]);
    }
}

std::string originOf(std::string_view url) {
    const URLHandle handle(curl_url());
    if (parse(handle.get(), url, parseFlags) != CURLUE_OK) return {};
    std::string text = part(handle.get(), CURLUPART_SCHEME) + "://" + part(handle.get(), CURLUPART_HOST) +
                       ":" + part(handle.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
    std::ranges::transform(text, text.begin(), asciiLowercased);
    return text;
}

bool haveSameOrigin(std::string_view left, std::string_view right) {
    const std::string origin = originOf(left);
    return !origin.empty() && origin == originOf(right);
}

} // namespace quorvel
