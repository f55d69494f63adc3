// From the words of a command line to a command and its arguments.
#pragma once

#include "Programs/quorvel/Command.h"

#include <string>
#include <vector>

namespace quorvel {

struct ParsedLine {
    const Command* command = nullptr; // null: none was named
    Arguments arguments;              // the global options included
    bool wantsVersion = false;
};

/// Reads the words after the program's name; with `--help` or `--version` nothing else is required. Throws
/// `UsageError` that names the word and the nearest spelling.
[[nodiscard]] ParsedLine parseCommandLine(const std::vector<std::string>& words);

} // namespace quorvel
