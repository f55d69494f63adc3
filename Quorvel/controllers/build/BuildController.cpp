#include "Quorvel/controllers/build/BuildController.h"

#include "Core/asc/ASCError.h"
#include "Core/build/TemporaryKeyFolder.h"
#include "Core/build/VersionStateTexts.h"
#include "Core/metadata/PlatformContext.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

struct BuildController::Stop : std::runtime_error {
    using std::runtime_error::runtime_error;
};

namespace {

using Versions = std::vector<ASCResource<AppStoreVersionAttributes>>;

std::string textOf(const std::optional<std::string>& text) {
    return text.value_or("");
}

// The version that is being prepared; nothing when there is none.
const ASCResource<AppStoreVersionAttributes>* editableOf(const Versions& versions) {
    const auto found = std::ranges::find_if(versions, [](const auto& version) {
        return isEditableState(textOf(version.attributes.appStoreState));
    });
    return found == versions.end() ? nullptr : &*found;
}

// A number above the version, for a user who has to choose one: "3.4" → "3.5".
std::string nextVersionAfter(const std::string& version) {
    return nextBuildNumber(version).value_or(version + ".1");
}

std::string platformOf(const BuildConfig& config) {
    return std::string(rawValue(namesOf(config.platform).ascPlatform));
}

} // namespace

BuildRunResult BuildController::run(const BuildConfig& config) {
    return guarded([&] {
        requireComplete(config);
        TemporaryKeyFolder::sweep(parts_.temporaryFolder);
        BuildPipeline(parts_.xcrun).preflight(parts_.onLog);
        syncMarketingVersion(config);
        if (config.autoIncrementBuildNumber) incrementBuildNumber(config);
        buildAndUpload(config);
        const AwaitedBuild awaited{parts_.appStoreId, config, textOf(result_.marketingVersion),
                                   textOf(result_.buildNumber), parts_.clock()};
        parts_.remember(awaited);
        awaitProcessing(awaited);
    });
}

BuildRunResult BuildController::resume(const AwaitedBuild& awaited) {
    parts_.appStoreId = awaited.appStoreId;
    return guarded([&] {
        result_.marketingVersion = awaited.marketingVersion;
        result_.buildNumber = awaited.buildNumber;
        enter(BuildStage::uploading);
        awaitProcessing(awaited);
    });
}

BuildRunResult BuildController::guarded(const std::function<void()>& work) {
    result_ = {};
    stage_ = BuildStage::preflight;
    const Date start = parts_.clock();
    try {
        work();
        result_.outcome.success = true;
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        result_.outcome.errorMessage = error.what();
        log(error.what());
    }
    result_.outcome.durationSeconds = std::chrono::duration<double>(parts_.clock() - start).count();
    return std::move(result_);
}

void BuildController::requireComplete(const BuildConfig& config) const {
    if (config.projectPath.empty() || config.scheme.empty())
        throw Stop("Build config incomplete — pick project and scheme.");
    if (parts_.privateKey.empty()) throw Stop("ASC credentials missing: there is no private key");
}

