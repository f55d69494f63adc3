// What many reviews say together.
#pragma once

#include "Core/reviews/SeenReview.h"

#include <cstddef>

namespace quorvel {

struct ReviewStatistics {
    static constexpr std::size_t weeksShown = 12;

    struct Stars {
        std::int64_t stars = 0;
        std::int64_t count = 0;
        QUORVEL_RECORD(Stars, stars, count)
        bool operator==(const Stars&) const = default;
    };
    struct Sentiments {
        std::int64_t positive = 0;
        std::int64_t mixed = 0;
        std::int64_t neutral = 0;
        std::int64_t negative = 0;
        QUORVEL_RECORD(Sentiments, positive, mixed, neutral, negative)
        bool operator==(const Sentiments&) const = default;
    };
    /// A theme in its most frequent spelling; letter case makes no other theme.
    struct Theme {
        std::string theme;
        std::int64_t count = 0;
        Sentiments sentiments; // of the reviews that hold it
        QUORVEL_RECORD(Theme, theme, count, sentiments)
        bool operator==(const Theme&) const = default;
    };
    struct Week {
        std::string firstDay; // a Monday in UTC
        std::int64_t count = 0;
        std::optional<double> averageRating; // nothing for a week without reviews
        QUORVEL_RECORD(Week, firstDay, count, averageRating)
        bool operator==(const Week&) const = default;
    };

    std::int64_t count = 0;
    std::optional<double> averageRating;
    std::vector<Stars> stars; // five to one
    Sentiments sentiments;
    std::int64_t unclassified = 0;
    std::int64_t unanswered = 0;
    std::vector<Theme> themes; // the most frequent first
    std::vector<Week> weeks;   // up to this one, the oldest first
    QUORVEL_RECORD(ReviewStatistics, count, averageRating, stars, sentiments, unclassified, unanswered,
                   themes, weeks)

    [[nodiscard]] static ReviewStatistics of(const std::vector<SeenReview>& reviews, Date now);
};

} // namespace quorvel
