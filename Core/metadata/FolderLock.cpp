#include "Core/metadata/FolderLock.h"

#include "Core/metadata/MetadataTexts.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

std::filesystem::path lockOf(const MetadataFolder& folder) {
    return folder.privateFolder() / "lock";
}

} // namespace

bool hasLockFile(const MetadataFolder& folder) {
    std::error_code unreachable;
    return std::filesystem::exists(lockOf(folder), unreachable);
}

FileLock lockFolder(const MetadataFolder& folder, std::string_view what,
                    const std::function<void(const FolderLockWait&)>& onWait) {
    constexpr double pause = 0.05; // seconds
    try {
        createFolders(folder.privateFolder());
    } catch (const FileError& error) {
        Logger("FolderLock")
            .error(metadataFolderFailedText(escapeControls(folder.rootURL.native()), error.what()));
        throw;
    }
    const auto file = lockOf(folder);
    std::optional<FolderLockWait> reported;
    auto lock = FileLock::tryLock(file);
    for (int attempt = 0; !lock; ++attempt, lock = FileLock::tryLock(file)) {
        const auto holder = FileLock::holderOf(file);
        const FolderLockWait wait{folder.rootURL, holder ? holder->what : "", holder ? holder->processID : 0};
        // A new holder gets a moment to say who it is.
        if (holder ? wait != reported : !reported && attempt > 0) {
            if (onWait) onWait(wait);
            reported = wait;
        }
        sleepFor(pause);
    }
    lock->noteHolder(what);
    checkCancellation(); // nothing was begun yet
    return std::move(*lock);
}

std::string waitingText(const FolderLockWait& wait) {
    const std::string folder = escapeControls(wait.folder.native());
    if (wait.what.empty())
        return fmt::format("Waiting for another pull or push, which is at work in {}…", folder);
    return fmt::format("Waiting for {} (process {}), which is at work in {}…", wait.what, wait.processID,
                       folder);
}

} // namespace quorvel
