// Shows the differences of two texts to people.
#pragma once

#include "Platform/text/WordDiff.h"

#include <string>
#include <vector>

namespace quorvel {

/// How the removed and added words of a line are marked.
struct DiffMarks {
    std::string removedStart, removedEnd, addedStart, addedEnd;
};

/// The lines of a diff for people: what changed within some of what surrounds it, the rest left out and
/// said so.
[[nodiscard]] std::vector<std::string> renderDiff(const std::vector<DiffSegment>& segments,
                                                  const DiffMarks& marks);

} // namespace quorvel
