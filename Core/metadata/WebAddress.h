// Tells addresses of web pages from what is none.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Why `text` is no address that people can open in a browser, and what to write instead, as the end of a
/// sentence about it ("has no https:// in front; write …"). Nothing when it is one. Blanks and line breaks at
/// both ends count for nothing, and a blank text is no address.
[[nodiscard]] std::optional<std::string> problemOfAddress(std::string_view text);

/// Whether an address is one of "http:", which anybody on the way can read and change.
[[nodiscard]] bool isUnencrypted(std::string_view address);

} // namespace quorvel
