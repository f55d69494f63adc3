#include "Quorvel/controllers/build/BuildController.h"

#include "Core/asc/ASCError.h"
#include "Core/asc/services/BuildService.h"
#include "Core/build/ArchiveInfo.h"
#include "Core/build/ProjectSettings.h"
#include "Core/build/TemporaryKeyFolder.h"
#include "Core/build/VersionStateTexts.h"
#include "Core/metadata/PlatformContext.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

using Kind = BuildError::Kind;

std::string textOf(const std::optional<std::string>& text) {
    return text.value_or("");
}

// A number above the version, for a user who has to choose one: "3.4" → "3.5".
std::string nextVersionAfter(const std::string& version) {
    return nextBuildNumber(version).value_or(version + ".1");
}

std::string platformOf(const BuildConfig& config) {
    return std::string(rawValue(namesOf(config.platform).ascPlatform));
}

} // namespace

const ASCResource<AppStoreVersionAttributes>*
editableVersionOf(const std::vector<ASCResource<AppStoreVersionAttributes>>& versions) {
    const auto found = std::ranges::find_if(versions, [](const auto& version) {
        return isEditableState(textOf(version.attributes.appStoreState));
    });
    return found == versions.end() ? nullptr : &*found;
}

BuildNumbers BuildController::plan(const BuildConfig& config) {
    result_ = {};
    stage_ = BuildStage::preflight;
    requireComplete(config);
    BuildPipeline(parts_.xcrun).preflight(parts_.onLog);
    return lookAtNumbers(config);
}

BuildRunResult BuildController::run(const BuildConfig& config, const std::optional<BuildNumbers>& agreed) {
    return guarded([&] {
        requireComplete(config);
        TemporaryKeyFolder::sweep(parts_.temporaryFolder);
        BuildPipeline(parts_.xcrun).preflight(parts_.onLog);
        const BuildNumbers numbers = lookAtNumbers(config);
        if (agreed && agreed->marketingVersion != numbers.marketingVersion)
            throw BuildError::stopped(
                Kind::planOutdated, stage_,
                fmt::format("The build would become version {} instead of {}, as something changed since it "
                            "was planned. Plan it again.",
                            numbers.marketingVersion.value_or("(unknown)"),
                            agreed->marketingVersion.value_or("(unknown)")));
        setNumbers(config, numbers);
        awaitProcessing(buildAndUpload(config, numbers));
    });
}

BuildRunResult BuildController::resume(const AwaitedBuild& awaited) {
    parts_.appStoreId = awaited.appStoreId;
    return guarded([&] {
        result_.marketingVersion = awaited.marketingVersion;
        result_.buildNumber = awaited.buildNumber;
        TemporaryKeyFolder::sweep(parts_.temporaryFolder);
        enter(BuildStage::uploading);
        awaitProcessing(awaited);
    });
}

BuildRunResult BuildController::guarded(const std::function<void()>& work) {
    result_ = {};
    failure_ = nullptr;
    stage_ = BuildStage::preflight;
    const Date start = parts_.clock();
    try {
        work();
        result_.outcome.success = true;
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        failure_ = std::current_exception();
        const std::string text = error.what();
        result_.outcome.errorMessage = text;
        const auto* build = dynamic_cast<const BuildError*>(&error);
        const bool isTold = build && build->kind() == Kind::commandFailed; // by the tool's own lines
        log(isTold ? text.substr(0, text.find('\n')) : text);
    }
    result_.outcome.durationSeconds = std::chrono::duration<double>(parts_.clock() - start).count();
    return result_;
}

void BuildController::requireComplete(const BuildConfig& config) const {
    if (config.projectPath.empty() || config.scheme.empty())
        throw BuildError::stopped(Kind::notConfigured, stage_,
                                  "Build config incomplete — pick project and scheme.");
}

namespace {

// What the project tells; nothing for what it does not. That there is no project is no such case.
template <typename Read>
std::optional<std::string> toldBy(Read&& read) {
    try {
        return read();
    } catch (const XcodeVersionError& error) {
        if (error.kind() == XcodeVersionError::Kind::projectNotFound) throw;
        return std::nullopt;
    }
}

} // namespace

