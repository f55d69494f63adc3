#include "Core/metadata/BookmarkResolver.h"

#include "Core/metadata/MetadataError.h"
#include "Platform/files/BirthTime.h"
#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <cstdint>
#include <optional>
#include <system_error>
#include <vector>

namespace quorvel {

namespace {

constexpr int currentVersion = 1;

struct Record {
    int version = 0;
    std::string path;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::optional<std::int64_t> born = {}; // nanoseconds since 1970, where the file system tells
    std::optional<TreeInPlace> tree = {};
    QUORVEL_RECORD(Record, version, path, device, inode, born, tree)
};

Record parse(std::string_view bookmark) {
    try {
        Record record = decodeJSON<Record>(bookmark);
        if (record.version != currentVersion || record.path.empty())
            throw MetadataError::badBookmark("it is of another version");
        return record;
    } catch (const JSONError&) {
        throw MetadataError::badBookmark("it is not one");
    }
}

bool isFolder(const std::filesystem::path& path) {
    std::error_code unreachable;
    return std::filesystem::is_directory(path, unreachable);
}

std::vector<std::filesystem::path> foldersIn(const std::filesystem::path& parent) {
    std::vector<std::filesystem::path> folders;
    try {
        for (const FolderEntry& entry : listFolder(parent).value_or(std::vector<FolderEntry>()))
            if (entry.kind == FolderEntry::Kind::folder) folders.push_back(parent / entry.name);
    } catch (const FileError&) {
        // a place that cannot be searched is one where the folder is not found
    }
    return folders;
}

// Where a folder lands that was renamed, moved one level up, moved beside its parent's siblings, or whose
// parent was renamed.
std::vector<std::filesystem::path> nearby(const std::filesystem::path& path) {
    std::vector<std::filesystem::path> candidates = foldersIn(path.parent_path());
    for (const auto& folder : foldersIn(path.parent_path().parent_path())) {
        candidates.push_back(folder);
        candidates.push_back(folder / path.filename());
    }
    return candidates;
}

} // namespace

std::string BookmarkResolver::bookmark(const std::filesystem::path& folder,
                                       const std::optional<TreeInPlace>& inPlace) {
    const std::filesystem::path path = std::filesystem::absolute(folder).lexically_normal();
    const auto identity = fileIdentity(path);
    if (!identity || !isFolder(path)) throw MetadataError::notAFolder(path);
    return encodeJSON(
        Record{currentVersion, path.native(), identity->device, identity->inode, birthTime(path), inPlace});
}

BookmarkResolver::Resolved BookmarkResolver::resolve(std::string_view bookmark) {
    const Record record = parse(bookmark);
    const std::filesystem::path path = record.path;
    const FileIdentity wanted{record.device, record.inode};
    // The number of a removed folder is given to a new one, so the number alone proves nothing.
    const auto isWanted = [&](const std::filesystem::path& folder) {
        return fileIdentity(folder) == wanted && (!record.born || birthTime(folder) == record.born);
    };
    if (isFolder(path) && fileIdentity(path) == wanted) return {path, false, record.tree};
    for (const auto& candidate : nearby(path))
        if (isWanted(candidate) && isFolder(candidate / ".brevant")) return {candidate, true, record.tree};
    if (isFolder(path)) return {path, true, record.tree};
    throw MetadataError::lostFolder(path);
}

std::optional<std::string> BookmarkResolver::renew(const Resolved& resolved, std::string_view name) {
    if (!resolved.isStale) return std::nullopt;
    std::string fresh = bookmark(resolved.url, resolved.inPlace);
    Logger("BookmarkResolver")
        .info(fmt::format("Wrote fresh bookmark for {} → {}", name, escapeControls(resolved.url.native())));
    return fresh;
}

} // namespace quorvel
