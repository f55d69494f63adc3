#include "Quorvel/actions/ReleaseActions.h"

#include "Core/build/VersionStateTexts.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/actions/BuildChoice.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

using Slot = AppStoreVersionStateClass;

constexpr std::string_view waitsForDeveloper = "PENDING_DEVELOPER_RELEASE";
constexpr std::size_t platformsAtOnce = 4;

// The states besides the editable ones in which the release of a version can still be set.
constexpr std::array<std::string_view, 5> settableStates = {"READY_FOR_REVIEW", "WAITING_FOR_REVIEW",
                                                            "IN_REVIEW", "PENDING_DEVELOPER_RELEASE",
                                                            "PENDING_APPLE_RELEASE"};

// An app with its coming and live versions, those of one platform where one was named.
struct VersionsOfApp {
    ReachedApp reached;
    ASCList<AppStoreVersionAttributes> versions;
    std::vector<PlatformContext> contexts;
};

template <typename Request>
VersionsOfApp versionsFor(Application& application, const Request& request) {
    const auto platform = request.platform ? std::optional(requirePlatform(*request.platform)) : std::nullopt;
    VersionsOfApp app{.reached = reach(application, targetOf(request)), .versions = {}, .contexts = {}};
    app.versions = app.reached.client->listAppStoreVersions(app.reached.app.appStoreId, platform);
    app.contexts = contextsOf(app.versions);
    if (app.contexts.empty())
        throw ApplicationError(FailureKind::noVersions,
                               fmt::format("{} has no version{}", escapeControls(app.reached.app.displayName),
                                           platform ? " of this platform" : ""));
    return app;
}

std::string versionName(const PlatformContext& version) {
    return escapeControls(fmt::format("{} {}", platformFolderName(version.platform), version.versionString));
}

// Where a version is, in the words for its state.
std::string whereabouts(const PlatformContext& version) {
    return fmt::format("{}: {}", versionName(version),
                       lockedExplanation(version.appStoreState)
                           .value_or(fmt::format("This version is not submitted yet ({}).",
                                                 statePill(version.appStoreState))));
}

std::vector<PlatformContext> ofSlot(const std::vector<PlatformContext>& contexts, Slot slot) {
    std::vector<PlatformContext> chosen;
    std::ranges::copy_if(contexts, std::back_inserter(chosen),
                         [&](const PlatformContext& each) { return each.stateClass == slot; });
    return chosen;
}

// The only one of `fitting`; else says what there is instead, which are `all`.
PlatformContext requireOne(const std::vector<PlatformContext>& fitting,
                           const std::vector<PlatformContext>& all, const std::string& refusal) {
    if (fitting.size() == 1) return fitting.front();
    std::vector<std::string> texts;
    if (fitting.empty()) {
        for (const PlatformContext& each : all)
            texts.push_back(whereabouts(each));
        throw ApplicationError(FailureKind::stateRefused, refusal, fmt::format("{}", fmt::join(texts, " ")));
    }
    for (const PlatformContext& each : fitting)
        texts.push_back(versionName(each));
    throw ApplicationError(FailureKind::badRequest, fmt::format("it may be {}", fmt::join(texts, " or ")),
                           "Name the platform.");
}

// The versions to speak of where none fits: the coming one of each platform, or the live one without it.
std::vector<PlatformContext> newestOf(const std::vector<PlatformContext>& contexts) {
    std::vector<PlatformContext> newest;
    for (const PlatformContext& each : contexts) // next goes before live
        if (std::ranges::find(newest, each.platform, &PlatformContext::platform) == newest.end())
            newest.push_back(each);
    return newest;
}

