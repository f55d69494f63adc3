// How the commands show a release's checklist.
#pragma once

#include "Programs/quorvel/Invocation.h"
#include "Quorvel/actions/ChecklistActions.h"

namespace quorvel {

/// The six steps with their checks, and what comes next.
void printChecklist(Invocation& invocation, const ReleaseChecklist& checklist);

/// "Next: Push the changed texts: quorvel push".
void printNextAction(Invocation& invocation, const ReleasePipeline& pipeline);

} // namespace quorvel
