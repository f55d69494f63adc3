#include "Core/metadata/AppCategories.h"

#include "Platform/text/Spelling.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <utility>

namespace quorvel {

namespace {

constexpr std::array<std::string_view, 26> categories = {"BOOKS",
                                                         "BUSINESS",
                                                         "DEVELOPER_TOOLS",
                                                         "EDUCATION",
                                                         "ENTERTAINMENT",
                                                         "FINANCE",
                                                         "FOOD_AND_DRINK",
                                                         "GAMES",
                                                         "GRAPHICS_AND_DESIGN",
                                                         "HEALTH_AND_FITNESS",
                                                         "LIFESTYLE",
                                                         "MAGAZINES_AND_NEWSPAPERS",
                                                         "MEDICAL",
                                                         "MUSIC",
                                                         "NAVIGATION",
                                                         "NEWS",
                                                         "PHOTO_AND_VIDEO",
                                                         "PRODUCTIVITY",
                                                         "REFERENCE",
                                                         "SHOPPING",
                                                         "SOCIAL_NETWORKING",
                                                         "SPORTS",
                                                         "STICKERS",
                                                         "TRAVEL",
                                                         "UTILITIES",
                                                         "WEATHER"};

constexpr std::array<std::string_view, 31> subcategories = {"GAMES_ACTION",
                                                            "GAMES_ADVENTURE",
                                                            "GAMES_BOARD",
                                                            "GAMES_CARD",
                                                            "GAMES_CASINO",
                                                            "GAMES_CASUAL",
                                                            "GAMES_FAMILY",
                                                            "GAMES_MUSIC",
                                                            "GAMES_PUZZLE",
                                                            "GAMES_RACING",
                                                            "GAMES_ROLE_PLAYING",
                                                            "GAMES_SIMULATION",
                                                            "GAMES_SPORTS",
                                                            "GAMES_STRATEGY",
                                                            "GAMES_TRIVIA",
                                                            "GAMES_WORD",
                                                            "STICKERS_ANIMALS",
                                                            "STICKERS_ART",
                                                            "STICKERS_CELEBRATIONS",
                                                            "STICKERS_CELEBRITIES",
                                                            "STICKERS_COMICS_AND_CARTOONS",
                                                            "STICKERS_EATING_AND_DRINKING",
                                                            "STICKERS_EMOJI_AND_EXPRESSIONS",
                                                            "STICKERS_FASHION",
                                                            "STICKERS_GAMING",
                                                            "STICKERS_KIDS_AND_FAMILY",
                                                            "STICKERS_MOVIES_AND_TV",
                                                            "STICKERS_MUSIC",
                                                            "STICKERS_PEOPLE",
                                                            "STICKERS_PLACES_AND_OBJECTS",
                                                            "STICKERS_SPORTS_AND_ACTIVITIES"};

// What older tools and people write otherwise, by its letters.
constexpr std::pair<std::string_view, std::string_view> otherCategorySpellings[] = {
    {"book", "BOOKS"},
    {"game", "GAMES"},
    {"healthcarefitness", "HEALTH_AND_FITNESS"},
    {"magazines", "MAGAZINES_AND_NEWSPAPERS"},
    {"newsstand", "MAGAZINES_AND_NEWSPAPERS"},
    {"photo", "PHOTO_AND_VIDEO"},
    {"photography", "PHOTO_AND_VIDEO"},
    {"social", "SOCIAL_NETWORKING"},
    {"utility", "UTILITIES"},
};

std::span<const std::string_view> idsOf(CategoryLevel level) {
    if (level == CategoryLevel::category) return categories;
    return subcategories;
}

// "foodanddrink" of "MZGenre.Food_Drink" and of "Food & Drink" is "fooddrink": the letters without "and".
std::string lettersOfCategory(std::string_view name) {
    std::string letters;
    std::string word;
    const auto endWord = [&] {
        if (word != "and" && word != "mzgenre" && word != "apps") letters += word;
        word.clear();
    };
    for (const char byte : asciiLowercase(name))
        if (byte >= 'a' && byte <= 'z')
            word += byte;
        else
            endWord();
    endWord();
    return letters;
}

// "puzzle" of "GAMES_PUZZLE".
std::string lettersBelow(std::string_view subcategory) {
    return lettersOfCategory(subcategory.substr(subcategory.find('_') + 1));
}

} // namespace

std::optional<std::string_view> categoryNamed(std::string_view name, CategoryLevel level) {
    const std::string letters = lettersOfCategory(name);
    if (letters.empty()) return std::nullopt;
    for (const std::string_view id : idsOf(level))
        if (lettersOfCategory(id) == letters) return id;
    if (level == CategoryLevel::category) {
        for (const auto& [spelling, id] : otherCategorySpellings)
            if (letters == spelling) return id;
        return std::nullopt;
    }
    std::optional<std::string_view> meant;
    for (const std::string_view id : subcategories)
        if (lettersBelow(id) == letters) {
            if (meant) return std::nullopt; // of games, or of stickers?
            meant = id;
        }
    return meant;
}

std::optional<std::string_view> nearestCategory(std::string_view name, CategoryLevel level) {
    if (const auto known = categoryNamed(name, level)) return known;
    std::string wanted(name);
    std::ranges::transform(wanted, wanted.begin(), [](char byte) {
        if (byte >= 'a' && byte <= 'z') return static_cast<char>(byte - 'a' + 'A');
        return byte == ' ' || byte == '-' ? '_' : byte;
    });
    const auto nearest = nearestSpelling(wanted, idsOf(level));
    if (!nearest) return std::nullopt;
    const auto found = std::ranges::find(idsOf(level), *nearest);
    return found == idsOf(level).end() ? std::nullopt : std::optional(*found);
}

std::string_view categoryOf(std::string_view subcategory) {
    return subcategory.substr(0, subcategory.find('_'));
}

} // namespace quorvel
