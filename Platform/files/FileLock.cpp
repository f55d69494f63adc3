#include "Platform/files/FileLock.h"

#include "Platform/files/FileDescriptor.h"
#include "Platform/files/Files.h"

#include <fcntl.h>
#include <sys/file.h>

namespace quorvel {

namespace {

std::unique_ptr<FileDescriptor> openLockFile(const std::filesystem::path& file) {
    auto descriptor = std::make_unique<FileDescriptor>(
        uninterrupted([&] { return ::open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600); }));
    if (!descriptor->isOpen()) throw FileError(file, "cannot be locked", errno);
    return descriptor;
}

bool lock(const FileDescriptor& descriptor, int operation) {
    return uninterrupted([&] { return ::flock(descriptor.number(), operation); }) == 0;
}

} // namespace

FileLock::FileLock(const std::filesystem::path& file) : descriptor_(openLockFile(file)) {
    if (!lock(*descriptor_, LOCK_EX)) throw FileError(file, "cannot be locked", errno);
}

FileLock::FileLock(std::unique_ptr<FileDescriptor> descriptor) : descriptor_(std::move(descriptor)) {}

std::optional<FileLock> FileLock::tryLock(const std::filesystem::path& file) {
    auto descriptor = openLockFile(file);
    if (lock(*descriptor, LOCK_EX | LOCK_NB)) return FileLock(std::move(descriptor));
    if (errno == EWOULDBLOCK) return std::nullopt;
    throw FileError(file, "cannot be locked", errno);
}

FileLock::FileLock(FileLock&& other) noexcept = default;
FileLock& FileLock::operator=(FileLock&& other) noexcept = default;
FileLock::~FileLock() = default;

} // namespace quorvel