BuildNumbers BuildController::lookAtNumbers(const BuildConfig& config) {
    const XcodeVersionBumper bumper = bumperFor(config);
    BuildNumbers numbers;
    numbers.projectVersion = toldBy([&] { return bumper.marketingVersion(); });
    numbers.projectNumber = toldBy([&] { return bumper.buildNumber(); });
    numbers.marketingVersion = numbers.projectVersion;
    numbers.buildNumber = numbers.projectNumber;
    if (parts_.appStoreId.empty())
        remark("Skipping marketing-version preflight: app has no App Store ID.");
    else if (!numbers.projectVersion)
        remark(
            "Skipping marketing-version preflight: project doesn't expose MARKETING_VERSION via agvtool. Set "
            "the Versioning System to Apple Generic to enable this check.");
    else
        followEditable(config, numbers);
    countUp(config, numbers);
    return numbers;
}

// A build goes only to the version of its own number: the project's number follows the version that is being
// prepared. What cannot be known does not stop the run.
void BuildController::followEditable(const BuildConfig& config, BuildNumbers& numbers) {
    Versions versions;
    try {
        versions =
            parts_.client->listAppStoreVersions(parts_.appStoreId, namesOf(config.platform).ascPlatform);
    } catch (const ASCError& error) {
        remark(fmt::format(
            "Skipping marketing-version preflight: ASC query failed ({}). If upload fails on version, bump "
            "MARKETING_VERSION manually in Xcode.",
            error.what()));
        return;
    }
    const std::string& local = *numbers.projectVersion;
    const auto* editable = editableVersionOf(versions);
    if (!editable) {
        requireNotLocked(versions, local);
        remark(fmt::format(
            "No editable ASC version yet. Local MARKETING_VERSION is {} — proceeding (you'll need an "
            "editable version on ASC for the build to attach later).",
            local));
        return;
    }
    numbers.editableVersion = numbers.marketingVersion = textOf(editable->attributes.versionString);
    if (local == numbers.marketingVersion)
        log(fmt::format("MARKETING_VERSION {} matches the editable ASC version — good.", local));
    else if (isSettingReference(local))
        remark(fmt::format("MARKETING_VERSION is the reference {}; it is replaced with {}.", local,
                           *numbers.marketingVersion));
}

void BuildController::requireNotLocked(const Versions& versions, const std::string& local) const {
    for (const auto& version : versions) {
        const std::string state = textOf(version.attributes.appStoreState);
        if (version.attributes.versionString != local || isEditableState(state)) continue;
        throw BuildError::stopped(
            Kind::versionLocked, stage_,
            fmt::format(
                "Marketing version {0} is locked on App Store Connect (state: {1}) — Apple will reject a new upload at this "
                "number.\n\nFix:\n1. App Store Connect → this app → \"+ Version or Platform\" — create version {2} (or any "
                "number greater than {0}).\n2. In Quorvel's Metadata tab, run \"Pull metadata\" so it picks up the new "
                "editable version.\n3. Run Build & Upload again — the project's MARKETING_VERSION will be auto-synced to "
                "the new number.",
                local, state, nextVersionAfter(local)));
    }
}

