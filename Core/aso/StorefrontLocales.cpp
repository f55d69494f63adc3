#include "Core/aso/StorefrontLocales.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <string>

namespace quorvel {

namespace {

constexpr std::size_t mostLocales = 10;

struct Row {
    std::string_view country;
    std::array<std::string_view, mostLocales> locales; // empty behind the last
};

constexpr Row rows[] = {
    {"us", {"en-US", "es-MX", "ar-SA", "fr-FR", "ko", "pt-BR", "ru", "vi", "zh-Hans", "zh-Hant"}},
    {"gb", {"en-GB"}},
    {"de", {"de-DE", "en-GB"}},
    {"fr", {"fr-FR", "en-GB"}},
    {"es", {"es-ES", "ca", "en-GB"}},
    {"it", {"it", "en-GB"}},
    {"jp", {"ja", "en-US"}},
    {"kr", {"ko", "en-GB"}},
    {"cn", {"zh-Hans", "en-GB"}},
    {"br", {"pt-BR", "en-GB"}},
    {"mx", {"es-MX", "en-GB"}},
    {"ca", {"en-CA", "fr-CA"}},
    {"au", {"en-AU", "en-GB"}},
    {"in", {"en-GB", "hi", "bn-BD", "gu-IN", "kn-IN", "ml-IN", "mr-IN", "pa-IN", "ta-IN", "te-IN"}},
    {"hr", {"hr", "en-GB"}},
    {"rs", {"en-GB", "hr"}},
    {"si", {"sl-SI", "en-GB"}},
    {"ba", {"en-GB", "hr"}},
    {"mk", {"en-GB"}},
    {"me", {"en-GB", "hr"}},
    {"tr", {"tr", "en-GB"}},
    {"ru", {"ru", "en-GB", "uk"}},
    {"ua", {"uk", "en-GB", "ru"}},
    {"pl", {"pl", "en-GB"}},
    {"cz", {"cs", "en-GB"}},
    {"sk", {"sk", "en-GB"}},
    {"hu", {"hu", "en-GB"}},
    {"ro", {"ro", "en-GB"}},
    {"bg", {"en-GB"}},
    {"gr", {"el", "en-GB"}},
    {"pt", {"pt-PT", "en-GB"}},
    {"nl", {"nl-NL", "en-GB"}},
    {"be", {"nl-NL", "fr-FR", "en-GB"}},
    {"at", {"de-DE", "en-GB"}},
    {"ch", {"de-DE", "fr-FR", "it", "en-GB"}},
    {"dk", {"da", "en-GB"}},
    {"fi", {"fi", "en-GB"}},
    {"no", {"no", "en-GB"}},
    {"se", {"sv", "en-GB"}},
    {"ie", {"en-GB"}},
    {"is", {"en-GB"}},
    {"lt", {"en-GB"}},
    {"lv", {"en-GB"}},
    {"ee", {"en-GB"}},
    {"ar", {"es-MX", "en-GB"}},
    {"cl", {"es-MX", "en-GB"}},
    {"co", {"es-MX", "en-GB"}},
    {"pe", {"es-MX", "en-GB"}},
    {"za", {"en-GB"}},
    {"eg", {"ar-SA", "en-GB", "fr-FR"}},
    {"sa", {"ar-SA", "en-GB"}},
    {"ae", {"ar-SA", "en-GB"}},
    {"il", {"he", "en-GB"}},
    {"hk", {"zh-Hant", "en-GB"}},
    {"tw", {"zh-Hant", "en-GB"}},
    {"sg", {"en-GB", "zh-Hans"}},
    {"th", {"th", "en-GB"}},
    {"vn", {"vi", "en-GB"}},
    {"ph", {"en-GB"}},
    {"id", {"id", "en-GB"}},
    {"my", {"ms", "en-GB", "zh-Hans"}},
    {"nz", {"en-AU", "en-GB"}},
};

} // namespace

std::span<const std::string_view> storefrontLocales(std::string_view country) {
    const auto row = std::ranges::find(rows, asciiLowercase(country), &Row::country);
    if (row == std::end(rows)) return {};
    const auto end = std::ranges::find(row->locales, std::string_view());
    return {row->locales.begin(), end};
}

} // namespace quorvel
