#include "Platform/text/ParagraphMerge.h"

#include "Platform/text/ShortestEdit.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

namespace quorvel {

namespace {

// The length of the line break at the begin of `text`; 0 when there is none.
std::size_t lineBreakLength(std::string_view text) {
    for (const std::string_view lineBreak : {"\r\n", "\n", "\r", "\u2028", "\u2029"})
        if (text.starts_with(lineBreak)) return lineBreak.size();
    return 0;
}

struct Paragraph {
    std::string_view gap; // the line breaks and blank lines before it
    std::string_view line;
};

struct Paragraphs {
    std::vector<Paragraph> list;
    std::string_view trailing; // behind the last one

    explicit Paragraphs(std::string_view text) {
        std::size_t gapStart = 0;
        for (std::size_t start = 0; start < text.size();) {
            std::size_t end = start;
            while (end < text.size() && lineBreakLength(text.substr(end)) == 0)
                ++end;
            const std::string_view line = text.substr(start, end - start);
            if (!isBlank(line)) {
                list.push_back({text.substr(gapStart, start - gapStart), line});
                gapStart = end;
            }
            start = end + lineBreakLength(text.substr(end));
        }
        trailing = text.substr(gapStart);
    }
    [[nodiscard]] std::vector<std::string_view> lines() const {
        std::vector<std::string_view> all;
        for (const Paragraph& paragraph : list)
            all.push_back(paragraph.line);
        return all;
    }
    [[nodiscard]] std::string_view leading() const { return list.empty() ? "" : list.front().gap; }
};

// The paragraphs from `start` to `end` of a side stand where those of the base stood.
struct Change {
    std::size_t baseStart = 0, baseEnd = 0;
    std::size_t start = 0, end = 0;

    [[nodiscard]] std::size_t removed() const { return baseEnd - baseStart; }
    [[nodiscard]] std::size_t added() const { return end - start; }
    /// One paragraph became another.
    [[nodiscard]] bool isEdit() const { return removed() == 1 && added() == 1; }
};

std::optional<std::vector<Change>> changesOf(const Paragraphs& base, const Paragraphs& side) {
    const auto kept = findKept(base.lines(), side.lines());
    if (!kept) return std::nullopt;
    std::vector<Change> changes;
    Change change;
    const auto close = [&](std::size_t row, std::size_t column) {
        change.baseEnd = row;
        change.end = column;
        if (change.removed() + change.added() > 0) changes.push_back(change);
        change = {row + 1, row + 1, column + 1, column + 1};
    };
    std::size_t column = 0;
    for (std::size_t row = 0; row < kept->before.size(); ++row) {
        if (!kept->before[row]) continue;
        while (!kept->after[column])
            ++column;
        close(row, column++);
    }
    close(base.list.size(), side.list.size());
    return changes;
}

// As many paragraphs as there were are edits of each, unless the other side made more or fewer of some of
// them: then nobody can tell which became which.
std::vector<Change> split(const std::vector<Change>& changes, const std::vector<Change>& others) {
    std::vector<Change> parts;
    for (const Change& change : changes) {
        const bool isClear = std::ranges::none_of(others, [&](const Change& other) {
            return other.removed() > 0 && other.removed() != other.added() &&
                   other.baseStart < change.baseEnd && change.baseStart < other.baseEnd;
        });
        if (change.removed() != change.added() || !isClear) {
            parts.push_back(change);
            continue;
        }
        for (std::size_t index = 0; index < change.removed(); ++index)
            parts.push_back({change.baseStart + index, change.baseStart + index + 1, change.start + index,
                             change.start + index + 1});
    }
    return parts;
}

// Whether nobody can tell what the two together make: they are about the same paragraphs, or one adds where
// the other removes or adds.
bool touch(const Change& left, const Change& right) {
    if (left.removed() > 0 && right.removed() > 0)
        return left.baseStart < right.baseEnd && right.baseStart < left.baseEnd;
    const Change& insertion = left.removed() == 0 ? left : right;
    const Change& other = left.removed() == 0 ? right : left;
    if (other.isEdit()) return false; // what is added before or behind it stays there
    return other.baseStart <= insertion.baseStart && insertion.baseStart <= other.baseEnd;
}

using Side = std::size_t; // an index
constexpr Side our = 0;
constexpr Side their = 1;
constexpr std::array<Side, 2> bothSides = {our, their};
constexpr Side otherThan(Side side) {
    return side == our ? their : our;
}

// Changes of both sides that touch.
struct Region {
    std::size_t baseStart = 0, baseEnd = 0;
    std::array<std::vector<Change>, 2> changes;

