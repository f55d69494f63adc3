// Tells when a git repository would take the demo account's password.
#pragma once

#include "Core/metadata/MetadataFolder.h"

#include <optional>
#include <string>

namespace quorvel {

/// What to tell the user: that the password's file, or its pulled copy, lies in a git working tree whose
/// rules do not leave it out, and what to do. Nothing where there is no password, no working tree, or it is
/// left out. Where git cannot be asked, it counts as taken.
[[nodiscard]] std::optional<std::string> exposedSecretText(const MetadataFolder& contextFolder);

} // namespace quorvel
