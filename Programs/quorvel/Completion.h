// Scripts with which shells complete command lines of the program.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// The script for "bash", "zsh" or "fish", written from the table of commands.
[[nodiscard]] std::string completionScript(std::string_view shell);

} // namespace quorvel
