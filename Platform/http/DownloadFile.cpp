#include "Platform/http/DownloadFile.h"

#include "Platform/http/TransportErrors.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <utility>

namespace quorvel {

namespace {

std::filesystem::path resolveLink(const std::filesystem::path& target) {
    std::error_code error;
    if (!std::filesystem::is_symlink(target, error)) return target;
    std::filesystem::path resolved = std::filesystem::weakly_canonical(target, error);
    if (error) throw cannotWriteFile(target, error.value());
    return resolved;
}

// A short name, since the target's may already be as long as names can be.
std::filesystem::path temporaryBeside(const std::filesystem::path& target) {
    static std::atomic<unsigned> counter = 0;
    return target.parent_path() / fmt::format(".quorvel-{}-{}.part", ::getpid(), counter++);
}

} // namespace

DownloadFile::DownloadFile(const std::filesystem::path& target) : target_(resolveLink(target)) {
    do {
        temporary_ = temporaryBeside(target_);
        descriptor_ = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    } while (descriptor_ < 0 && (errno == EEXIST || errno == EINTR));
    if (descriptor_ < 0) throw cannotWriteFile(target_, errno);
}

DownloadFile::~DownloadFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void DownloadFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw cannotWriteFile(target_, errno);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void DownloadFile::commit() {
    struct stat existing {};
    const bool replaces = ::stat(target_.c_str(), &existing) == 0;
    if ((replaces && ::fchmod(descriptor_, existing.st_mode & 07777) != 0) || ::fsync(descriptor_) != 0)
        throw cannotWriteFile(target_, errno);
    // Some file systems report a full disk only here.
    const int descriptor = std::exchange(descriptor_, -1);
    if (::close(descriptor) != 0) throw cannotWriteFile(target_, errno);
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) throw cannotWriteFile(target_, errno);
    temporary_.clear();
}

} // namespace quorvel
