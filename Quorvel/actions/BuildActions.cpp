#include "Quorvel/actions/BuildActions.h"

#include "Core/asc/services/BuildService.h"
#include "Platform/text/Text.h"
#include "Quorvel/actions/VersionActions.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

// The app that a job on local files may be about: it must be there only when it is named.
template <typename Request>
std::optional<ManagedApp> appOf(Application& application, const Request& request) {
    const AppDirectory directory(application, targetOf(request).choice);
    return request.app ? std::optional(directory.require(*request.app)) : directory.findMeant();
}

BuildPipeline::LogHandler linesTo(const ActionProgress& progress) {
    return [line = progress.line](const std::string& text, BuildStage stage) {
        line({std::string(rawValue(stage)), text});
    };
}

template <typename Request>
ASCBuildSummary requireBuild(const ReachedApp& reached, const Request& request) {
    return chooseBuild(*reached.client, reached.app.appStoreId, buildChoiceOf(request)).build;
}

template <typename Read>
std::optional<std::string> readOrNothing(std::vector<std::string>& remarks, Read&& read) {
    try {
        return read();
    } catch (const XcodeVersionError& error) {
        if (error.kind() == XcodeVersionError::Kind::projectNotFound) throw;
        remarks.emplace_back(error.what());
        return std::nullopt;
    }
}

} // namespace

ListSchemes::Result ListSchemes::perform(Application& application, const Request& request,
                                         const ActionProgress& progress) {
    const auto app = appOf(application, request);
    const auto platform = buildPlatformOf(application, app, request.platform);
    const std::string project = chooseBuildProject(application, app, platform, request.project);
    progress.step({"Listing schemes…", {}, 0});
    return {project, BuildPipeline(application.options().xcrun).listSchemes(project)};
}

ShowBuildConfig::Result ShowBuildConfig::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress) {
    const ManagedApp app = AppDirectory(application, targetOf(request).choice).requireApp();
    const auto platform = buildPlatformOf(application, app, request.platform);
    progress.step({"Listing schemes…", {}, 0});
    return {referenceOf(app), chooseBuildConfig(application, app, platform, {})};
}

SaveBuildConfig::Result SaveBuildConfig::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress) {
    const ManagedApp app = AppDirectory(application, targetOf(request).choice).requireApp();
    const auto platform = buildPlatformOf(application, app, request.platform, request.origin());
    progress.step({"Listing schemes…", {}, 0});
    Result result{referenceOf(app),
                  chooseBuildConfig(application, app, platform, request.config, request.origin())};
    saveBuildConfig(application, app, result.chosen.config);
    result.chosen.isSaved = true;
    return result;
}

PlanBuild::Result PlanBuild::perform(Application& application, const Request& request,
                                     const ActionProgress& progress) {
    const LocatedApp app = AppDirectory(application, targetOf(request).choice).locate();
    const auto platform = buildPlatformOf(application, app.app, request.platform, request.origin());
    progress.step({"Looking at the project…", {}, 0});
    return {
        planBuildRun(application, app,
                     chooseBuildConfig(application, app.app, platform, request.config, request.origin()))};
}

RunBuild::Result RunBuild::perform(Application& application, const Request& request,
                                   const ActionProgress& progress) {
    OpenedApp opened =
        openOrImport(application, {{request.plan.app.appStoreId, request.workspace}, std::nullopt});
    return {runBuild(application, opened.app, request.plan, linesTo(progress)), std::move(opened.imported)};
}

ListAwaitedBuilds::Result ListAwaitedBuilds::perform(Application& application, const Request& request,
                                                     const ActionProgress&) {
    const auto app =
        request.app ? AppDirectory(application, targetOf(request).choice).find(*request.app) : std::nullopt;
    const auto platform =
        request.platform ? std::optional(buildPlatformOf(application, app, request.platform)) : std::nullopt;
    Result result{awaitedBuilds(application)};
    std::erase_if(result.awaited, [&](const AwaitedBuildOfApp& awaited) {
        const bool isOther = app ? awaited.app.appStoreId != app->appStoreId
                                 : request.app && awaited.app.bundleId != *request.app &&
                                       awaited.app.appStoreId != *request.app;
        return isOther || (platform && awaited.build.config.platform != *platform);
    });
    return result;
}

ResumeBuild::Result ResumeBuild::perform(Application& application, const Request& request,
                                         const ActionProgress& progress) {
    const LocatedApp app =
        AppDirectory(application, {request.plan.app.appStoreId, request.workspace}).locate();
    return {resumeBuild(application, app.owner, request.plan, linesTo(progress))};
}

