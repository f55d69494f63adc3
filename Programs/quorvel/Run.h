// Runs one command line.
#pragma once

#include "Programs/quorvel/ExitStatus.h"
#include "Programs/quorvel/Surroundings.h"

#include <string>
#include <vector>

namespace quorvel {

/// Reads `words` (without the program's name), runs the command in the current task, and prints its result
/// or its error.
ExitStatus run(const std::vector<std::string>& words, const Surroundings& surroundings);

/// The name and version of the program, as --version prints it.
[[nodiscard]] std::string versionLine();

} // namespace quorvel
