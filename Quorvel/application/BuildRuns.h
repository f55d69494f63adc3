// Whole build runs of an app: what one would do, doing it, and going on with one that was cut off.
//
// Everything that asks for a build uses these functions. Nothing of a run's progress is kept but the build
// whose processing is awaited; the rest is read back from the project and from App Store Connect.
#pragma once

#include "Quorvel/application/AppDirectory.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/controllers/build/BuildFolder.h"

#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// What a user wants otherwise than the build configuration has it.
struct BuildConfigChanges {
    std::optional<std::string> projectPath;
    std::optional<std::string> scheme;
    std::optional<std::string> configuration;
    std::optional<std::string> exportMethod;
    std::optional<bool> autoDeclareEncryptionExempt;
    std::optional<bool> autoAttachBuildToVersion;
    std::optional<bool> autoIncrementBuildNumber;
    QUORVEL_RECORD(BuildConfigChanges, projectPath, scheme, configuration, exportMethod,
                   autoDeclareEncryptionExempt, autoAttachBuildToVersion, autoIncrementBuildNumber)
    bool operator==(const BuildConfigChanges&) const = default;
    static constexpr JSONMember members[] = {
        {"projectPath", "The .xcodeproj or .xcworkspace."},
        {"scheme", "The scheme to archive."},
        {"configuration", "The build configuration, such as Release."},
        {"exportMethod", "The method of the export options, such as app-store."},
        {"autoDeclareEncryptionExempt", "Declare after the upload that the build uses no encryption that "
                                        "needs a declaration."},
        {"autoAttachBuildToVersion", "Attach the processed build to the version that is being prepared."},
        {"autoIncrementBuildNumber", "Give the build the next build number before archiving."}};
};

/// How an app is built for a platform.
struct ChosenBuildConfig {
    BuildConfig config;
    bool isSaved = false;             // as it is here
    bool isHandedOver = false;        // and not read from the settings
    std::vector<std::string> remarks; // how the first values were found, and what is still to be chosen
    QUORVEL_RECORD(ChosenBuildConfig, config, isSaved, isHandedOver, remarks)
};

/// Which build configurations count.
enum class BuildConfigOrigin {
    settings,   // those that the user saved
    handedOver, // what assistants were told of them
};

/// The configuration of an app's platform; nothing where there is none.
[[nodiscard]] std::optional<BuildConfig> buildConfigOf(Application& application, const ManagedApp& app,
                                                       TargetPlatform platform, BuildConfigOrigin origin);

/// The platform of this name ("ios", "macos"); when it is left out that of the repository, else the one
/// that the app's only configuration is for, else iOS. Throws `ApplicationError`.
[[nodiscard]] TargetPlatform buildPlatformOf(Application& application, const std::optional<ManagedApp>& app,
                                             const std::optional<std::string>& name,
                                             BuildConfigOrigin origin = BuildConfigOrigin::settings);

/// The project that is named, by the request or the repository, that is saved for the app, or that is found
/// as below. Throws `ApplicationError`.
[[nodiscard]] std::string chooseBuildProject(Application& application, const std::optional<ManagedApp>& app,
                                             TargetPlatform platform,
                                             const std::optional<std::string>& named);

/// The saved configuration of an app's platform with `changes` and the repository's project; where none is
/// saved, first values: the only project at or above the working folder, else the app's metadata folder, and
/// its only scheme. Of what was handed over only the scheme is looked for. Asks the developer tools for the
/// schemes at most. Throws `ApplicationError` for a value that cannot be used.
[[nodiscard]] ChosenBuildConfig chooseBuildConfig(Application& application,
                                                  const std::optional<ManagedApp>& app,
                                                  TargetPlatform platform, const BuildConfigChanges& changes,
                                                  BuildConfigOrigin origin = BuildConfigOrigin::settings);
/// Saves the configuration for the app and its platform; whether it differed. Throws `FileError`.
bool saveBuildConfig(Application& application, const ManagedApp& app, const BuildConfig& config);
inline constexpr std::string_view buildConfigSavedText =
    "Build configuration auto-saved for this app + platform.";

/// What a build run would do.
struct BuildRunPlan {
    AppReference app;
    BuildConfig config;
    BuildNumbers numbers;
    std::string workdir;                 // where the archive and the artefact would lie
    std::string keyID;                   // of the key that would upload
    std::vector<std::string> choices;    // what was chosen by itself, as nothing was saved
    std::vector<std::string> remarks;    // what is not known or could go wrong
    std::optional<AwaitedBuild> awaited; // an earlier build that nobody would wait for any more
    bool isHandedOver = false;           // the configuration was, and the settings stay as they are
    QUORVEL_RECORD(BuildRunPlan, app, config, numbers, workdir, keyID, choices, remarks, awaited,
                   isHandedOver)
};

/// What a build run came to.
struct BuildRunReport {
    AppReference app;
    TargetPlatform platform = TargetPlatform::iOS;
    BuildRunResult run;
    std::vector<std::string> causes; // the lines of the tools' output that say why it failed, each once
    std::optional<Failure> failure;
    std::string log;          // the file with all that was printed
    bool savedConfig = false; // the configuration differed from what was saved
    QUORVEL_RECORD(BuildRunReport, app, platform, run, causes, failure, log, savedConfig)
};

/// Plans a run; changes nothing. Throws `BuildError` (a configuration that is not complete, a version that is
/// locked, missing tools), what the credentials and the client throw.
[[nodiscard]] BuildRunPlan planBuildRun(Application& application, const LocatedApp& app,
                                        const ChosenBuildConfig& chosen);

/// Builds, uploads, waits for the processing and does what the configuration wants then. `onLine` is told
/// each line as it arrives, on this thread. A run that fails is a report with a failure. Throws
/// `ApplicationError` (operationRunning while another process builds the same app for the platform, stalePlan
/// when the build would get another version than the plan says), `FileError`, `CancellationError`.
[[nodiscard]] BuildRunReport runBuild(Application& application, const ManagedApp& app,
                                      const BuildRunPlan& plan, const BuildPipeline::LogHandler& onLine);

/// Those of all apps and platforms of this home, newest first. Asks nobody.
[[nodiscard]] std::vector<AwaitedBuildOfApp> awaitedBuilds(const Application& application);

/// Goes on with a build whose run was cut off after its upload began: like the rest of `runBuild`.
[[nodiscard]] BuildRunReport resumeBuild(Application& application, const KeyOwner& owner,
                                         const AwaitedBuildOfApp& awaited,
                                         const BuildPipeline::LogHandler& onLine);

} // namespace quorvel
