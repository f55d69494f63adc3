// Pairs of tools that change App Store Connect: one prepares a plan, one performs it.
#include "Quorvel/actions/BuildActions.h"
#include "Quorvel/actions/PushActions.h"
#include "Quorvel/actions/ReleaseActions.h"
#include "Quorvel/actions/ScreenshotActions.h"
#include "Quorvel/actions/SubmissionActions.h"
#include "Quorvel/actions/TestFlightActions.h"
#include "Quorvel/actions/TestNotesActions.h"
#include "Quorvel/actions/VersionActions.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/assistants/Tools.h"

#include "Core/screenshots/ScreenshotsCatalog.h"
#include "Platform/files/Files.h"
#include "Platform/text/Counted.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace quorvel {

namespace {

std::string nameOf(const AppReference& app, const PlatformContext& version) {
    return fmt::format("{} {} {}", app.displayName, version.id(), version.versionString);
}

[[noreturn]] void refuseEmpty(const std::string& why) {
    throw ApplicationError(FailureKind::failed, why);
}

JobText plannedPush(const PlanPush::Result& result) {
    const PushPlan& plan = result.plan;
    if (plan.nothing) refuseEmpty(*plan.nothing);
    JobText text{
        fmt::format("push {} to {}", counted(plan.changes.size(), "text"), nameOf(plan.app, plan.version)),
        {}};
    for (const PendingChange& change : plan.changes)
        text.details.push_back(fmt::format("{} {}: {}", change.locale, rawValue(change.field),
                                           change.clears() ? "cleared" : oneLineOf(change.local)));
    for (const LeftOutChange& left : plan.leftOut)
        text.details.push_back(fmt::format("left out: {} {}: {}", left.change.locale,
                                           rawValue(left.change.field), left.explanation));
    for (const PushWarning& warning : plan.warnings)
        text.details.push_back(fmt::format("warning: {}: {}", warning.locale, warning.text));
    return text;
}

JobText donePush(const PushTexts::Result& result) {
    JobText text{fmt::format("{} (run {} in the history)", result.report.report, result.report.run), {}};
    for (const PushOutcome& outcome : result.report.outcomes)
        if (!outcome.success) {
            ++text.failed;
            text.details.push_back(fmt::format("{} {}: {}", outcome.change.locale,
                                               rawValue(outcome.change.field),
                                               outcome.errorMessage.value_or("not sent")));
        }
    return text;
}

JobText plannedScreenshots(const PlanScreenshotPush::Result& result) {
    const ScreenshotPushPlan& plan = result.plan;
    if (plan.uploads == 0 && plan.deletions == 0 && plan.changedSets == 0)
        refuseEmpty("there is no screenshot to push");
    JobText text{fmt::format("upload {} ({:.1f} MB) and delete {} in {} of {}",
                             counted(static_cast<std::size_t>(plan.uploads), "screenshot"),
                             static_cast<double>(plan.uploadBytes) / 1e6, plan.deletions,
                             counted(static_cast<std::size_t>(plan.changedSets), "set"),
                             nameOf(plan.app, plan.version)),
                 {}};
    // What goes away first: a question to the user shows the first lines alone.
    for (const ScreenshotSetStatus& set : plan.sets)
        for (const std::string& picture : set.toDelete)
            text.details.push_back(fmt::format("delete {} {}: {}", set.locale, set.displayType, picture));
    for (const ScreenshotSetStatus& set : plan.sets)
        for (const std::string& picture : set.toUpload)
            text.details.push_back(fmt::format("upload {} {}: {}", set.locale, set.displayType, picture));
    text.details.insert(text.details.end(), plan.failures.begin(), plan.failures.end());
    text.details.insert(text.details.end(), plan.warnings.begin(), plan.warnings.end());
    return text;
}

// The plan names pictures; that one of them is another picture since shows in its file.
std::string fingerprintOfPictures(const JSONValue& plan) {
    const auto planned = decodeJSON<ScreenshotPushPlan>(encodeJSON(plan));
    const auto folder = screenshotPaths(MetadataFolder{planned.folder}, planned.version.contextID()).pictures;
    std::vector<std::string> lines;
    std::error_code error;
    for (std::filesystem::recursive_directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().filename().native().starts_with('.')) continue; // no picture is named so
        const auto identity = fileIdentity(entry->path());
        std::error_code unreadable;
        if (!identity || !entry->is_regular_file(unreadable)) continue;
        lines.push_back(fmt::format("{} {} {} {}", entry->path().native(), identity->inode,
                                    entry->file_size(unreadable),
                                    entry->last_write_time(unreadable).time_since_epoch().count()));
    }
    std::ranges::sort(lines);
    return fmt::format("{}", fmt::join(lines, "\n"));
}