void BuildController::countUp(const BuildConfig& config, BuildNumbers& numbers) {
    try {
        if (parts_.appStoreId.empty()) return;
        for (const ASCBuildSummary& build : parts_.client->listBuilds(parts_.appStoreId, {}, {200})) {
            const auto& number = build.build.attributes.version;
            if (build.platform != platformOf(config) || !number) continue;
            if (!numbers.highestNumber || naturalLess(*numbers.highestNumber, *number))
                numbers.highestNumber = number;
            if (!config.autoIncrementBuildNumber && number == numbers.projectNumber &&
                build.marketingVersion == numbers.marketingVersion)
                remark(fmt::format(
                    "Build {} of version {} is on App Store Connect already: the upload will be refused.",
                    *number, textOf(numbers.marketingVersion)));
        }
    } catch (const ASCError& error) {
        if (config.autoIncrementBuildNumber)
            remark(fmt::format("Couldn't query ASC for last build number ({}). Falling back to local+1.",
                               error.what()));
    }
    if (!config.autoIncrementBuildNumber) return;
    const std::string local = textOf(numbers.projectNumber);
    const auto afterLocal = nextBuildNumber(local);
    const auto afterHighest = numbers.highestNumber ? nextBuildNumber(*numbers.highestNumber) : std::nullopt;
    if (afterHighest && (!afterLocal || naturalLess(*afterLocal, *afterHighest)))
        numbers.buildNumber = afterHighest;
    else if (afterLocal)
        numbers.buildNumber = afterLocal;
    else // such as a reference, or nothing
        numbers.buildNumber = "1";
}

void BuildController::setNumbers(const BuildConfig& config, const BuildNumbers& numbers) {
    result_.marketingVersion = numbers.marketingVersion;
    result_.buildNumber = numbers.buildNumber;
    if (numbers.projectVersion && numbers.projectVersion != numbers.marketingVersion)
        setMarketingVersion(config, *numbers.projectVersion, *numbers.marketingVersion);
    if (config.autoIncrementBuildNumber) setBuildNumber(config, numbers);
}

void BuildController::setMarketingVersion(const BuildConfig& config, const std::string& local,
                                          const std::string& wanted) {
    try {
        bumperFor(config).setMarketingVersion(wanted);
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        throw BuildError::stopped(
            Kind::versionNotSet, stage_,
            fmt::format(
                "ASC's editable version is {} but the Xcode project still says {}, and the auto-sync "
                "failed: {}\n\nFix: in Xcode → Targets → General, set Version to {}. Then run Build & "
                "Upload again.",
                wanted, local, error.what(), wanted));
    }
    log(fmt::format("Synced MARKETING_VERSION {} → {} to match the editable ASC version.", local, wanted));
}

void BuildController::setBuildNumber(const BuildConfig& config, const BuildNumbers& numbers) {
    const std::string& next = *numbers.buildNumber;
    const bool skips = numbers.highestNumber && next == nextBuildNumber(*numbers.highestNumber) &&
                       next != nextBuildNumber(textOf(numbers.projectNumber));
    try {
        bumperFor(config).setBuildNumber(next);
        log(fmt::format(
            "Bumped CFBundleVersion to {}{}", next,
            skips ? fmt::format(" (skipped ahead past ASC's existing build #{})", *numbers.highestNumber)
                  : ""));
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        result_.buildNumber = numbers.projectNumber;
        remark(fmt::format(
            "Couldn't auto-increment build number: {}. If upload fails on duplicate, set CFBundleVersion "
            "to {} in Xcode and retry.",
            error.what(), next));
    }
}

AwaitedBuild BuildController::buildAndUpload(const BuildConfig& config, const BuildNumbers& numbers) {
    const BuildPlan plan{.projectURL = config.projectPath,
                         .scheme = config.scheme,
                         .configuration = config.configuration,
                         .exportMethod = config.exportMethod,
                         .workdir = parts_.workdir,
                         .platform = config.platform};
    const BuildPipeline pipeline(parts_.xcrun);
    enter(BuildStage::archiving);
    const auto archive = pipeline.archive(plan, parts_.onLog);
    result_.outcome.archiveURL = archive.string();
    readArchive(archive, numbers);
    enter(BuildStage::exporting);
    const auto artefact = pipeline.exportArchive(plan, archive, parts_.onLog);
    result_.outcome.ipaURL = artefact.string();
    enter(BuildStage::uploading);
    AwaitedBuild awaited{parts_.appStoreId,           config,         textOf(result_.marketingVersion),
                         textOf(result_.buildNumber), parts_.clock(), false};
    upload(plan, artefact, awaited);
    return awaited;
}

