// The stages of a build: archive, export, upload.
#pragma once

#include "Core/build/BuildConfig.h"
#include "Core/build/BuildError.h"
#include "Platform/log/Log.h"
#include "Platform/process/ProcessRunner.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace quorvel {

/// Where the upload tool finds the key: it takes the file AuthKey_<keyID>.p8 in `keyFolder`.
struct UploadKey {
    std::string keyID;
    std::string issuerID;
    std::filesystem::path keyFolder;
};

inline const std::filesystem::path defaultXcrun = "/usr/bin/xcrun";

/// Archives a project, exports the archive and uploads the artefact with the developer tools, each started
/// through xcrun. Values; safe to use from any thread. Cancelled like every blocking task.
class BuildPipeline {
  public:
    using LogHandler = std::function<void(const std::string& line, BuildStage stage)>;

    explicit BuildPipeline(std::filesystem::path xcrun = defaultXcrun);

    /// The schemes that the project offers. Throws `BuildError`.
    [[nodiscard]] std::vector<std::string> listSchemes(const std::filesystem::path& project) const;

    /// Throws `BuildError` (toolMissing) when the developer tools are missing.
    void preflight(const LogHandler& onLog) const;
    /// The archive. Throws `BuildError`.
    [[nodiscard]] std::filesystem::path archive(const BuildPlan& plan, const LogHandler& onLog) const;
    /// The artefact (.ipa or .pkg) exported from `archive`. Throws `BuildError`.
    [[nodiscard]] std::filesystem::path
    exportArchive(const BuildPlan& plan, const std::filesystem::path& archive, const LogHandler& onLog) const;
    /// Uploads `artefact`. Throws `BuildError`.
    void upload(const BuildPlan& plan, const std::filesystem::path& artefact, const UploadKey& key,
                const LogHandler& onLog) const;

  private:
    ProcessRunner::Result runTool(ProcessRunner::Command command, BuildStage stage,
                                  const LogHandler& onLog) const;

    std::filesystem::path xcrun_;
    Logger logger_;
};

/// "-workspace" for a path that ends in .xcworkspace, else "-project".
[[nodiscard]] std::string projectFlagOf(const std::filesystem::path& project);

} // namespace quorvel
