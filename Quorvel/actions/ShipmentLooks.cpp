// What is to be done of each step of a shipment.
#include "Core/build/BuildConfigStore.h"
#include "Core/build/VersionStateTexts.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Quorvel/actions/Shipment.h"
#include "Quorvel/actions/SubmissionActions.h"
#include "Quorvel/actions/TestFlightActions.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/controllers/screenshots/ScreenshotsController.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

std::string stateOf(const ASCVersionSummary& version) {
    return version.version.attributes.appStoreState.value_or("");
}

std::string versionOf(const ASCVersionSummary& version) {
    return version.version.attributes.versionString.value_or("");
}

// Why a push would leave some of the texts behind until somebody does something.
std::optional<std::string> blockOf(const std::vector<LeftOutChange>& leftOut) {
    std::vector<std::string> reasons;
    for (const LeftOutGroup& group : groupsOf(leftOut)) {
        if (std::ranges::none_of(group.changes, &LeftOutChange::isMissed)) continue;
        const FieldKey first = group.changes.front().change.key();
        reasons.push_back(
            fmt::format("{} {}{}: {}", shownLocale(first.locale), shortLabelOf(first.field),
                        group.changes.size() > 1 ? fmt::format(" and {} more", group.changes.size() - 1) : "",
                        group.explanation));
    }
    if (reasons.empty()) return std::nullopt;
    return fmt::format("{}", fmt::join(reasons, " "));
}

std::optional<std::string> blockOf(const PushPlan& plan) {
    if (!plan.conflicts.empty()) {
        const PushOutcome& first = plan.conflicts.front();
        return fmt::format("{} cannot be pushed: {} {}: {}", counted(plan.conflicts.size(), "text"),
                           shownLocale(first.change.locale), shortLabelOf(first.change.field),
                           first.errorMessage.value_or(""));
    }
    return blockOf(plan.leftOut);
}

std::int64_t requestsOf(const ScreenshotPushPlan& plan) {
    std::int64_t requests = 0;
    if (!plan.prepared) return requests;
    for (const ScreenshotSetEdit& edit : plan.prepared->plan.edits) {
        const auto set = std::ranges::find_if(plan.sets, [&](const ScreenshotSetStatus& status) {
            return status.locale == edit.locale && status.displayType == edit.displayType;
        });
        const bool isNew = set == plan.sets.end() || set->remote == 0;
        requests += (isNew ? 1 : 0) + std::ssize(edit.ascIdsToDelete) + 2 * std::ssize(edit.localsToUpload) +
                    (edit.finalOrder.size() > 1 ? 1 : 0);
    }
    return requests;
}

bool isUsable(const ASCBuildSummary& build, ASCPlatform platform) {
    const ASCBuildAttributes& attributes = build.build.attributes;
    return build.platform == rawValue(platform) && !attributes.expired.value_or(false) &&
           (isProcessed(attributes) ||
            attributes.processingState == rawValue(BuildProcessingState::processing));
}

bool isOver(std::string_view state) {
    return state == "REPLACED_WITH_NEW_VERSION" || state == "REMOVED_FROM_SALE" ||
           state == "DEVELOPER_REMOVED_FROM_SALE";
}

std::string numberOf(const ASCBuildSummary& build) {
    return build.build.attributes.version.value_or("?");
}

} // namespace

ShipStep Shipment::lookAtVersion() const {
    const ShipOptions& options = parts_.options;
    const std::string wanted = fmt::format("{} {}", platformFolderName(options.platform), options.version);
    if (found_ && isOver(stateOf(*found_)))
        return {Kind::version, State::person,
                fmt::format("{} is over ({}). A release needs a greater number", wanted,
                            statePill(stateOf(*found_)))};
    if (found_)
        return {Kind::version, State::done,
                fmt::format("{} is there: {}", wanted, statePill(stateOf(*found_)))};
    if (!open_) return {Kind::version, State::planned, fmt::format("Make version {}", wanted), 1};
    if (contextOf(open_->version)->takesPushes())
        return {Kind::version, State::planned,
                fmt::format("Rename version {} to {}", versionOf(*open_), options.version), 1};
    return {
        Kind::version, State::person,
        fmt::format("{} is open already ({}), and a platform has one open version at a time. Wait for its "
                    "end, or take it out of review",
                    versionOf(*open_), statePill(stateOf(*open_)))};
}

