// The locale codes that the App Store takes.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace quorvel {

/// All fifty, sorted by bytes.
[[nodiscard]] std::span<const std::string_view> appStoreLocales();
[[nodiscard]] bool isAppStoreLocale(std::string_view code);

/// Whether `code` has the form of a locale, such as "fil" or "sr-Latn-RS": a language of two or three letters
/// and further parts of two to eight characters. "default" and "review_information" have not.
[[nodiscard]] bool looksLikeLocale(std::string_view code);

/// The App Store locale that is `code` but for case and underscores, as other tools write it: "en_us".
[[nodiscard]] std::optional<std::string_view> respelledAppStoreLocale(std::string_view code);

/// The App Store locale that `code` probably means, for a hint: "de" and "de_DE" mean "de-DE". Nothing when
/// no locale has that language. Never to be used in place of what was given.
[[nodiscard]] std::optional<std::string_view> nearestAppStoreLocale(std::string_view code);

} // namespace quorvel
