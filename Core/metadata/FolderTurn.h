// One process at a time changes a metadata tree.
#pragma once

#include "Core/metadata/MetadataFolder.h"
#include "Platform/files/FileLock.h"

namespace quorvel {

/// Waits until nobody else pulls into, pushes from or rewrites the tree of `folder`, and keeps others waiting
/// while the lock lives; says once in the log that it waits. Makes the tree's private folder when missing.
/// Two that overlap would undo each other: a pull could bring back a text that was read before the push which
/// replaced it. Throws `FileError` when the folder cannot be made or locked, and `CancellationError`.
[[nodiscard]] FileLock takeTurn(const MetadataFolder& folder);

} // namespace quorvel
