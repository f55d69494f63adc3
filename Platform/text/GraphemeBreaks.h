// The rules of extended grapheme clusters (UAX #29) as a state machine; for the sources of this folder.
#pragma once

#include <cstdint>

namespace quorvel {

/// What the rules need to know of a code point.
enum class GraphemeClass : std::uint8_t {
    unknown, // not looked up yet
    plain,   // no rule joins it with anything before it
    carriageReturn,
    lineFeed,
    control,
    extend,
    extendMark, // an extending character that may stand inside a conjunct
    virama,
    joiner,
    regional,
    prepend,
    spacingMark,
    leading, // Hangul L, V, T, LV and LVT
    vowel,
    trailing,
    leadingVowel,
    leadingVowelTrailing,
    pictographic,
    consonant // of a script whose consonants are joined by a virama
};

/// The class of a code point; quick for those met before.
[[nodiscard]] GraphemeClass graphemeClass(char32_t codePoint);

/// Follows a text code point by code point.
class GraphemeBreaks {
  public:
    /// Whether a cluster begins with the next code point. True for the first one of a text.
    [[nodiscard]] bool beginsCluster(GraphemeClass next);

  private:
    enum class Pictograph : std::uint8_t { none, open, joined };
    enum class Conjunct : std::uint8_t { none, consonant, linked };

    [[nodiscard]] bool joins(GraphemeClass next) const;
    void remember(GraphemeClass next);

    GraphemeClass previous_ = GraphemeClass::control;
    Pictograph pictograph_ = Pictograph::none;
    Conjunct conjunct_ = Conjunct::none;
    bool oddRegionals_ = false;
};

} // namespace quorvel
