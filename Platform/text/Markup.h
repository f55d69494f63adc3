// Text within XML and what is written like it.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// `text` with the characters that would begin a tag or an entity as entities.
[[nodiscard]] std::string escapedMarkup(std::string_view text);

/// `text` with the characters that its entities stand for: those of XML and numbered ones. What is no such
/// entity stays.
[[nodiscard]] std::string decodedMarkup(std::string_view text);

} // namespace quorvel
