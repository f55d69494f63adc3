// What a folder holds that a quorvel.toml could name.
#pragma once

#include "Platform/json/JSON.h"

#include <filesystem>
#include <string>
#include <vector>

namespace quorvel {

/// Absolute paths, those near the top first.
struct RepositoryParts {
    std::vector<std::string> trees;       // of store texts, of this program or another
    std::vector<std::string> screenshots; // folders named so, with pictures of locales
    std::vector<std::string> projects;    // a workspace in place of the projects beside it
    QUORVEL_RECORD(RepositoryParts, trees, screenshots, projects)
};

/// Looks some levels deep, into no hidden folder, none of dependencies and none of builds. What cannot be
/// read is passed over.
[[nodiscard]] RepositoryParts findRepositoryParts(const std::filesystem::path& folder);

} // namespace quorvel
