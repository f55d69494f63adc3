// Doing the steps of a shipment.
#include "Core/asc/services/BuildService.h"
#include "Core/asc/services/ReleaseService.h"
#include "Core/asc/services/TestFlightService.h"
#include "Core/asc/services/VersionService.h"
#include "Core/build/VersionStateTexts.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/actions/Shipment.h"
#include "Quorvel/actions/SubmissionActions.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

// Pauses that grow, as what is waited for takes longer the longer it took.
class GrowingPause {
  public:
    GrowingPause(const Application& application, double first, double longest)
        : sleep_(application.options().sleep), next_(first), longest_(longest) {}
    void operator()() {
        sleep_(next_);
        waited_ += next_;
        next_ = std::min(next_ * 1.5, longest_);
    }
    [[nodiscard]] double waited() const { return waited_; }

  private:
    const std::function<void(double)>& sleep_;
    double next_;
    double longest_;
    double waited_ = 0; // seconds
};

constexpr double visibilityWait = 60;      // seconds until a change must show
constexpr int reviewWait = 15 * 60;        // seconds from a submission until the version says so
constexpr double processingWait = 60 * 60; // seconds

// What only a person can do about a version in this state; nothing while it moves on by itself.
std::optional<std::string> personsPart(const std::string& state) {
    if (state == "PENDING_CONTRACT" || state == "WAITING_FOR_EXPORT_COMPLIANCE")
        return lockedExplanation(state).value_or(state);
    if (state == "REJECTED" || state == "METADATA_REJECTED" || state == "INVALID_BINARY" ||
        state == "DEVELOPER_REJECTED")
        return fmt::format("{}. Fix what Apple flagged, then submit again", statePill(state));
    return std::nullopt;
}

} // namespace

// A version that was made is not listed at once.
void Shipment::makeVersion() {
    const ShipOptions& options = parts_.options;
    if (open_)
        (void)parts_.client->updateAppStoreVersion(open_->version.id, {.versionString = options.version});
    else
        (void)VersionService(*parts_.client)
            .create(parts_.app.app.appStoreId,
                    {std::string(rawValue(options.platform)), options.version, std::nullopt});
    GrowingPause pause(parts_.application, 1, 10);
    for (readVersions(); !found_ && pause.waited() < visibilityWait; readVersions())
        pause();
    if (!found_)
        throw ApplicationError(
            FailureKind::notFound,
            fmt::format("App Store Connect made version {} but does not list it yet", options.version),
            "Try again in a minute; what is done stays.");
}

void Shipment::pull() {
    (void)parts_.session->metadata->pull({.context = contextID().text(), .edits = LocalEdits::leaveInPlace});
    texts_.reset();
}

std::optional<ShipStep> Shipment::pushTexts() {
    if (!texts_) { // what the look could not know before the pull
        ShipStep now = lookAtTexts();
        if (now.isEnd()) return now;
        if (now.state == State::done) return now;
    }
    const PushReport report = parts_.session->metadata->push(*texts_);
    checkCancellation();
    if (std::ranges::any_of(report.outcomes, [](const PushOutcome& outcome) { return !outcome.success; }))
        return ShipStep{Kind::texts, State::failed, report.report};
    readVersions(); // the localizations have their release notes now
    return std::nullopt;
}

std::optional<ShipStep> Shipment::pushScreenshots() {
    const ScreenshotPusher::Observer observer{.progress = [&](const ScreenshotPusher::PushProgress& step) {
        parts_.progress.step(
            {step.stage, static_cast<std::size_t>(step.completed), static_cast<std::size_t>(step.total)});
    }};
    const ScreenshotPushReport report = parts_.session->screenshots->push(*screenshots_, observer);
    checkCancellation();
    if (!report.failures.empty() || report.notDone > 0)
        return ShipStep{
            Kind::screenshots, State::failed,
            fmt::format("{}", fmt::join(report.failures.empty() ? report.warnings : report.failures, ". "))};
    return std::nullopt;
}

std::optional<ShipStep> Shipment::takeReport(const BuildRunReport& report, ShipOutcome& outcome) {
    outcome.log = report.log;
    if (report.failure) {
        outcome.causes = report.causes;
        return ShipStep{Kind::build, State::failed, wordsOf(*report.failure)};
    }
    return std::nullopt;
}

