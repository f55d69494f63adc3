// The texts of --help, written from the table of commands.
#pragma once

#include "Programs/quorvel/Command.h"
#include "Programs/quorvel/Output.h"

#include <string>

namespace quorvel {

/// The overview of the program, in lines of at most `width` terminal cells.
[[nodiscard]] std::string helpOfProgram(std::size_t width);
/// The help of a command, or of a group and its members.
[[nodiscard]] std::string helpOf(const Command& command, std::size_t width);
/// Prints the help of a command, or the overview where there is none, in the form of the output.
ExitStatus showHelp(Output& output, const Command* command);

} // namespace quorvel
