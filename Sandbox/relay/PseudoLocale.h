// A reversible stand-in for translating: plain letters become others, one for one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvel::sandbox {

/// `text` with each ASCII letter replaced by one of the target locale's style: full-width letters for
/// Chinese, Japanese and Korean, dotted ones for all others. The length in characters stays; occurrences of
/// `kept` stay as they are.
[[nodiscard]] std::string pseudoLocalise(std::string_view text, std::string_view locale,
                                         const std::vector<std::string>& kept = {});

/// The text that was given to `pseudoLocalise`, if that was ASCII where it had letters.
[[nodiscard]] std::string undoPseudoLocalisation(std::string_view text);

} // namespace quorvel::sandbox
