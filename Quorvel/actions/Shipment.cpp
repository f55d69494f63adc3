#include "Quorvel/actions/Shipment.h"

#include "Platform/task/Task.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

namespace quorvel {

namespace {

constexpr std::size_t plannersAtOnce = 6;
constexpr std::string_view editableAppInfo = "PREPARE_FOR_SUBMISSION";

} // namespace

Shipment::Shipment(Parts parts) : parts_(std::move(parts)) {}

// What is submitted was prepared.
std::vector<ShipStep::Kind> Shipment::kinds() const {
    const ShipOptions& options = parts_.options;
    std::vector<Kind> kinds = {Kind::version};
    if (isInPreparation()) {
        kinds.insert(kinds.end(), {Kind::pull, Kind::texts, Kind::screenshots, Kind::build, Kind::compliance,
                                   Kind::attach});
        if (!options.testFlightGroups.empty()) kinds.push_back(Kind::testFlight);
    }
    if (options.until >= ShipUntil::submit) kinds.push_back(Kind::submission);
    if (options.until >= ShipUntil::review) kinds.push_back(Kind::review);
    if (options.until >= ShipUntil::live) kinds.push_back(Kind::release);
    return kinds;
}

void Shipment::readVersions() {
    const ShipOptions& options = parts_.options;
    versions_.clear();
    found_.reset();
    open_.reset();
    localizations_.clear();
    for (ASCVersionSummary& version : parts_.client->listVersionSummaries(parts_.app.app.appStoreId))
        if (version.version.attributes.platform == rawValue(options.platform))
            versions_.push_back(std::move(version));
    for (const ASCVersionSummary& version : versions_)
        if (version.version.attributes.versionString == options.version)
            found_ = version;
        else if (contextOf(version.version)->stateClass == AppStoreVersionStateClass::editable)
            open_ = version;
    if (found_ && isInPreparation())
        localizations_ = parts_.client->listLocalizationSummaries(found_->version.id);
}

bool Shipment::isInPreparation() const {
    return !found_ || contextOf(found_->version)->takesPushes();
}

void Shipment::readAhead() {
    const ASCClientProtocol& client = *parts_.client;
    const std::string& app = parts_.app.app.appStoreId;
    const auto all = [](const std::vector<std::function<void()>>& reads) {
        parallelForEach(reads, plannersAtOnce, [](const std::function<void()>& read) { read(); });
    };
    const auto contextFolder = parts_.folder.contextFolder(contextID());
    const bool hasTexts = isFolder(contextFolder);
    std::string version;
    ASCList<AppInfoAttributes> infos;
    all({[&] {
             for (const auto& one : client.listVersionSummaries(app))
                 if (one.version.attributes.platform == rawValue(parts_.options.platform) &&
                     one.version.attributes.versionString == parts_.options.version &&
                     contextOf(one.version)->takesPushes())
                     version = one.version.id;
         },
         [&] { (void)client.listAppStoreVersions(app); }, [&] { (void)builds(); },
         [&] {
             if (hasTexts) infos = client.listAppInfos(app);
         }});
    if (version.empty()) return;
    all({[&] { (void)client.listLocalizationSummaries(version); },
         [&] { (void)client.listVersionLocalizations(version); },
         [&] {
             for (const auto& info : infos)
                 if (info.attributes.appStoreState == editableAppInfo)
                     (void)client.listAppInfoLocalizations(info.id);
         },
         [&] {
             if (parts_.options.until >= ShipUntil::submit)
                 submission_ = ReviewSubmissionService(client).plan(app, parts_.options.platform, version);
         }});
}

ShipPlan Shipment::plan() {
    ShipPlan plan{.app = referenceOf(parts_.app.app),
                  .folder = parts_.folder.rootURL.string(),
                  .context = contextID().text(),
                  .options = parts_.options};
    bool isReached = true;
    readVersions();
    for (const Kind kind : kinds()) {
        plan.steps.push_back(look(kind));
        const ShipStep& step = plan.steps.back();
        if (isReached && step.state == State::planned) plan.requests += step.requests;
        isReached = isReached && !step.isEnd();
        plan.isExact = plan.isExact && (step.isExact || !isReached);
    }
    if (found_) plan.version = contextOf(found_->version);
    plan.texts = texts_;
    plan.screenshots = screenshots_;
    plan.config = config_;
    plan.build = buildPlan_;
    plan.submission = submission_;
    return plan;
}

ShipOutcome Shipment::perform(const ShipPlan& agreed) {
    ShipOutcome outcome;
    agreedSubmission_ = agreed.submission.value_or(SubmissionPlan{});
    readVersions();
    for (const Kind kind : kinds()) {
        try {
            outcome.steps.push_back(take(kind, agreed, outcome));
        } catch (const CancellationError&) {
            throw;
        } catch (const std::exception& error) {
            if (!hasActed_) throw;
            outcome.failure = failureOf(error);
            outcome.steps.push_back({kind, State::failed, wordsOf(*outcome.failure)});
        }
        if (outcome.steps.back().isEnd()) break;
    }
    if (found_) outcome.version = contextOf(found_->version);
    return outcome;
}

ShipStep Shipment::take(Kind kind, const ShipPlan& agreed, ShipOutcome& outcome) {
    ShipStep step = look(kind);
    requireAgreed(agreed, step);
    if (step.isEnd() || step.state == State::done) return step;
    tell(step.text);
    hasActed_ = true;
    if (auto ended = perform(step, outcome)) return *std::move(ended);
    step.state = State::done;
    return step;
}

// What was done meanwhile is fine; what was not shown is not.
void Shipment::requireAgreed(const ShipPlan& agreed, const ShipStep& step) const {
    const Kind kind = step.kind;
    if (kind == Kind::version && step.state == State::planned &&
        std::ranges::find(agreed.steps, step.text, &ShipStep::text) == agreed.steps.end())
        throw OperationRefused(Refusal::stalePlan);
    if (kind == Kind::build && step.state == State::planned && config_ != agreed.config)
        throw OperationRefused(Refusal::stalePlan);
    if (kind == Kind::texts && agreed.texts && texts_)
        for (const PendingChange& change : texts_->changes)
            if (std::ranges::find(agreed.texts->changes, change) == agreed.texts->changes.end())
                throw OperationRefused(Refusal::stalePlan);
    if (kind == Kind::screenshots && agreed.screenshots && screenshots_ &&
        screenshots_->deletions > agreed.screenshots->deletions)
        throw OperationRefused(Refusal::stalePlan);
}

ShipStep Shipment::look(Kind kind) {
    switch (kind) {
    case Kind::version:
        return lookAtVersion();
    case Kind::pull:
        return lookAtPull();
    case Kind::texts:
        return lookAtTexts();
    case Kind::screenshots:
        return lookAtScreenshots();
    case Kind::build:
        return lookAtBuild();
    case Kind::compliance:
        return lookAtCompliance();
    case Kind::attach:
        return lookAtAttachment();
    case Kind::testFlight:
        return lookAtTestFlight();
    case Kind::submission:
        return lookAtSubmission();
    case Kind::review:
        return lookAtReview();
    case Kind::release:
        return lookAtRelease();
    }
    return {kind, State::done, {}};
}

std::optional<ShipStep> Shipment::perform(const ShipStep& step, ShipOutcome& outcome) {
    switch (step.kind) {
    case Kind::version:
        makeVersion();
        return std::nullopt;
    case Kind::pull:
        pull();
        return std::nullopt;
    case Kind::texts:
        return pushTexts();
    case Kind::screenshots:
        return pushScreenshots();
    case Kind::build:
        return obtainBuild(outcome);
    case Kind::compliance:
        declareExempt();
        return std::nullopt;
    case Kind::attach:
        parts_.client->attachBuild(found_->version.id, build_->build.id);
        return std::nullopt;
    case Kind::testFlight:
        giveToTesters();
        return std::nullopt;
    case Kind::submission:
        return submit();
    case Kind::review:
    case Kind::release:
        return awaitState(step.kind);
    }
    return std::nullopt;
}

std::string Shipment::wordsOf(const Failure& failure) {
    return failure.advice ? fmt::format("{} {}", failure.text, *failure.advice) : failure.text;
}

const std::vector<ASCBuildSummary>& Shipment::builds() {
    if (!builds_)
        builds_ = parts_.client->listBuilds(parts_.app.app.appStoreId, parts_.options.version, {200});
    return *builds_;
}

} // namespace quorvel
