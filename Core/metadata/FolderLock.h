// One process at a time changes an app's metadata folder.
#pragma once

#include "Core/metadata/MetadataFolder.h"
#include "Platform/files/FileLock.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace quorvel {

/// Somebody else holds the lock of a folder.
struct FolderLockWait {
    std::filesystem::path folder;
    std::string what;           // such as "a push"; empty when the holder does not say
    std::int64_t processID = 0; // 0 when the holder does not say
    bool operator==(const FolderLockWait&) const = default;
};

/// Acquires the lock of an app's root folder, which covers all its contexts; waits while somebody else holds
/// it. `what` is what others are told, such as "a push". `onWait` is called once when the lock is held by
/// another, and again when the holder changes. Makes the private folder when it is missing. A lock that is
/// held must not be acquired again, not even by the same thread. Throws `FileError` when the folder cannot be
/// made or locked, and `CancellationError`.
///
/// The operations of `Core` acquire no lock: their callers hold it. Without it, a pull could bring back a
/// text that was read before the push which replaced it.
[[nodiscard]] FileLock lockFolder(const MetadataFolder& folder, std::string_view what = "a change",
                                  const std::function<void(const FolderLockWait&)>& onWait = {});

/// True once a lock file exists. A dry run, which may write nothing, need not wait otherwise.
[[nodiscard]] bool hasLockFile(const MetadataFolder& folder);

/// The words for a wait.
[[nodiscard]] std::string waitingText(const FolderLockWait& wait);

} // namespace quorvel
