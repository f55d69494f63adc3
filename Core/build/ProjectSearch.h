// Finding the Xcode project that somebody works on.
#pragma once

#include <filesystem>
#include <vector>

namespace quorvel {

/// The workspaces or projects of the nearest folder, from `start` upwards to the top of its repository, that
/// has any. A workspace goes before the projects beside it; those of dependencies (Pods) count as none. Only
/// one of them is the project that is meant.
[[nodiscard]] std::vector<std::filesystem::path> projectsAbove(const std::filesystem::path& start);

/// Whether the path is named as a project or a workspace.
[[nodiscard]] bool isProjectName(const std::filesystem::path& path);

} // namespace quorvel
