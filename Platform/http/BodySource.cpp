#include "Platform/http/BodySource.h"

#include "Platform/http/TransportErrors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace quorvel {

BodySource::BodySource(const HTTPRequest& request) {
    if (const auto* text = std::get_if<std::string>(&request.body)) {
        memory_ = *text;
        size_ = memory_.size();
    } else if (const auto* slice = std::get_if<FileSlice>(&request.body)) {
        open(*slice);
    }
}

BodySource::~BodySource() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

std::size_t BodySource::read(std::span<char> buffer) {
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), size_ - position_));
    if (length == 0) return 0;
    if (descriptor_ >= 0) return readFile(buffer.first(length));
    std::memcpy(buffer.data(), memory_.data() + position_, length);
    position_ += length;
    return length;
}

std::size_t BodySource::readFile(std::span<char> buffer) {
    ssize_t count = 0;
    do {
        count =
            ::pread(descriptor_, buffer.data(), buffer.size(), static_cast<off_t>(slice_.offset + position_));
    } while (count < 0 && errno == EINTR);
    if (count < 0) throw cannotReadFile(slice_.path, errno);
    if (count == 0) throw fileTooShort(slice_);
    position_ += static_cast<std::uint64_t>(count);
    return static_cast<std::size_t>(count);
}

void BodySource::open(const FileSlice& slice) {
    slice_ = slice;
    size_ = slice.length;
    // Without O_NONBLOCK opening a pipe would wait for its writer.
    descriptor_ = ::open(slice.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor_ < 0) throw cannotReadFile(slice.path, errno);
    // The destructor of an object whose constructor throws does not run.
    try {
        struct stat status {};
        if (::fstat(descriptor_, &status) != 0) throw cannotReadFile(slice.path, errno);
        if (!S_ISREG(status.st_mode)) throw notARegularFile(slice.path);
        const auto fileSize = static_cast<std::uint64_t>(status.st_size);
        if (slice.offset > fileSize || slice.length > fileSize - slice.offset) throw fileTooShort(slice);
    } catch (...) {
        ::close(descriptor_);
        throw;
    }
}

} // namespace quorvel