JobText doneScreenshots(const PushScreenshots::Result& result) {
    const ScreenshotPushReport& report = result.report;
    JobText text{fmt::format("Uploaded {} and deleted {}",
                             counted(static_cast<std::size_t>(report.uploaded), "screenshot"),
                             report.deleted),
                 report.failures, static_cast<std::int64_t>(report.failures.size())};
    text.details.insert(text.details.end(), report.warnings.begin(), report.warnings.end());
    return text;
}

JobText plannedVersion(const PlanVersion::Result& result) {
    return {fmt::format("make version {} of {} for {}", result.plan.versionString,
                        result.plan.app.displayName, platformLabel(result.plan.platform)),
            {}};
}
JobText doneVersion(const CreateVersion::Result& result) {
    return {fmt::format("Made version {}; pull brings its texts",
                        result.version.attributes.versionString.value_or("")),
            {}};
}

JobText plannedAttachment(const PlanBuildAttachment::Result& result) {
    return {fmt::format("attach build {} to version {} of {}", quorvel::nameOf(result.plan.build),
                        result.plan.versionString, result.plan.app.displayName),
            {}};
}
JobText doneAttachment(const AttachBuild::Result& result) {
    return {fmt::format("Attached build {}", quorvel::nameOf(result.attached.build)), {}};
}

JobText plannedCompliance(const PlanComplianceAnswer::Result& result) {
    return {fmt::format("declare that build {} of {} uses {} encryption that is not exempt",
                        quorvel::nameOf(result.plan.build), result.plan.app.displayName,
                        result.plan.usesNonExemptEncryption ? "" : "no"),
            {}};
}
JobText doneCompliance(const AnswerCompliance::Result& result) {
    return {fmt::format("Answered the question on encryption of build {}",
                        quorvel::nameOf(result.answered.build)),
            {}};
}

JobText plannedBuild(const PlanBuild::Result& result) {
    const BuildRunPlan& plan = result.plan;
    JobText text{fmt::format("build {} and upload it", plan.app.displayName), plan.choices};
    text.details.insert(text.details.end(), plan.remarks.begin(), plan.remarks.end());
    return text;
}
JobText doneBuild(const RunBuild::Result& result) {
    const BuildRunReport& report = result.report;
    if (!report.failure) return {fmt::format("Built and uploaded {}", report.app.displayName), {}};
    return {report.failure->text, report.causes, 1};
}

JobText plannedGroups(const PlanBuildToGroups::Result& result) {
    std::vector<std::string> details;
    for (const TestGroup& group : result.plan.groups)
        details.push_back(group.name);
    return {fmt::format("give build {} of {} to {}", quorvel::nameOf(result.plan.build),
                        result.plan.app.displayName, counted(details.size(), "group")),
            details};
}
JobText doneGroups(const AddBuildToGroups::Result& result) {
    JobText text{"Gave the build to its groups", {}};
    for (const auto& outcome : result.outcomes)
        if (outcome.failure) {
            ++text.failed;
            text.details.push_back(fmt::format("{}: {}", outcome.group.name, outcome.failure->text));
        }
    return text;
}

JobText plannedBetaReview(const PlanBetaReview::Result& result) {
    return {fmt::format("submit build {} of {} for beta review", quorvel::nameOf(result.plan.build),
                        result.plan.app.displayName),
            result.plan.remarks};
}
JobText doneBetaReview(const SubmitForBetaReview::Result& result) {
    return {fmt::format("The build is {}", result.betaReviewState), {}};
}

