// Where the builds of one app for one platform are made and noted, below the program's own folder.
#pragma once

#include "Platform/files/FileLock.h"
#include "Platform/files/Home.h"
#include "Platform/log/Log.h"
#include "Quorvel/controllers/build/BuildController.h"
#include "Quorvel/controllers/metadata/PushPlan.h"

#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace quorvel {

/// A build that somebody has to go on waiting for.
struct AwaitedBuildOfApp {
    AppReference app;
    AwaitedBuild build;
    QUORVEL_RECORD(AwaitedBuildOfApp, app, build)
    bool operator==(const AwaitedBuildOfApp&) const = default;
};

/// One folder per app and platform, so that several builds at once have nothing to do with each other. A
/// value.
class BuildFolder {
  public:
    /// Throws `std::invalid_argument` for an app without an identifier that can be a folder's name.
    BuildFolder(const Home& home, const AppReference& app, TargetPlatform platform);

    [[nodiscard]] std::filesystem::path workdir() const { return path_ / "work"; }
    [[nodiscard]] std::filesystem::path logs() const { return path_ / "logs"; }

    /// Keeps other processes from building the same, and makes the folder for this user only. Throws
    /// `OperationRefused` while one does, `FileError`.
    [[nodiscard]] FileLock lock() const;

    /// The build that is awaited; nothing, and a line in the log, for a note that cannot be read.
    [[nodiscard]] std::optional<AwaitedBuildOfApp> awaited() const;
    /// Notes the build that is awaited now, or that none is. Throws `FileError`.
    void remember(const std::optional<AwaitedBuild>& build) const;

    /// What is awaited in all folders of this home, newest upload first.
    [[nodiscard]] static std::vector<AwaitedBuildOfApp> allAwaited(const Home& home);

  private:
    std::filesystem::path path_;
    AppReference app_;
    TargetPlatform platform_;
};

} // namespace quorvel
