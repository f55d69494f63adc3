// What to tell git about the private folder of a tree in place.
#pragma once

#include "Core/metadata/MetadataFolder.h"
#include "Platform/json/JSON.h"

#include <optional>
#include <string>

namespace quorvel {

/// A line that the user should write, as the private folder would else become a part of the repository.
struct GitIgnoreAdvice {
    std::string file; // such as /home/me/app/.gitignore
    std::string line; // ".brevant/"
    QUORVEL_RECORD(GitIgnoreAdvice, file, line)

    /// The same for people, in one sentence.
    [[nodiscard]] std::string text() const;
    bool operator==(const GitIgnoreAdvice&) const = default;
};

/// The advice for an app's folder; nothing where that is no tree in place, lies in no git working tree, git
/// leaves the private folder out already, or cannot be asked. Runs git.
[[nodiscard]] std::optional<GitIgnoreAdvice> gitIgnoreAdvice(const MetadataFolder& appFolder);

} // namespace quorvel
