// Which workspace a command works in.
#pragma once

#include "Core/records/Models.h"
#include "Programs/quorvel/Invocation.h"

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// The workspace of --workspace, else the active one, else the only one there is; nothing when none is
/// meant. Throws `CommandError` when there is none of the name that was given.
[[nodiscard]] std::optional<ManagedWorkspace> currentWorkspace(Invocation& invocation);

/// The workspace with this name or id. Throws `CommandError` that names those there are.
[[nodiscard]] ManagedWorkspace requireWorkspace(Invocation& invocation, std::string_view wanted);

/// The current workspace, for an import: the first one is made by it. Throws `UsageError` when there are
/// several and none is meant.
[[nodiscard]] ManagedWorkspace workspaceForImport(Invocation& invocation);

/// The owner of the key with which a command talks to App Store Connect when no recorded app is concerned.
[[nodiscard]] KeyOwner currentKeyOwner(Invocation& invocation);

/// "quorvel", with the --workspace that leads to the same place as this command's.
[[nodiscard]] std::string callInWorkspace(Invocation& invocation);
/// "quorvel", with the --workspace that leads to the workspace of this name or id.
[[nodiscard]] std::string callInWorkspace(Invocation& invocation, std::string_view wanted);

/// Asks before something goes away, unless --yes answers; says that nothing was changed, as `CommandError`,
/// when the answer is no, and as `UsageError` where nobody can be asked.
void confirmRemoval(Invocation& invocation, std::string_view question);

} // namespace quorvel
