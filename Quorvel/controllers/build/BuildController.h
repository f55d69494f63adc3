// A whole build run of one app: from its project to a processed build that is attached to its version.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/build/BuildPipeline.h"
#include "Core/build/XcodeVersionBumper.h"
#include "Platform/task/Task.h"
#include "Platform/time/Date.h"

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// A build whose upload has begun and whose processing is not seen to have ended.
struct AwaitedBuild {
    std::string appStoreId;
    BuildConfig config;
    std::string marketingVersion;
    std::string buildNumber;
    Date uploadedAt;
    bool isUploaded = true; // no: the upload began, and nobody saw its end
    QUORVEL_RECORD(AwaitedBuild, appStoreId, config, marketingVersion, buildNumber, uploadedAt, isUploaded)
    bool operator==(const AwaitedBuild&) const = default;
};

/// A cancellation that left an upload behind, whose processing goes on.
class ProcessingWaitCancelled : public CancellationError {
  public:
    [[nodiscard]] const char* what() const noexcept override {
        return "Cancelled while waiting for App Store processing.";
    }
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
    std::int64_t failedFollowUps = 0; // answers on encryption and attachments that were refused
    QUORVEL_RECORD(BuildRunResult, outcome, marketingVersion, buildNumber, readyBuildVersion, readyBuildId,
                   remarks, failedFollowUps)
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
        std::chrono::seconds maxIndexingWait{10 * 60}; // for an upload whose end nobody saw
        /// Called before the upload, after it, and with nothing once the wait has an end that lasts. An
        /// upload that is refused brings back what was awaited before.
        std::function<void(const std::optional<AwaitedBuild>&)> remember = [](const auto&) {};
        std::optional<AwaitedBuild> awaitedBefore = {};
        BuildPipeline::LogHandler onLog = [](const std::string&, BuildStage) {};
    };

    explicit BuildController(Parts parts) : parts_(std::move(parts)) {}

    /// What `run` would number the build; tells what is not known and changes nothing. Throws `BuildError`.
    [[nodiscard]] BuildNumbers plan(const BuildConfig& config);
    /// Builds, uploads and waits; only as the version of `agreed` where that is given. A failure is part of
    /// the result. Throws `CancellationError`.
    [[nodiscard]] BuildRunResult run(const BuildConfig& config,
                                     const std::optional<BuildNumbers>& agreed = {});
    /// Goes on waiting for a build that an earlier run uploaded. Throws `CancellationError`.
    [[nodiscard]] BuildRunResult resume(const AwaitedBuild& awaited);

    /// What made the last run fail; nothing when it did not.
    [[nodiscard]] const std::exception_ptr& failure() const { return failure_; }
    /// What did not work and did not stop the last run or plan.
    [[nodiscard]] const std::vector<std::string>& remarks() const { return result_.remarks; }

  private:
    using Versions = std::vector<ASCResource<AppStoreVersionAttributes>>;

    void log(const std::string& line);
    void enter(BuildStage stage) { stage_ = stage; }
    void remark(const std::string& line);
    [[nodiscard]] BuildRunResult guarded(const std::function<void()>& work);
    void requireComplete(const BuildConfig& config) const;
    [[nodiscard]] BuildNumbers lookAtNumbers(const BuildConfig& config);
    void followEditable(const BuildConfig& config, BuildNumbers& numbers);
    void requireNotLocked(const Versions& versions, const std::string& local) const;
    void countUp(const BuildConfig& config, BuildNumbers& numbers);
    void setNumbers(const BuildConfig& config, const BuildNumbers& numbers);
    void setMarketingVersion(const BuildConfig& config, const std::string& local, const std::string& wanted);
    void setBuildNumber(const BuildConfig& config, const BuildNumbers& numbers);
    [[nodiscard]] AwaitedBuild buildAndUpload(const BuildConfig& config, const BuildNumbers& numbers);
    void readArchive(const std::filesystem::path& archive, const BuildNumbers& numbers);
    void upload(const BuildPlan& plan, const std::filesystem::path& artefact, AwaitedBuild& awaited);
    void awaitProcessing(const AwaitedBuild& awaited);
    [[nodiscard]] ASCBuildAttributes awaitProcessed(const AwaitedBuild& awaited);
    [[nodiscard]] std::string awaitIndexing(const AwaitedBuild& awaited, Date deadline);
    void pause(Date deadline);
    void keep(const std::optional<AwaitedBuild>& awaited);
    void declareCompliance();
    void attach(const BuildConfig& config);
    [[nodiscard]] XcodeVersionBumper bumperFor(const BuildConfig& config);
    template <typename Ask>
    auto askPatiently(Date deadline, Ask&& ask);

    Parts parts_;
    BuildStage stage_ = BuildStage::preflight;
    BuildRunResult result_;
    std::exception_ptr failure_;
};

/// The version of these that is being prepared; nothing when there is none.
[[nodiscard]] const ASCResource<AppStoreVersionAttributes>*
editableVersionOf(const std::vector<ASCResource<AppStoreVersionAttributes>>& versions);

} // namespace quorvel
