#include "Core/build/TemporaryKeyFolder.h"

#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace quorvel {

namespace {

constexpr std::string_view folderPrefix = "brevant-asc-key-";
constexpr std::string_view lockName = "lock";

// A folder of this name that another user made must not be touched.
bool isOwnFolder(const std::filesystem::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid();
}

// The key is written once the lock is held, in a file of another name first: a folder with nothing but the
// lock is being made, or harmless.
bool mayHoldKey(const std::filesystem::path& folder) {
    const auto entries = listFolder(folder).value_or(std::vector<FolderEntry>{});
    return std::ranges::any_of(entries, [](const FolderEntry& entry) { return entry.name != lockName; });
}

} // namespace

TemporaryKeyFolder::TemporaryKeyFolder(const std::filesystem::path& parent, std::string_view keyID,
                                       std::string_view privateKey)
    : path_(parent / (std::string(folderPrefix) + makeUUID())) {
    const std::string name = "AuthKey_" + std::string(keyID) + ".p8";
    if (!isSafeName(name)) throw std::invalid_argument("the key id is no file name");
    createFolders(path_, FolderMode::secret);
    try {
        lock_.emplace(path_ / lockName);
        writeFileAtomically(path_ / name, privateKey, FileMode::secret);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
        throw;
    }
}

TemporaryKeyFolder::~TemporaryKeyFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::size_t TemporaryKeyFolder::sweep(const std::filesystem::path& parent) {
    std::size_t removed = 0;
    for (const FolderEntry& entry : listFolder(parent).value_or(std::vector<FolderEntry>{})) {
        const std::filesystem::path folder = parent / entry.name;
        if (!entry.name.starts_with(folderPrefix) || !isOwnFolder(folder)) continue;
        try {
            if (!mayHoldKey(folder)) continue;
            const auto lock = FileLock::tryLock(folder / lockName);
            std::error_code failed;
            if (lock && std::filesystem::remove_all(folder, failed) > 0 && !failed) ++removed;
        } catch (const FileError&) { // removed meanwhile by its owner
        }
    }
    return removed;
}

} // namespace quorvel