JobText plannedTestNotes(const PlanTestNotes::Result& result) {
    std::vector<std::string> details;
    for (const TestNotesChange& change : result.plan.changes)
        details.push_back(change.locale);
    return {fmt::format("write what to test of build {} in {}", quorvel::nameOf(result.plan.build),
                        counted(details.size(), "locale")),
            details};
}
JobText doneTestNotes(const WriteTestNotes::Result& result) {
    JobText text{"Wrote what to test", {}};
    for (const auto& outcome : result.outcomes)
        if (outcome.failure) {
            ++text.failed;
            text.details.push_back(fmt::format("{}: {}", outcome.locale, outcome.failure->text));
        }
    return text;
}

JobText plannedSubmission(const PlanSubmission::Result& result) {
    return {fmt::format("submit {} for review", nameOf(result.plan.app, result.plan.version)),
            result.plan.obstacles};
}
JobText doneSubmission(const SubmitVersion::Result& result) {
    return {fmt::format("Submitted {}: {}", nameOf(result.app, result.version),
                        result.submission.attributes.state.value_or("")),
            {}};
}

JobText plannedRelease(const PlanRelease::Result& result) {
    return {fmt::format("release {} to {}", nameOf(result.plan.app, result.plan.version),
                        result.plan.inPhases ? "its users over seven days" : "all users"),
            {}};
}
JobText doneRelease(const ReleaseVersion::Result& result) {
    return {fmt::format("Released {}: {}", nameOf(result.app, result.version), result.version.appStoreState),
            {}};
}

JobText plannedReleaseType(const PlanReleaseType::Result& result) {
    return {fmt::format("let {} come out {}{}", nameOf(result.plan.app, result.plan.version),
                        rawValue(result.plan.type),
                        result.plan.earliestDate ? " at " + *result.plan.earliestDate : ""),
            {}};
}
JobText doneReleaseType(const SetReleaseType::Result&) {
    return {"Set when the version comes out", {}};
}

JobText plannedPhases(const PlanPhasedRelease::Result& result) {
    return {fmt::format("{} the phased release of {}", rawValue(result.plan.step),
                        nameOf(result.plan.app, result.plan.version)),
            {}};
}
JobText donePhases(const ChangePhasedRelease::Result& result) {
    return {fmt::format("The phased release is {}", result.phased ? result.phased->state : "gone"), {}};
}

JobText plannedRemoval(const PlanReviewRemoval::Result& result) {
    return {fmt::format("take {} out of review", nameOf(result.plan.app, result.plan.version)), {}};
}
JobText doneRemoval(const RemoveFromReview::Result& result) {
    return {fmt::format("{}: {}", nameOf(result.app, result.version), rawValue(result.end)), {}};
}

void add(std::vector<Tool>& tools, std::pair<Tool, Tool> pair) {
    tools.push_back(std::move(pair.first));
    tools.push_back(std::move(pair.second));
}

} // namespace

