#include "Programs/quorvel/commands/RankTexts.h"

#include "Programs/quorvel/Output.h"

#include <fmt/format.h>

#include <array>
#include <utility>

namespace quorvel {

namespace {

// The last rank of each block.
constexpr std::array<std::pair<std::int64_t, std::string_view>, 8> rankBlocks = {
    {{2, "█"}, {5, "▇"}, {10, "▆"}, {20, "▅"}, {50, "▄"}, {100, "▃"}, {150, "▂"}, {200, "▁"}}};

std::string_view blockOf(const DailyRank& day) {
    if (!day.wasCaptured) return " ";
    if (!day.rank) return "·";
    for (const auto& [last, block] : rankBlocks)
        if (*day.rank <= last) return block;
    return rankBlocks.back().second;
}

} // namespace

std::string rankText(bool wasCaptured, const std::optional<std::int64_t>& rank) {
    if (!wasCaptured) return "";
    return rank ? fmt::format("#{}", *rank) : "–";
}

Table::Cell changeCell(const std::optional<RankChange>& change) {
    if (!change) return {};
    switch (change->kind) {
    case RankChange::Kind::none:
        return {"="};
    case RankChange::Kind::up:
        return {fmt::format("▲{}", change->places), Style::green};
    case RankChange::Kind::down:
        return {fmt::format("▼{}", change->places), Style::red};
    case RankChange::Kind::entered:
        return {"in", Style::green};
    case RankChange::Kind::left:
        return {"out", Style::red};
    }
    return {};
}

std::string rankPlot(std::span<const DailyRank> days) {
    std::string plot;
    for (const DailyRank& day : days)
        plot += blockOf(day);
    return plot;
}

} // namespace quorvel
