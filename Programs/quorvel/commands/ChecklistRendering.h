// How the commands show a release's checklist.
#pragma once

#include "Programs/quorvel/Invocation.h"
#include "Quorvel/actions/ChecklistActions.h"

namespace quorvel {

/// The six steps with their checks, and what comes next.
void printChecklist(Invocation& invocation, const ReleaseChecklist& checklist);

/// A mark, a title and a detail: on one line where the terminal is wide enough, else the detail below.
struct MarkedLine {
    std::string_view mark;
    Style markStyle{};
    std::string_view title;
    Style titleStyle{};
    std::size_t titleWidth = 0; // of the column
    std::string detail;
    std::size_t indent = 0;
};
void printMarked(Output& output, const MarkedLine& line);

/// "Next: Push the changed texts: quorvel push".
void printNextAction(Invocation& invocation, const ReleasePipeline& pipeline);

} // namespace quorvel
