#include "Platform/files/FileDescriptor.h"
#include "Platform/files/Files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace quorvel {

namespace {

constexpr const char* cannotBeAppended = "cannot be appended to";

bool endsInsideALine(const FileDescriptor& file, off_t size) {
    char last = '\n';
    return size > 0 && uninterrupted([&] { return ::pread(file.number(), &last, 1, size - 1); }) == 1 &&
           last != '\n';
}

} // namespace

void appendLine(const std::filesystem::path& path, std::string_view line, FileMode mode) {
    const FileDescriptor file(uninterrupted([&] {
        return ::open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC,
                      static_cast<mode_t>(mode));
    }));
    if (!file.isOpen()) throw FileError(path, cannotBeAppended, errno);
    struct stat status {};
    if (uninterrupted([&] { return ::flock(file.number(), LOCK_EX); }) != 0 ||
        ::fstat(file.number(), &status) != 0)
        throw FileError(path, cannotBeAppended, errno);
    if (!S_ISREG(status.st_mode)) throw FileError(path, "cannot be appended to, as it is no regular file", 0);
    if (mode == FileMode::secret && (status.st_mode & 077) != 0 &&
        ::fchmod(file.number(), static_cast<mode_t>(mode)) != 0)
        throw FileError(path, cannotBeAppended, errno);
    // What a writer that was killed left unfinished must not swallow this line.
    const std::string bytes = (endsInsideALine(file, status.st_size) ? "\n" : "") + std::string(line) + "\n";
    const auto written = uninterrupted([&] { return ::write(file.number(), bytes.data(), bytes.size()); });
    if (written == static_cast<ssize_t>(bytes.size())) return;
    const int problem = written < 0 ? errno : ENOSPC;
    if (written > 0) [[maybe_unused]]
        const int kept = ::ftruncate(file.number(), status.st_size);
    throw FileError(path, cannotBeAppended, problem);
}

} // namespace quorvel