    void add(Side side, const Change& change) {
        if (changes[our].empty() && changes[their].empty()) {
            baseStart = change.baseStart;
            baseEnd = change.baseEnd;
        }
        baseEnd = std::max(baseEnd, change.baseEnd);
        changes[side].push_back(change);
    }
    [[nodiscard]] bool takes(Side side, const Change& change) const {
        return std::ranges::any_of(changes[otherThan(side)],
                                   [&](const Change& one) { return touch(one, change); });
    }
    /// The number of the side's paragraphs in it.
    [[nodiscard]] std::size_t length(Side side) const {
        std::size_t length = baseEnd - baseStart;
        for (const Change& change : changes[side])
            length += change.added() - change.removed();
        return length;
    }
};

std::vector<Region> regionsOf(const std::array<std::vector<Change>, 2>& changes) {
    std::vector<std::pair<Side, Change>> all;
    for (const Side side : bothSides)
        for (const Change& change : changes[side])
            all.emplace_back(side, change);
    std::ranges::stable_sort(all, {}, [](const auto& one) { // additions before what they are added before
        return std::tuple(one.second.baseStart, one.second.baseEnd);
    });
    std::vector<Region> regions;
    for (const auto& [side, change] : all) {
        if (regions.empty() || !regions.back().takes(side, change)) regions.emplace_back();
        regions.back().add(side, change);
    }
    return regions;
}

std::string replaced(std::string_view text, std::string_view what, std::string_view by) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const bool isHere = text.substr(at).starts_with(what);
        result += isHere ? by : text.substr(at, 1);
        at += isHere ? what.size() : 1;
    }
    return result;
}

std::string inLineFeeds(std::string_view gap) {
    return replaced(replaced(gap, "\r\n", "\n"), "\r", "\n");
}

class Merger {
  public:
    Merger(std::string_view baseText, std::string_view ourText, std::string_view theirText,
           const MergeMarkers& markers)
        : base_(baseText), sides_{Paragraphs(ourText), Paragraphs(theirText)}, markers_(markers) {
        const bool hasBreaks = ourText.find_first_of("\r\n") != std::string_view::npos;
        const std::string_view model = hasBreaks ? ourText : theirText;
        usesCRLF_ = model.find("\r\n") != std::string_view::npos;
    }

    [[nodiscard]] ParagraphMerge merge() {
        const auto ourChanges = changesOf(base_, sides_[our]);
        const auto theirChanges = changesOf(base_, sides_[their]);
        if (ourChanges && theirChanges)
            mergeRegions(regionsOf({split(*ourChanges, *theirChanges), split(*theirChanges, *ourChanges)}));
        else
            addConflict({sides_[our].list.size(), sides_[their].list.size()});
        result_.text += sides_[our].trailing;
        return std::move(result_);
    }

  private:
    using Places = std::array<std::size_t, 2>;
    using Gap = std::optional<std::string>;

    void mergeRegions(const std::vector<Region>& regions) {
        std::size_t row = 0;
        for (const Region& region : regions) {
            for (; row < region.baseStart; ++row)
                addCommon(row, our);
            mergeRegion(region);
            row = region.baseEnd;
        }
        for (; row < base_.list.size(); ++row)
            addCommon(row, our);
    }

    void mergeRegion(const Region& region) {
        const Places lengths = {region.length(our), region.length(their)};
        const auto isEditOf = [&](Side side) {
            return region.changes[side].empty() ||
                   (region.changes[side].size() == 1 && region.changes[side].front().isEdit());
        };
        const auto whole = sideWithAll(region);
        if (!whole)
            addConflict(lengths);
        else if (region.baseEnd - region.baseStart == 1 && isEditOf(our) && isEditOf(their))
            addCommon(region.baseStart, *whole);
        else if (region.changes[otherThan(*whole)].empty() && changesGaps(otherThan(*whole), region))
            addConflict(lengths);
        else
            addFrom(*whole, lengths);
    }

    // The side that has all changes of a region; nothing: none of them.
    [[nodiscard]] std::optional<Side> sideWithAll(const Region& region) const {
        for (const Side side : bothSides)
            if (holdsChanges(side, otherThan(side), region)) return side;
        return std::nullopt;
    }

    // Whether a side removed what the other removed, and has what it added, in the same order. One that
    // removed paragraphs for good leaves no room for more: what the side added may be one of them, edited.
    [[nodiscard]] bool holdsChanges(Side side, Side other, const Region& region) const {
        const Told mine = toldOf(side, region);
        const Told wanted = toldOf(other, region);
        if (!std::ranges::includes(mine.removed, wanted.removed)) return false;
        if (wanted.removesForGood && mine.added != wanted.added) return false;
        auto next = mine.added.begin();
        for (const std::string_view line : wanted.added) {
            next = std::find(next, mine.added.end(), line);
            if (next == mine.added.end()) return false;
            ++next;
        }
        return true;
    }

