// Merges two texts that were made from the same one.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorvel {

/// The lines that stand around two paragraphs that could not be merged.
struct MergeMarkers {
    std::string_view beforeOurs = "<<<<<<<";
    std::string_view between = "=======";
    std::string_view afterTheirs = ">>>>>>>";
};

struct ParagraphMerge {
    std::string text;          // with markers around each conflict
    std::size_t conflicts = 0; // none: the text holds all changes of both sides
};

/// Merges what `ours` and `theirs` made of `base`, paragraph by paragraph: a paragraph is a line that is not
/// blank. What both sides changed differently is a conflict, and so is what stands in places that both moved,
/// such as two paragraphs that were added at one place; where one side has every change of the other there
/// and more, it stands. Exchanging the sides gives the same paragraphs and conflicts.
///
/// The form of the line breaks, and those at the end, are those of `ours`; a text that only one side changed
/// comes back as it is, when that is ours.
[[nodiscard]] ParagraphMerge mergeParagraphs(std::string_view base, std::string_view ours,
                                             std::string_view theirs, const MergeMarkers& markers = {});

/// Whether `line`, without its line break, is one of the markers around a conflict.
[[nodiscard]] bool isMarker(std::string_view line, const MergeMarkers& markers);

} // namespace quorvel
