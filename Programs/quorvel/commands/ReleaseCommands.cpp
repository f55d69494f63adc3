#include "Core/metadata/PlatformContext.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/ReleaseActions.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

constexpr std::string_view dryRunNote = "Dry run: nothing was sent.";

ArgumentSpec releasePlatform() {
    return {"--platform",
            "PLATFORM",
            "The version of this platform, where it may be several",
            {"ios", "macos", "tvos", "visionos"}};
}

// "3.5 of Garden Journal for ios"
std::string nameOfVersion(const PlatformContext& version, const AppReference& app) {
    return escapeControls(fmt::format("{} of {} for {}", version.versionString, app.displayName,
                                      platformFolderName(version.platform)));
}

ExitStatus releaseApproved(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<PlanRelease::Request>(invocation);
    request.platform = invocation.arguments.value("--platform");
    const auto planned = perform<PlanRelease>(invocation, request);
    const ReleasePlan& plan = planned.plan;
    const std::string what = fmt::format("{} to {}", nameOfVersion(plan.version, plan.app),
                                         plan.inPhases ? "its users over seven days" : "all users at once");
    if (invocation.global.dryRun) {
        output.document(planned);
        output.line(fmt::format("Would release {}.", what));
        output.note(dryRunNote);
        return ExitStatus::done;
    }
    const Consent consent =
        askConsent(invocation, {fmt::format("Release {}?", what), "Nothing was released."});
    const auto result = perform<ReleaseVersion>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    output.line(fmt::format("Released {}: {}.", what, result.version.appStoreState));
    return ExitStatus::done;
}

ReleaseType releaseTypeNamed(std::string_view name) {
    if (name == "manual") return ReleaseType::manual;
    return name == "scheduled" ? ReleaseType::scheduled : ReleaseType::afterApproval;
}

std::string textOf(ReleaseType type, const std::optional<std::string>& date) {
    switch (type) {
    case ReleaseType::manual:
        return "when you release it";
    case ReleaseType::afterApproval:
        return "as soon as it is approved";
    case ReleaseType::scheduled:
        break;
    }
    return fmt::format("once it is approved, not before {}", date.value_or(""));
}

ExitStatus setReleaseType(Invocation& invocation, const std::string& type) {
    Output& output = invocation.output;
    auto request = requestOf<PlanReleaseType::Request>(invocation);
    request.type = releaseTypeNamed(type);
    request.date = invocation.arguments.value("--date");
    request.platform = invocation.arguments.value("--platform");
    const auto planned = perform<PlanReleaseType>(invocation, request);
    const ReleaseTypePlan& plan = planned.plan;
    const std::string what = fmt::format("{} come out {}", nameOfVersion(plan.version, plan.app),
                                         textOf(plan.type, plan.earliestDate));
    if (invocation.global.dryRun) {
        output.document(planned);
        output.line(plan.isSet ? fmt::format("Nothing to change: {} is set so.", what)
                               : fmt::format("Would let {}.", what));
        output.note(dryRunNote);
        return ExitStatus::done;
    }
    if (plan.isSet) {
        output.document(planned);
        output.line(fmt::format("Nothing to change — {} is set to come out {}.",
                                nameOfVersion(plan.version, plan.app), textOf(plan.type, plan.earliestDate)));
        return ExitStatus::done;
    }
    const Consent consent = askConsent(invocation, {fmt::format("Let {}?", what)});
    const auto result = perform<SetReleaseType>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    output.line(fmt::format("{} comes out {}.", nameOfVersion(plan.version, plan.app),
                            textOf(plan.type, plan.earliestDate)));
    return ExitStatus::done;
}

ExitStatus releaseCommand(Invocation& invocation) {
    const auto type = invocation.arguments.value("--type");
    if (type) return setReleaseType(invocation, *type);
    if (invocation.arguments.has("--date")) throw UsageError("--date belongs to --type scheduled");
    return releaseApproved(invocation);
}

std::string textOf(const std::optional<PhasedRelease>& phased) {
    if (!phased) return "all users at once";
    const auto state = fromRawValue<PhasedReleaseState>(phased->state);
    std::string text = phased->state;
    if (state == PhasedReleaseState::inactive) text = "in phases, not begun";
    if (state == PhasedReleaseState::complete) text = "complete";
    const bool runs = state == PhasedReleaseState::active || state == PhasedReleaseState::paused;
    if (runs) {
        text = fmt::format("{}day {} of {}", state == PhasedReleaseState::paused ? "paused on " : "",
                           phased->day, phasedReleaseDays);
        if (phased->percentage) text += fmt::format(", {} % of users", *phased->percentage);
    }
    if (phased->pausedDays > 0)
        text += fmt::format(", paused for {} of {} days", phased->pausedDays, mostPausedDays);
    return text;
}

