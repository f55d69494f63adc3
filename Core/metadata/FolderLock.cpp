#include "Core/metadata/FolderLock.h"

#include "Core/metadata/MetadataTexts.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

std::string waitingText(const std::optional<FileLock::Holder>& holder, const std::string& folder) {
    if (!holder) return fmt::format("Waiting for another pull or push, which is at work in {}…", folder);
    return fmt::format("Waiting for {} (process {}), which is at work in {}…", holder->what,
                       holder->processID, folder);
}

std::filesystem::path lockOf(const MetadataFolder& folder) {
    return folder.privateFolder() / "lock";
}

} // namespace

bool hasLockFile(const MetadataFolder& folder) {
    std::error_code unreachable;
    return std::filesystem::exists(lockOf(folder), unreachable);
}

FileLock lockFolder(const MetadataFolder& folder, std::string_view what) {
    constexpr double pause = 0.05; // seconds
    const Logger logger("FolderLock");
    const std::string shown = escapeControls(folder.rootURL.native());
    try {
        createFolders(folder.privateFolder());
    } catch (const FileError& error) {
        logger.error(metadataFolderFailedText(shown, error.what()));
        throw;
    }
    const auto file = lockOf(folder);
    bool isTold = false;
    auto lock = FileLock::tryLock(file);
    for (int attempt = 0; !lock; ++attempt, lock = FileLock::tryLock(file)) {
        const auto holder = isTold ? std::nullopt : FileLock::holderOf(file);
        // A holder that came just now gets a moment to say who it is.
        if (!isTold && (holder || attempt > 0)) {
            logger.warning(waitingText(holder, shown));
            isTold = true;
        }
        sleepFor(pause);
    }
    lock->noteHolder(what);
    checkCancellation(); // nothing was begun yet
    return std::move(*lock);
}

} // namespace quorvel