std::optional<PhasedRelease>
phasedOf(const std::optional<ASCResource<AppStoreVersionPhasedReleaseAttributes>>& resource) {
    if (!resource) return std::nullopt;
    const auto& attributes = resource->attributes;
    PhasedRelease phased{.id = resource->id,
                         .state = attributes.phasedReleaseState.value_or(""),
                         .day = attributes.currentDayNumber.value_or(0),
                         .percentage = {},
                         .startDate = attributes.startDate,
                         .pausedDays = attributes.totalPauseDuration.value_or(0)};
    if (phased.state == rawValue(PhasedReleaseState::complete))
        phased.percentage = 100;
    else if (phased.state != rawValue(PhasedReleaseState::inactive))
        phased.percentage = phasedPercentage(phased.day);
    return phased;
}

PlatformContext inStateNow(const ASCClientProtocol& client, PlatformContext version) {
    version.appStoreState =
        client.getAppStoreVersion(version.versionId).attributes.appStoreState.value_or("");
    return version;
}

std::string dateForRelease(const std::string& text, Date now) {
    const auto date = parseISO8601(text);
    if (!date)
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("{} is no date with a time and its offset", quotedWord(text)),
                               "Write it like 2026-12-01T09:00:00Z or 2026-12-01T09:00:00+01:00.");
    if (*date <= now)
        throw ApplicationError(FailureKind::badRequest, fmt::format("{} is over", quotedWord(text)));
    return formatISO8601(*date);
}

bool isSameMoment(const std::optional<std::string>& left, const std::optional<std::string>& right) {
    return parseISO8601(left.value_or("")) == parseISO8601(right.value_or(""));
}

void requireDateOfSchedule(const PlanReleaseType::Request& request) {
    if (request.type == ReleaseType::scheduled && !request.date)
        throw ApplicationError(FailureKind::badRequest, "a scheduled release needs a date",
                               "Write it like 2026-12-01T09:00:00Z.");
    if (request.type != ReleaseType::scheduled && request.date)
        throw ApplicationError(FailureKind::badRequest, "only a scheduled release has a date");
}

// The versions whose phased release a step is about, with it.
struct PhasedVersion {
    PlatformContext version;
    std::optional<PhasedRelease> phased;
};

std::vector<PhasedVersion> phasedVersions(const VersionsOfApp& app,
                                          const std::vector<PlatformContext>& contexts) {
    return parallelMap(contexts, platformsAtOnce, [&](const PlatformContext& each) -> PhasedVersion {
        return {each, phasedOf(app.reached.client->getPhasedRelease(each.versionId))};
    });
}

PhasedReleasePlan planStart(const VersionsOfApp& app) {
    const auto coming = ofSlot(app.contexts, Slot::editable);
    const PlatformContext version =
        requireOne(coming, newestOf(app.contexts),
                   "there is no coming version; phases can be set only before a version is released");
    if (releaseOf(version.contextID(), app.contexts) == Release::first)
        throw ApplicationError(FailureKind::stateRefused,
                               fmt::format("{} is the first version", versionName(version)),
                               "Only updates can come out in phases.");
    PhasedReleasePlan plan{.app = app.reached.app,
                           .version = version,
                           .step = PhasedStep::start,
                           .phased = phasedOf(app.reached.client->getPhasedRelease(version.versionId))};
    plan.isDone = plan.phased.has_value();
    return plan;
}

struct PhasedTransition {
    PhasedStep step;
    PhasedReleaseState goal;
    std::array<std::string_view, 2> from;
    std::string_view refusal;
};
constexpr PhasedTransition phasedTransitions[] = {
    {PhasedStep::pause, PhasedReleaseState::paused, {"ACTIVE", ""}, "no phased release is running"},
    {PhasedStep::resume, PhasedReleaseState::active, {"PAUSED", ""}, "no phased release is paused"},
    {PhasedStep::complete,
     PhasedReleaseState::complete,
     {"ACTIVE", "PAUSED"},
     "no phased release is running or paused"}};

const PhasedTransition& transitionOf(PhasedStep step) {
    return *std::ranges::find(phasedTransitions, step, &PhasedTransition::step);
}

