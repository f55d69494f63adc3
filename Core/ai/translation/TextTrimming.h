// Cutting texts to a limit without cutting words.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// The longest start of `text` of at most `maxLength` characters that ends behind a whole word, without
/// blanks and separators at its end; nothing when not even its first word fits. Words of scripts without
/// blanks are told by the text library's dictionaries.
[[nodiscard]] std::optional<std::string> wholeWordsWithin(std::string_view text, std::size_t maxLength);

/// `text` cut to at most `maxLength` user-perceived characters at a word boundary, or inside its first word
/// when that does not fit; never inside a character.
[[nodiscard]] std::string trimToBoundary(std::string_view text, std::size_t maxLength);

/// The first of the comma-separated terms of `keywords` that fit into `maxLength` characters; nothing when
/// not even the first does.
[[nodiscard]] std::optional<std::string> wholeTermsWithin(std::string_view keywords, std::size_t maxLength);

} // namespace quorvel
