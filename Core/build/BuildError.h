// What stops a build.
#pragma once

#include "Core/build/BuildConfig.h"

#include <stdexcept>
#include <string>

namespace quorvel {

/// A stage of a build that failed; the text says what to do.
class BuildError : public std::runtime_error {
  public:
    enum class Kind {
        toolMissing,
        commandFailed,
        noArtefact,
        uploadRefused,
        notConfigured,
        versionLocked,   // on App Store Connect
        versionNotSet,   // of the project, to the one that is being prepared
        planOutdated,    // the build would get another version than was agreed to
        notOnAppStore,   // the app
        buildRejected,   // by the processing
        stillProcessing, // after the longest wait
        uploadUnknown,   // it was cut off, and the build does not show
    };

    /// A tool that is not installed; `text` is the whole message.
    [[nodiscard]] static BuildError toolMissing(std::string text);
    /// A tool that exited with `exitCode`. The errors that matter in `tail` come first, each once, then its
    /// last lines.
    [[nodiscard]] static BuildError commandFailed(BuildStage stage, std::int32_t exitCode, std::string tail);
    [[nodiscard]] static BuildError noArtefact(BuildStage stage, std::string text);
    [[nodiscard]] static BuildError uploadRefused(std::string text);
    /// Any other reason to end a run in `stage`; `text` is the whole message.
    [[nodiscard]] static BuildError stopped(Kind kind, BuildStage stage, std::string text);

    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] BuildStage stage() const { return stage_; }
    [[nodiscard]] std::int32_t exitCode() const { return exitCode_; }
    [[nodiscard]] const std::string& tail() const { return tail_; }

  private:
    BuildError(Kind kind, BuildStage stage, const std::string& text, std::int32_t exitCode = 0,
               std::string tail = {});

    Kind kind_;
    BuildStage stage_;
    std::int32_t exitCode_;
    std::string tail_;
};

} // namespace quorvel
