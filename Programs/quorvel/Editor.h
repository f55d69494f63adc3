// Lets the user edit a file.
#pragma once

#include "Programs/quorvel/Invocation.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The words of a command as it stands in a variable such as EDITOR, separated by blanks; quotation marks and
/// backslashes keep blanks together. Nothing is expanded, and no shell is involved.
[[nodiscard]] std::vector<std::string> commandWordsOf(std::string_view command);

/// Runs the program that VISUAL or EDITOR names, else vi, over `file` and waits for its end; whether it ended
/// well. Throws `CommandError` where there is none, or it cannot be started, and `CancellationError`.
[[nodiscard]] bool editFile(const Invocation& invocation, const std::filesystem::path& file);

} // namespace quorvel
