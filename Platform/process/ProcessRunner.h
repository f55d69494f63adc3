// Child processes whose output is read line by line while they run.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A program that could not be started; the text names it and the system's reason.
class ProcessError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

namespace ProcessRunner {

/// Which pipe a line came from.
enum class Stream { standardOutput, standardError };

/// A program to start; no shell is involved.
struct Command {
    std::string executable; // a path; a name without a slash is looked up in PATH
    std::vector<std::string> arguments{};
    std::map<std::string, std::optional<std::string>>
        environment{}; // beside this process's own; nothing: left out
    std::optional<std::filesystem::path> workingFolder{};
    std::string input{};                   // for standard input, which is empty otherwise
    std::chrono::milliseconds grace{1000}; // from SIGTERM to SIGKILL, and for output after the end
};

struct Result {
    std::int32_t exitCode = 0; // 128 and the signal's number when a signal ended the process
    std::optional<int> signal;
    std::string stdoutTail; // the last lines, joined with line feeds
    std::string stderrTail;

    [[nodiscard]] bool succeeded() const { return exitCode == 0; }
    bool operator==(const Result&) const = default;
};

/// Receives a line without its line end. A line above `maxLineBytes` comes in pieces of that size.
using LineHandler = std::function<void(std::string_view line, Stream stream)>;

constexpr std::size_t maxTrailLines = 2000; // the upload tool's verdict spans some hundred lines
constexpr std::size_t maxTrailBytes = 1 << 20;
constexpr std::size_t maxLineBytes = 256 << 10;

/// Runs `command` to its end and calls `onLine`, on this thread, for each line as it arrives. The process
/// gets a process group of its own and no descriptor but the three standard ones. When the current task is
/// cancelled, or `onLine` throws, the whole group is ended: by SIGTERM, and by SIGKILL after `grace`.
/// Returns when the process has exited and its output is read; output that a grandchild keeps open is read
/// for as long again. Throws `ProcessError` when it cannot be started, `CancellationError`, and what
/// `onLine` throws.
Result run(const Command& command, const LineHandler& onLine = {});

} // namespace ProcessRunner

} // namespace quorvel