// A build goes only to the version of its own number: the project's number follows the version that is being
// prepared. What cannot be known does not stop the run.
void BuildController::syncMarketingVersion(const BuildConfig& config) {
    if (parts_.appStoreId.empty()) {
        log("Skipping marketing-version preflight: app has no App Store ID.");
        return;
    }
    const XcodeVersionBumper bumper = bumperFor(config);
    std::string local;
    try {
        local = bumper.marketingVersion();
    } catch (const XcodeVersionError&) {
        log("Skipping marketing-version preflight: project doesn't expose MARKETING_VERSION via agvtool. Set the "
            "Versioning System to Apple Generic to enable this check.");
        return;
    }
    result_.marketingVersion = local;
    Versions versions;
    try {
        versions =
            parts_.client->listAppStoreVersions(parts_.appStoreId, namesOf(config.platform).ascPlatform);
    } catch (const ASCError& error) {
        log(fmt::format(
            "Skipping marketing-version preflight: ASC query failed ({}). If upload fails on version, bump "
            "MARKETING_VERSION manually in Xcode.",
            error.what()));
        return;
    }
    const auto* editable = editableOf(versions);
    if (!editable) {
        requireNotLocked(versions, local);
        log(fmt::format(
            "No editable ASC version yet. Local MARKETING_VERSION is {} — proceeding (you'll need an "
            "editable version on ASC for the build to attach later).",
            local));
        return;
    }
    const std::string wanted = textOf(editable->attributes.versionString);
    if (local == wanted) {
        log(fmt::format("MARKETING_VERSION {} matches the editable ASC version — good.", local));
        return;
    }
    try {
        bumper.setMarketingVersion(wanted);
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        throw Stop(fmt::format(
            "ASC's editable version is {} but the Xcode project still says {}, and the auto-sync "
            "failed: {}\n\nFix: in Xcode → Targets → General, set Version to {}. Then run Build & "
            "Upload again.",
            wanted, local, error.what(), wanted));
    }
    result_.marketingVersion = wanted;
    log(fmt::format("Synced MARKETING_VERSION {} → {} to match the editable ASC version.", local, wanted));
}

void BuildController::requireNotLocked(const Versions& versions, const std::string& local) const {
    for (const auto& version : versions) {
        const std::string state = textOf(version.attributes.appStoreState);
        if (version.attributes.versionString != local || isEditableState(state)) continue;
        throw Stop(fmt::format(
            "Marketing version {0} is locked on App Store Connect (state: {1}) — Apple will reject a new upload at this "
            "number.\n\nFix:\n1. App Store Connect → this app → \"+ Version or Platform\" — create version {2} (or any "
            "number greater than {0}).\n2. In Quorvel's Metadata tab, run \"Pull metadata\" so it picks up the new "
            "editable version.\n3. Run Build & Upload again — the project's MARKETING_VERSION will be auto-synced to "
            "the new number.",
            local, state, nextVersionAfter(local)));
    }
}

void BuildController::incrementBuildNumber(const BuildConfig& config) {
    const XcodeVersionBumper bumper = bumperFor(config);
    std::string next;
    std::optional<std::string> highest;
    try {
        if (!parts_.appStoreId.empty())
            for (const ASCBuildSummary& build : parts_.client->listBuilds(parts_.appStoreId, {}, {200})) {
                const auto& number = build.build.attributes.version;
                if (build.platform == platformOf(config) && number &&
                    (!highest || naturalLess(*highest, *number)))
                    highest = number;
            }
    } catch (const ASCError& error) {
        log(fmt::format("Couldn't query ASC for last build number ({}). Falling back to local+1.",
                        error.what()));
    }
    try {
        const std::string local = bumper.buildNumber();
        const auto afterLocal = nextBuildNumber(local);
        const auto afterHighest = highest ? nextBuildNumber(*highest) : std::nullopt;
        const bool skips = afterHighest && (!afterLocal || naturalLess(*afterLocal, *afterHighest));
        next = skips ? *afterHighest : afterLocal.value_or(local + ".1");
        bumper.setBuildNumber(next);
        log(fmt::format("Bumped CFBundleVersion to {}{}", next,
                        skips ? fmt::format(" (skipped ahead past ASC's existing build #{})", *highest)
                              : ""));
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        remark(fmt::format(
            "Couldn't auto-increment build number: {}. If upload fails on duplicate, set CFBundleVersion "
            "to {} in Xcode and retry.",
            error.what(), next.empty() ? "a higher number" : next));
    }
}

