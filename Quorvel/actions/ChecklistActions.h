// What a release still needs.
#pragma once

#include "Quorvel/actions/Target.h"

namespace quorvel {

struct ShowChecklist {
    static constexpr ActionInfo info{"show_checklist",
                                     "Show what a release still needs, and what comes next"};
    using Request = FolderChangeRequest; // a dry run leaves a tree of the older layout alone
    struct Result {
        ReleaseChecklist checklist;
        QUORVEL_RECORD(Result, checklist)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
