#include "Core/aso/AppStoreGenre.h"

#include "Platform/text/Text.h"

#include <string>

namespace quorvel {

namespace {

struct GenreRow {
    AppStoreGenre genre;
    int id; // 6019 is not used
    std::string_view name;
};

using G = AppStoreGenre;
constexpr GenreRow genreRows[] = {
    {G::all, 36, "All"},
    {G::business, 6000, "Business"},
    {G::weather, 6001, "Weather"},
    {G::utilities, 6002, "Utilities"},
    {G::travel, 6003, "Travel"},
    {G::sports, 6004, "Sports"},
    {G::socialNetworking, 6005, "Social Networking"},
    {G::reference, 6006, "Reference"},
    {G::productivity, 6007, "Productivity"},
    {G::photoVideo, 6008, "Photo & Video"},
    {G::news, 6009, "News"},
    {G::navigation, 6010, "Navigation"},
    {G::music, 6011, "Music"},
    {G::lifestyle, 6012, "Lifestyle"},
    {G::healthFitness, 6013, "Health & Fitness"},
    {G::games, 6014, "Games"},
    {G::finance, 6015, "Finance"},
    {G::entertainment, 6016, "Entertainment"},
    {G::education, 6017, "Education"},
    {G::books, 6018, "Books"},
    {G::medical, 6020, "Medical"},
    {G::newsstand, 6021, "Magazines & Newspapers"},
    {G::catalogs, 6022, "Catalogs"},
    {G::foodDrink, 6023, "Food & Drink"},
    {G::shopping, 6024, "Shopping"},
    {G::stickers, 6025, "Stickers"},
    {G::developerTools, 6026, "Developer Tools"},
    {G::graphicsDesign, 6027, "Graphics & Design"},
};

const GenreRow& rowOf(AppStoreGenre genre) {
    return genreRows[static_cast<std::size_t>(genre)];
}

constexpr bool isInOrder() {
    for (std::size_t i = 0; i < std::size(genreRows); ++i)
        if (static_cast<std::size_t>(genreRows[i].genre) != i ||
            RawValues<AppStoreGenre>::values[i].first != genreRows[i].genre)
            return false;
    return std::size(genreRows) == std::size(RawValues<AppStoreGenre>::values);
}
static_assert(isInOrder());

} // namespace

int genreId(AppStoreGenre genre) {
    return rowOf(genre).id;
}

std::string_view displayName(AppStoreGenre genre) {
    return rowOf(genre).name;
}

std::optional<AppStoreGenre> genreNamed(std::string_view text) {
    const std::string wanted = asciiLowercase(trim(text));
    for (const auto& [genre, id, name] : genreRows)
        if (wanted == std::to_string(id) || wanted == asciiLowercase(rawValue(genre)) ||
            wanted == asciiLowercase(name))
            return genre;
    return std::nullopt;
}

} // namespace quorvel
