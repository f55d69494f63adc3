// What the session wants to know about a URL, read by the very parser that the transfer uses.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Whether `url`, in which `problemOfURL` found nothing, is https.
[[nodiscard]] bool isEncryptedURL(std::string_view url);

[[nodiscard]] bool isLoopbackURL(std::string_view url);

/// Scheme, host, port and path of `url` for messages: query, fragment and user-info can hold secrets. "the
/// URL" when it cannot be parsed.
[[nodiscard]] std::string urlWithoutSecrets(std::string_view url);

/// The absolute URL that `location` means in an answer of `base`; nothing when it is no URL.
[[nodiscard]] std::optional<std::string> resolveURL(std::string_view base, std::string_view location);

enum class Slash { encode, keep };

/// Adds `text` to `url`, percent-encoded as the value of a query or one piece of a path.
void appendPercentEncoded(std::string& url, std::string_view text, Slash slash = Slash::encode);

/// Scheme, host and port of `url` in lower case; empty when it is no URL.
[[nodiscard]] std::string originOf(std::string_view url);

/// Whether both have the same scheme, host and port.
[[nodiscard]] bool haveSameOrigin(std::string_view left, std::string_view right);

} // namespace quorvel
