// Unicode text: counting as people count, cutting, trimming, words.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The number of user-perceived characters (extended grapheme clusters, UAX #29) of UTF-8 `text`.
/// Ill-formed bytes count as one replacement character each.
[[nodiscard]] std::size_t graphemeCount(std::string_view text);

/// The longest prefix of `text` with at most `count` grapheme clusters.
[[nodiscard]] std::string_view graphemePrefix(std::string_view text, std::size_t count);

/// The byte offsets of all grapheme cluster boundaries, from 0 to `text.size()`; {0} for an empty text.
[[nodiscard]] std::vector<std::size_t> graphemeBoundaries(std::string_view text);

[[nodiscard]] std::size_t codePointCount(std::string_view text);
[[nodiscard]] bool isValidUTF8(std::string_view text);
/// `text` with U+FFFD for each ill-formed byte.
[[nodiscard]] std::string repairUTF8(std::string_view text);

/// `text` without white space and line breaks (Unicode's White_Space) at both ends.
[[nodiscard]] std::string_view trim(std::string_view text);
[[nodiscard]] bool isBlank(std::string_view text);

/// `text` cut at word boundaries (UAX #29, with the text library's dictionaries for scripts without blanks):
/// words, runs of white space and single marks in order; joined they are `text` again.
[[nodiscard]] std::vector<std::string_view> wordSegments(std::string_view text);

/// Those of the word segments that hold a letter or a digit.
[[nodiscard]] std::vector<std::string_view> words(std::string_view text);

/// `text` in NFC without differences of letter case (Unicode's full case folding): equal for what people take
/// for the same word.
[[nodiscard]] std::string caseFolded(std::string_view text);

/// `text` without the characters that nobody sees (Unicode's Default_Ignorable_Code_Point), such as zero
/// width spaces, soft hyphens and direction marks; joiners inside a word stay, as they shape its letters.
[[nodiscard]] std::string withoutInvisibles(std::string_view text);

/// The number of terminal cells that `text` takes (East Asian wide characters and emoji two, marks none).
[[nodiscard]] std::size_t displayWidth(std::string_view text);

/// `text` with control characters replaced by visible escapes ("\n", "\x1B"), for messages and terminals.
[[nodiscard]] std::string escapeControls(std::string_view text);

/// The JSON `document` with control characters, and those that turn the direction of the text about them, as
/// "\uXXXX", for a terminal; its line breaks stay.
[[nodiscard]] std::string escapeControlsInJSON(std::string_view document);

/// Whether `left` sorts before `right` when runs of digits compare as numbers ("2" before "10"), else by
/// bytes.
[[nodiscard]] bool naturalLess(std::string_view left, std::string_view right);

/// Whether the name `left` stands before `right` in a list: in the order of Unicode's collation, runs of
/// digits as numbers ("App 2" before "app 10"); names that differ only in bytes by those.
[[nodiscard]] bool nameLess(std::string_view left, std::string_view right);

/// `text` in ASCII as far as the text library can write it so ("Über Gärten" → "Uber Garten", "庭" → "ting").
[[nodiscard]] std::string transliterateToASCII(std::string_view text);

/// The four-letter code (ISO 15924) of a script by its code or its English name, letter case ignored, such as
/// "Cyrl"; nothing for what is no script.
[[nodiscard]] std::optional<std::string> scriptCode(std::string_view name);

[[nodiscard]] std::string asciiLowercase(std::string_view text);

/// `text` with the decimal digits of all scripts as "0" to "9".
[[nodiscard]] std::string withASCIIDigits(std::string_view text);

} // namespace quorvel
