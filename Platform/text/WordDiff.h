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

} // namespace quorvel