std::string phasedWhereabouts(const PhasedVersion& each) {
    return each.phased
               ? fmt::format("The phased release of {} is {}.", versionName(each.version), each.phased->state)
               : fmt::format("{} has no phased release.", versionName(each.version));
}

PhasedReleasePlan planTransition(const VersionsOfApp& app, PhasedStep step) {
    const PhasedTransition& transition = transitionOf(step);
    const auto versions = phasedVersions(app, app.contexts);
    std::vector<PhasedVersion> fitting, done;
    std::vector<std::string> texts;
    for (const PhasedVersion& each : versions) {
        texts.push_back(phasedWhereabouts(each));
        if (!each.phased) continue;
        const bool removes =
            step == PhasedStep::complete && each.phased->state == rawValue(PhasedReleaseState::inactive);
        if (removes || std::ranges::find(transition.from, each.phased->state) != transition.from.end())
            fitting.push_back(each);
        else if (each.phased->state == rawValue(transition.goal))
            done.push_back(each);
    }
    // What runs goes before what has not begun.
    std::erase_if(fitting, [&](const PhasedVersion& each) {
        return each.phased->state == rawValue(PhasedReleaseState::inactive) &&
               std::ranges::any_of(fitting, [](const PhasedVersion& other) {
                   return other.phased->state != rawValue(PhasedReleaseState::inactive);
               });
    });
    const bool isDone = fitting.empty() && !done.empty();
    const auto& chosen = isDone ? done : fitting;
    if (chosen.empty())
        throw ApplicationError(FailureKind::stateRefused, std::string(transition.refusal),
                               fmt::format("{}", fmt::join(texts, " ")));
    std::vector<PlatformContext> contexts;
    for (const PhasedVersion& each : chosen)
        contexts.push_back(each.version);
    if (!isDone) (void)requireOne(contexts, {}, {});
    return {.app = app.reached.app,
            .version = chosen.front().version,
            .step = step,
            .phased = chosen.front().phased,
            .isDone = isDone,
            .removes = chosen.front().phased->state == rawValue(PhasedReleaseState::inactive)};
}

} // namespace

PlanRelease::Result PlanRelease::perform(Application& application, const Request& request,
                                         const ActionProgress&) {
    const VersionsOfApp app = versionsFor(application, request);
    std::vector<PlatformContext> waiting;
    std::ranges::copy_if(app.contexts, std::back_inserter(waiting),
                         [](const PlatformContext& each) { return each.appStoreState == waitsForDeveloper; });
    Result result{{.app = app.reached.app,
                   .version = requireOne(waiting, newestOf(app.contexts),
                                         "no version waits for its developer to release it")}};
    result.plan.inPhases = app.reached.client->getPhasedRelease(result.plan.version.versionId).has_value();
    return result;
}

ReleaseVersion::Result ReleaseVersion::perform(Application& application, const Request& request,
                                               const ActionProgress&) {
    const ReleasePlan& plan = request.plan;
    const ReachedApp reached = reachPlanned(application, plan.app, request.workspace);
    ReleaseService(*reached.client).release(plan.version.versionId);
    return {plan.app, inStateNow(*reached.client, plan.version)};
}

PlanReleaseType::Result PlanReleaseType::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    requireDateOfSchedule(request);
    const auto date =
        request.date ? std::optional(dateForRelease(*request.date, application.clock()())) : std::nullopt;
    const VersionsOfApp app = versionsFor(application, request);
    std::vector<PlatformContext> settable;
    std::ranges::copy_if(app.contexts, std::back_inserter(settable), [](const PlatformContext& each) {
        return isEditableState(each.appStoreState) ||
               std::ranges::find(settableStates, each.appStoreState) != settableStates.end();
    });
    Result result{{.app = app.reached.app,
                   .version = requireOne(settable, newestOf(app.contexts),
                                         "there is no version whose release can still be set"),
                   .before = {},
                   .beforeDate = {},
                   .type = request.type,
                   .earliestDate = date}};
    ReleaseTypePlan& plan = result.plan;
    for (const auto& version : app.versions)
        if (version.id == plan.version.versionId) {
            plan.before = version.attributes.releaseType;
            plan.beforeDate = version.attributes.earliestReleaseDate;
        }
    plan.isSet = plan.before == rawValue(plan.type) &&
                 (plan.type != ReleaseType::scheduled || isSameMoment(plan.beforeDate, plan.earliestDate));
    return result;
}

