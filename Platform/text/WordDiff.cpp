#include "Platform/text/WordDiff.h"

#include "Platform/text/ShortestEdit.h"
#include "Platform/text/Text.h"

#include <algorithm>

namespace quorvel {

namespace {

using Kind = DiffSegment::Kind;
using Words = std::vector<std::string_view>;

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
    const auto kept = findKept(before, after);
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
