#include "Quorvel/actions/GitIgnoreAdvice.h"

#include "Core/build/notes/GitRepoReader.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

// Without running git, which most folders need not.
bool liesBesideGit(std::filesystem::path folder) {
    std::error_code unreachable;
    for (folder = std::filesystem::weakly_canonical(folder, unreachable); folder.has_relative_path();
         folder = folder.parent_path())
        if (std::filesystem::exists(folder / ".git", unreachable)) return true;
    return false;
}

} // namespace

std::string GitIgnoreAdvice::text() const {
    return fmt::format(
        "git would take the private folder {} into the repository. Write the line \"{}\" into {}.",
        line.substr(0, line.find('/')), line, escapeControls(file));
}

std::optional<GitIgnoreAdvice> gitIgnoreAdvice(const MetadataFolder& appFolder) {
    if (!appFolder.inPlace || !liesBesideGit(appFolder.rootURL)) return std::nullopt;
    try {
        const GitRepoReader git;
        const std::string name = appFolder.privateFolder().filename().string();
        // The slash says that it is a folder, also where it does not exist yet.
        if (git.ignores(appFolder.rootURL, name + "/")) return std::nullopt;
        return GitIgnoreAdvice{(git.findRoot(appFolder.rootURL) / ".gitignore").string(), name + "/"};
    } catch (const GitRepoError&) {
        return std::nullopt;
    }
}

} // namespace quorvel
