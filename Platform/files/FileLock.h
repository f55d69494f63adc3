// A lock that processes and threads take turns at.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>

namespace quorvel {

class FileDescriptor;

/// Holds an exclusive lock on a file of its own while it lives; the system gives the lock up for a process
/// that ends in any way. The file is made when missing, for this user only, and stays.
class FileLock {
  public:
    /// Waits for the lock. Throws `FileError` when the file cannot be made.
    explicit FileLock(const std::filesystem::path& file);
    /// The lock, or nothing while somebody else holds it. Throws like the constructor.
    [[nodiscard]] static std::optional<FileLock> tryLock(const std::filesystem::path& file);
    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&& other) noexcept;
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

  private:
    explicit FileLock(std::unique_ptr<FileDescriptor> descriptor);

    std::unique_ptr<FileDescriptor> descriptor_;
};

} // namespace quorvel