// Texts that were pulled of another version are none of this one's.
ShipStep Shipment::lookAtPull() const {
    const MetadataFolder folder = parts_.folder.contextFolder(contextID());
    const MetadataStore store(folder);
    const std::string known = found_ ? found_->version.id : open_ ? open_->version.id : "";
    const bool isPulled =
        isFolder(folder) && !store.hasInterruptedPull() && !known.empty() && store.pulledVersionID() == known;
    if (isPulled) return {Kind::pull, State::done, "The texts of this version are pulled"};
    return {Kind::pull, State::planned,
            isFolder(folder) ? "Pull the texts of this version; local edits stay" : "Pull the texts"};
}

ShipStep Shipment::lookAtTexts() {
    const MetadataFolder folder = parts_.folder.contextFolder(contextID());
    if (!isFolder(folder))
        return {Kind::texts, State::done, "There are no local texts; those of App Store Connect stay"};
    const bool allowsClearing = parts_.options.allowClear;
    const PushFilter filter{.clearing = allowsClearing ? Clearing::allow : Clearing::leaveOut,
                            .unreviewed =
                                parts_.options.allowUnreviewed ? Unreviewed::allow : Unreviewed::leaveOut};
    if (!found_ || lookAtPull().state != State::done) {
        local_ = parts_.session->metadata->compare(contextID().text(), filter, parts_.dryRun).texts;
        if (const auto block = blockOf(local_->selection.leftOut))
            return {Kind::texts, State::person, *block};
        return {Kind::texts, State::planned, "Push the local texts that differ from the pulled ones", 0,
                false};
    }
    texts_ = parts_.session->metadata->planPush(filter, contextID().text(), parts_.dryRun,
                                                MetadataController::Requests::include);
    if (const auto block = blockOf(*texts_)) return {Kind::texts, State::person, *block};
    if (texts_->changes.empty()) return {Kind::texts, State::done, "Local texts match App Store Connect"};
    return {Kind::texts, State::planned, fmt::format("Push {}", counted(texts_->changes.size(), "text")),
            std::ssize(texts_->requests)};
}

ShipStep Shipment::lookAtScreenshots() {
    const auto pictures = parts_.session->screenshots->pictures(parts_.folder, contextID());
    std::error_code unreachable;
    const ScreenshotChoice choice{.mode = parts_.options.screenshots,
                                  .selection = {.platform = parts_.options.platform}};
    const bool hasPictures = std::filesystem::is_directory(pictures, unreachable) &&
                             scanScreenshots(pictures, choice.selection).pictures > 0;
    if (!hasPictures) {
        std::size_t sets = 0;
        for (const ASCLocalizationSummary& one : localizations_)
            sets += one.displayTypes.size();
        const bool hasNone = found_ ? sets == 0 : !isUpdate();
        if (hasNone && parts_.options.until < ShipUntil::submit)
            return {Kind::screenshots, State::done, "There are none yet; a submission needs some"};
        if (hasNone)
            return {
                Kind::screenshots, State::person,
                fmt::format("There are no screenshots. Put some into {}", escapeControls(pictures.string()))};
        return {Kind::screenshots, State::done,
                found_ ? fmt::format("{} on App Store Connect; none to push", counted(sets, "set"))
                       : "None to push; a new version has those of the one on sale"};
    }
    if (!found_) return {Kind::screenshots, State::planned, "Push the local screenshots", 0, false};
    screenshots_ = parts_.session->screenshots->planPush(contextID().text(), choice, parts_.dryRun);
    if (!screenshots_->failures.empty())
        return {Kind::screenshots, State::person,
                fmt::format("{} cannot be pushed: {}", counted(screenshots_->failures.size(), "picture"),
                            screenshots_->failures.front())};
    if (screenshots_->changedSets == 0)
        return {Kind::screenshots, State::done, "Local screenshots match App Store Connect"};
    const auto uploads = static_cast<std::size_t>(screenshots_->uploads);
    const auto sets = static_cast<std::size_t>(screenshots_->changedSets);
    std::string text = fmt::format("Upload {} to {}", counted(uploads, "screenshot"), counted(sets, "set"));
    if (screenshots_->deletions > 0) text += fmt::format(" and remove {}", screenshots_->deletions);
    return {Kind::screenshots, State::planned, text, requestsOf(*screenshots_)};
}

