#include "Programs/quorvel/DiffRendering.h"

#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

using Kind = DiffSegment::Kind;

constexpr std::size_t nearby = 40; // characters of a line shown before and after a change
constexpr std::size_t contextLines = 1;

// The pieces of one line of text; a line break that was removed or added is shown at its end.
struct Line {
    std::vector<DiffSegment> pieces;
    bool isChanged = false;
};

std::vector<Line> linesOf(const std::vector<DiffSegment>& segments) {
    std::vector<Line> lines(1);
    for (const DiffSegment& segment : segments) {
        std::string_view rest = segment.text;
        while (true) {
            const std::size_t end = rest.find('\n');
            std::string piece(rest.substr(0, end));
            if (segment.kind != Kind::same) {
                lines.back().isChanged = true;
                if (end != std::string_view::npos) piece += "⏎";
            }
            if (!piece.empty()) lines.back().pieces.push_back({segment.kind, std::move(piece)});
            if (end == std::string_view::npos) break;
            rest.remove_prefix(end + 1);
            lines.emplace_back();
        }
    }
    return lines;
}

std::string lastCharacters(std::string_view text, std::size_t count) {
    const auto boundaries = graphemeBoundaries(text);
    const std::size_t characters = boundaries.size() - 1;
    return std::string(text.substr(boundaries[characters > count ? characters - count : 0]));
}

// What stands unchanged between, before or after the changes of a line.
std::string shortened(std::string_view text, bool isFirst, bool isLast) {
    constexpr std::size_t worthCutting = 20;
    const std::size_t keptCharacters = nearby * ((isFirst || isLast) ? 1 : 2);
    if (graphemeCount(text) <= keptCharacters + worthCutting) return escapeControls(text);
    const std::string head = isFirst && !isLast ? "" : std::string(graphemePrefix(text, nearby));
    const std::string tail = isLast ? "" : lastCharacters(text, nearby);
    return fmt::format("{}…{}", escapeControls(head), escapeControls(tail));
}

std::string render(const Line& line, const DiffMarks& marks) {
    std::string text;
    for (std::size_t index = 0; index < line.pieces.size(); ++index) {
        const DiffSegment& piece = line.pieces[index];
        switch (piece.kind) {
        case Kind::same:
            text += shortened(piece.text, index == 0, index + 1 == line.pieces.size());
            break;
        case Kind::removed:
            text += marks.removedStart + escapeControls(piece.text) + marks.removedEnd;
            break;
        case Kind::added:
            text += marks.addedStart + escapeControls(piece.text) + marks.addedEnd;
            break;
        }
    }
    return text;
}

bool isNearChange(const std::vector<Line>& lines, std::size_t index) {
    const std::size_t first = index > contextLines ? index - contextLines : 0;
    const std::size_t last = std::min(index + contextLines, lines.size() - 1);
    return std::any_of(lines.begin() + static_cast<std::ptrdiff_t>(first),
                       lines.begin() + static_cast<std::ptrdiff_t>(last) + 1,
                       [](const Line& line) { return line.isChanged; });
}

} // namespace

std::vector<std::string> renderDiff(const std::vector<DiffSegment>& segments, const DiffMarks& marks) {
    const std::vector<Line> lines = linesOf(segments);
    std::vector<std::string> rendered;
    std::size_t leftOut = 0;
    const auto sayLeftOut = [&] {
        if (leftOut > 0) rendered.push_back("⋯ " + counted(leftOut, "unchanged line"));
        leftOut = 0;
    };
    for (std::size_t index = 0; index < lines.size(); ++index) {
        if (!isNearChange(lines, index)) {
            ++leftOut;
            continue;
        }
        sayLeftOut();
        rendered.push_back(render(lines[index], marks));
    }
    sayLeftOut();
    return rendered;
}

} // namespace quorvel
