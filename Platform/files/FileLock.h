// A lock that processes and threads take turns at.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Holds an exclusive lock on a file of its own while it lives; the system gives the lock up for a process
/// that ends in any way. The file is made when missing, for this user only, and stays.
class FileLock {
  public:
    /// What a holder tells those who wait.
    struct Holder {
        std::string what; // such as "a push"; at most 80 characters, controls escaped
        std::int64_t processID = 0;
        bool operator==(const Holder&) const = default;
    };

    /// Waits for the lock. Throws `FileError` when the file cannot be made.
    explicit FileLock(const std::filesystem::path& file);
    /// The lock, or nothing while somebody else holds it. Throws like the constructor.
    [[nodiscard]] static std::optional<FileLock> tryLock(const std::filesystem::path& file);
    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&& other) noexcept;
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /// Notes in the file what this process does while it holds the lock; the note goes with the lock. One
    /// that cannot be written is left out.
    void noteHolder(std::string_view what) const;
    /// What the holder noted; nothing when it noted nothing, and for a note of a process that is gone.
    [[nodiscard]] static std::optional<Holder> holderOf(const std::filesystem::path& file);

  private:
    struct Held;
    explicit FileLock(std::unique_ptr<Held> held);
    static std::unique_ptr<Held> open(const std::filesystem::path& file);

    std::unique_ptr<Held> held_;
};

} // namespace quorvel
