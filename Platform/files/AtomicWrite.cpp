#include "Platform/files/FileDescriptor.h"
#include "Platform/files/Files.h"
#include "Platform/files/ReplaceFile.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

namespace quorvel {

namespace {

constexpr const char* cannotBeWritten = "cannot be written";

// The mode that the new file will have, and the one that it is made with: nothing may be readable by others
// before the final mode is known to allow it.
struct Modes {
    mode_t made;
    std::optional<struct stat> kept;
};

Modes chooseModes(const std::filesystem::path& path, const std::filesystem::path& target, FileMode mode) {
    struct stat status {};
    if (::lstat(target.c_str(), &status) != 0) {
        if (errno != ENOENT) throw FileError(path, cannotBeWritten, errno);
        return {static_cast<mode_t>(mode), std::nullopt};
    }
    if (S_ISDIR(status.st_mode)) throw FileError(path, cannotBeWritten, EISDIR);
    if (!S_ISREG(status.st_mode)) throw FileError(path, "cannot be written, as it is no regular file", 0);
    if (mode == FileMode::secret) status.st_mode = static_cast<mode_t>(mode);
    return {static_cast<mode_t>(FileMode::secret), status};
}

bool isStillAt(const FileDescriptor& file, const std::filesystem::path& name) {
    struct stat open {
    }, named{};
    return ::fstat(file.number(), &open) == 0 && ::lstat(name.c_str(), &named) == 0 &&
           open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

bool lock(const FileDescriptor& file) {
    return uninterrupted([&] { return ::flock(file.number(), LOCK_EX | LOCK_NB); }) == 0;
}

// A file beside the target that is being written; removed unless it took the target's place.
//
// Each target has a few fixed names, and a writer holds a lock on the one that it uses. A file that nobody
// has locked was left by a writer that was killed, and the next writer removes it: leftovers cannot pile up,
// and no folder has to be searched for them.
class TemporaryFile {
  public:
    TemporaryFile(const std::filesystem::path& path, const std::filesystem::path& target, mode_t mode,
                  std::string_view suffix) {
        constexpr int slots = 100;
        for (int slot = 0; slot < slots; ++slot) {
            name_ = target.parent_path() / nameOf(target.filename().native(), suffix, slot);
            removeAbandoned();
            file_ = FileDescriptor(uninterrupted([&] {
                return ::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
            }));
            if (!file_.isOpen() && errno != EEXIST) throw FileError(path, cannotBeWritten, errno);
            if (file_.isOpen() && isOurs()) return;
        }
        throw FileError(path, cannotBeWritten, EBUSY);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!moved_) ::unlink(name_.c_str());
    }

    [[nodiscard]] int number() const { return file_.number(); }

    [[nodiscard]] bool moveTo(const std::filesystem::path& target) {
        moved_ = ::rename(name_.c_str(), target.c_str()) == 0;
        return moved_;
    }

  private:
    static std::string nameOf(const std::string& target, std::string_view suffix, int slot) {
        constexpr std::size_t longestName = 255;
        const std::string number = slot == 0 ? "" : fmt::format("~{}", slot);
        if (!suffix.empty()) return fmt::format("{}{}{}", target, suffix, number);
        const std::string name = fmt::format(".tmp-quorvel-{}{}", target, number);
        if (name.size() <= longestName) return name;
        return fmt::format(".tmp-quorvel-{:016x}{}", std::hash<std::string>{}(target), number);
    }

    // Another writer may have taken the new file for an abandoned one before it was locked. Where the file
    // system knows no locks, nobody removes anything.
    [[nodiscard]] bool isOurs() const {
        return (lock(file_) || errno != EWOULDBLOCK) && isStillAt(file_, name_);
    }

    void removeAbandoned() const {
        const FileDescriptor left(uninterrupted(
            [&] { return ::open(name_.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC); }));
        if (left.isOpen() && lock(left) && isStillAt(left, name_)) ::unlink(name_.c_str());
    }

    std::filesystem::path name_;
    FileDescriptor file_;
    bool moved_ = false;
};

bool writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto count = uninterrupted([&] { return ::write(file, bytes.data(), bytes.size()); });
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// What has to be as it was for the new file to take the old one's place.
enum class Ownership {
    wherePossible, // of files of our own: better another group than no new text
    required,      // of files of other programs
};

// Only an administrator can give a file to another owner, and a group is kept by its members alone.
void keepAttributes(const std::filesystem::path& path, int file, const struct stat& kept,
                    Ownership ownership) {
    struct stat made {};
    if (::fstat(file, &made) != 0) throw FileError(path, cannotBeWritten, errno);
    mode_t mode = kept.st_mode & 0777;
    if (made.st_uid != kept.st_uid && ::fchown(file, kept.st_uid, static_cast<gid_t>(-1)) != 0 &&
        ownership == Ownership::required)
        throw FileError(path, "cannot be written, as it belongs to another user and would be yours then", 0);
    if (made.st_gid != kept.st_gid && ::fchown(file, static_cast<uid_t>(-1), kept.st_gid) != 0) {
        if (ownership == Ownership::required)
            throw FileError(
                path,
                "cannot be written, as it belongs to a group that you are no member of and would lose it", 0);
        mode &= ~static_cast<mode_t>(070); // which were given to another group
    }
    if (::fchmod(file, mode) != 0) throw FileError(path, cannotBeWritten, errno);
}

// The new file is in place already: a folder that cannot be synced is no reason to call the write failed.
void syncFolder(const std::filesystem::path& folder) {
    const FileDescriptor descriptor(::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_CLOEXEC));
    if (descriptor.isOpen()) ::fsync(descriptor.number());
}

// `mayReplace` is asked last, when the new file is whole; whether it took the place of the old one.
bool replace(const std::filesystem::path& path, std::string_view bytes, FileMode mode, Durability durability,
             const std::function<bool()>& mayReplace, std::string_view suffix = {},
             Ownership ownership = Ownership::wherePossible) {
    if (path.native().find('\0') != std::string::npos) throw FileError(path, cannotBeWritten, EINVAL);
    if (path.filename().empty()) throw FileError(path, cannotBeWritten, EISDIR);
    const std::filesystem::path target = followLinks(path);
    const Modes modes = chooseModes(path, target, mode);
    TemporaryFile temporary(path, target, modes.made, suffix);
    if (!writeAll(temporary.number(), bytes)) throw FileError(path, cannotBeWritten, errno);
    if (modes.kept) keepAttributes(path, temporary.number(), *modes.kept, ownership);
    if (durability == Durability::now && uninterrupted([&] { return ::fsync(temporary.number()); }) != 0)
        throw FileError(path, cannotBeWritten, errno);
    if (!mayReplace()) return false;
    if (!temporary.moveTo(target)) throw FileError(path, cannotBeWritten, errno);
    if (durability == Durability::now) syncFolder(target.parent_path());
    return true;
}

} // namespace

