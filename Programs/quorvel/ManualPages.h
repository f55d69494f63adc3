// Manual pages, written from the help of the commands.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The manual page of a top-level command with its members, or of the program where `name` is empty, in the
/// man macros of roff.
[[nodiscard]] std::string manualPage(std::string_view name);

/// Writes "quorvel.1" and a page per top-level command, such as "quorvel-push.1", into a folder that is made
/// when it is missing. Returns the files. Throws `FileError`.
[[nodiscard]] std::vector<std::filesystem::path> writeManualPages(const std::filesystem::path& folder);

} // namespace quorvel
