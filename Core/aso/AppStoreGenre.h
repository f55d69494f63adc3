// The categories of the App Store and their numbers.
#pragma once

#include "Platform/json/RawValue.h"

#include <optional>
#include <string_view>
#include <utility>

namespace quorvel {

enum class AppStoreGenre {
    all,
    business,
    weather,
    utilities,
    travel,
    sports,
    socialNetworking,
    reference,
    productivity,
    photoVideo,
    news,
    navigation,
    music,
    lifestyle,
    healthFitness,
    games,
    finance,
    entertainment,
    education,
    books,
    medical,
    newsstand,
    catalogs,
    foodDrink,
    shopping,
    stickers,
    developerTools,
    graphicsDesign,
};

template <>
struct RawValues<AppStoreGenre> {
    using G = AppStoreGenre;
    static constexpr std::pair<G, std::string_view> values[] = {
        {G::all, "all"},
        {G::business, "business"},
        {G::weather, "weather"},
        {G::utilities, "utilities"},
        {G::travel, "travel"},
        {G::sports, "sports"},
        {G::socialNetworking, "socialNetworking"},
        {G::reference, "reference"},
        {G::productivity, "productivity"},
        {G::photoVideo, "photoVideo"},
        {G::news, "news"},
        {G::navigation, "navigation"},
        {G::music, "music"},
        {G::lifestyle, "lifestyle"},
        {G::healthFitness, "healthFitness"},
        {G::games, "games"},
        {G::finance, "finance"},
        {G::entertainment, "entertainment"},
        {G::education, "education"},
        {G::books, "books"},
        {G::medical, "medical"},
        {G::newsstand, "newsstand"},
        {G::catalogs, "catalogs"},
        {G::foodDrink, "foodDrink"},
        {G::shopping, "shopping"},
        {G::stickers, "stickers"},
        {G::developerTools, "developerTools"},
        {G::graphicsDesign, "graphicsDesign"},
    };
};

/// The number that the store's feeds know a genre by.
[[nodiscard]] int genreId(AppStoreGenre genre);
/// The store's English name, such as "Health & Fitness".
[[nodiscard]] std::string_view displayName(AppStoreGenre genre);
/// The genre with this number, raw value or English name, letter case ignored; nothing for what is none.
[[nodiscard]] std::optional<AppStoreGenre> genreNamed(std::string_view text);

} // namespace quorvel
