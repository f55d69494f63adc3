#include "Programs/quorvel/commands/RevenuePlot.h"

#include "Platform/text/Counted.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace quorvel {

namespace {

constexpr std::array<std::string_view, 9> blocks = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::size_t plotRows = 6;
constexpr std::size_t usualWidth = 80;

/// A bar of the plot: one day or several.
struct Bar {
    double amount = 0;
    bool isPublished = false;
    bool hasFailed = false;
};

std::vector<Bar> barsOf(const std::vector<ShowRevenue::Day>& days, std::size_t daysPerBar) {
    std::vector<Bar> bars((days.size() + daysPerBar - 1) / daysPerBar);
    for (std::size_t i = 0; i < days.size(); ++i) {
        Bar& bar = bars[i / daysPerBar];
        bar.amount += days[i].proceeds;
        if (days[i].status == DayResult::Status::ok) bar.isPublished = true;
        if (days[i].status == DayResult::Status::failed) bar.hasFailed = true;
    }
    return bars;
}

// What one bar shows in one row, the lowest row being 0.
std::string cellOf(const Bar& bar, std::size_t row, double greatest) {
    if (row == 0 && bar.hasFailed) return "!";
    if (row == 0 && !bar.isPublished) return "?";
    if (bar.amount < 0) return row == 0 ? "−" : " ";
    const double height = greatest > 0 ? bar.amount / greatest * plotRows * 8 : 0; // in eighths of a row
    const double above = std::clamp(std::round(height) - static_cast<double>(row) * 8, 0.0, 8.0);
    if (row == 0 && above < 1 && bar.isPublished) return bar.amount > 0 ? "▁" : "·";
    return std::string(blocks[static_cast<std::size_t>(above)]);
}

std::string grouped(std::uint64_t value) {
    std::string digits = std::to_string(value);
    for (std::size_t at = digits.size(); at > 3; at -= 3)
        digits.insert(at - 3, ",");
    return digits;
}

} // namespace

std::string moneyText(double amount, std::string_view currency) {
    const double cents = std::round(std::fabs(amount) * 100);
    constexpr double most = 1e17;
    if (!(cents < most)) return fmt::format("{:.0f} {}", amount, currency);
    const auto whole = static_cast<std::uint64_t>(cents);
    return fmt::format("{}{}.{:02} {}", amount < 0 && whole > 0 ? "−" : "", grouped(whole / 100), whole % 100,
                       currency);
}

std::string reportedText(const std::vector<WorkspaceRevenueSummary::Reported>& sums) {
    std::vector<std::string> texts;
    for (const auto& sum : sums)
        texts.push_back(moneyText(sum.amount, sum.currency));
    return fmt::format("{}", fmt::join(texts, " · "));
}

void printRevenuePlot(Output& output, const ShowRevenue::Result& result) {
    const Streams& streams = output.streams();
    const std::size_t width = streams.outIsTerminal && streams.width > 0 ? streams.width : usualWidth;
    std::size_t daysPerBar = 1;
    while (result.days.size() / daysPerBar > width)
        ++daysPerBar;
    const auto bars = barsOf(result.days, daysPerBar);
    const std::size_t cells = std::clamp<std::size_t>(width / std::max<std::size_t>(bars.size(), 1), 1, 3);
    double greatest = 0;
    for (const Bar& bar : bars)
        greatest = std::max(greatest, bar.amount);
    for (std::size_t row = plotRows; row-- > 0;) {
        std::string line;
        for (const Bar& bar : bars) {
            const std::string cell = cellOf(bar, row, greatest);
            const bool isFull = cell != " " && cell != "?" && cell != "!" && cell != "−" && cell != "·";
            for (std::size_t i = 0; i < cells; ++i)
                line += i + 1 < cells || cells == 1 ? (i == 0 || isFull ? cell : " ") : " ";
        }
        output.verbatim(line);
    }
    const std::size_t plotWidth = bars.size() * cells;
    const std::string& first = result.firstDay;
    const std::string& last = result.lastDay;
    if (plotWidth > first.size() + last.size())
        output.verbatim(fmt::format("{}{:>{}}", first, last, plotWidth - first.size()));
    std::string legend = fmt::format("Highest: {} in {}", moneyText(greatest, result.currency),
                                     daysPerBar == 1 ? "a day" : counted(daysPerBar, "day"));
    if (std::ranges::any_of(bars, [](const Bar& bar) { return !bar.isPublished && !bar.hasFailed; }))
        legend += " · ? not published yet";
    if (std::ranges::any_of(bars, &Bar::hasFailed)) legend += " · ! missing";
    output.line(legend);
    output.line();
}

} // namespace quorvel
