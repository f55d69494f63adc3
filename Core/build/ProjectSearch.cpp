#include "Core/build/ProjectSearch.h"

#include "Platform/files/Files.h"

#include <algorithm>

namespace quorvel {

namespace {

bool isOfDependencies(const std::filesystem::path& name) {
    return name.stem() == "Pods";
}

} // namespace

bool isProjectName(const std::filesystem::path& path) {
    return path.extension() == ".xcodeproj" || path.extension() == ".xcworkspace";
}

std::vector<std::filesystem::path> projectsAbove(const std::filesystem::path& start) {
    for (std::filesystem::path folder = start.lexically_normal();; folder = folder.parent_path()) {
        std::vector<std::filesystem::path> workspaces;
        std::vector<std::filesystem::path> projects;
        bool isTop = !folder.has_relative_path();
        // A project holds a workspace of its own, which is no other project.
        if (!isProjectName(folder) && !isOfDependencies(folder)) {
            std::vector<FolderEntry> entries;
            try {
                entries = listFolder(folder).value_or(std::vector<FolderEntry>{});
            } catch (const FileError&) { // of another user; nothing of ours is above it
                return {};
            }
            for (const FolderEntry& entry : entries) {
                isTop = isTop || entry.name == ".git";
                if (!isProjectName(entry.name) || isOfDependencies(entry.name)) continue;
                (entry.name.ends_with(".xcworkspace") ? workspaces : projects).push_back(folder / entry.name);
            }
        }
        if (!workspaces.empty()) return workspaces;
        if (!projects.empty() || isTop) return projects;
    }
}

} // namespace quorvel
