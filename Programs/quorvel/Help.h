// The texts of --help, written from the table of commands.
#pragma once

#include "Programs/quorvel/Command.h"
#include "Programs/quorvel/Output.h"

#include <string>

namespace quorvel {

/// The overview of the program.
[[nodiscard]] std::string helpOfProgram();
/// The help of a command, or of a group and its members.
[[nodiscard]] std::string helpOf(const Command& command);
/// Prints the help of a command, or the overview where there is none, in the form of the output.
ExitStatus showHelp(Output& output, const Command* command);

} // namespace quorvel
