// How the rank of a search term went, for tables and plots.
#pragma once

#include "Core/records/Models.h"
#include "Platform/json/JSON.h"
#include "Platform/time/Date.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

/// A move between two snapshots.
struct RankChange {
    enum class Kind { none, up, down, entered, left }; // the last two: the first 200 results
    Kind kind = Kind::none;
    std::int64_t places = 0; // of a move up or down
    Date since;              // when the earlier one was captured
    QUORVEL_RECORD(RankChange, kind, places, since)
    bool operator==(const RankChange&) const = default;
};

template <>
struct RawValues<RankChange::Kind> {
    using Kind = RankChange::Kind;
    static constexpr std::pair<Kind, std::string_view> values[] = {{Kind::none, "none"},
                                                                   {Kind::up, "up"},
                                                                   {Kind::down, "down"},
                                                                   {Kind::entered, "entered"},
                                                                   {Kind::left, "left"}};
};

/// What the newest snapshot changed against the newest one that is `days` older; half a day less will do, so
/// that daily refreshes at uneven hours compare. Nothing when there is none, or neither has a rank. The
/// snapshots are sorted, the oldest first.
[[nodiscard]] std::optional<RankChange> rankChangeOver(std::span<const KeywordSnapshot> snapshots, int days);

/// The last snapshot of a day.
struct DailyRank {
    bool wasCaptured = false;
    std::optional<std::int64_t> rank;
    QUORVEL_RECORD(DailyRank, wasCaptured, rank)
    bool operator==(const DailyRank&) const = default;
};

/// One for each of the last `days` spans of 24 hours before `now`, the oldest first. The snapshots are
/// sorted, the oldest first.
[[nodiscard]] std::vector<DailyRank> dailyRanks(std::span<const KeywordSnapshot> snapshots, int days,
                                                Date now);

} // namespace quorvel