// The upload is found by the version that the archive has, whatever the project's settings made of it.
void BuildController::readArchive(const std::filesystem::path& archive, const BuildNumbers& numbers) {
    const ArchiveInfo info = archiveInfoOf(archive);
    if (info.marketingVersion) result_.marketingVersion = info.marketingVersion;
    if (info.buildNumber) result_.buildNumber = info.buildNumber;
    if (numbers.editableVersion && result_.marketingVersion != numbers.editableVersion)
        remark(fmt::format(
            "The archive is version {} ({}), and version {} is being prepared: the target sets its "
            "version by other means than MARKETING_VERSION.",
            textOf(result_.marketingVersion), textOf(result_.buildNumber), *numbers.editableVersion));
}

// Remembered before it begins: a program that is killed meanwhile cannot tell whether the upload came
// through.
void BuildController::upload(const BuildPlan& plan, const std::filesystem::path& artefact,
                             AwaitedBuild& awaited) {
    const TemporaryKeyFolder keys(parts_.temporaryFolder, parts_.key.keyID, parts_.privateKey);
    UploadKey key = parts_.key;
    key.keyFolder = keys.path();
    parts_.remember(awaited);
    try {
        BuildPipeline(parts_.xcrun).upload(plan, artefact, key, parts_.onLog);
    } catch (const BuildError& error) {
        if (error.kind() == Kind::uploadRefused) keep(parts_.awaitedBefore);
        throw;
    }
    awaited.isUploaded = true;
    keep(awaited);
}

void BuildController::awaitProcessing(const AwaitedBuild& awaited) {
    bool isComplianceAnswered = false; // in the app's property list; a second answer would be refused
    try {
        isComplianceAnswered = awaitProcessed(awaited).usesNonExemptEncryption.has_value();
    } catch (const CancellationError&) {
        const ProcessingWaitCancelled cancelled;
        log(cancelled.what());
        throw cancelled;
    }
    if (awaited.config.autoDeclareEncryptionExempt && !isComplianceAnswered) declareCompliance();
    if (awaited.config.autoAttachBuildToVersion) attach(awaited.config);
    keep(std::nullopt);
    log(fmt::format("Build is ready for review (v{}, build {}).", awaited.marketingVersion,
                    awaited.buildNumber));
}

// A network that is gone for a while does not end a wait that may last an hour.
template <typename Ask>
auto BuildController::askPatiently(Date deadline, Ask&& ask) {
    for (;;) {
        try {
            return ask();
        } catch (const ASCError& error) {
            if (error.kind() != ASCError::Kind::serviceTrouble || parts_.clock() >= deadline) throw;
            log(fmt::format("App Store Connect could not be asked, trying again: {}", error.what()));
        }
        pause(deadline);
    }
}

ASCBuildAttributes BuildController::awaitProcessed(const AwaitedBuild& awaited) {
    if (awaited.appStoreId.empty())
        throw BuildError::stopped(Kind::notOnAppStore, stage_,
                                  "No App Store ID on this app — cannot poll processing state.");
    if (awaited.buildNumber.empty())
        throw BuildError::stopped(
            Kind::uploadUnknown, stage_,
            "The build is uploaded, but neither the project nor the archive tells its number: "
            "look for it on App Store Connect.");
    const Date deadline = parts_.clock() + parts_.maxProcessingWait;
    const std::string id = awaitIndexing(awaited, deadline);
    log(fmt::format("ASC indexed our new build {} ({}). Polling its state.", awaited.marketingVersion,
                    awaited.buildNumber));
    for (;;) {
        ASCBuildAttributes attributes =
            askPatiently(deadline, [&] { return parts_.client->getBuild(id).attributes; });
        const std::string state = textOf(attributes.processingState);
        if (state == "VALID") {
            result_.readyBuildId = id;
            result_.readyBuildVersion = awaited.buildNumber;
            return attributes;
        }
        if (state == "INVALID" || state == "FAILED") {
            keep(std::nullopt);
            throw BuildError::stopped(
                Kind::buildRejected, stage_,
                state == "FAILED" ? "Build marked FAILED"
                                  : "Build marked INVALID — likely missing entitlements, code signing, "
                                    "or export compliance.");
        }
        pause(deadline);
    }
}

