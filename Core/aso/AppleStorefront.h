// The countries of the App Store that suggestions are known for.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel::AppleStorefront {

struct Country {
    std::string_view code; // ISO 3166, two small letters
    int id;
};

inline constexpr std::array<Country, 62> countries{{
    // clang-format off
    {"us", 143441}, {"gb", 143444}, {"de", 143443}, {"fr", 143442}, {"es", 143454}, {"it", 143450},
    {"jp", 143462}, {"kr", 143466}, {"cn", 143465}, {"br", 143503}, {"mx", 143468}, {"ca", 143455},
    {"au", 143460}, {"in", 143467}, {"hr", 143494}, {"rs", 143500}, {"si", 143499}, {"ba", 143612},
    {"mk", 143530}, {"me", 143603}, {"tr", 143480}, {"ru", 143469}, {"ua", 143492}, {"pl", 143478},
    {"cz", 143489}, {"sk", 143496}, {"hu", 143482}, {"ro", 143487}, {"bg", 143526}, {"gr", 143448},
    {"pt", 143453}, {"nl", 143452}, {"be", 143446}, {"at", 143445}, {"ch", 143459}, {"dk", 143458},
    {"fi", 143447}, {"no", 143457}, {"se", 143456}, {"ie", 143449}, {"is", 143558}, {"lt", 143520},
    {"lv", 143519}, {"ee", 143518}, {"ar", 143505}, {"cl", 143483}, {"co", 143501}, {"pe", 143507},
    {"za", 143472}, {"eg", 143516}, {"sa", 143479}, {"ae", 143481}, {"il", 143491}, {"hk", 143463},
    {"tw", 143470}, {"sg", 143464}, {"th", 143475}, {"vn", 143471}, {"ph", 143474}, {"id", 143476},
    {"my", 143473}, {"nz", 143461},
    // clang-format on
}};

/// The number of a country's store, its code in either case; nothing for a country that is not listed.
[[nodiscard]] std::optional<int> storefrontId(std::string_view country);
/// What the header "X-Apple-Store-Front" says for a country, such as "143441-1,29 t:apps3".
[[nodiscard]] std::optional<std::string> headerValue(std::string_view country);

} // namespace quorvel::AppleStorefront
