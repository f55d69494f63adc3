#include "Programs/quorvel/Table.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <numeric>

namespace quorvel {

namespace {

using namespace tableLayout;

constexpr std::size_t narrowest = 6;
constexpr std::size_t narrowestText = 20;

std::size_t widthOf(std::string_view text) {
    const bool plain = std::ranges::all_of(text, [](char byte) { return byte >= ' ' && byte <= '~'; });
    return plain ? text.size() : displayWidth(text);
}

bool mayBeNarrowed(Table::Fit fit) {
    return fit == Table::Fit::cut || fit == Table::Fit::wrap;
}

} // namespace

std::string cutToWidth(std::string_view text, std::size_t width) {
    if (widthOf(text) <= width) return std::string(text);
    if (width == 0) return {};
    const auto boundaries = graphemeBoundaries(text);
    std::size_t used = 0;
    std::size_t end = 0;
    for (std::size_t index = 0; index + 1 < boundaries.size(); ++index) {
        used += displayWidth(text.substr(boundaries[index], boundaries[index + 1] - boundaries[index]));
        if (used > width - 1) break;
        end = boundaries[index + 1];
    }
    return std::string(text.substr(0, end)) + "…";
}

std::string onOneLine(std::string_view text) {
    std::string line;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string_view part = text.substr(at, end - at);
        if (at == 0)
            line += escapeControls(part);
        else if (!isBlank(part))
            line += fmt::format("{}{}", isBlank(line) ? "" : " — ", escapeControls(trim(part)));
        at = end + 1;
    }
    return line;
}

std::string padToWidth(std::string_view text, std::size_t width, Table::Align align) {
    const std::size_t used = widthOf(text);
    const std::string blanks(used < width ? width - used : 0, ' ');
    return align == Table::Align::left ? std::string(text) + blanks : blanks + std::string(text);
}

std::vector<std::size_t> columnWidths(const Table& table, std::size_t maximum) {
    std::vector<std::size_t> widths;
    for (const auto& column : table.columns)
        widths.push_back(widthOf(column.title));
    for (const auto& row : table.rows)
        for (std::size_t index = 0; index < row.size() && index < widths.size(); ++index)
            widths[index] = std::max(widths[index], widthOf(row[index].text));
    if (maximum == 0 || widths.empty()) return widths;
    const auto total = [&] {
        return std::accumulate(widths.begin(), widths.end(), gap * (widths.size() - 1));
    };
    while (total() > maximum) {
        std::size_t* widest = nullptr;
        for (std::size_t index = 0; index < widths.size(); ++index)
            if (mayBeNarrowed(table.columns[index].fit) && (!widest || widths[index] > *widest))
                widest = &widths[index];
        const bool last = widest == &widths.back();
        const bool wraps = table.columns.back().fit == Table::Fit::wrap;
        if (!widest || *widest <= (last && wraps ? narrowestText : narrowest)) break;
        --*widest;
    }
    return widths;
}

Table fitted(Table table, std::size_t maximum) {
    while (maximum > 0) {
        const auto widths = columnWidths(table, 0);
        if (std::accumulate(widths.begin(), widths.end(), gap * table.columns.size()) <= maximum + gap) break;
        const auto last = std::ranges::find(table.columns.rbegin(), table.columns.rend(), Table::Fit::drop,
                                            &Table::Column::fit);
        if (last == table.columns.rend()) break;
        const auto index = std::distance(last, table.columns.rend()) - 1;
        table.columns.erase(table.columns.begin() + index);
        for (auto& row : table.rows)
            if (index < std::ssize(row)) row.erase(row.begin() + index);
    }
    return table;
}

std::vector<std::string> wrap(std::string_view text, std::size_t width) {
    std::vector<std::string> lines(1);
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t end = std::min(text.find(' ', position), text.size());
        const std::string_view word = text.substr(position, end - position);
        position = end + 1;
        if (word.empty()) continue;
        if (!lines.back().empty() && widthOf(lines.back()) + 1 + widthOf(word) > width) lines.emplace_back();
        if (!lines.back().empty()) lines.back() += ' ';
        lines.back() += word;
    }
    return lines;
}

std::string wrapLines(std::string_view text, std::size_t width) {
    if (width == 0) return std::string(text);
    std::string result;
    std::size_t position = 0;
    while (position <= text.size()) {
        const std::size_t end = std::min(text.find('\n', position), text.size());
        const std::string_view line = text.substr(position, end - position);
        const std::size_t indent = std::min(line.find_first_not_of(' '), line.size());
        if (position > 0) result += '\n';
        if (displayWidth(line) <= width || indent >= width)
            result += line;
        else
            result += fmt::format(
                "{}{}", line.substr(0, indent),
                fmt::join(wrap(line.substr(indent), width - indent), "\n" + std::string(indent, ' ')));
        position = end + 1;
    }
    return result;
}

} // namespace quorvel
