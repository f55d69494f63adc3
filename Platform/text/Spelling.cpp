#include "Platform/text/Spelling.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace quorvel {

namespace {

// Two neighbours that changed places are one slip.
std::size_t editDistance(std::string_view left, std::string_view right) {
    std::vector<std::vector<std::size_t>> cost(left.size() + 1, std::vector<std::size_t>(right.size() + 1));
    std::iota(cost[0].begin(), cost[0].end(), std::size_t{0});
    for (std::size_t i = 1; i <= left.size(); ++i) {
        cost[i][0] = i;
        for (std::size_t j = 1; j <= right.size(); ++j) {
            const std::size_t replaced = cost[i - 1][j - 1] + (left[i - 1] == right[j - 1] ? 0 : 1);
            cost[i][j] = std::min({replaced, cost[i - 1][j] + 1, cost[i][j - 1] + 1});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1])
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
        }
    }
    return cost[left.size()][right.size()];
}

constexpr std::size_t longestWord = 64;

// What all options begin with makes none of them alike.
std::string_view withoutDashes(std::string_view word) {
    return word.substr(std::min(word.find_first_not_of('-'), word.size()));
}

} // namespace

std::optional<std::string> nearestSpelling(std::string_view word,
                                           std::span<const std::string_view> candidates) {
    if (word.empty() || word.size() > longestWord) return std::nullopt;
    const std::string given = asciiLowercase(withoutDashes(word));
    std::optional<std::string> best;
    std::size_t least = given.size() <= 4 ? 2 : 3; // fewer edits than this count as near
    for (const std::string_view candidate : candidates) {
        const std::string wanted = asciiLowercase(withoutDashes(candidate));
        const bool begins = given.size() >= 3 && wanted.starts_with(given);
        const std::size_t distance = begins ? 1 : editDistance(given, wanted);
        if (distance < least) {
            least = distance;
            best = candidate;
        }
    }
    return best;
}

} // namespace quorvel
