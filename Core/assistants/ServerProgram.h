// Where the assistant server's executable lies.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

namespace quorvel {

struct ServerProgram {
    std::optional<std::filesystem::path> path;   // absolute
    std::vector<std::filesystem::path> searched; // in order
};

/// Looks for "quorvel-mcp" beside `program`, which must be absolute, then beside what each of its symbolic
/// links leads to: the path that the user calls survives an update, that of a versioned folder does not.
[[nodiscard]] ServerProgram findServerProgram(const std::filesystem::path& program);

} // namespace quorvel
