#include "Platform/text/WordDiff.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <optional>

namespace quorvel {

namespace {

using Kind = DiffSegment::Kind;
using Words = std::vector<std::string_view>;

// Beyond so many single edits a word diff tells less than the two texts, and costs their product in time.
constexpr int mostEdits = 800;

// The greedy search for the shortest way from one list of words to the other (E. Myers, 1986): per number of
// edits and diagonal the furthest point reached, remembered to walk back from the end.
class ShortestEdit {
  public:
    ShortestEdit(const Words& before, const Words& after) : before_(before), after_(after) {}

    /// Whether each word is kept, per side; nothing when it takes too many edits.
    struct Kept {
        std::vector<bool> before, after;
    };
    [[nodiscard]] std::optional<Kept> search() {
        const int limit = std::min(mostEdits, rows() + columns());
        std::vector<int> reached(static_cast<std::size_t>(2 * limit + 3), 0);
        const auto at = [&](int diagonal) -> int& {
            return reached[static_cast<std::size_t>(diagonal + limit + 1)];
        };
        for (int edits = 0; edits <= limit; ++edits) {
            for (int diagonal = -edits; diagonal <= edits; diagonal += 2) {
                const bool down =
                    diagonal == -edits || (diagonal != edits && at(diagonal - 1) < at(diagonal + 1));
                int row = down ? at(diagonal + 1) : at(diagonal - 1) + 1;
                while (row < rows() && row - diagonal < columns() && row - diagonal >= 0 &&
                       word(before_, row) == word(after_, row - diagonal))
                    ++row;
                at(diagonal) = row;
                if (row == rows() && row - diagonal == columns()) return walkBack(edits);
            }
            history_.emplace_back(reached.begin() + limit + 1 - edits, reached.begin() + limit + 2 + edits);
        }
        return std::nullopt;
    }

  private:
    [[nodiscard]] int rows() const { return static_cast<int>(before_.size()); }
    [[nodiscard]] int columns() const { return static_cast<int>(after_.size()); }
    static std::string_view word(const Words& words, int index) {
        return words[static_cast<std::size_t>(index)];
    }

    [[nodiscard]] Kept walkBack(int edits) const {
        Kept kept{std::vector<bool>(before_.size()), std::vector<bool>(after_.size())};
        int row = rows();
        int column = columns();
        for (; edits > 0; --edits) {
            const auto& reached = history_[static_cast<std::size_t>(edits - 1)];
            // The round before reached the diagonals from -(edits - 1) to edits - 1.
            const auto at = [&](int diagonal) {
                const int index = diagonal + edits - 1;
                const bool wasReached = index >= 0 && index < static_cast<int>(reached.size());
                return wasReached ? reached[static_cast<std::size_t>(index)] : -1;
            };
            const int diagonal = row - column;
            const bool down =
                diagonal == -edits || (diagonal != edits && at(diagonal - 1) < at(diagonal + 1));
            const int from = down ? at(diagonal + 1) : at(diagonal - 1);
            markKept(kept, row, column, down ? from : from + 1);
            row = from;
            column = row - (down ? diagonal + 1 : diagonal - 1);
        }
        markKept(kept, row, column, 0);
        return kept;
    }

    static void markKept(Kept& kept, int row, int column, int startRow) {
        while (row > startRow) {
            --row;
            --column;
            kept.before[static_cast<std::size_t>(row)] = true;
            kept.after[static_cast<std::size_t>(column)] = true;
        }
    }

    const Words& before_;
    const Words& after_;
    std::vector<std::vector<int>> history_;
};

void append(std::vector<DiffSegment>& segments, Kind kind, std::string_view text) {
    if (text.empty()) return;
    if (!segments.empty() && segments.back().kind == kind)
        segments.back().text += text;
    else
        segments.push_back({kind, std::string(text)});
}

struct Hunk {
    std::string removed, added;
    bool isChange() const { return !removed.empty() || !added.empty(); }
};

// Removals before additions, and no lone blank between two changes.
class Collector {
  public:
    void same(std::string_view word) {
        if (hunk_.isChange() && isBlank(word) && word.find('\n') == std::string_view::npos) {
            pendingBlank_ += word;
            return;
        }
        flush();
        append(segments_, Kind::same, word);
    }
    void removed(std::string_view word) {
        takePendingBlank();
        hunk_.removed += word;
    }
    void added(std::string_view word) {
        takePendingBlank();
        hunk_.added += word;
    }
    std::vector<DiffSegment> take() {
        flush();
        return std::move(segments_);
    }

  private:
    void takePendingBlank() {
        hunk_.removed += pendingBlank_;
        hunk_.added += pendingBlank_;
        pendingBlank_.clear();
    }
    void flush() {
        append(segments_, Kind::removed, hunk_.removed);
        append(segments_, Kind::added, hunk_.added);
        append(segments_, Kind::same, pendingBlank_);
        hunk_ = {};
        pendingBlank_.clear();
    }
    std::vector<DiffSegment> segments_;
    Hunk hunk_;
    std::string pendingBlank_;
};

// How many words both lists begin and end with.
std::pair<std::ptrdiff_t, std::ptrdiff_t> commonEnds(const Words& before, const Words& after) {
    const auto prefix = std::ranges::mismatch(before, after).in1 - before.begin();
    const auto most = static_cast<std::ptrdiff_t>(std::min(before.size(), after.size())) - prefix;
    std::ptrdiff_t suffix = 0;
    while (suffix < most && before.end()[-1 - suffix] == after.end()[-1 - suffix])
        ++suffix;
    return {prefix, suffix};
}

void collectMiddle(Collector& collector, const Words& before, const Words& after) {
    const auto kept = ShortestEdit(before, after).search();
    std::size_t column = 0;
    for (std::size_t row = 0; row < before.size(); ++row) {
        if (!kept || !kept->before[row]) {
            collector.removed(before[row]);
            continue;
        }
        for (; !kept->after[column]; ++column)
            collector.added(after[column]);
        collector.same(before[row]);
        ++column;
    }
    for (; column < after.size(); ++column)
        collector.added(after[column]);
}

bool isMostlyShared(const std::vector<DiffSegment>& segments, std::size_t longer) {
    std::size_t shared = 0;
    for (const DiffSegment& segment : segments)
        if (segment.kind == Kind::same && !isBlank(segment.text)) shared += segment.text.size();
    constexpr std::size_t leastShare = 5; // a fifth
    return shared * leastShare >= longer;
}

} // namespace

std::vector<DiffSegment> wordDiff(std::string_view before, std::string_view after) {
    const Words allBefore = wordSegments(before);
    const Words allAfter = wordSegments(after);
    const auto [prefix, suffix] = commonEnds(allBefore, allAfter);
    const auto middle = [&](const Words& words) {
        return Words(words.begin() + prefix, words.end() - suffix);
    };

    Collector collector;
    const auto addSame = [&](auto first, auto last) {
        std::for_each(first, last, [&](std::string_view word) { collector.same(word); });
    };
    addSame(allBefore.begin(), allBefore.begin() + prefix);
    collectMiddle(collector, middle(allBefore), middle(allAfter));
    addSame(allBefore.end() - suffix, allBefore.end());

    auto segments = collector.take();
    if (isMostlyShared(segments, std::max(before.size(), after.size()))) return segments;
    std::vector<DiffSegment> whole;
    append(whole, Kind::removed, before);
    append(whole, Kind::added, after);
    return whole;
}

} // namespace quorvel