std::vector<Tool> sendingTools() {
    std::vector<Tool> tools;
    auto pictures = jobVariant<PlanScreenshotPush, PushScreenshots>(
        "screenshots", {"app", "context", "locales", "displayTypes", "mode", "flatten", "prune"},
        plannedScreenshots, doneScreenshots);
    pictures.fingerprint = fingerprintOfPictures;
    add(tools,
        jobTools({.name = "prepare_push",
                  .title = "Prepare a push",
                  .description = "Plan a push of local store texts or screenshots.",
                  .list = "details"},
                 {.name = "push",
                  .title = "Push",
                  .description = "Send a plan of prepare_push to App Store Connect, after the user agreed.",
                  .isDestructive = true,
                  .list = "details"},
                 "what",
                 {jobVariant<PlanPush, PushTexts>(
                      "texts", {"app", "context", "locales", "fields", "allowClear", "allowUnreviewed"},
                      plannedPush, donePush),
                  std::move(pictures)}));
    add(tools,
        jobTools(
            {.name = "prepare_version",
             .title = "Prepare a version",
             .description = "Plan to create a version, attach a processed build to it, or answer a build's "
                            "question on encryption."},
            {.name = "change_version",
             .title = "Change a version",
             .description = "Perform a plan of prepare_version, after the user agreed."},
            "what",
            {jobVariant<PlanVersion, CreateVersion>("create", {"app", "platform", "version"}, plannedVersion,
                                                    doneVersion),
             jobVariant<PlanBuildAttachment, AttachBuild>(
                 "attachBuild", {"app", "platform", "version", "build"}, plannedAttachment, doneAttachment),
             jobVariant<PlanComplianceAnswer, AnswerCompliance>(
                 "answerCompliance", {"app", "platform", "version", "build", "usesNonExemptEncryption"},
                 plannedCompliance, doneCompliance)}));
    auto building = jobVariant<PlanBuild, RunBuild>("build", {"app", "platform"}, plannedBuild, doneBuild);
    building.compared = {"app", "config", "keyID", "numbers"}; // remarks and awaited builds may differ
    add(tools,
        jobTools({.name = "prepare_build",
                  .title = "Prepare a build",
                  .description = "Plan to archive and upload an app as its saved build configuration says."},
                 {.name = "run_build",
                  .title = "Build and upload",
                  .description = "Perform a plan of prepare_build, after the user agreed. Takes minutes."},
                 "", {std::move(building)}));
    add(tools,
        jobTools({.name = "prepare_testflight",
                  .title = "Prepare TestFlight",
                  .description =
                      "Plan to give a build to groups of testers, submit it for beta review, or write what "
                      "to test."},
                 {.name = "testflight",
                  .title = "Change TestFlight",
                  .description = "Perform a plan of prepare_testflight, after the user agreed."},
                 "what",
                 {jobVariant<PlanBuildToGroups, AddBuildToGroups>(
                      "groups", {"app", "platform", "version", "build", "groups", "notify"}, plannedGroups,
                      doneGroups),
                  jobVariant<PlanBetaReview, SubmitForBetaReview>("betaReview",
                                                                  {"app", "platform", "version", "build"},
                                                                  plannedBetaReview, doneBetaReview),
                  jobVariant<PlanTestNotes, WriteTestNotes>(
                      "notes", {"app", "platform", "version", "build", "text", "locales"}, plannedTestNotes,
                      doneTestNotes)}));
    add(tools,
        jobTools(
            {.name = "prepare_submit",
             .title = "Prepare a submission",
             .description =
                 "Plan to submit the coming version for App Review; says what is missing unless app_status is clean."},
            {.name = "submit",
             .title = "Submit for review",
             .description = "Submit a plan of prepare_submit to App Review, after the user agreed.",
             .isDestructive = true},
            "",
            {jobVariant<PlanSubmission, SubmitVersion>("submit", {"app", "context", "force"},
                                                       plannedSubmission, doneSubmission)}));
    add(tools,
        jobTools({.name = "prepare_release",
                  .title = "Prepare a release",
                  .description =
                      "Plan to release an approved version, set when it comes out (type, date), step a "
                      "phased release (step), or take a version out of review."},
                 {.name = "release",
                  .title = "Release",
                  .description =
                      "Perform a plan of prepare_release, after the user agreed. A release cannot be taken "
                      "back.",
                  .isDestructive = true},
                 "what",
                 {jobVariant<PlanRelease, ReleaseVersion>("release", {"app", "platform"}, plannedRelease,
                                                          doneRelease),
                  jobVariant<PlanReleaseType, SetReleaseType>("type", {"app", "platform", "type", "date"},
                                                              plannedReleaseType, doneReleaseType),
                  jobVariant<PlanPhasedRelease, ChangePhasedRelease>("phased", {"app", "platform", "step"},
                                                                     plannedPhases, donePhases),
                  jobVariant<PlanReviewRemoval, RemoveFromReview>("removeFromReview", {"app", "platform"},
                                                                  plannedRemoval, doneRemoval)}));
    return tools;
}

} // namespace quorvel
