// What the program finds around itself: its streams, its environment, its folder. Handed in, so that a
// command line can also be run inside the program with others.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// The terminal that somebody sits at, whatever the standard streams are redirected to.
struct Terminal {
    std::function<void(std::string_view)> write;
    /// The next line that is typed, without its line break; nothing at the end. Obeys the current task.
    std::function<std::optional<std::string>()> readLine;
    std::size_t width = 0; // columns; 0: no bound
};

struct TerminalSize {
    std::size_t columns = 0; // 0: no bound
    std::size_t lines = 0;
    bool operator==(const TerminalSize&) const = default;
};

struct Streams {
    std::function<void(std::string_view)> out;
    std::function<void(std::string_view)> error;
    /// All of standard input. Obeys the current task.
    std::function<std::string()> readAll;
    bool outIsTerminal = false;
    bool errorIsTerminal = false;
    bool takesSequences = true;       // whether the terminal understands colours and moves its cursor
    std::size_t width = 0;            // columns of the terminal; 0: no bound
    std::optional<Terminal> terminal; // where questions are asked; none: nobody can be asked
    /// The size of the results' terminal now, which its user may change.
    std::function<TerminalSize()> currentSize = {};
};

struct Surroundings {
    Streams streams;
    std::function<std::optional<std::string>(std::string_view name)> variable; // of the environment
    std::filesystem::path workingFolder;
    std::filesystem::path program; // how this program was called
};

/// Those of this process.
[[nodiscard]] Surroundings surroundingsOfProcess(std::string_view program);

} // namespace quorvel
