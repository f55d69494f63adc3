#include "Quorvel/actions/SubmissionActions.h"

#include "Core/build/VersionStateTexts.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace quorvel {

namespace {

ReviewSubmissionService submissionsOf(Application& application, const ASCClientProtocol& client) {
    return {client, {.sleep = application.options().sleep}};
}

PlatformContext requireVersion(const ReleaseChecklist& checklist) {
    if (checklist.pipeline.context) return *checklist.pipeline.context;
    throw ApplicationError(FailureKind::noVersions, fmt::format("no version of {} is being prepared",
                                                                escapeControls(checklist.app.displayName)));
}

[[noreturn]] void refuse(const PlatformContext& version, std::string_view why) {
    throw ApplicationError(FailureKind::stateRefused,
                           fmt::format("{} {} cannot be submitted: {}", version.id(),
                                       escapeControls(version.versionString), why));
}

// States in which there is nothing to submit, whatever the checklist says.
void requireSubmittable(const PlatformContext& version, const SubmissionPlan& submission) {
    if (!version.takesPushes() && version.appStoreState != "READY_FOR_REVIEW")
        refuse(version, lockedExplanation(version.appStoreState).value_or(version.appStoreState));
    if (submission.course == SubmissionCourse::withApple)
        refuse(version, fmt::format("another submission of the platform is with App Review ({})",
                                    submission.state.value_or("state unknown")));
    if (submission.course == SubmissionCourse::beingRemoved)
        refuse(version, "App Store Connect is still taking the platform's last submission out of review");
}

} // namespace

std::vector<std::string> obstaclesOf(const ReleaseChecklist& checklist) {
    auto obstacles = openChecksOf(checklist);
    const ReleasePipeline& pipeline = checklist.pipeline;
    // No check knows that the build that meets them all was turned down.
    if (obstacles.empty() && pipeline.context && pipeline.next == NextAction::build)
        obstacles.push_back(fmt::format("{}: the attached build was turned down; attach another",
                                        statePill(pipeline.context->appStoreState)));
    return obstacles;
}

std::vector<std::string> openChecksOf(const ReleaseChecklist& checklist) {
    std::vector<std::string> obstacles;
    if (checklist.pipeline.next == NextAction::finishSubmission) return obstacles;
    for (const ReleasePipeline::Item& item : checklist.pipeline.openItems())
        obstacles.push_back(fmt::format("{}: {}", item.title, item.detail));
    if (const auto& locales = checklist.localesWithoutNotes; !locales.empty())
        obstacles.push_back(fmt::format("Release notes are empty in {}", listedShortly(locales)));
    return obstacles;
}

std::string listedShortly(const std::vector<std::string>& names) {
    constexpr std::size_t most = 4;
    if (names.size() <= most) return fmt::format("{}", fmt::join(names, ", "));
    const std::vector<std::string> first(names.begin(), names.begin() + most);
    return fmt::format("{} and {} more", fmt::join(first, ", "), names.size() - most);
}

std::int64_t requestsOf(SubmissionCourse course) {
    switch (course) {
    case SubmissionCourse::create:
        return 3;
    case SubmissionCourse::add:
        return 2;
    case SubmissionCourse::send:
        return 1;
    case SubmissionCourse::withApple:
    case SubmissionCourse::beingRemoved:
        return 0;
    }
    return 0;
}

PlanSubmission::Result PlanSubmission::perform(Application& application, const Request& request,
                                               const ActionProgress& progress) {
    const auto target = targetOf(request);
    progress.step({"Asking App Store Connect…", {}, 0});
    const OpenedApp opened = openUnchanged(application, target);
    const ReleaseChecklist checklist = opened.session->release->checklist(request.context);
    Result result{{.app = checklist.app, .version = requireVersion(checklist)}};
    VersionSubmissionPlan& plan = result.plan;
    const auto client = reachPlanned(application, plan.app, request.workspace).client;
    plan.submission = submissionsOf(application, *client)
                          .plan(plan.app.appStoreId, plan.version.platform, plan.version.versionId);
    requireSubmittable(plan.version, plan.submission);
    plan.obstacles = obstaclesOf(checklist);
    plan.requests = requestsOf(plan.submission.course);
    if (!plan.obstacles.empty() && !request.force)
        throw ApplicationError(FailureKind::notReady,
                               fmt::format("{} {} is not ready to be submitted. {}", plan.version.id(),
                                           escapeControls(plan.version.versionString),
                                           fmt::join(plan.obstacles, ". ")));
    return result;
}

SubmitVersion::Result SubmitVersion::perform(Application& application, const Request& request,
                                             const ActionProgress& progress) {
    const VersionSubmissionPlan& plan = request.plan;
    const ReachedApp reached = reachPlanned(application, plan.app, request.workspace);
    progress.step({"Submitting…", {}, 0});
    return {reached.app, plan.version,
            submissionsOf(application, *reached.client)
                .submit(plan.app.appStoreId, plan.version.platform, plan.version.versionId, plan.submission)};
}

} // namespace quorvel
