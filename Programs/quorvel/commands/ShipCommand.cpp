#include "Core/build/VersionStateTexts.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/Wording.h"
#include "Programs/quorvel/commands/ChecklistRendering.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/ShipActions.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

std::string_view titleOf(ShipStep::Kind kind) {
    using K = ShipStep::Kind;
    switch (kind) {
    case K::version:
        return "Version";
    case K::pull:
        return "Pull";
    case K::texts:
        return "Texts";
    case K::screenshots:
        return "Screenshots";
    case K::build:
        return "Build";
    case K::compliance:
        return "Compliance";
    case K::attach:
        return "Attach";
    case K::testFlight:
        return "TestFlight";
    case K::submission:
        return "Submission";
    case K::review:
        return "Review";
    case K::release:
        return "Release";
    }
    return {};
}

void printStep(Output& output, const ShipStep& step) {
    using S = ShipStep::State;
    MarkedLine line{.mark = "✓", .markStyle = Style::green, .title = titleOf(step.kind), .titleWidth = 11};
    if (step.state == S::planned || step.state == S::waits) {
        line.mark = step.state == S::planned ? "▸" : "…";
        line.markStyle = Style::yellow;
    } else if (step.isEnd()) {
        line.mark = "✗";
        line.markStyle = Style::red;
    }
    line.detail = onOneLine(inCommands(step.text));
    if (step.state == S::planned && step.requests > 0)
        line.detail += fmt::format(" · {}", counted(static_cast<std::size_t>(step.requests), "request"));
    if (step.state == S::planned && !step.isExact) line.detail += " · counted later";
    printMarked(output, line);
}

std::string_view endOf(ShipUntil until) {
    switch (until) {
    case ShipUntil::build:
        return "until a build is attached";
    case ShipUntil::submit:
        return "until it is submitted";
    case ShipUntil::review:
        return "until it waits for review";
    case ShipUntil::live:
        return "until it is on the App Store";
    }
    return {};
}

std::string nameOf(const ShipPlan& plan) {
    return fmt::format("{} {} ({})", plan.app.displayName, plan.options.version,
                       platformFolderName(plan.options.platform));
}

void printPlan(Output& output, const ShipPlan& plan) {
    output.line(fmt::format("{}, {}:", nameOf(plan), endOf(plan.options.until)));
    for (const ShipStep& step : plan.steps)
        printStep(output, step);
    output.line();
    const std::string requests = counted(static_cast<std::size_t>(plan.requests), "request");
    output.line(
        fmt::format("{}{} will change App Store Connect.", plan.isExact ? "" : "At least ", requests));
    for (const ShipStep& step : plan.steps)
        if (step.isEnd()) {
            output.line(fmt::format("It will end at {}, which only a person can do.", titleOf(step.kind)));
            break;
        }
}

ExitStatus statusOf(const ShipStep& end) {
    if (!end.isEnd()) return ExitStatus::done;
    return end.state == ShipStep::State::person ? ExitStatus::refusedByState : ExitStatus::partlyDone;
}

ExitStatus endOfPlan(const ShipPlan& plan) {
    for (const ShipStep& step : plan.steps)
        if (step.isEnd()) return statusOf(step);
    return ExitStatus::done;
}

void printOutcome(Output& output, const Ship::Result& result) {
    const ShipOutcome& outcome = result.outcome;
    for (const ShipStep& step : outcome.steps)
        printStep(output, step);
    for (const std::string& cause : outcome.causes)
        output.warning(cause);
    if (outcome.log) output.note(fmt::format("The build's log is {}.", *outcome.log));
    output.line();
    const std::string state = outcome.version ? statePill(outcome.version->appStoreState) : "not there";
    output.line(fmt::format("{}: {}.", nameOf(result.plan), state));
    if (!outcome.isComplete())
        output.line(outcome.steps.back().state == ShipStep::State::person
                        ? "What is marked ✗ only you can do; the same command then goes on from there."
                        : "The same command goes on from there.");
}

ExitStatus ship(Invocation& invocation) {
    Output& output = invocation.output;
    const Arguments& arguments = invocation.arguments;
    auto request = requestOf<PlanShip::Request>(invocation);
    request.version = *arguments.value("--version");
    if (const auto until = arguments.value("--until")) request.until = fromRawValue<ShipUntil>(*until);
    if (const auto mode = arguments.value("--screenshots"))
        request.screenshots = fromRawValue<ScreenshotPushMode>(*mode);
    request.allowClear = arguments.has("--allow-clear");
    request.allowUnreviewed = arguments.has("--allow-unreviewed");
    request.exempt = arguments.has("--exempt");
    request.testFlightGroups = arguments.values("--testflight");
    const auto planned = perform<PlanShip>(invocation, request);
    const ShipPlan& plan = planned.plan;
    if (plan.texts) printWarnings(output, plan.texts->warnings);
    if (request.dryRun) {
        output.document(planned);
        printPlan(output, plan);
        output.note("Dry run: nothing was changed.");
        return endOfPlan(plan);
    }
    if (invocation.global.yes) printPlan(output, plan);
    const Consent consent =
        askConsent(invocation, {fmt::format("Ship {}?", nameOf(plan)), "Nothing was done.",
                                [&](Output& terminal) { printPlan(terminal, plan); }});
    const auto result = perform<Ship>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    output.line();
    printOutcome(output, result);
    if (result.outcome.failure) return statusOf(result.outcome.failure->kind);
    return result.outcome.steps.empty() ? ExitStatus::done : statusOf(result.outcome.steps.back());
}

} // namespace

std::vector<Command> shipCommands() {
    return {
        {.name = "ship",
         .summary = "Do a whole release: version, texts, screenshots, build, submission",
         .arguments = {{"--version", "VERSION", "Version, such as 1.2.0", {}, ArgumentSpec::Need::required},
                       {"--until", "STEP", "How far (review)", {"build", "submit", "review", "live"}},
                       folderArgument(),
                       {"--screenshots",
                        "MODE",
                        "Keep the other screenshots of a set or not (append)",
                        {"append", "replace"}},
                       {"--testflight",
                        "GROUP",
                        "Give the build to this TestFlight group",
                        {},
                        ArgumentSpec::Need::optional,
                        ArgumentSpec::Count::repeated},
                       {"--exempt", "", "Declare that the build uses no encryption that needs a declaration"},
                       {"--allow-clear", "", "Also push changes that remove a text"},
                       {"--allow-unreviewed", "", "Also push texts that were generated and not read since"}},
         .heeds = {"--app", "--workspace", "--context", "--dry-run", "--yes"},
         .run = ship,
         .details =
             "Shows what is to be done and asks once. Each step is done only where App Store Connect or the "
             "disk says that it is not done yet: a build of the version that is there, or being processed, is "
             "used instead of building anew. It ends with status 5 at the first step that only a person can do "
             "and says which, and with 7 where a step failed in part; the same command then goes on from "
             "there, and also after it was interrupted. Nothing of its progress is kept. "
             "--until live waits for App Review and releases a version that is released by hand. "
             "Example: quorvel ship --version 3.5 --dry-run",
         .asksFirst = true},
    };
}

} // namespace quorvel
