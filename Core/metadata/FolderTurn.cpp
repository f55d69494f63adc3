#include "Core/metadata/FolderTurn.h"

#include "Core/metadata/MetadataTexts.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

FileLock takeTurn(const MetadataFolder& folder) {
    constexpr double pause = 0.05; // seconds
    const Logger logger("FolderTurn");
    const std::string shown = escapeControls(folder.rootURL.native());
    try {
        createFolders(folder.privateFolder());
    } catch (const FileError& error) {
        logger.error(metadataFolderFailedText(shown, error.what()));
        throw;
    }
    const auto file = folder.privateFolder() / "lock";
    auto lock = FileLock::tryLock(file);
    if (!lock) logger.warning(fmt::format("Waiting for another pull or push at work in {}…", shown));
    for (; !lock; lock = FileLock::tryLock(file))
        sleepFor(pause);
    checkCancellation(); // nothing was begun yet
    return std::move(*lock);
}

} // namespace quorvel
