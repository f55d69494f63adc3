// What changed between two texts, word by word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct DiffSegment {
    enum class Kind { same, removed, added };
    Kind kind = Kind::same;
    std::string text;
    bool operator==(const DiffSegment&) const = default;
};

/// The segments in reading order: `same` and `removed` joined are `before`, `same` and `added` joined are
/// `after`. Texts with little in common come as one removal and one addition.
[[nodiscard]] std::vector<DiffSegment> wordDiff(std::string_view before, std::string_view after);

/// How the removed and added words of a line are marked.
struct DiffMarks {
    std::string removedStart, removedEnd, addedStart, addedEnd;
};

/// The lines of a diff for people: what changed within some of what surrounds it, the rest left out and
/// said so.
[[nodiscard]] std::vector<std::string> renderDiff(const std::vector<DiffSegment>& segments,
                                                  const DiffMarks& marks);

} // namespace quorvel
