#include "Platform/files/Files.h"

#include "Platform/files/FileDescriptor.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

namespace quorvel {

namespace {

std::string describe(const std::filesystem::path& path, const std::string& text, int errorNumber) {
    const std::string where = escapeControls(path.native());
    if (errorNumber == 0) return fmt::format("{}: {}", where, text);
    return fmt::format("{}: {}: {}", where, text, std::generic_category().message(errorNumber));
}

// The system would read a path with a NUL in it as the path before the NUL.
const char* systemPath(const std::filesystem::path& path, const char* action) {
    if (path.native().find('\0') != std::string::npos) throw FileError(path, action, EINVAL);
    return path.c_str();
}

FolderEntry::Kind kindOf(mode_t mode) {
    if (S_ISREG(mode)) return FolderEntry::Kind::file;
    if (S_ISDIR(mode)) return FolderEntry::Kind::folder;
    if (S_ISLNK(mode)) return FolderEntry::Kind::link;
    return FolderEntry::Kind::other;
}

[[noreturn]] void failTooLarge(const std::filesystem::path& path, std::uint64_t limit) {
    throw FileError(path, fmt::format("cannot be read, as it holds more than {} bytes", limit), EFBIG);
}

} // namespace

FileError::FileError(std::filesystem::path path, const std::string& text, int errorNumber)
    : std::runtime_error(describe(path, text, errorNumber)),
      path_(std::move(path)),
      errorNumber_(errorNumber) {}

std::optional<std::string> readFile(const std::filesystem::path& path, std::uint64_t limit) {
    constexpr const char* action = "cannot be read";
    // Opening a FIFO would otherwise wait for its writer.
    const FileDescriptor file(
        uninterrupted([&] { return ::open(systemPath(path, action), O_RDONLY | O_NONBLOCK | O_CLOEXEC); }));
    if (!file.isOpen() && errno == ENOENT) return std::nullopt;
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.number(), &status) != 0) throw FileError(path, action, errno);
    if (S_ISDIR(status.st_mode)) throw FileError(path, action, EISDIR);
    if (!S_ISREG(status.st_mode)) throw FileError(path, "cannot be read, as it is no regular file", 0);
    if (static_cast<std::uint64_t>(status.st_size) > limit) failTooLarge(path, limit);

    // The size is a hint only: the file may be growing, or be one whose size the system does not tell.
    std::string bytes(static_cast<std::size_t>(status.st_size) + 1, '\0');
    std::size_t end = 0;
    for (;;) {
        if (end == bytes.size()) bytes.resize(end + 65536);
        const auto count =
            uninterrupted([&] { return ::read(file.number(), bytes.data() + end, bytes.size() - end); });
        if (count < 0) throw FileError(path, action, errno);
        if (count == 0) break;
        end += static_cast<std::size_t>(count);
        if (end > limit) failTooLarge(path, limit);
    }
    bytes.resize(end);
    return bytes;
}

void createFolders(const std::filesystem::path& path, FolderMode mode) {
    constexpr const char* action = "cannot be created as a folder";
    if (path.empty()) return; // the current folder, as the parent of a bare name
    struct stat status {};
    if (::stat(systemPath(path, action), &status) == 0) {
        if (!S_ISDIR(status.st_mode)) throw FileError(path, action, ENOTDIR);
        return;
    }
    if (errno != ENOENT) throw FileError(path, action, errno);
    const std::filesystem::path parent = path.parent_path();
    if (!parent.empty() && parent != path) createFolders(parent, mode);
    if (::mkdir(path.c_str(), static_cast<mode_t>(mode)) == 0) return;
    const int reason = errno;
    // Somebody else may have made it just now; and a path may end in a slash or in ".".
    if (reason == EEXIST && ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return;
    throw FileError(path, action, reason);
}

bool removeFile(const std::filesystem::path& path) {
    constexpr const char* action = "cannot be removed";
    if (::unlink(systemPath(path, action)) == 0) return true;
    if (errno == ENOENT) return false;
    throw FileError(path, action, errno);
}

std::optional<std::vector<FolderEntry>> listFolder(const std::filesystem::path& path) {
    constexpr const char* action = "cannot be listed";
    const auto close = [](DIR* folder) { ::closedir(folder); };
    const std::unique_ptr<DIR, decltype(close)> folder(::opendir(systemPath(path, action)), close);
    if (!folder && errno == ENOENT) return std::nullopt;
    if (!folder) throw FileError(path, action, errno);
    std::vector<FolderEntry> entries;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(folder.get());
        if (!entry && errno != 0) throw FileError(path, action, errno);
        if (!entry) break;
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") continue;
        // Most file systems tell the kind along with the name.
        if (entry->d_type != DT_UNKNOWN) {
            entries.push_back({std::string(name), kindOf(static_cast<mode_t>(DTTOIF(entry->d_type)))});
            continue;
        }
        struct stat status {};
        // An entry that vanished meanwhile is none.
        if (::fstatat(::dirfd(folder.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
            if (errno == ENOENT) continue;
            throw FileError(path / name, action, errno);
        }
        entries.push_back({std::string(name), kindOf(status.st_mode)});
    }
    std::ranges::sort(entries, {}, &FolderEntry::name);
    return entries;
}

bool isSafeName(std::string_view name) {
    const bool fits = !name.empty() && name.size() <= 255 && name.front() != '.';
    // escapeControls() changes ill-formed bytes and every control character.
    return fits && name.find_first_of("/\\") == std::string_view::npos && escapeControls(name) == name;
}

std::optional<FileIdentity> fileIdentity(const std::filesystem::path& path) {
    struct stat status {};
    if (::stat(systemPath(path, "cannot be examined"), &status) != 0) return std::nullopt;
    return FileIdentity{static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino)};
}

} // namespace quorvel
