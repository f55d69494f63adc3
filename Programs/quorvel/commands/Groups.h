// The groups of commands, in the order of the help. A command stands in the table of its group.
#pragma once

#include "Programs/quorvel/Command.h"

#include <vector>

namespace quorvel {

[[nodiscard]] std::vector<Command> authCommands();
[[nodiscard]] std::vector<Command> appCommands();
[[nodiscard]] std::vector<Command> versionCommands();
[[nodiscard]] std::vector<Command> pullCommands();
[[nodiscard]] std::vector<Command> compareCommands();
[[nodiscard]] std::vector<Command> pushCommands();
[[nodiscard]] std::vector<Command> treeCommands();
[[nodiscard]] std::vector<Command> screenshotCommands();
[[nodiscard]] std::vector<Command> demoCommands();
[[nodiscard]] std::vector<Command> sandboxCommands();
[[nodiscard]] std::vector<Command> shellCommands();

inline constexpr std::vector<Command> (*commandGroups[])() = {
    authCommands, appCommands,        versionCommands, pullCommands,    compareCommands, pushCommands,
    treeCommands, screenshotCommands, demoCommands,    sandboxCommands, shellCommands,
};

} // namespace quorvel
