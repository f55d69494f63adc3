#include "Programs/quorvel/Spelling.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

namespace quorvel {

namespace {

std::size_t editDistance(std::string_view left, std::string_view right) {
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < right.size(); ++j) {
            const std::size_t replaced = diagonal + (left[i] == right[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

constexpr std::size_t longestWord = 64;

} // namespace

std::optional<std::string> nearestSpelling(std::string_view word,
                                           std::span<const std::string_view> candidates) {
    if (word.empty() || word.size() > longestWord) return std::nullopt;
    const std::string given = asciiLowercase(word);
    std::optional<std::string> best;
    std::size_t least = word.size() <= 4 ? 2 : 3; // fewer edits than this count as near
    for (const std::string_view candidate : candidates) {
        const std::string wanted = asciiLowercase(candidate);
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
