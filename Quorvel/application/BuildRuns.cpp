#include "Quorvel/application/BuildRuns.h"

#include "Core/assistants/MCPHandoff.h"
#include "Core/build/BuildConfigStore.h"
#include "Core/build/ProjectSearch.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/AssistantHandoff.h"
#include "Quorvel/application/RequestDefaults.h"
#include "Quorvel/controllers/build/BuildLog.h"
#include "Quorvel/controllers/metadata/MetadataController.h"
#include "Quorvel/repository/RepositoryFile.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>

namespace quorvel {

namespace {

std::vector<std::string> fileNamesOf(const std::vector<std::filesystem::path>& paths) {
    std::vector<std::string> names;
    std::ranges::transform(paths, std::back_inserter(names),
                           [](const auto& path) { return path.filename().string(); });
    return names;
}

// The project's path as a user may give it, with a slash at its end for example.
std::string requireProjectPath(const Application& application, const std::string& given) {
    std::filesystem::path path = application.absolutePath(given);
    if (!path.has_filename()) path = path.parent_path();
    std::error_code unreachable;
    if (!isProjectName(path))
        throw ApplicationError(FailureKind::badRequest, fmt::format("{} is no project", quotedWord(given)),
                               "A project is a folder named .xcodeproj or .xcworkspace.");
    if (!std::filesystem::is_directory(path, unreachable))
        throw ApplicationError(FailureKind::noProject,
                               fmt::format("there is no project {}", escapeControls(path.string())));
    return path.string();
}

void requireBuildName(std::string_view member, const std::string& value) {
    // A scheme becomes part of the archive's name.
    if (!isSafeName(value) || value.starts_with('-'))
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("{} is no value of \"{}\"", quotedWord(value), member));
}

void applyChanges(const Application& application, const BuildConfigChanges& changes, BuildConfig& config) {
    if (changes.projectPath) {
        std::string path = requireProjectPath(application, *changes.projectPath);
        if (path != config.projectPath) config.scheme.clear(); // it was one of the other project
        config.projectPath = std::move(path);
    }
    const auto take = [](std::string_view member, const std::optional<std::string>& value,
                         std::string& into) {
        if (!value) return;
        requireBuildName(member, *value);
        into = *value;
    };
    take("scheme", changes.scheme, config.scheme);
    take("configuration", changes.configuration, config.configuration);
    take("exportMethod", changes.exportMethod, config.exportMethod);
    config.autoDeclareEncryptionExempt =
        changes.autoDeclareEncryptionExempt.value_or(config.autoDeclareEncryptionExempt);
    config.autoAttachBuildToVersion =
        changes.autoAttachBuildToVersion.value_or(config.autoAttachBuildToVersion);
    config.autoIncrementBuildNumber =
        changes.autoIncrementBuildNumber.value_or(config.autoIncrementBuildNumber);
}

// The quorvel.toml that is about the app, or about whatever is built where nobody says of which app.
const RepositoryFile* repositoryOf(Application& application, const std::optional<ManagedApp>& app) {
    return app ? repositoryFor(application, *app) : application.repository();
}

std::optional<std::string> usualProject(Application& application, const std::optional<ManagedApp>& app) {
    const RepositoryFile* file = repositoryOf(application, app);
    return file ? file->project : std::nullopt;
}

std::optional<TargetPlatform> usualPlatform(Application& application, const std::optional<ManagedApp>& app) {
    const RepositoryFile* file = repositoryOf(application, app);
    const auto context = file && file->context ? parseContextID(*file->context) : std::nullopt;
    if (context)
        for (const TargetPlatform platform : allTargetPlatforms)
            if (namesOf(platform).altoolType == platformFolderName(context->platform)) return platform;
    return std::nullopt;
}

// The working folder says more than the app's metadata folder, which mostly lies elsewhere.
void findProject(Application& application, const std::optional<ManagedApp>& app, ChosenBuildConfig& chosen) {
    std::vector<std::filesystem::path> places = {application.options().workingFolder};
    if (app && !app->id.empty())
        if (const auto folder = application.folderOf(*app)) places.push_back(folder->rootURL);
    for (const std::filesystem::path& place : places) {
        const auto found = projectsAbove(place);
        if (found.size() == 1) {
            chosen.config.projectPath = found.front().string();
            chosen.remarks.push_back(fmt::format("Took the project {}.", chosen.config.projectPath));
            return;
        }
        if (found.size() > 1) {
            chosen.remarks.push_back(fmt::format("There are several projects in {}: {}.",
                                                 found.front().parent_path().string(),
                                                 fmt::join(fileNamesOf(found), ", ")));
            return;
        }
    }
    chosen.remarks.push_back(fmt::format("There is no project in {} or above it.", places.front().string()));
}

void findScheme(const Application& application, ChosenBuildConfig& chosen) {
    try {
        const auto schemes =
            BuildPipeline(application.options().xcrun).listSchemes(chosen.config.projectPath);
        if (schemes.size() == 1) {
            chosen.config.scheme = schemes.front();
            chosen.remarks.push_back(fmt::format("Took the scheme {}, the only one.", chosen.config.scheme));
        } else {
            chosen.remarks.push_back(schemes.empty() ? "The project has no scheme."
                                                     : fmt::format("The project has several schemes: {}.",
                                                                   fmt::join(schemes, ", ")));
        }
    } catch (const BuildError& error) {
        chosen.remarks.push_back(fmt::format("Could not list schemes: {}", error.what()));
    }
}

Credentials uploadCredentials(Application& application, const KeyOwner& owner) {
    try {
        return application.credentials(owner);
    } catch (const std::exception& error) {
        const Failure failure = failureOf(error);
        throw ApplicationError(failure.kind, "ASC credentials missing: " + failure.text,
                               failure.advice.value_or(""));
    }
}

bool isOfTool(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const BuildError& build) {
        return build.kind() == BuildError::Kind::commandFailed ||
               build.kind() == BuildError::Kind::noArtefact;
    } catch (...) {
        return false;
    }
}

