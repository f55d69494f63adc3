// An estimate of how much a search term is worth to an app.
#pragma once

#include "Platform/json/JSON.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// What is known of a term in one storefront.
struct KeywordFacts {
    std::string term;
    bool isHint = false;                 // the store suggests it while somebody types
    std::int64_t chartApps = 0;          // apps of the chart with the term in their names
    std::int64_t chartSize = 0;          // apps of the chart; 0: not known
    std::int64_t results = 0;            // apps that the search found
    std::int64_t firstTitles = 0;        // of the first ten, how many have the term in their names
    std::optional<std::int64_t> ourRank; // among the first 200
    QUORVEL_RECORD(KeywordFacts, term, isHint, chartApps, chartSize, results, firstTitles, ourRank)
    bool operator==(const KeywordFacts&) const = default;
};

/// Points of 100 in all; each part says what was counted.
struct KeywordScore {
    static constexpr std::int64_t firstResults = 10;

    std::int64_t total = 0;
    std::int64_t demand = 0; // 0 to 45: 20 for a hint, 5 for each chart app that has it in its name, to 25
    std::int64_t competition = 0; // 0 to 25: fewer points the more of the first ten have it in their names
    std::int64_t reach = 0;       // 0 to 20: by our present rank
    std::int64_t length = 0;      // 1 to 10: a short term leaves room in the keyword field
    QUORVEL_RECORD(KeywordScore, total, demand, competition, reach, length)
    bool operator==(const KeywordScore&) const = default;
};

/// A search without any result scores 0: nobody looks for it there, or the store refuses it.
[[nodiscard]] KeywordScore scoreOf(const KeywordFacts& facts);

/// "suggested by the store · 2 of 100 chart apps · 4 of the first 10 · you are #34 · 6 characters".
[[nodiscard]] std::string explain(const KeywordFacts& facts);

/// What the score counts and what it does not know, for the reader of a list.
inline constexpr std::string_view keywordScoreText =
    "The score is an estimate of 0 to 100. It counts whether the store suggests the term and how many chart "
    "apps have it in their names (demand, up to 45), how few of the first ten results do (competition, up to "
    "25), how near the app is already (up to 20), and how short the term is (up to 10). Apple publishes no "
    "numbers of searches, so none are in it.";

} // namespace quorvel
