#include "Platform/files/BirthTime.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace quorvel {

namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

} // namespace

std::optional<std::int64_t> birthTime(const std::filesystem::path& path) {
#ifdef __APPLE__
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return std::nullopt;
    return status.st_birthtimespec.tv_sec * nanosecondsPerSecond + status.st_birthtimespec.tv_nsec;
#else
    struct statx status {};
    if (::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &status) != 0) return std::nullopt;
    if ((status.stx_mask & STATX_BTIME) == 0) return std::nullopt;
    return status.stx_btime.tv_sec * nanosecondsPerSecond + status.stx_btime.tv_nsec;
#endif
}

} // namespace quorvel
