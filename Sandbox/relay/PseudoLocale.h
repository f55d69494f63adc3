// A reversible stand-in for translating: plain letters become others, one for one.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace quorvel::sandbox {

/// What is written for a term of the source; a protected term stands for itself.
using Renderings = std::map<std::string, std::string>;

/// `text` with each ASCII letter replaced by one of the target locale's style: full-width letters for
/// Chinese, Japanese and Korean, Hebrew ones for locales that are written from right to left, dotted ones for
/// all others. The length in characters stays; addresses and placeholders stay as they are, and terms of
/// `renderings` become their rendering.
[[nodiscard]] std::string pseudoLocalise(std::string_view text, std::string_view locale,
                                         const Renderings& renderings = {});

/// The text that was given to `pseudoLocalise`, if that was ASCII where it had letters.
[[nodiscard]] std::string undoPseudoLocalisation(std::string_view text);

/// `text` as a careless translator leaves it: without addresses, placeholders and digits.
[[nodiscard]] std::string withoutFixedParts(std::string_view text);

/// `text` behind a right-to-left mark, with Arabic digits outside of addresses and placeholders.
[[nodiscard]] std::string fromRightToLeft(std::string_view text);

} // namespace quorvel::sandbox
