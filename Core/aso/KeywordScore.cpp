#include "Core/aso/KeywordScore.h"

#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

// Little is to be gained where the app leads already; most where a better text may carry it onto the first
// page.
std::int64_t reachOf(const std::optional<std::int64_t>& rank) {
    if (!rank) return 8;
    if (*rank <= 3) return 4;
    if (*rank <= 10) return 12;
    if (*rank <= 50) return 20;
    return 14;
}

std::int64_t lengthPoints(std::size_t characters) {
    if (characters <= 6) return 10;
    if (characters <= 10) return 8;
    if (characters <= 15) return 5;
    return characters <= 20 ? 3 : 1;
}

} // namespace

KeywordScore scoreOf(const KeywordFacts& facts) {
    KeywordScore score;
    if (facts.results == 0) return score;
    score.demand = (facts.isHint ? 20 : 0) + std::min<std::int64_t>(5 * facts.chartApps, 25);
    const std::int64_t first = std::min(facts.results, KeywordScore::firstResults);
    score.competition = 25 * (first - std::min(facts.firstTitles, first)) / first;
    score.reach = reachOf(facts.ourRank);
    score.length = lengthPoints(graphemeCount(facts.term));
    score.total = score.demand + score.competition + score.reach + score.length;
    return score;
}

std::string explain(const KeywordFacts& facts) {
    if (facts.results == 0) return "the search finds no app";
    std::string text = facts.isHint ? "suggested by the store · " : "";
    if (facts.chartSize > 0) text += fmt::format("{} of {} chart apps · ", facts.chartApps, facts.chartSize);
    text += fmt::format("{} of the first {} · ", facts.firstTitles,
                        std::min(facts.results, KeywordScore::firstResults));
    text += facts.ourRank ? fmt::format("you are #{}", *facts.ourRank) : "you are not among the results";
    return text + " · " + counted(graphemeCount(facts.term), "character");
}

} // namespace quorvel
