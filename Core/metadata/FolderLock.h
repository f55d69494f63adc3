// One process at a time changes a metadata tree.
#pragma once

#include "Core/metadata/MetadataFolder.h"
#include "Platform/files/FileLock.h"

#include <string_view>

namespace quorvel {

/// Waits until nobody else pulls into, pushes from or rewrites the tree of `folder`, and keeps others waiting
/// while the lock lives; a wait is told once in the log, with the holder's name where it is known. `what` is
/// what others are told, such as "a push". Makes the tree's private folder when missing. Two that overlap
/// would undo each other: a pull could bring back a text that was read before the push which replaced it.
/// Throws `FileError` when the folder cannot be made or locked, and `CancellationError`.
///
/// An app's root and each of its contexts are trees with turns of their own. Whoever needs both takes the
/// app's first; with one order for all, no two can wait for each other. A turn that is held is not to be
/// taken again, not even by the same thread.
[[nodiscard]] FileLock lockFolder(const MetadataFolder& folder, std::string_view what = "a change");

/// Whether anybody ever took the tree's turn. Who may write nothing, not even a lock, need not wait
/// otherwise.
[[nodiscard]] bool hasLockFile(const MetadataFolder& folder);

} // namespace quorvel