// One run with its lock and its log.
class LoggedRun {
  public:
    LoggedRun(Application& application, const AppReference& app, const KeyOwner& owner,
              TargetPlatform platform, const BuildPipeline::LogHandler& onLine)
        : application_(application),
          folder_(application.home(), app, platform),
          lock_(folder_.lock()),
          credentials_(uploadCredentials(application, owner)),
          filter_(credentials_.texts.privateKeyPEM),
          client_(application.client(owner)),
          log_(folder_.logs(), application.clock()),
          onLine_(onLine) {
        report_.app = app;
        report_.platform = platform;
        report_.log = log_.path().string();
    }

    template <typename Work>
    BuildRunReport perform(Work&& work) {
        BuildController::Parts all = parts();
        all.onLog(fmt::format("The log is {}", report_.log), BuildStage::preflight);
        BuildController controller(std::move(all));
        report_.run = work(controller);
        BuildRunResult& run = report_.run;
        if (run.outcome.errorMessage) run.outcome.errorMessage = filter_(*run.outcome.errorMessage);
        for (std::string& remark : run.remarks)
            remark = filter_(remark);
        if (log_.trouble())
            run.remarks.push_back(fmt::format("The log {} is not whole: {}.", report_.log, *log_.trouble()));
        if (controller.failure()) {
            Failure failure = failureOf(controller.failure());
            failure.text = filter_(failure.text);
            if (isOfTool(controller.failure())) report_.causes = log_.causes();
            report_.failure = std::move(failure);
        }
        return std::move(report_);
    }

    [[nodiscard]] std::optional<AwaitedBuildOfApp> awaited() const { return folder_.awaited(); }