void BuildController::buildAndUpload(const BuildConfig& config) {
    const XcodeVersionBumper bumper = bumperFor(config);
    try { // what the upload will be found by
        result_.buildNumber = bumper.buildNumber();
        if (!result_.marketingVersion) result_.marketingVersion = bumper.marketingVersion();
    } catch (const XcodeVersionError& error) {
        remark(fmt::format("The project does not tell its version: {}", error.what()));
    }
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
    enter(BuildStage::exporting);
    const auto artefact = pipeline.exportArchive(plan, archive, parts_.onLog);
    result_.outcome.ipaURL = artefact.string();
    enter(BuildStage::uploading);
    const TemporaryKeyFolder keys(parts_.temporaryFolder, parts_.key.keyID, parts_.privateKey);
    UploadKey key = parts_.key;
    key.keyFolder = keys.path();
    pipeline.upload(plan, artefact, key, parts_.onLog);
}

void BuildController::awaitProcessing(const AwaitedBuild& awaited) {
    if (awaited.appStoreId.empty()) throw Stop("No App Store ID on this app — cannot poll processing state.");
    const Date deadline = parts_.clock() + parts_.maxProcessingWait;
    const std::string id = awaitIndexing(awaited, deadline);
    log(fmt::format("ASC indexed our new build {} ({}). Polling its state.", awaited.marketingVersion,
                    awaited.buildNumber));
    bool isComplianceAnswered = false; // in the app's property list; a second answer would be refused
    for (;;) {
        const ASCBuildAttributes attributes = parts_.client->getBuild(id).attributes;
        const std::string state = textOf(attributes.processingState);
        isComplianceAnswered = attributes.usesNonExemptEncryption.has_value();
        if (state == "VALID") break;
        if (state == "INVALID" || state == "FAILED") {
            parts_.remember(std::nullopt);
            throw Stop(state == "FAILED"
                           ? "Build marked FAILED"
                           : "Build marked INVALID — likely missing entitlements, code signing, or export "
                             "compliance.");
        }
        pause(deadline);
    }
    result_.readyBuildId = id;
    result_.readyBuildVersion = awaited.buildNumber;
    if (awaited.config.autoDeclareEncryptionExempt && !isComplianceAnswered) declareCompliance();
    if (awaited.config.autoAttachBuildToVersion) attach(awaited.config);
    parts_.remember(std::nullopt);
    log(fmt::format("Build is ready for review (v{}, build {}).", awaited.marketingVersion,
                    awaited.buildNumber));
}

std::string BuildController::awaitIndexing(const AwaitedBuild& awaited, Date deadline) {
    log("Waiting for ASC to index our new build…");
    for (;;) {
        for (const ASCBuildSummary& build :
             parts_.client->listBuilds(awaited.appStoreId, awaited.marketingVersion))
            if (build.build.attributes.version == awaited.buildNumber &&
                build.platform == platformOf(awaited.config))
                return build.build.id;
        pause(deadline);
    }
}

void BuildController::pause(Date deadline) {
    if (parts_.clock() >= deadline)
        throw Stop(fmt::format(
            "Apple processing took longer than expected (over {} min). Check App Store Connect — the "
            "build may still finish.",
            std::chrono::duration_cast<std::chrono::minutes>(parts_.maxProcessingWait).count()));
    try {
        parts_.sleep(static_cast<double>(parts_.pollInterval.count()));
    } catch (const CancellationError&) {
        log("Cancelled while waiting for App Store processing.");
        throw;
    }
}

void BuildController::declareCompliance() {
    try {
        parts_.client->setExportCompliance(*result_.readyBuildId, {.usesNonExemptEncryption = false});
        log(fmt::format(
            "Declared `usesNonExemptEncryption: false` on build {} — TestFlight will no longer show "
            "'Missing Compliance'.",
            *result_.readyBuildVersion));
    } catch (const ASCError& error) {
        remark(fmt::format("Auto-compliance PATCH failed: {} — set it manually in App Store Connect.",
                           error.what()));
    }
}

void BuildController::attach(const BuildConfig& config) {
    enter(BuildStage::attaching);
    try {
        const auto versions =
            parts_.client->listAppStoreVersions(parts_.appStoreId, namesOf(config.platform).ascPlatform);
        const auto* editable = editableOf(versions);
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
