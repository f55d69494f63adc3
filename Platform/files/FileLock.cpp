#include "Platform/files/FileLock.h"

#include "Platform/files/FileDescriptor.h"
#include "Platform/files/Files.h"

#include <fcntl.h>
#include <sys/file.h>

namespace quorvel {

FileLock::FileLock(const std::filesystem::path& file)
    : descriptor_(std::make_unique<FileDescriptor>(uninterrupted(
          [&] { return ::open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600); }))) {
    if (!descriptor_->isOpen() || uninterrupted([&] { return ::flock(descriptor_->number(), LOCK_EX); }) != 0)
        throw FileError(file, "cannot be locked", errno);
}

FileLock::~FileLock() = default;

} // namespace quorvel