SetReleaseType::Result SetReleaseType::perform(Application& application, const Request& request,
                                               const ActionProgress&) {
    const ReleaseTypePlan& plan = request.plan;
    const ReachedApp reached = reachPlanned(application, plan.app, request.workspace);
    return {plan.app, reached.client->updateAppStoreVersion(
                          plan.version.versionId, {std::string(rawValue(plan.type)), plan.earliestDate})};
}

ShowPhasedRelease::Result ShowPhasedRelease::perform(Application& application, const Request& request,
                                                     const ActionProgress&) {
    const VersionsOfApp app = versionsFor(application, request);
    Result result{app.reached.app, {}};
    for (PhasedVersion& each : phasedVersions(app, app.contexts))
        result.versions.push_back({std::move(each.version), std::move(each.phased)});
    return result;
}

PlanPhasedRelease::Result PlanPhasedRelease::perform(Application& application, const Request& request,
                                                     const ActionProgress&) {
    const VersionsOfApp app = versionsFor(application, request);
    return {request.step == PhasedStep::start ? planStart(app) : planTransition(app, request.step)};
}

ChangePhasedRelease::Result ChangePhasedRelease::perform(Application& application, const Request& request,
                                                         const ActionProgress&) {
    const PhasedReleasePlan& plan = request.plan;
    const ReachedApp reached = reachPlanned(application, plan.app, request.workspace);
    const ReleaseService service(*reached.client);
    if (!plan.isDone) {
        if (plan.step == PhasedStep::start)
            service.startPhases(plan.version.versionId);
        else if (!plan.phased)
            throw ApplicationError(FailureKind::badRequest, "the plan names no phased release");
        else if (plan.removes)
            service.removePhases(plan.phased->id);
        else
            service.changePhases(plan.version.versionId, plan.phased->id, transitionOf(plan.step).goal);
    }
    return {plan.app, plan.version, phasedOf(reached.client->getPhasedRelease(plan.version.versionId))};
}

PlanReviewRemoval::Result PlanReviewRemoval::perform(Application& application, const Request& request,
                                                     const ActionProgress&) {
    const VersionsOfApp app = versionsFor(application, request);
    const ReviewSubmissionService service(*app.reached.client);
    std::vector<PlatformContext> removable;
    std::vector<RemovalPlan> removals;
    for (const PlatformContext& each : ofSlot(app.contexts, Slot::editable))
        if (auto removal = service.planRemoval(app.reached.app.appStoreId, each.platform, each.versionId)) {
            removable.push_back(each);
            removals.push_back(std::move(*removal));
        }
    const PlatformContext version =
        requireOne(removable, newestOf(app.contexts), "no version is in a submission that can be taken back");
    return {{app.reached.app, version, std::move(removals.front())}};
}

RemoveFromReview::Result RemoveFromReview::perform(Application& application, const Request& request,
                                                   const ActionProgress& progress) {
    const ReviewRemovalPlan& plan = request.plan;
    const ReachedApp reached = reachPlanned(application, plan.app, request.workspace);
    progress.step({fmt::format("Taking {} out of review", versionName(plan.version)), {}, 0});
    const RemovalEnd end = ReviewSubmissionService(*reached.client).remove(plan.app.appStoreId, plan.removal);
    return {plan.app, inStateNow(*reached.client, plan.version), end};
}

} // namespace quorvel
