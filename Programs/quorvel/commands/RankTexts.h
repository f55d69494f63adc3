// How ranks are written and drawn.
#pragma once

#include "Core/aso/RankHistory.h"
#include "Programs/quorvel/Table.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace quorvel {

/// "#12"; a dash for a term that is off the chart, nothing for one that was never captured.
[[nodiscard]] std::string rankText(bool wasCaptured, const std::optional<std::int64_t>& rank);
/// "▲3", "▼12", "=", "in" or "out" in its colour; nothing without a change to tell.
[[nodiscard]] Table::Cell changeCell(const std::optional<RankChange>& change);
/// One block for each day, the higher the better the rank.
[[nodiscard]] std::string rankPlot(std::span<const DailyRank> days);
/// What the blocks stand for.
inline constexpr std::string_view rankPlotLegend =
    "Plot: the last 14 days, █ #1–2, ▇ to #5, ▆ #10, ▅ #20, ▄ #50, ▃ #100, ▂ #150, ▁ #200; · not among the "
    "first 200.";

} // namespace quorvel
