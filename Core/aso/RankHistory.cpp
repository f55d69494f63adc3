#include "Core/aso/RankHistory.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace quorvel {

std::optional<RankChange> rankChangeOver(std::span<const KeywordSnapshot> snapshots, int days) {
    if (snapshots.empty()) return std::nullopt;
    const KeywordSnapshot& now = snapshots.back();
    const Date latest = now.capturedAt - std::chrono::hours(24 * days - 12);
    const auto after = std::ranges::upper_bound(snapshots, latest, {}, &KeywordSnapshot::capturedAt);
    if (after == snapshots.begin()) return std::nullopt;
    const KeywordSnapshot& before = *std::prev(after);
    using Kind = RankChange::Kind;
    if (!before.ourRank && !now.ourRank) return std::nullopt;
    if (!before.ourRank) return RankChange{Kind::entered, 0, before.capturedAt};
    if (!now.ourRank) return RankChange{Kind::left, 0, before.capturedAt};
    const std::int64_t fallen = *now.ourRank - *before.ourRank;
    return RankChange{fallen == 0 ? Kind::none : (fallen < 0 ? Kind::up : Kind::down), std::abs(fallen),
                      before.capturedAt};
}

std::vector<DailyRank> dailyRanks(std::span<const KeywordSnapshot> snapshots, int days, Date now) {
    constexpr std::chrono::hours day(24);
    std::vector<DailyRank> ranks(static_cast<std::size_t>(days));
    for (const KeywordSnapshot& snapshot : snapshots) {
        // A clock that was set back leaves snapshots of the future; they count as of today.
        const auto ago = std::max<std::int64_t>((now - snapshot.capturedAt) / day, 0);
        if (ago < days) ranks[ranks.size() - 1 - static_cast<std::size_t>(ago)] = {true, snapshot.ourRank};
    }
    return ranks;
}

} // namespace quorvel
