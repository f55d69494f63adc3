// The permission bits of files.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

namespace quorvel::test {

/// Fails the test when there is nothing at `path`.
inline unsigned modeOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

} // namespace quorvel::test
