#include "Quorvel/workspace/AppFolder.h"

#include "Core/metadata/BookmarkResolver.h"
#include "Core/metadata/MetadataTexts.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

const Logger& logger() {
    static const Logger logger("AppFolder");
    return logger;
}

// Into the record as it is now: the caller's copy may be old, and what changed since is not to be undone.
ManagedApp storeBookmark(const ManagedApp& app, std::string bookmark, const AppRecords& apps) {
    ManagedApp current;
    apps.together([&] { // another process may change it between the two
        current = apps.find(app.id).value_or(app);
        current.metadataFolderBookmark = std::move(bookmark);
        current = apps.update(std::move(current));
    });
    return current;
}

} // namespace

MetadataFolder appFolderOf(const ManagedApp& app, const Home& home, const AppRecords& apps) {
    if (!app.metadataFolderBookmark) return defaultAppFolder(home, app.slug);
    const BookmarkResolver::Resolved resolved = BookmarkResolver::resolve(*app.metadataFolderBookmark);
    try {
        if (auto fresh = BookmarkResolver::renew(resolved, app.displayName))
            storeBookmark(app, *std::move(fresh), apps);
    } catch (const std::exception& error) {
        // The folder is found all the same; the next one who asks for it tries again.
        logger().warning(
            fmt::format("Could not store the new bookmark of {}: {}", app.displayName, error.what()));
    }
    return {resolved.url};
}

ManagedApp chooseAppFolder(const ManagedApp& app, const MetadataFolder& folder, const AppRecords& apps) {
    try {
        createFolders(folder.rootURL);
    } catch (const FileError& error) {
        logger().error(metadataFolderFailedText(escapeControls(folder.rootURL.native()), error.what()));
        throw;
    }
    return storeBookmark(app, BookmarkResolver::bookmark(folder.rootURL), apps);
}

} // namespace quorvel
