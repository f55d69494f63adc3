#include "Quorvel/workspace/AppFolder.h"

#include "Core/metadata/BookmarkResolver.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/MetadataTexts.h"
#include "Core/metadata/TreeInPlace.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>

namespace quorvel {

namespace {

using Path = std::filesystem::path;

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

// Without links; what is missing stays as it was written.
Path resolved(const Path& path) {
    std::error_code error;
    Path canonical = std::filesystem::weakly_canonical(std::filesystem::absolute(path), error);
    if (error) canonical = path.lexically_normal();
    return canonical.has_filename() || !canonical.has_relative_path() ? canonical : canonical.parent_path();
}

// Whether `inner` is `outer` or lies in it; both resolved.
bool holds(const Path& outer, const Path& inner) {
    return std::ranges::mismatch(outer, inner).in1 == outer.end();
}

std::optional<Path> folderIfKnown(const ManagedApp& app, const Home& home) {
    try {
        // A stale bookmark is renewed by who uses the folder.
        return resolved(app.metadataFolderBookmark
                            ? BookmarkResolver::resolve(*app.metadataFolderBookmark).url
                            : defaultAppFolder(home, app.slug).rootURL);
    } catch (const MetadataError&) {
        return std::nullopt; // one that is lost is in nobody's way
    }
}

// Also under two spellings, where the file system takes them for the same.
bool isSame(const std::optional<Path>& taken, const Path& path) {
    if (!taken) return false;
    const auto identity = fileIdentity(path);
    return *taken == path || (identity && identity == fileIdentity(*taken));
}

void requireFree(const ManagedApp& app, const MetadataFolder& folder, const Home& home,
                 const AppRecords& apps) {
    const Path path = resolved(folder.rootURL);
    const auto refuse = [&](std::string_view problem) {
        throw MetadataError::folderInUse(folder.rootURL, problem);
    };
    if (holds(path, resolved(home.root))) refuse("holds your home folder, not only the texts of one app");
    for (const ManagedApp& other : apps.all()) {
        if (other.id == app.id) continue;
        const auto taken = folderIfKnown(other, home);
        if (!taken) continue;
        const std::string name = escapeControls(other.displayName);
        if (isSame(taken, path)) refuse(fmt::format("is the metadata folder of {}", name));
        if (holds(*taken, path)) refuse(fmt::format("lies in the metadata folder of {}", name));
        if (holds(path, *taken))
            refuse(fmt::format("holds the metadata folder of {}, {}", name, escapeControls(taken->native())));
    }
    const auto own = folderIfKnown(app, home);
    for (Path outer = path.parent_path(); outer.has_relative_path(); outer = outer.parent_path())
        if (folder.inPlace && hasTreeNote(outer) && !isSame(own, outer))
            refuse(fmt::format("lies in {}, a tree that is worked on in place itself",
                               escapeControls(outer.native())));
}

// What was pulled in the older layout has its copies beside it.
bool wasPulled(const MetadataFolder& folder) {
    return !folder.inPlace && std::ranges::any_of(allPlatforms, [&](ASCPlatform platform) {
        return isFolder({folder.platformFolder(platform).textsFolder(TextSide::pulled)});
    });
}

void logLines(const OlderLayoutReport& report) {
    for (const std::string& line : report.lines())
        logger().warningOnce(line);
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
    return resolved.inPlace ? MetadataFolder{resolved.url, resolved.inPlace} : folderAt(resolved.url);
}

ManagedApp chooseAppFolder(const ManagedApp& app, const MetadataFolder& folder, const Home& home,
                           const AppRecords& apps) {
    requireFree(app, folder, home, apps);
    return keepAppFolder(app, folder, apps);
}

std::optional<ManagedApp> otherAppIn(const MetadataFolder& folder, const ManagedApp& app, const Home& home,
                                     const AppRecords& apps) {
    const Path path = resolved(folder.rootURL);
    for (ManagedApp& other : apps.all())
        if (other.id != app.id && isSame(folderIfKnown(other, home), path)) return std::move(other);
    return std::nullopt;
}

bool holdsOlderLayout(const MetadataFolder& folder) {
    return wasPulled(folder) && !findOlderLayout(folder).moved.empty();
}

void carryOverPulledTree(const MetadataFolder& folder) {
    if (wasPulled(folder)) logLines(carryOverOlderLayout(folder));
}

void tellOlderLayout(const MetadataFolder& folder) {
    if (wasPulled(folder)) logLines(findOlderLayout(folder));
}

ManagedApp keepAppFolder(const ManagedApp& app, const MetadataFolder& folder, const AppRecords& apps) {
    try {
        createFolders(folder.rootURL);
        keepTreeNote(folder);
    } catch (const FileError& error) {
        logger().error(metadataFolderFailedText(escapeControls(folder.rootURL.native()), error.what()));
        throw;
    }
    return storeBookmark(app, BookmarkResolver::bookmark(folder.rootURL, folder.inPlace), apps);
}

} // namespace quorvel