ExitStatus showPhased(Invocation& invocation) {
    auto request = requestOf<ShowPhasedRelease::Request>(invocation);
    request.platform = invocation.arguments.value("--platform");
    const auto result = perform<ShowPhasedRelease>(invocation, request);
    invocation.output.document(result);
    Table table{.columns = {{"Context"},
                            {"Version"},
                            {"State"},
                            {"Release"},
                            {"Since (UTC)", Table::Align::left, Table::Fit::drop}},
                .rows = {}};
    for (const auto& each : result.versions) {
        const auto start = parseISO8601(each.phased ? each.phased->startDate.value_or("") : "");
        table.rows.push_back({each.version.id(),
                              each.version.versionString,
                              {each.version.appStoreState, styleOfState(each.version.appStoreState)},
                              textOf(each.phased),
                              start ? shortTime(*start) : ""});
    }
    invocation.output.table(table);
    return ExitStatus::done;
}

struct PhasedWords {
    PhasedStep step;
    std::string_view question, done, wasDone;
};
constexpr PhasedWords phasedWords[] = {
    {PhasedStep::start, "Let {} come out over seven days once it is released",
     "{} comes out over seven days once it is released", "{} comes out in phases already"},
    {PhasedStep::pause, "Pause the phased release of {}", "The phased release of {} is paused",
     "The phased release of {} is paused already"},
    {PhasedStep::resume, "Resume the phased release of {}", "The phased release of {} goes on",
     "The phased release of {} is running already"},
    {PhasedStep::complete, "Let all users have {} now", "All users have {}", "All users have {} already"},
};
constexpr PhasedWords removalWords = {PhasedStep::complete,
                                      "Let {} come out to all users at once when it is released",
                                      "{} comes out to all users at once when it is released", ""};

template <PhasedStep step>
ExitStatus changePhased(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<PlanPhasedRelease::Request>(invocation);
    request.step = step;
    request.platform = invocation.arguments.value("--platform");
    const auto planned = perform<PlanPhasedRelease>(invocation, request);
    const PhasedReleasePlan& plan = planned.plan;
    const PhasedWords& words =
        plan.removes ? removalWords : *std::ranges::find(phasedWords, step, &PhasedWords::step);
    const std::string name = nameOfVersion(plan.version, plan.app);
    const auto with = [&](std::string_view text) { return fmt::format(fmt::runtime(text), name); };
    if (invocation.global.dryRun) {
        output.document(planned);
        output.line(plan.isDone ? fmt::format("Nothing to do — {}.", with(words.wasDone))
                                : fmt::format("Would do: {}.", with(words.question)));
        output.note(dryRunNote);
        return ExitStatus::done;
    }
    const Consent consent =
        plan.isDone ? consentToNothing() : askConsent(invocation, {with(words.question) + "?"});
    const auto result =
        perform<ChangePhasedRelease>(invocation, {plan, invocation.global.workspace}, consent);
    output.document(result);
    output.line(
        fmt::format("{} ({}).", with(plan.isDone ? words.wasDone : words.done), textOf(result.phased)));
    return ExitStatus::done;
}

Command phasedCommand(std::string_view name, std::string_view summary, ExitStatus (*run)(Invocation&),
                      std::string_view details) {
    return {.name = name,
            .summary = summary,
            .arguments = {releasePlatform()},
            .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
            .run = run,
            .details = details,
            .asksFirst = true};
}

} // namespace

std::vector<Command> releaseCommands() {
    return {
        {.name = "release",
         .summary = "Release an approved version, or set when it comes out",
         .arguments = {{"--type",
                        "TYPE",
                        "Set when the version comes out instead of releasing it",
                        {"manual", "afterApproval", "scheduled"}},
                       {"--date", "DATE", "With --type scheduled: not before, such as 2026-12-01T09:00:00Z"},
                       releasePlatform()},
         .heeds = {"--app", "--workspace", "--dry-run", "--yes"},
         .run = releaseCommand,
         .details = "Without --type a version that waits for its developer's release is released; any other "
                    "state is told and ends with status 5. With --type the coming version's release is set. "
                    "Example: quorvel release --type scheduled --date 2026-12-01T09:00:00+01:00",
         .asksFirst = true},
        {.name = "phased",
         .summary = "Show the phased releases of an app's versions",
         .arguments = {releasePlatform()},
         .heeds = {"--app", "--workspace"},
         .run = showPhased,
         .details =
             "A phased release reaches 1, 2, 5, 10, 20, 50 and 100 % of the users with automatic updates "
             "on its seven days. It can be paused for 30 days in all."},
        phasedCommand("phased start", "Let the coming version come out over seven days",
                      changePhased<PhasedStep::start>,
                      "It begins when the version is released. Example: quorvel phased start --platform ios"),
        phasedCommand("phased pause", "Pause the phased release that is running",
                      changePhased<PhasedStep::pause>, "Who has the version keeps it."),
        phasedCommand("phased resume", "Go on with a phased release that is paused",
                      changePhased<PhasedStep::resume>, "It goes on with the day on which it was paused."),
        phasedCommand("phased complete", "Let all users have the version now",
                      changePhased<PhasedStep::complete>,
                      "A phased release that has not begun is taken away: the version comes out to all users "
                      "at once when it is released."),
    };
}

} // namespace quorvel