ShipStep Shipment::lookAtBuild() {
    const ShipOptions& options = parts_.options;
    build_.reset();
    awaited_.reset();
    config_.reset();
    if (!refusedBuild_ && found_ && found_->build && stateOf(*found_) == "INVALID_BINARY")
        refusedBuild_ = found_->build->id;
    const auto& all = builds(); // the newest first: those behind a build that was turned down are older
    const auto end = std::ranges::find_if(
        all, [&](const ASCBuildSummary& build) { return build.build.id == refusedBuild_; });
    const auto attached = std::find_if(all.begin(), end, [&](const ASCBuildSummary& build) {
        return found_ && found_->build && build.build.id == found_->build->id &&
               isUsable(build, options.platform);
    });
    const auto newest = std::find_if(
        all.begin(), end, [&](const ASCBuildSummary& build) { return isUsable(build, options.platform); });
    if (const auto use = attached != end ? attached : newest; use != end) build_ = *use;
    if (build_ && isProcessed(build_->build.attributes))
        return {Kind::build, State::done, fmt::format("Build {} is processed", numberOf(*build_))};
    for (const AwaitedBuildOfApp& awaited : awaitedBuilds(parts_.application))
        if (!awaited_ && awaited.app.appStoreId == parts_.app.app.appStoreId &&
            awaited.build.marketingVersion == options.version &&
            namesOf(awaited.build.config.platform).ascPlatform == options.platform)
            awaited_ = awaited;
    if (awaited_)
        return {Kind::build, State::waits,
                fmt::format("Go on with build {}, {}", awaited_->build.buildNumber,
                            awaited_->build.isUploaded ? "which was uploaded" : "whose upload was cut off")};
    if (build_)
        return {Kind::build, State::waits,
                fmt::format("Wait until App Store Connect has processed build {}", numberOf(*build_))};
    const auto platform = targetPlatformOf(options.platform);
    if (!platform)
        return {
            Kind::build, State::person,
            fmt::format("Upload a build of {}; only apps for iOS and macOS are built here", options.version)};
    try {
        const auto chosen = chooseBuildConfig(parts_.application, parts_.app.app, *platform, {});
        config_ = chosen.config;
        // A build follows the version that is being prepared, so it is planned once that is there.
        if (found_)
            buildPlan_ = planBuildRun(parts_.application, parts_.app, chosen);
        else if (chosen.config.projectPath.empty() || chosen.config.scheme.empty())
            throw ApplicationError(FailureKind::buildNotConfigured,
                                   "Build config incomplete — pick project and scheme.",
                                   chosen.remarks.empty() ? "" : chosen.remarks.back());
        return {Kind::build, State::planned,
                fmt::format("Build {} ({}) of {} and upload it", chosen.config.scheme,
                            chosen.config.configuration,
                            std::filesystem::path(chosen.config.projectPath).filename().string())};
    } catch (const CancellationError&) {
        throw;
    } catch (const ASCError&) {
        throw;
    } catch (const std::exception& error) {
        return {Kind::build, State::person, wordsOf(failureOf(error))};
    }
}

BuildConfig Shipment::savedConfig() const {
    const auto platform = targetPlatformOf(parts_.options.platform);
    if (!platform || parts_.app.app.id.empty()) return {};
    return BuildConfigStore(parts_.application.userDefaults())
        .load(parts_.app.app.id, *platform)
        .value_or(BuildConfig{});
}

ShipStep Shipment::lookAtCompliance() const {
    if (build_ && build_->build.attributes.usesNonExemptEncryption)
        return {Kind::compliance, State::done, "The question on encryption is answered"};
    if (parts_.options.exempt || savedConfig().autoDeclareEncryptionExempt)
        return {Kind::compliance, State::planned,
                "Declare that the build uses no encryption that needs a declaration", 1};
    if (build_ && isProcessed(build_->build.attributes))
        return {Kind::compliance, State::person,
                fmt::format("Answer the question on encryption of build {}", numberOf(*build_))};
    return {Kind::compliance, State::waits,
            "The app's property list answers the question on encryption, or somebody has to"};
}

ShipStep Shipment::lookAtAttachment() const {
    if (build_ && found_ && found_->build && found_->build->id == build_->build.id)
        return {Kind::attach, State::done, fmt::format("Build {} is attached", numberOf(*build_))};
    return {Kind::attach, State::planned,
            build_ ? fmt::format("Attach build {}", numberOf(*build_)) : "Attach the build", 1};
}

// An internal group may have all builds by itself.
ShipStep Shipment::lookAtTestFlight() {
    const auto all = testGroupsOf(*parts_.client, parts_.app.app.appStoreId);
    testGroups_.clear();
    for (const std::string& name : parts_.options.testFlightGroups) {
        const TestGroup group = requireTestGroup(all, name);
        if (!group.getsAllBuilds && std::ranges::find(testGroups_, group.id) == testGroups_.end())
            testGroups_.push_back(group.id);
    }
    const auto& names = parts_.options.testFlightGroups;
    if (testGroups_.empty())
        return {Kind::testFlight, State::done,
                fmt::format("{} can test every build", fmt::join(names, ", "))};
    return {Kind::testFlight, State::planned, fmt::format("Give the build to {}", fmt::join(names, ", ")),
            std::ssize(testGroups_)};
}

