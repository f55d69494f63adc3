// A whole build run of one app: from its project to a processed build that is attached to its version.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/build/BuildPipeline.h"
#include "Core/build/XcodeVersionBumper.h"
#include "Platform/task/Task.h"
#include "Platform/time/Date.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quorvel {

/// A build that was uploaded and whose processing is not seen to have ended.
struct AwaitedBuild {
    std::string appStoreId;
    BuildConfig config;
    std::string marketingVersion;
    std::string buildNumber;
    Date uploadedAt;
    QUORVEL_RECORD(AwaitedBuild, appStoreId, config, marketingVersion, buildNumber, uploadedAt)
    bool operator==(const AwaitedBuild&) const = default;
};

/// The version and the number of the next build, and what they follow from.
struct BuildNumbers {
    std::optional<std::string> projectVersion; // as the project has it; nothing: it does not tell it
    std::optional<std::string> projectNumber;
    std::optional<std::string> editableVersion;  // that is being prepared on App Store Connect
    std::optional<std::string> highestNumber;    // of the platform's builds on App Store Connect
    std::optional<std::string> marketingVersion; // of the next build
    std::optional<std::string> buildNumber;
    QUORVEL_RECORD(BuildNumbers, projectVersion, projectNumber, editableVersion, highestNumber,
                   marketingVersion, buildNumber)
    bool operator==(const BuildNumbers&) const = default;
};

/// What a build run came to.
struct BuildRunResult {
    BuildOutcome outcome;
    std::optional<std::string> marketingVersion;
    std::optional<std::string> buildNumber;
    std::optional<std::string> readyBuildVersion; // set once App Store Connect has processed the build
    std::optional<std::string> readyBuildId;
    std::vector<std::string> remarks; // what did not work and did not stop the run
    QUORVEL_RECORD(BuildRunResult, outcome, marketingVersion, buildNumber, readyBuildVersion, readyBuildId,
                   remarks)
};

/// Runs the stages of a build in order, tells each line with its stage, and waits until App Store Connect has
/// processed what was uploaded. A value; one run at a time.
class BuildController {
  public:
    struct Parts {
        std::shared_ptr<const ASCClientProtocol> client;
        std::string appStoreId; // empty: the app is not on App Store Connect
        UploadKey key;          // `keyFolder` is filled in for the upload
        std::string privateKey; // the text of the .p8 file
        std::filesystem::path xcrun = defaultXcrun;
        std::filesystem::path temporaryFolder;
        std::filesystem::path workdir;
        Clock clock = systemClock();
        std::function<void(double seconds)> sleep = [](double seconds) { sleepFor(seconds); };
        std::chrono::seconds pollInterval{30};
        std::chrono::seconds maxProcessingWait{60 * 60};
        /// Called after the upload, and with nothing once the wait has an end that lasts.
        std::function<void(const std::optional<AwaitedBuild>&)> remember = [](const auto&) {};
        BuildPipeline::LogHandler onLog = [](const std::string&, BuildStage) {};
    };

    explicit BuildController(Parts parts) : parts_(std::move(parts)) {}

    /// Builds, uploads and waits. A failure is part of the result. Throws `CancellationError`.
    [[nodiscard]] BuildRunResult run(const BuildConfig& config);
    /// Goes on waiting for a build that an earlier run uploaded. Throws `CancellationError`.
    [[nodiscard]] BuildRunResult resume(const AwaitedBuild& awaited);

  private:
    struct Stop; // an error that ends the run, with the user's text

    void log(const std::string& line);
    void enter(BuildStage stage) { stage_ = stage; }
    void remark(const std::string& line);
    [[nodiscard]] BuildRunResult guarded(const std::function<void()>& work);
    void requireComplete(const BuildConfig& config) const;
    void syncMarketingVersion(const BuildConfig& config);
    void requireNotLocked(const std::vector<ASCResource<AppStoreVersionAttributes>>& versions,
                          const std::string& local) const;
    void incrementBuildNumber(const BuildConfig& config);
    void buildAndUpload(const BuildConfig& config);
    void awaitProcessing(const AwaitedBuild& awaited);
    [[nodiscard]] std::string awaitIndexing(const AwaitedBuild& awaited, Date deadline);
    void pause(Date deadline);
    void declareCompliance();
    void attach(const BuildConfig& config);
    [[nodiscard]] XcodeVersionBumper bumperFor(const BuildConfig& config);

    Parts parts_;
    BuildStage stage_ = BuildStage::preflight;
    BuildRunResult result_;
};

} // namespace quorvel
