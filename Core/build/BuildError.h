// What stops a build.
#pragma once

#include "Core/build/BuildTypes.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace quorvel {

/// A stage of a build that failed; the text says what to do.
class BuildError : public std::runtime_error {
  public:
    enum class Kind { toolMissing, commandFailed, noArtefact, uploadRefused, notConfigured };

    /// A tool that is not installed; `text` is the whole message.
    [[nodiscard]] static BuildError toolMissing(std::string text);
    /// A tool that exited with `exitCode`. The errors that matter in `tail` come first, each once, then its
    /// last lines.
    [[nodiscard]] static BuildError commandFailed(BuildStage stage, std::int32_t exitCode, std::string tail);
    [[nodiscard]] static BuildError noArtefact(BuildStage stage, std::string text);
    [[nodiscard]] static BuildError uploadRefused(std::string text);
    [[nodiscard]] static BuildError notConfigured(std::string text);

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

/// The lines of a tool's output without the white space around them.
[[nodiscard]] std::vector<std::string_view> linesOf(std::string_view output);

/// The lines of a tool's output that name a cause (errors, signing, provisioning), each once, in order; at
/// most `limit`.
[[nodiscard]] std::vector<std::string> causesIn(std::string_view output, std::size_t limit = 20);

/// The last `count` lines of `text`, joined with line feeds.
[[nodiscard]] std::string lastLines(std::string_view text, std::size_t count);

} // namespace quorvel