    // What a side's changes of a region come to.
    struct Told {
        std::vector<std::size_t> removed; // sorted places in the base
        std::vector<std::string_view> added;
        bool removesForGood = false;
    };
    [[nodiscard]] Told toldOf(Side side, const Region& region) const {
        Told told;
        for (const Change& change : region.changes[side]) {
            told.removesForGood |= change.removed() > change.added();
            for (std::size_t row = change.baseStart; row < change.baseEnd; ++row)
                told.removed.push_back(row);
            for (std::size_t column = change.start; column < change.end; ++column)
                told.added.push_back(sides_[side].list[column].line);
        }
        return told;
    }

    // Whether a side that has all paragraphs of a region moved them apart or together.
    [[nodiscard]] bool changesGaps(Side side, const Region& region) const {
        for (std::size_t row = region.baseStart; row < region.baseEnd; ++row) {
            const Gap now = gapOf(sides_[side], next_[side] + row - region.baseStart);
            const Gap before = gapOf(base_, row);
            if (now && before && now != before) return true;
        }
        return false;
    }

    // The gap of the first paragraph says nothing about what is to stand before it.
    static Gap gapOf(const Paragraphs& paragraphs, std::size_t place) {
        if (place == 0 || place >= paragraphs.list.size()) return std::nullopt;
        return inLineFeeds(paragraphs.list[place].gap);
    }

    // A paragraph that stands on both sides, perhaps edited by `source`.
    void addCommon(std::size_t row, Side source) {
        const Gap before = gapOf(base_, row);
        const Gap ours = gapOf(sides_[our], next_[our]);
        const Gap theirs = gapOf(sides_[their], next_[their]);
        if (ours && theirs && ours != theirs && ours != before && theirs != before) {
            addConflict({1, 1});
            return;
        }
        const bool takesTheirs = theirs && (!ours || ours == before);
        add(takesTheirs ? theirs : ours, sides_[source].list[next_[source]].line);
        ++next_[our];
        ++next_[their];
    }

    void addFrom(Side side, const Places& lengths) {
        for (std::size_t index = 0; index < lengths[side]; ++index)
            add(gapOf(sides_[side], next_[side] + index), sides_[side].list[next_[side] + index].line);
        skip(lengths);
    }

    void addConflict(const Places& lengths) {
        ++result_.conflicts;
        const Gap gap = gapOf(sides_[our], next_[our]);
        add(gap ? gap : gapOf(sides_[their], next_[their]), markers_.beforeOurs);
        addPlain(our, lengths);
        add("\n", markers_.between);
        addPlain(their, lengths);
        add("\n", markers_.afterTheirs);
        skip(lengths);
    }

    void addPlain(Side side, const Places& lengths) {
        for (std::size_t index = 0; index < lengths[side]; ++index)
            add(index == 0 ? "\n" : gapOf(sides_[side], next_[side] + index),
                sides_[side].list[next_[side] + index].line);
    }

    void skip(const Places& lengths) {
        for (const Side side : bothSides)
            next_[side] += lengths[side];
    }

    void add(const Gap& gap, std::string_view line) {
        if (isFirst_) {
            const bool isOurs = sides_[our].leading() != base_.leading() || sides_[their].list.empty();
            result_.text += sides_[isOurs ? our : their].leading();
        } else {
            const std::string used = gap ? *gap : usualGap();
            result_.text += usesCRLF_ ? replaced(used, "\n", "\r\n") : used;
        }
        result_.text += line;
        isFirst_ = false;
    }

    [[nodiscard]] std::string usualGap() const {
        for (const Side side : bothSides)
            if (const Gap gap = gapOf(sides_[side], 1)) return *gap;
        return "\n";
    }

    Paragraphs base_;
    std::array<Paragraphs, 2> sides_;
    MergeMarkers markers_;
    bool usesCRLF_ = false;
    Places next_ = {0, 0}; // what comes next of each side
    bool isFirst_ = true;
    ParagraphMerge result_;
};

} // namespace

ParagraphMerge mergeParagraphs(std::string_view base, std::string_view ours, std::string_view theirs,
                               const MergeMarkers& markers) {
    if (theirs == base || theirs == ours) return {std::string(ours), 0};
    return Merger(base, ours, theirs, markers).merge();
}

bool isMarker(std::string_view line, const MergeMarkers& markers) {
    return line == markers.beforeOurs || line == markers.between || line == markers.afterTheirs;
}

} // namespace quorvel