BumpVersion::Result BumpVersion::perform(Application& application, const Request& request,
                                         const ActionProgress&) {
    if (request.version) requireVersionNumber(*request.version);
    if (request.number) requireVersionNumber(*request.number);
    if (request.number && request.increment)
        throw ApplicationError(FailureKind::badRequest, "a build number is either set or counted up");
    const auto app = appOf(application, request);
    const auto platform = buildPlatformOf(application, app, request.platform);
    Result result{.project = chooseBuildProject(application, app, platform, request.project)};
    const XcodeVersionBumper bumper(result.project, application.options().xcrun,
                                    [&](const std::string& line) { result.remarks.push_back(line); });
    const auto read = [&] {
        return ProjectVersion{readOrNothing(result.remarks, [&] { return bumper.marketingVersion(); }),
                              readOrNothing(result.remarks, [&] { return bumper.buildNumber(); })};
    };
    BuildPipeline(application.options().xcrun).preflight([](const std::string&, BuildStage) {});
    result.before = result.after = read();
    if (request.version) result.after.marketingVersion = request.version;
    if (request.number) result.after.buildNumber = request.number;
    const bool countsUp = request.increment || (!request.version && !request.number);
    if (countsUp) result.after.buildNumber = nextBuildNumber(result.before.buildNumber.value_or(""));
    if (request.dryRun) return result;
    if (request.version && result.before.marketingVersion != request.version)
        bumper.setMarketingVersion(*request.version);
    if (request.number && result.before.buildNumber != request.number) bumper.setBuildNumber(*request.number);
    if (countsUp) result.after.buildNumber = bumper.bumpBuildNumber();
    return result;
}

PlanBuildAttachment::Result PlanBuildAttachment::perform(Application& application, const Request& request,
                                                         const ActionProgress&) {
    const ReachedApp reached = reach(application, targetOf(request));
    Result result{{.app = reached.app, .build = requireBuild(reached, request)}};
    BuildAttachmentPlan& plan = result.plan;
    const auto versions = reached.client->listAppStoreVersions(
        reached.app.appStoreId, fromRawValue<ASCPlatform>(plan.build.platform.value_or("")));
    const auto* editable = editableVersionOf(versions);
    if (!editable)
        throw ApplicationError(FailureKind::noEditableVersion,
                               fmt::format("no version is being prepared that build {} could be attached to",
                                           nameOf(plan.build)));
    plan.versionID = editable->id;
    plan.versionString = editable->attributes.versionString.value_or("");
    if (plan.versionString != plan.build.marketingVersion)
        throw ApplicationError(FailureKind::stateRefused,
                               fmt::format("build {} is of another version than {}, which is being prepared",
                                           nameOf(plan.build), escapeControls(plan.versionString)),
                               "A version takes builds of its own number.");
    return result;
}

AttachBuild::Result AttachBuild::perform(Application& application, const Request& request,
                                         const ActionProgress&) {
    const ReachedApp reached = reachPlanned(application, request.plan.app, request.workspace);
    reached.client->attachBuild(request.plan.versionID, request.plan.build.build.id);
    return {request.plan};
}

PlanComplianceAnswer::Result PlanComplianceAnswer::perform(Application& application, const Request& request,
                                                           const ActionProgress&) {
    const ReachedApp reached = reach(application, targetOf(request));
    Result result{{.app = reached.app,
                   .build = requireBuild(reached, request),
                   .usesNonExemptEncryption = request.usesNonExemptEncryption}};
    const auto& given = result.plan.build.build.attributes.usesNonExemptEncryption;
    if (given && *given != request.usesNonExemptEncryption)
        throw ApplicationError(
            FailureKind::stateRefused,
            fmt::format("the question on encryption was answered for build {} already: it uses {} encryption",
                        nameOf(result.plan.build), *given ? "non-exempt" : "only exempt"),
            "App Store Connect takes one answer for each build; another one needs another build.");
    return result;
}

AnswerCompliance::Result AnswerCompliance::perform(Application& application, const Request& request,
                                                   const ActionProgress&) {
    const ReachedApp reached = reachPlanned(application, request.plan.app, request.workspace);
    Result result{request.plan};
    auto& attributes = result.answered.build.build.attributes;
    BuildService(*reached.client)
        .answerCompliance(result.answered.build.build.id, result.answered.usesNonExemptEncryption
                                                              ? Encryption::notExempt
                                                              : Encryption::exempt);
    attributes.usesNonExemptEncryption = result.answered.usesNonExemptEncryption;
    return result;
}

} // namespace quorvel
