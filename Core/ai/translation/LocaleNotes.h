// What a translator should know of each App Store locale.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quorvel {

struct LocaleNote {
    std::string_view locale;
    double lengthFactor = 1; // of a text against its English one
    std::string_view note;   // one line
};

/// One for each App Store locale, in the order of their codes.
[[nodiscard]] std::span<const LocaleNote> allLocaleNotes();

/// The notes of a locale as lines that begin with "- ": its own, and its length factor where that is not 1. A
/// locale in another spelling gets those of the nearest one; one that is unknown gets a general line.
[[nodiscard]] std::string notesFor(std::string_view locale);

/// The locale's length factor; 1 when it is unknown.
[[nodiscard]] double lengthFactorOf(std::string_view locale);

} // namespace quorvel