  private:
    BuildController::Parts parts() {
        const ApplicationOptions& options = application_.options();
        const auto& key = credentials_.texts;
        const auto before = folder_.awaited();
        return {.client = client_,
                .appStoreId = report_.app.appStoreId,
                .key = {key.keyID, key.issuerID, {}},
                .privateKey = key.privateKeyPEM,
                .xcrun = options.xcrun,
                .temporaryFolder = options.temporaryFolder,
                .workdir = folder_.workdir(),
                .clock = options.clock,
                .sleep = options.sleep,
                .remember = [this](const auto& build) { folder_.remember(build); },
                .awaitedBefore = before ? std::optional(before->build) : std::nullopt,
                .onLog =
                    [this](const std::string& text, BuildStage stage) {
                        const std::string shown = filter_(text);
                        std::string_view rest = shown;
                        for (auto end = rest.find('\n'); end != std::string_view::npos;
                             end = rest.find('\n')) {
                            take(std::string(rest.substr(0, end)), stage);
                            rest.remove_prefix(end + 1);
                        }
                        take(std::string(rest), stage);
                    }};
    }

    void take(const std::string& line, BuildStage stage) {
        log_.add(line, stage);
        onLine_(line, stage);
    }

    Application& application_;
    BuildFolder folder_;
    FileLock lock_;
    Credentials credentials_;
    SecretFilter filter_;
    std::shared_ptr<const ASCClientProtocol> client_;
    BuildLog log_;
    const BuildPipeline::LogHandler& onLine_;
    BuildRunReport report_;
};

} // namespace

std::optional<BuildConfig> buildConfigOf(Application& application, const ManagedApp& app,
                                         TargetPlatform platform, BuildConfigOrigin origin) {
    if (app.id.empty()) return std::nullopt; // it is not recorded
    if (origin == BuildConfigOrigin::settings)
        return BuildConfigStore(application.userDefaults()).load(app.id, platform);
    auto handedOver = MCPBuildConfigStore(mcpFolder(application.home())).load();
    if (!handedOver) return std::nullopt;
    const auto found = handedOver->configs.find(MCPBuildConfigsBlob::keyOf(app.slug, platform));
    if (found == handedOver->configs.end()) return std::nullopt;
    found->second.platform = platform;
    return std::move(found->second);
}

ChosenBuildConfig chooseBuildConfig(Application& application, const std::optional<ManagedApp>& app,
                                    TargetPlatform platform, const BuildConfigChanges& changes,
                                    BuildConfigOrigin origin) {
    const auto saved = app ? buildConfigOf(application, *app, platform, origin) : std::nullopt;
    ChosenBuildConfig chosen{.isHandedOver = origin == BuildConfigOrigin::handedOver};
    if (saved) chosen.config = *saved;
    chosen.config.platform = platform;
    BuildConfigChanges wanted = changes;
    if (!wanted.projectPath && !chosen.isHandedOver) wanted.projectPath = usualProject(application, app);
    applyChanges(application, wanted, chosen.config);
    if (chosen.config.projectPath.empty() && chosen.isHandedOver)
        chosen.remarks.push_back(fmt::format("No build configuration for {} was handed over to assistants.",
                                             namesOf(platform).altoolType));
    else if (chosen.config.projectPath.empty())
        findProject(application, app, chosen);
    if (chosen.config.scheme.empty() && !chosen.config.projectPath.empty()) findScheme(application, chosen);
    chosen.isSaved = saved == chosen.config;
    return chosen;
}

TargetPlatform buildPlatformOf(Application& application, const std::optional<ManagedApp>& app,
                               const std::optional<std::string>& name, BuildConfigOrigin origin) {
    if (name) {
        for (const TargetPlatform platform : allTargetPlatforms)
            if (namesOf(platform).altoolType == *name) return platform;
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("{} is no platform that is built for", quotedWord(*name)),
                               "Builds are made for ios or macos.");
    }
    if (const auto usual = usualPlatform(application, app)) return *usual;
    const auto isSaved = [&](TargetPlatform platform) {
        return app && buildConfigOf(application, *app, platform, origin).has_value();
    };
    const bool isForMac = isSaved(TargetPlatform::macOS) && !isSaved(TargetPlatform::iOS);
    return isForMac ? TargetPlatform::macOS : TargetPlatform::iOS;
}