// One question that found no answer ends no wait of hours or days. Called while `error` is handled.
void Shipment::goOnAfter(const ASCError& error, bool isLate) const {
    if (error.kind() != ASCError::Kind::serviceTrouble || isLate) throw;
    tell(fmt::format("App Store Connect could not be asked, trying again: {}", error.what()));
}

std::optional<ShipStep> Shipment::obtainBuild(ShipOutcome& outcome) {
    const auto onLine = [&](const std::string& line, BuildStage stage) {
        tell(fmt::format("{}: {}", rawValue(stage), line));
    };
    std::optional<ShipStep> ended;
    if (awaited_) {
        ended = takeReport(resumeBuild(parts_.application, parts_.app.owner, *awaited_, onLine), outcome);
    } else if (build_) {
        GrowingPause pause(parts_.application, 15, 60);
        while (build_->build.attributes.processingState == rawValue(BuildProcessingState::processing)) {
            if (pause.waited() > processingWait)
                return ShipStep{
                    Kind::build, State::failed,
                    "App Store Connect has not processed the build in an hour; it may still do so"};
            pause();
            try {
                build_->build = parts_.client->getBuild(build_->build.id);
            } catch (const ASCError& error) {
                goOnAfter(error, pause.waited() > processingWait);
            }
        }
    } else {
        ended = takeReport(runBuild(parts_.application, parts_.app.app, *buildPlan_, onLine), outcome);
    }
    if (ended) return ended;
    builds_.reset();
    readVersions(); // the run may have attached the build
    const ShipStep now = lookAtBuild();
    if (now.state != State::done)
        return ShipStep{Kind::build, State::failed,
                        fmt::format("No processed build of {} is there", parts_.options.version)};
    return std::nullopt;
}

void Shipment::declareExempt() {
    BuildService(*parts_.client).answerCompliance(build_->build.id, Encryption::exempt);
    build_->build.attributes.usesNonExemptEncryption = false;
}

void Shipment::giveToTesters() {
    for (const std::string& group : testGroups_)
        (void)TestFlightService(*parts_.client).addBuildToGroup(group, build_->build.id);
}

std::optional<ShipStep> Shipment::submit() {
    if (isInPreparation()) {
        const ReleaseChecklist checklist = parts_.session->release->checklist(contextID().text());
        const auto obstacles = refusedBuild_ ? openChecksOf(checklist) : obstaclesOf(checklist);
        if (!obstacles.empty())
            return ShipStep{Kind::submission, State::person,
                            fmt::format("The checklist is not met. {}", fmt::join(obstacles, ". "))};
    }
    (void)ReviewSubmissionService(*parts_.client, {.sleep = parts_.application.options().sleep})
        .submit(parts_.app.app.appStoreId, parts_.options.platform, found_->version.id, agreedSubmission_);
    stateBefore_ = found_->version.attributes.appStoreState;
    return std::nullopt;
}

std::optional<ShipStep> Shipment::awaitState(Kind kind) {
    const bool isReview = kind == Kind::review;
    GrowingPause pause(parts_.application, isReview ? 2 : 30, isReview ? 30 : 600);
    bool isReleased = false;
    for (;;) {
        const bool isLate = isReview && pause.waited() >= reviewWait;
        try {
            found_->version = parts_.client->getAppStoreVersion(found_->version.id);
            const std::string state = found_->version.attributes.appStoreState.value_or("");
            // The state of before the submission is shown for a while after it.
            const bool isOld = isReview && state == stateBefore_ && pause.waited() < visibilityWait;
            if (const auto part = personsPart(state); part && !isOld)
                return ShipStep{kind, State::person, *part};
            if (ShipStep now = isReview ? lookAtReview() : lookAtRelease(); now.state == State::done)
                return now;
            if (isLate)
                return ShipStep{
                    kind, State::failed,
                    fmt::format("It is submitted, and App Store Connect still says {} after {} min",
                                statePill(state), reviewWait / 60)};
            if (state == "PENDING_DEVELOPER_RELEASE" && !isReleased) {
                ReleaseService(*parts_.client).release(found_->version.id);
                isReleased = true;
            }
            tell(fmt::format("{}: {}", parts_.options.version, statePill(state)));
        } catch (const ASCError& error) {
            goOnAfter(error, isLate);
        }
        pause();
    }
}

} // namespace quorvel
