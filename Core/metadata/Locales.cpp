#include "Core/metadata/Locales.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace quorvel {

namespace {

constexpr std::array<std::string_view, 50> locales = {
    "ar-SA", "bn-BD", "ca",    "cs", "da",    "de-DE", "el",    "en-AU", "en-CA",   "en-GB",
    "en-US", "es-ES", "es-MX", "fi", "fr-CA", "fr-FR", "gu-IN", "he",    "hi",      "hr",
    "hu",    "id",    "it",    "ja", "kn-IN", "ko",    "ml-IN", "mr-IN", "ms",      "nl-NL",
    "no",    "or-IN", "pa-IN", "pl", "pt-BR", "pt-PT", "ro",    "ru",    "sk",      "sl-SI",
    "sv",    "ta-IN", "te-IN", "th", "tr",    "uk",    "ur-PK", "vi",    "zh-Hans", "zh-Hant"};
static_assert(std::ranges::is_sorted(locales));

// The languages that joined last are seen without their region too; both spellings are taken as they are.
constexpr std::array<std::string_view, 11> withoutRegion = {"bn", "gu", "kn", "ml", "mr", "or",
                                                            "pa", "sl", "ta", "te", "ur"};
static_assert(std::ranges::is_sorted(withoutRegion));

// What people write for a locale that is spelled otherwise, in lower case; also the default of languages
// that have several.
constexpr std::pair<std::string_view, std::string_view> otherSpellings[] = {
    {"zh-cn", "zh-Hans"}, {"zh-sg", "zh-Hans"}, {"zh", "zh-Hans"},    {"zh-hans", "zh-Hans"},
    {"zh-tw", "zh-Hant"}, {"zh-hk", "zh-Hant"}, {"zh-mo", "zh-Hant"}, {"zh-hant", "zh-Hant"},
    {"en", "en-US"},      {"es", "es-ES"},      {"fr", "fr-FR"},      {"pt", "pt-PT"},
    {"nb", "no"},         {"nn", "no"},         {"iw", "he"},         {"in", "id"},
    {"es-419", "es-MX"},  {"cmn", "zh-Hans"},   {"fil", ""},          {"tl", ""}};

std::string normalised(std::string_view code) {
    std::string lower = asciiLowercase(code);
    std::ranges::replace(lower, '_', '-');
    return lower;
}

std::string_view languageOf(std::string_view code) {
    return code.substr(0, code.find('-'));
}

std::optional<std::string_view> spelledOtherwise(std::string_view code) {
    for (const auto& [spelling, locale] : otherSpellings)
        if (spelling == code && !locale.empty()) return locale;
    return std::nullopt;
}

} // namespace

std::span<const std::string_view> appStoreLocales() {
    return locales;
}

bool isAppStoreLocale(std::string_view code) {
    return std::ranges::binary_search(locales, code) || std::ranges::binary_search(withoutRegion, code);
}

bool looksLikeLocale(std::string_view code) {
    const auto isPart = [](std::string_view part, std::size_t least, std::size_t most) {
        return part.size() >= least && part.size() <= most && std::ranges::all_of(part, [](char character) {
                   return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                          (character >= '0' && character <= '9');
               });
    };
    const std::string_view language = languageOf(code);
    if (!isPart(language, 2, 3) || language.find_first_of("0123456789") != std::string_view::npos)
        return false;
    for (code.remove_prefix(language.size()); !code.empty();) {
        code.remove_prefix(1);
        const std::string_view part = languageOf(code);
        if (!isPart(part, 2, 8)) return false;
        code.remove_prefix(part.size());
    }
    return true;
}

std::optional<std::string_view> respelledAppStoreLocale(std::string_view code) {
    const std::string wanted = normalised(code);
    for (const std::string_view locale : locales)
        if (asciiLowercase(locale) == wanted) return locale;
    return std::nullopt;
}

std::optional<std::string_view> nearestAppStoreLocale(std::string_view code) {
    if (const auto locale = respelledAppStoreLocale(code)) return locale;
    const std::string wanted = normalised(code);
    // "zh-Hant-TW" is told by its script, "en-NZ" by its language.
    for (std::string_view shorter = wanted; !shorter.empty();
         shorter = shorter.substr(
             0, shorter.find_last_of('-') == std::string_view::npos ? 0 : shorter.find_last_of('-')))
        if (const auto locale = spelledOtherwise(shorter)) return locale;
    for (const std::string_view locale : locales)
        if (languageOf(locale) == languageOf(wanted)) return locale;
    return std::nullopt;
}

} // namespace quorvel
