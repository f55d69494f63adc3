// The rules of extended grapheme clusters (UAX #29) as a state machine; for the sources of this folder.
#pragma once

#include <array>
#include <atomic>
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

/// Finds out the class of a code point from its properties.
[[nodiscard]] GraphemeClass lookUpGraphemeClass(char32_t codePoint);

/// The class of a code point; quick for those met before.
[[nodiscard]] inline GraphemeClass graphemeClass(char32_t codePoint) {
    // The first two planes hold nearly every character in use. Each entry is found out when it is first
    // needed: threads that race for one write the same value.
    static constinit std::array<std::atomic<GraphemeClass>, 0x20000> known{};
    if (codePoint >= known.size()) return lookUpGraphemeClass(codePoint);
    auto& entry = known[codePoint];
    GraphemeClass found = entry.load(std::memory_order_relaxed);
    if (found == GraphemeClass::unknown) [[unlikely]] {
        found = lookUpGraphemeClass(codePoint);
        entry.store(found, std::memory_order_relaxed);
    }
    return found;
}

/// Follows a text code point by code point.
class GraphemeBreaks {
  public:
    /// Whether a cluster begins with the next code point. True for the first one of a text.
    [[nodiscard]] bool beginsCluster(GraphemeClass next) {
        const bool joined = joins(next);
        remember(next);
        return !joined;
    }

    /// Whether each plain character and each ASCII character but a carriage return begins a cluster here, and
    /// so do those of them that follow it.
    [[nodiscard]] bool isBeforeSimpleRun() const {
        return previous_ != GraphemeClass::prepend && previous_ != GraphemeClass::carriageReturn;
    }
    /// Passes over a run of such characters; `last` is the class of its last one.
    void passSimpleRun(GraphemeClass last) {
        *this = GraphemeBreaks();
        previous_ = last;
    }

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
