#include "Core/build/VersionStateTexts.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/CommandLine.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/ChecklistRendering.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/NextStep.h"
#include "Quorvel/actions/ChecklistActions.h"
#include "Quorvel/actions/ReleaseActions.h"
#include "Quorvel/actions/SubmissionActions.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

ExitStatus showChecklist(Invocation& invocation) {
    const auto result = perform<ShowChecklist>(invocation, requestOf<ShowChecklist::Request>(invocation));
    invocation.output.document(result);
    if (!invocation.output.isJSON()) printChecklist(invocation, result.checklist);
    return ExitStatus::done;
}

// The command of the next action, run as if it had been typed.
ExitStatus runNextCommand(Invocation& invocation, const NextStep& step, const ReleasePipeline& pipeline) {
    const ParsedLine line = parseCommandLine(commandWords(step, pipeline.context, invocation.global));
    if (!invocation.global.yes && !line.command->asksFirst &&
        !invocation.output.confirm(fmt::format("{}?", step.sentence)))
        return ExitStatus::done;
    Invocation inner{*line.command,           line.arguments,    invocation.global,
                     invocation.surroundings, invocation.output, invocation.application};
    return line.command->run(inner);
}

ExitStatus doNext(Invocation& invocation) {
    const auto result = perform<ShowChecklist>(invocation, requestOf<ShowChecklist::Request>(invocation));
    const ReleasePipeline& pipeline = result.checklist.pipeline;
    const NextStep step = nextStepOf(pipeline.next);
    const bool isAsked = invocation.global.yes || (invocation.output.canAsk() && !invocation.output.isJSON());
    const bool runs = step.isRunnable && isAsked;
    if (!runs) invocation.output.document(result);
    if (runs && invocation.global.yes)
        invocation.output.note(
            fmt::format("{}: {}", step.sentence, commandText(step, pipeline.context, invocation.global)));
    else
        printNextAction(invocation, pipeline);
    if (runs) return runNextCommand(invocation, step, pipeline);
    return invocation.global.yes ? ExitStatus::refusedByState : ExitStatus::done;
}

std::string nameOfVersion(const AppReference& app, const PlatformContext& version) {
    return fmt::format("{} {} ({})", app.displayName, version.versionString, version.id());
}

void printItems(Output& output, const std::vector<SubmissionItem>& items, std::string_view verb) {
    for (const SubmissionItem& item : items)
        output.note(fmt::format("{} {} as well.", item.text, verb));
}

ExitStatus removeFromReview(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<PlanReviewRemoval::Request>(invocation);
    if (invocation.global.context)
        request.platform = platformFolderName(requireContextID(*invocation.global.context).platform);
    const auto planned = perform<PlanReviewRemoval>(invocation, request);
    const ReviewRemovalPlan& plan = planned.plan;
    const std::string name = nameOfVersion(plan.app, plan.version);
    printItems(output, plan.removal.otherItems, "leaves review");
    if (invocation.global.dryRun) {
        output.document(planned);
        output.line(fmt::format("Would take {} out of review.", name));
        output.note("Dry run: nothing was sent.");
        return ExitStatus::done;
    }
    const Consent consent =
        askConsent(invocation, {fmt::format("Take {} out of review?", name), "It stays in review."});
    const auto result = perform<RemoveFromReview>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    output.line(result.end == RemovalEnd::removed
                    ? fmt::format("{} is out of review and may be changed.", name)
                    : fmt::format("App Store Connect is still taking {} out of review.", name));
    return ExitStatus::done;
}

ExitStatus submit(Invocation& invocation) {
    if (invocation.arguments.has("--remove")) {
        if (invocation.arguments.has("--force"))
            throw UsageError("--force is for a submission, not for --remove", "Leave one of them out.");
        return removeFromReview(invocation);
    }
    Output& output = invocation.output;
    auto request = requestOf<PlanSubmission::Request>(invocation);
    request.force = invocation.arguments.has("--force");
    const auto planned = perform<PlanSubmission>(invocation, request);
    const VersionSubmissionPlan& plan = planned.plan;
    const std::string name = nameOfVersion(plan.app, plan.version);
    for (const std::string& obstacle : plan.obstacles)
        output.warning(fmt::format("not met: {}", obstacle));
    printItems(output, plan.submission.otherItems, "is submitted");
    if (invocation.global.dryRun) {
        output.document(planned);
        output.line(fmt::format("Would submit {} for review with {}.", name,
                                counted(static_cast<std::size_t>(plan.requests), "request")));
        output.note("Dry run: nothing was sent.");
        return ExitStatus::done;
    }
    const Consent consent =
        askConsent(invocation, {fmt::format("Submit {} for review?", name), "Nothing was submitted."});
    const auto result = perform<SubmitVersion>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    output.line(fmt::format("Submitted {}: {}.", name,
                            statePill(result.submission.attributes.state.value_or("state unknown"))));
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
        {.name = "next",
         .summary = "Name the next action of a release, and do it",
         .arguments = {folderArgument()},
         .heeds = {"--app", "--workspace", "--context", "--yes"},
         .run = doNext,
         .details =
             "The next action is that of the checklist. On a terminal it is done after a question, with --yes "
             "without one, by the same command that is named; without either it is only named. "
             "With --yes it ends with status 5 where only a person can do it, or where there is nothing to do "
             "but wait. Example: quorvel next --yes"},
        {.name = "submit",
         .summary = "Submit a version for review, or take it out of review",
         .arguments = {folderArgument(),
                       {"--force", "", "Submit though the checklist is not met"},
                       {"--remove", "", "Take the version out of review"}},
         .heeds = {"--app", "--workspace", "--context", "--dry-run", "--yes"},
         .run = submit,
         .details =
             "Refuses with status 5 and names each check that is not met. "
             "A submission that is open already is used instead of making another; what it holds besides "
             "is named and goes along. Example: quorvel submit --context ios/next --yes",
         .asksFirst = true},
    };
}

} // namespace quorvel