std::string BuildController::awaitIndexing(const AwaitedBuild& awaited, Date deadline) {
    log("Waiting for ASC to index our new build…");
    const Date end =
        awaited.isUploaded ? deadline : std::min(deadline, parts_.clock() + parts_.maxIndexingWait);
    std::optional<std::string_view> version;
    if (!awaited.marketingVersion.empty()) version = awaited.marketingVersion;
    try {
        for (;;) {
            const auto builds =
                askPatiently(end, [&] { return parts_.client->listBuilds(awaited.appStoreId, version); });
            for (const ASCBuildSummary& build : builds)
                if (build.build.attributes.version == awaited.buildNumber &&
                    build.platform == platformOf(awaited.config))
                    return build.build.id;
            pause(end);
        }
    } catch (const BuildError&) {
        if (awaited.isUploaded) throw;
        keep(std::nullopt); // the next run builds again
        throw BuildError::stopped(
            Kind::uploadUnknown, stage_,
            fmt::format(
                "The upload of build {} ({}) was cut off, and App Store Connect does not show the build. "
                "Build and upload again.",
                awaited.marketingVersion, awaited.buildNumber));
    }
}

void BuildController::pause(Date deadline) {
    if (parts_.clock() >= deadline)
        throw BuildError::stopped(
            Kind::stillProcessing, stage_,
            fmt::format(
                "Apple processing took longer than expected (over {} min). Check App Store Connect — the "
                "build may still finish.",
                std::chrono::duration_cast<std::chrono::minutes>(parts_.maxProcessingWait).count()));
    parts_.sleep(static_cast<double>(parts_.pollInterval.count()));
}

// What is on App Store Connect stays there, whatever this machine's disk says.
void BuildController::keep(const std::optional<AwaitedBuild>& awaited) {
    try {
        parts_.remember(awaited);
    } catch (const FileError& error) {
        remark(fmt::format("What is awaited could not be noted: {}", error.what()));
    }
}

void BuildController::declareCompliance() {
    try {
        BuildService(*parts_.client).answerCompliance(*result_.readyBuildId, Encryption::exempt);
        log(fmt::format(
            "Declared `usesNonExemptEncryption: false` on build {} — TestFlight will no longer show "
            "'Missing Compliance'.",
            *result_.readyBuildVersion));
    } catch (const ASCError& error) {
        ++result_.failedFollowUps;
        remark(fmt::format("Auto-compliance PATCH failed: {} — set it manually in App Store Connect.",
                           error.what()));
    }
}

void BuildController::attach(const BuildConfig& config) {
    enter(BuildStage::attaching);
    try {
        const auto versions =
            parts_.client->listAppStoreVersions(parts_.appStoreId, namesOf(config.platform).ascPlatform);
        const auto* editable = editableVersionOf(versions);
        if (!editable) {
            remark("No editable AppStoreVersion found — skip auto-attach.");
        } else if (editable->attributes.versionString != result_.marketingVersion) {
            remark(fmt::format("No editable {} version found — skip auto-attach. Bump the version first.",
                               textOf(result_.marketingVersion)));
        } else {
            parts_.client->attachBuild(editable->id, *result_.readyBuildId);
            log(fmt::format(
                "Attached build {} ({}) to AppStoreVersion {} — Submit-for-Review is now unblocked.",
                *result_.readyBuildVersion, *result_.readyBuildId, textOf(result_.marketingVersion)));
        }
    } catch (const ASCError& error) {
        ++result_.failedFollowUps;
        remark(fmt::format("Auto-attach to AppStoreVersion failed: {} — Submit will retry the attach.",
                           error.what()));
    }
}

XcodeVersionBumper BuildController::bumperFor(const BuildConfig& config) {
    return {config.projectPath, parts_.xcrun, [this](const std::string& line) { log(line); }};
}

void BuildController::log(const std::string& line) {
    parts_.onLog(line, stage_);
}

void BuildController::remark(const std::string& line) {
    result_.remarks.push_back(line);
    log(line);
}

} // namespace quorvel