std::string chooseBuildProject(Application& application, const std::optional<ManagedApp>& app,
                               TargetPlatform platform, const std::optional<std::string>& named) {
    if (const auto project = named ? named : usualProject(application, app))
        return requireProjectPath(application, *project);
    ChosenBuildConfig chosen;
    if (app)
        if (const auto saved = buildConfigOf(application, *app, platform, BuildConfigOrigin::settings))
            chosen.config = *saved;
    if (chosen.config.projectPath.empty()) findProject(application, app, chosen);
    if (chosen.config.projectPath.empty())
        throw ApplicationError(FailureKind::buildNotConfigured, "no project is chosen",
                               chosen.remarks.back());
    return chosen.config.projectPath;
}

bool saveBuildConfig(Application& application, const ManagedApp& app, const BuildConfig& config) {
    const bool differed = BuildConfigStore(application.userDefaults()).save(app.id, config);
    refreshAssistantHandoff(application); // also where only its file is missing
    return differed;
}

BuildRunPlan planBuildRun(Application& application, const LocatedApp& app, const ChosenBuildConfig& chosen) {
    BuildRunPlan plan{.app = referenceOf(app.app),
                      .config = chosen.config,
                      .choices = chosen.remarks,
                      .isHandedOver = chosen.isHandedOver};
    if (plan.config.projectPath.empty() || plan.config.scheme.empty())
        throw ApplicationError(FailureKind::buildNotConfigured,
                               "Build config incomplete — pick project and scheme.",
                               chosen.remarks.empty() ? "" : chosen.remarks.back());
    const BuildFolder folder(application.home(), plan.app, plan.config.platform);
    plan.workdir = folder.workdir().string();
    plan.keyID = uploadCredentials(application, app.owner).texts.keyID;
    if (auto awaited = folder.awaited()) plan.awaited = std::move(awaited->build);
    BuildController controller({.client = application.client(app.owner),
                                .appStoreId = plan.app.appStoreId,
                                .xcrun = application.options().xcrun,
                                .clock = application.clock()});
    plan.numbers = controller.plan(plan.config);
    plan.remarks = controller.remarks();
    return plan;
}

BuildRunReport runBuild(Application& application, const ManagedApp& app, const BuildRunPlan& plan,
                        const BuildPipeline::LogHandler& onLine) {
    requireBuildName("scheme", plan.config.scheme);
    requireBuildName("configuration", plan.config.configuration);
    requireBuildName("exportMethod", plan.config.exportMethod);
    const AppReference reference = referenceOf(app);
    LoggedRun run(application, reference, ownerOf(app), plan.config.platform, onLine);
    const bool isSavedNow = !plan.isHandedOver && saveBuildConfig(application, app, plan.config);
    BuildRunReport report =
        run.perform([&](BuildController& controller) { return controller.run(plan.config, plan.numbers); });
    report.savedConfig = isSavedNow;
    return report;
}

std::vector<AwaitedBuildOfApp> awaitedBuilds(const Application& application) {
    return BuildFolder::allAwaited(application.home());
}

BuildRunReport resumeBuild(Application& application, const KeyOwner& owner, const AwaitedBuildOfApp& awaited,
                           const BuildPipeline::LogHandler& onLine) {
    LoggedRun run(application, awaited.app, owner, awaited.build.config.platform, onLine);
    // Another process may have gone on with it since it was listed.
    if (run.awaited() != awaited)
        throw ApplicationError(FailureKind::stalePlan,
                               "What is awaited has changed since it was listed. List it again.");
    return run.perform([&](BuildController& controller) { return controller.resume(awaited.build); });
}

} // namespace quorvel