bool Shipment::isUpdate() const {
    return std::ranges::any_of(versions_, [](const ASCVersionSummary& version) {
        return contextOf(version.version)->stateClass == AppStoreVersionStateClass::live;
    });
}

// Of an update; those that the push before sends have some then. A version that is made anew has none.
std::vector<std::string> Shipment::localesWithoutNotes() const {
    std::vector<std::string> locales;
    if (!isUpdate()) return locales;
    if (!found_ && !open_ && local_)
        for (const std::string& locale : local_->pulledLocales)
            if (!local_->disabledLocales.contains(locale) &&
                std::ranges::none_of(local_->changes, [&](const PendingChange& change) {
                    return change.field == FieldType::releaseNotes && change.locale == locale &&
                           !change.clears();
                }))
                locales.push_back(locale);
    for (const ASCLocalizationSummary& one : localizations_) {
        const auto& attributes = one.localization.attributes;
        const bool isSent = texts_ && std::ranges::any_of(texts_->changes, [&](const PendingChange& change) {
                                return change.field == FieldType::releaseNotes &&
                                       change.locale == attributes.locale && !change.clears();
                            });
        if (isBlank(attributes.whatsNew.value_or("")) && !isSent) locales.push_back(attributes.locale);
    }
    std::ranges::sort(locales);
    return locales;
}

ShipStep Shipment::lookAtSubmission() {
    ShipStep step{Kind::submission, State::planned, "Submit it for review"};
    const std::string state = found_ ? stateOf(*found_) : "";
    if (!isInPreparation() && state != "READY_FOR_REVIEW")
        return {Kind::submission, State::done, fmt::format("It is submitted: {}", statePill(state))};
    // Also before the version is made: whoever agrees is shown what goes along with it.
    const bool isRenamed = !found_ && open_ && contextOf(open_->version)->takesPushes();
    const std::string version = found_ ? found_->version.id : isRenamed ? open_->version.id : "";
    if (!submission_)
        submission_ = ReviewSubmissionService(*parts_.client)
                          .plan(parts_.app.app.appStoreId, parts_.options.platform, version);
    step.requests = quorvel::requestsOf(submission_->course);
    if (found_ && submission_->course == SubmissionCourse::withApple && submission_->holdsVersion) {
        stateBefore_ = state;
        return {Kind::submission, State::done, "It is submitted"};
    }
    if (isInPreparation()) {
        std::vector<std::string> missing;
        if (found_) {
            const ReviewInfoReadiness readiness = readinessOf(found_->reviewDetail);
            if (!readiness.missingContactFields.empty())
                missing.push_back(fmt::format("Fill in the review contact ({} missing)",
                                              fmt::join(readiness.missingContactFields, ", ")));
            if (readiness.demoAccountMissing)
                missing.emplace_back("Give the demo account that sign-in needs");
        }
        if (const auto locales = localesWithoutNotes(); !locales.empty())
            missing.push_back(fmt::format("Write the release notes of {}", listedShortly(locales)));
        if (!missing.empty())
            return {Kind::submission, State::person, fmt::format("{}", fmt::join(missing, ". "))};
    }
    if (submission_->course == SubmissionCourse::withApple)
        return {
            Kind::submission, State::person,
            "Another submission of the platform is with App Review. Wait for its end, or take it out of review"};
    if (submission_->course == SubmissionCourse::beingRemoved)
        return {Kind::submission, State::person,
                "App Store Connect is still taking the last submission out of review. Try again in a while"};
    for (const SubmissionItem& item : submission_->otherItems)
        step.text += (&item == &submission_->otherItems.front() ? ", along with " : ", ") + item.text;
    return step;
}

ShipStep Shipment::lookAtReview() const {
    if (found_ && !isInPreparation() && stateOf(*found_) != "READY_FOR_REVIEW")
        return {Kind::review, State::done, statePill(stateOf(*found_))};
    return {Kind::review, State::waits, "Wait until App Store Connect says that it waits for review"};
}

ShipStep Shipment::lookAtRelease() const {
    if (found_ && contextOf(found_->version)->stateClass == AppStoreVersionStateClass::live)
        return {Kind::release, State::done, "It is on the App Store"};
    const bool isManual = found_ && found_->version.attributes.releaseType == "MANUAL";
    return {Kind::release, isManual ? State::planned : State::waits,
            isManual ? "Wait for App Review, then release it" : "Wait until it is on the App Store",
            isManual ? 1 : 0};
}

} // namespace quorvel
