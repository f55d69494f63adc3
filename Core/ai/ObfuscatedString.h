// A text that is not readable in the program file or in its memory.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvel {

/// A text of at most 170 bytes, mixed with a fixed sequence of bytes. This is no encryption: it keeps the
/// text out of searches of the program file and of core dumps, and does not tell how long it is.
class ObfuscatedString {
  public:
    static constexpr std::size_t storedBytes = 171;
    static constexpr std::size_t longestText = storedBytes - 1;

    constexpr ObfuscatedString() : ObfuscatedString(std::string_view()) {}
    /// Throws `std::length_error` when the text is too long; while compiling, that is an error.
    explicit constexpr ObfuscatedString(std::string_view text) : stored_() {
        if (text.size() > longestText) throw std::length_error("the text to obfuscate is too long");
        Sequence sequence;
        stored_[0] = static_cast<std::uint8_t>(text.size()) ^ sequence.next();
        for (std::size_t at = 0; at < longestText; ++at)
            stored_[at + 1] = (at < text.size() ? static_cast<std::uint8_t>(text[at]) : 0) ^ sequence.next();
    }

    [[nodiscard]] std::string reveal() const {
        Sequence sequence;
        std::string text(stored_[0] ^ sequence.next(), '\0');
        for (std::size_t at = 0; at < text.size(); ++at)
            text[at] = static_cast<char>(stored_[at + 1] ^ sequence.next());
        return text;
    }
    [[nodiscard]] bool isEmpty() const { return *this == ObfuscatedString(); }
    bool operator==(const ObfuscatedString&) const = default;

  private:
    // The middle bits of a linear congruential generator.
    class Sequence {
      public:
        constexpr std::uint8_t next() {
            state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
            return static_cast<std::uint8_t>(state_ >> 33);
        }

      private:
        std::uint64_t state_ = 0x51F0C3A7B9D24E68ULL;
    };

    std::array<std::uint8_t, storedBytes> stored_;
};

} // namespace quorvel
