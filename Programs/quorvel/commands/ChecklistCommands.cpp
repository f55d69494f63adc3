#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/ChecklistRendering.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Quorvel/actions/ChecklistActions.h"

namespace quorvel {

namespace {

ExitStatus showChecklist(Invocation& invocation) {
    const auto result = perform<ShowChecklist>(invocation, requestOf<ShowChecklist::Request>(invocation));
    invocation.output.document(result);
    if (!invocation.output.isJSON()) printChecklist(invocation, result.checklist);
    return ExitStatus::done;
}

} // namespace

std::vector<Command> checklistCommands() {
    return {
        {.name = "checklist",
         .summary = "Show what a release still needs, and what comes next",
         .arguments = {folderArgument()},
         .heeds = {"--app", "--workspace", "--context"},
         .run = showChecklist,
         .details =
             "Six steps from the texts to the App Store with their checks: ✓ done, ▸ to be done now, "
             "○ to be done later, ✗ blocked, ? not known. "
             "It asks App Store Connect with two requests and reads the app's folder; it changes nothing. "
             "'quorvel next' does the next action, 'quorvel ship' all of them."},
    };
}

} // namespace quorvel
