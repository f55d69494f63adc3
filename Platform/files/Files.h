// Files and folders: whole reads, atomic writes, safe names.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A file operation that failed; the text names the path and the system's reason.
class FileError : public std::runtime_error {
  public:
    FileError(std::filesystem::path path, const std::string& text, int errorNumber);
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] int errorNumber() const { return errorNumber_; }

  private:
    std::filesystem::path path_;
    int errorNumber_;
};

enum class FileMode : unsigned { shared = 0644, secret = 0600 };
enum class FolderMode : unsigned { shared = 0755, secret = 0700 };

constexpr std::uint64_t defaultReadLimit = 64ULL << 20;

/// Reads a whole regular file; nothing when there is none. Throws `FileError` when it cannot be read, is no
/// regular file, or holds more than `limit` bytes (without reading them).
[[nodiscard]] std::optional<std::string> readFile(const std::filesystem::path& path,
                                                  std::uint64_t limit = defaultReadLimit);

/// Whether a written file survives a power failure at once, or from the next `syncFiles` on. A program that
/// is killed leaves a whole file either way.
enum class Durability { now, later };

/// Replaces the file at `path` in one step: a temporary file in the same folder is written, synced and
/// renamed, then the folder is synced (both only with `Durability::now`). A symbolic link at `path` is
/// replaced at its target. An existing file keeps its mode unless `mode` is `secret`. Throws `FileError`;
/// `path` is untouched then and no temporary file stays.
void writeFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                         FileMode mode = FileMode::shared, Durability durability = Durability::now);

/// Like `writeFileAtomically`, as long as the file holds `expected` (nothing: there is no file) right before
/// it is replaced; whether it did. What somebody else saved meanwhile stays. Throws `FileError`.
[[nodiscard]] bool replaceFile(const std::filesystem::path& path, const std::optional<std::string>& expected,
                               std::string_view bytes, Durability durability = Durability::now,
                               FileMode mode = FileMode::shared);

/// Appends `line` and a line feed in one write, so that lines of several threads and processes never mix;
/// makes the file with `mode` when missing. Throws `FileError`; the file is as it was then.
void appendLine(const std::filesystem::path& path, std::string_view line, FileMode mode = FileMode::shared);

/// Makes everything that was written to the file system of `path` survive a power failure.
void syncFiles(const std::filesystem::path& path);

/// Creates `path` and its missing parents; folders made get `mode`, existing ones stay as they are.
void createFolders(const std::filesystem::path& path, FolderMode mode = FolderMode::shared);

/// Removes one file; whether there was one. Throws `FileError`.
bool removeFile(const std::filesystem::path& path);

struct FolderEntry {
    enum class Kind { file, folder, link, other };
    std::string name;
    Kind kind = Kind::other; // of the entry itself; links are not followed
    bool operator==(const FolderEntry&) const = default;
};

/// The entries of a folder sorted by name, without "." and ".."; nothing when there is no such folder.
/// Throws `FileError` when it cannot be listed.
[[nodiscard]] std::optional<std::vector<FolderEntry>> listFolder(const std::filesystem::path& path);

/// Whether `name`, which came from outside, may become one component of a path: not empty, valid UTF-8, at
/// most 255 bytes, no separator, no control character, no leading dot.
[[nodiscard]] bool isSafeName(std::string_view name);

/// What a path refers to at the moment: enough to notice that a folder was moved or replaced.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    bool operator==(const FileIdentity&) const = default;
};
[[nodiscard]] std::optional<FileIdentity> fileIdentity(const std::filesystem::path& path);

} // namespace quorvel
