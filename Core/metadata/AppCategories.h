// The categories of the App Store by the ids that App Store Connect takes.
#pragma once

#include <optional>
#include <string_view>

namespace quorvel {

enum class CategoryLevel { category, subcategory };

/// The id that `name` means: an id in any case and with any marks between its words, its English name, the
/// last word of a subcategory's ("Puzzle"), or the spelling of older tools ("MZGenre.Food_Drink"). Nothing
/// when it means none or several.
[[nodiscard]] std::optional<std::string_view> categoryNamed(std::string_view name, CategoryLevel level);

/// The id in whose spelling `name` may have slipped.
[[nodiscard]] std::optional<std::string_view> nearestCategory(std::string_view name, CategoryLevel level);

/// The category that a subcategory belongs to, such as "GAMES" of "GAMES_PUZZLE".
[[nodiscard]] std::string_view categoryOf(std::string_view subcategory);

} // namespace quorvel
