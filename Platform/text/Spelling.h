// Finds what a misspelt word was meant to be.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace quorvel {

/// The candidate that `word` is nearest to, when it is near enough to be a slip of the fingers.
[[nodiscard]] std::optional<std::string> nearestSpelling(std::string_view word,
                                                         std::span<const std::string_view> candidates);

} // namespace quorvel
