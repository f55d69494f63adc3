// Where the demo plays: a folder and a stand-in of its own, and a narrator who types commands.
#pragma once

#include "Platform/json/JSON.h"
#include "Programs/quorvel/Invocation.h"
#include "Programs/quorvel/commands/DemoFolder.h"
#include "Sandbox/SandboxServer.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Narration goes to standard output, unless the result is a JSON document.
class DemoStage {
  public:
    /// A command that was typed, and what it ended with.
    struct Step {
        std::string command;
        std::int64_t exitStatus = 0;
        QUORVEL_RECORD(Step, command, exitStatus)
    };

    explicit DemoStage(Invocation& invocation);
    DemoStage(const DemoStage&) = delete;
    DemoStage& operator=(const DemoStage&) = delete;

    void say(std::string_view text);
    [[nodiscard]] std::string styled(Style style, std::string_view text) const;
    /// Thrown by `step` when the person at the terminal has seen enough.
    struct Ended {};

    /// Opens the next part with a numbered title; on a terminal waits for its reader first, unless --yes is
    /// given.
    void step(std::string_view title, std::string_view text);
    /// Says a paragraph, wrapped and moved in a little.
    void tell(std::string_view text);
    /// Says what is good about it, with a word before it.
    void benefit(std::string_view word, std::string_view text);
    /// Runs a command and shows what it prints. Throws `CommandError` when it fails, `CancellationError` when
    /// it is interrupted.
    void command(const std::vector<std::string>& words);

    [[nodiscard]] DemoFolder& folder() { return folder_; }
    [[nodiscard]] sandbox::SandboxServer& server() { return server_; }
    /// Where the commands find the developer tools.
    [[nodiscard]] std::filesystem::path tools() { return folder_.path() / "tools/xcrun"; }
    [[nodiscard]] const std::vector<Step>& steps() const { return steps_; }
    /// What the last command printed.
    [[nodiscard]] const std::string& lastOutput() const { return lastOutput_; }

  private:
    // The lines of a command's output, each moved in a little.
    class Indented {
      public:
        explicit Indented(std::function<void(std::string_view)> sink) : sink_(std::move(sink)) {}
        void write(std::string_view text);

      private:
        std::function<void(std::string_view)> sink_;
        bool atStart_ = true;
    };

    void pause();
    [[nodiscard]] std::size_t innerWidth() const;
    [[nodiscard]] Surroundings innerSurroundings();

    Invocation& invocation_;
    DemoFolder folder_;
    sandbox::SandboxServer server_;
    Indented indented_;
    Surroundings inner_;
    std::vector<Step> steps_;
    std::string lastOutput_;
    int number_ = 0;
};

} // namespace quorvel