std::filesystem::path followLinks(const std::filesystem::path& path) {
    std::filesystem::path target = path;
    for (int hops = 0; hops < 40; ++hops) {
        std::error_code error;
        const auto next = std::filesystem::read_symlink(target, error);
        if (error) return target; // no link; what else is wrong shows when the file is made
        target = next.is_absolute() ? next : target.parent_path() / next;
    }
    throw FileError(path, cannotBeWritten, ELOOP);
}

void writeFileAtomically(const std::filesystem::path& path, std::string_view bytes, FileMode mode,
                         Durability durability) {
    (void)replace(path, bytes, mode, durability, [] { return true; });
}

bool replaceFile(const std::filesystem::path& path, const std::optional<std::string>& expected,
                 std::string_view bytes, Durability durability, FileMode mode) {
    return replace(path, bytes, mode, durability, [&] { return readFile(path) == expected; });
}

bool replaceFileThrough(std::string_view suffix, const std::filesystem::path& path,
                        const std::optional<std::string>& expected, std::string_view bytes) {
    const FileMode mode = expected ? FileMode::shared : FileMode::secret; // `shared` keeps that of the file
    return replace(
        path, bytes, mode, Durability::now, [&] { return readFile(path) == expected; }, suffix,
        Ownership::required);
}

void syncFiles(const std::filesystem::path& path) {
#ifdef __linux__
    const FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!folder.isOpen() || ::syncfs(folder.number()) != 0) throw FileError(path, "cannot be synced", errno);
#else
    static_cast<void>(path);
    ::sync();
#endif
}

} // namespace quorvel
