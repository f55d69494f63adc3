// Tells when a git repository would take the demo account's password.
#pragma once

#include "Core/metadata/MetadataFolder.h"

#include <optional>
#include <string>

namespace quorvel {

struct ExposedSecret {
    std::string file;
    std::string text; // what to tell the user, and what to do
};

/// The password's file, its pulled copy or a backup of one, that lies in a git working tree whose rules do
/// not leave it out; of a tree with a folder per platform also the file beside those. Nothing where there is
/// no password, no working tree, no git, or it is left out.
[[nodiscard]] std::optional<ExposedSecret> exposedSecret(const MetadataFolder& contextFolder);

} // namespace quorvel
