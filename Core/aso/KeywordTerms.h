// What search terms and the texts of apps have in common.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The longest keyword field; nobody searches for more.
inline constexpr std::size_t longestTerm = 100; // grapheme clusters

/// A term as it is kept: without invisible characters, blanks at its ends and runs of blanks.
[[nodiscard]] std::string tidyTerm(std::string_view term);
/// What two spellings of one term have in common; letter case does not tell terms apart.
[[nodiscard]] std::string termKey(std::string_view term);

/// Whether all words of `term` are words of `text`, in any order and letter case, as the store matches them.
/// A term of a script without blanks is also found within a word.
[[nodiscard]] bool textHoldsTerm(std::string_view text, std::string_view term);

/// The part of an app's name that is its brand: before a colon, a dash or a bar with blanks about it. A name
/// of one word is one whole; a longer one without such a mark has none.
[[nodiscard]] std::string brandOf(std::string_view appName);

/// Terms that an app is described with: the words of its name without its brand and of its subtitle, and each
/// two that stand side by side. Words of one letter, numbers and the commonest little words of English,
/// German, French, Spanish, Italian and Portuguese are left out. Lower case, each once.
[[nodiscard]] std::vector<std::string> describingTerms(std::string_view appName, std::string_view subtitle);

} // namespace quorvel
