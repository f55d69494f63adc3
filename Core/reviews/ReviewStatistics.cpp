#include "Core/reviews/ReviewStatistics.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <tuple>

namespace quorvel {

namespace {

using Days = std::chrono::sys_days;

Days mondayOf(Date date) {
    const auto day = std::chrono::floor<std::chrono::days>(date);
    return day - (std::chrono::weekday(day) - std::chrono::Monday);
}

std::int64_t* countOf(ReviewStatistics::Sentiments& sentiments, const std::string& name) {
    if (name == "positive") return &sentiments.positive;
    if (name == "mixed") return &sentiments.mixed;
    if (name == "neutral") return &sentiments.neutral;
    return name == "negative" ? &sentiments.negative : nullptr;
}

/// A theme while its reviews are counted.
struct CountedTheme {
    ReviewStatistics::Theme theme;
    std::map<std::string, std::int64_t> spellings;
};

std::vector<ReviewStatistics::Theme> themesOf(std::map<std::string, CountedTheme> counted) {
    std::vector<ReviewStatistics::Theme> themes;
    for (auto& [folded, each] : counted) {
        each.theme.theme = std::ranges::max_element(each.spellings, {}, [](const auto& spelling) {
                               return spelling.second;
                           })->first;
        themes.push_back(std::move(each.theme));
    }
    std::ranges::stable_sort(themes, std::greater(), &ReviewStatistics::Theme::count);
    return themes;
}

} // namespace

ReviewStatistics ReviewStatistics::of(const std::vector<SeenReview>& reviews, Date now) {
    ReviewStatistics statistics;
    for (std::int64_t stars = 5; stars >= 1; --stars)
        statistics.stars.push_back({stars, 0});
    std::map<std::string, CountedTheme> themes;                  // by what they are without letter case
    std::map<Days, std::pair<std::int64_t, std::int64_t>> weeks; // reviews and their stars
    std::int64_t sum = 0;
    for (const SeenReview& seen : reviews) {
        const CachedReview& review = seen.review;
        ++statistics.count;
        sum += review.rating;
        if (review.rating >= 1 && review.rating <= 5)
            ++statistics.stars[static_cast<std::size_t>(5 - review.rating)].count;
        if (!seen.response) ++statistics.unanswered;
        if (!review.sentimentClassifiedAt) ++statistics.unclassified;
        if (auto* count = countOf(statistics.sentiments, review.sentiment)) ++*count;
        for (const std::string& theme : review.themes) {
            CountedTheme& counted = themes[caseFolded(theme)];
            ++counted.theme.count;
            ++counted.spellings[theme];
            if (auto* count = countOf(counted.theme.sentiments, review.sentiment)) ++*count;
        }
        auto& [weekly, weeklyStars] = weeks[mondayOf(review.createdAt)];
        ++weekly;
        weeklyStars += review.rating;
    }
    if (statistics.count > 0)
        statistics.averageRating = static_cast<double>(sum) / static_cast<double>(statistics.count);
    statistics.themes = themesOf(std::move(themes));
    const Days thisWeek = mondayOf(now);
    for (auto back = static_cast<int>(weeksShown) - 1; back >= 0; --back) {
        const Days monday = thisWeek - std::chrono::weeks(back);
        Week week{.firstDay = formatISO8601(monday).substr(0, 10), .count = 0, .averageRating = {}};
        if (const auto found = weeks.find(monday); found != weeks.end()) {
            week.count = found->second.first;
            week.averageRating =
                static_cast<double>(found->second.second) / static_cast<double>(found->second.first);
        }
        statistics.weeks.push_back(std::move(week));
    }
    return statistics;
}

} // namespace quorvel
