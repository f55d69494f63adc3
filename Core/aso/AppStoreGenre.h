// The categories of the App Store and their numbers.
#pragma once

#include <array>
#include <optional>
#include <string_view>

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

} // namespace quorvel
