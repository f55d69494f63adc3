// The texts of all errors of a transfer. None holds a header's value, a body or the secret parts of a URL.
#pragma once

#include "Platform/http/HTTPMessage.h"

namespace quorvel {

[[nodiscard]] TransportError cannotReadFile(const std::filesystem::path& path, int errorNumber);
[[nodiscard]] TransportError notARegularFile(const std::filesystem::path& path);
[[nodiscard]] TransportError fileTooShort(const FileSlice& slice);
[[nodiscard]] TransportError cannotWriteFile(const std::filesystem::path& path, int errorNumber);

/// `problem` ends a sentence about the URL, as `problemOfURL` returns it.
[[nodiscard]] TransportError refusedURL(const std::string& problem);
[[nodiscard]] TransportError refusedMethod();
[[nodiscard]] TransportError refusedHeaderName();
[[nodiscard]] TransportError refusedHeaderValue(std::string_view name);

[[nodiscard]] TransportError refusedRedirect(const HTTPRequest& request, const std::string& problem);
[[nodiscard]] TransportError tooManyRedirects(const HTTPRequest& request, int limit);

[[nodiscard]] TransportError headerTooLarge(const HTTPRequest& request, std::uint64_t limit);
[[nodiscard]] TransportError bodyTooLarge(const HTTPRequest& request, std::uint64_t limit);
[[nodiscard]] TransportError timedOut(const HTTPRequest& request);

/// What is known about a transfer that libcurl gave up.
struct TransferFailure {
    int code = 0;        // a CURLcode
    int errorNumber = 0; // of the connection, 0 when unknown
    int proxyStatus = 0; // what a proxy answered to the wish for a connection, 0 when none did
    bool wasSent = false;
    std::string_view detail; // libcurl's own text
};
[[nodiscard]] TransportError transferFailed(const HTTPRequest& request, const TransferFailure& failure);

} // namespace quorvel
