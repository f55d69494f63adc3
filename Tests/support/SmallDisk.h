// A file system in memory of a fixed size, for what only a full or read-only disk shows.
#pragma once

#include "Tests/support/TemporaryFolder.h"

#include <cstdint>
#include <fstream>
#include <string>

#ifdef __linux__
#include <sys/mount.h>
#endif

namespace quorvel::test {

/// Mounted while it lives, where the system lets this process mount.
class SmallDisk {
  public:
    explicit SmallDisk(std::size_t bytes) : size_("size=" + std::to_string(bytes)) {
#ifdef __linux__
        mounted_ = ::mount("none", path().c_str(), "tmpfs", 0, size_.c_str()) == 0;
#endif
    }
    ~SmallDisk() {
#ifdef __linux__
        if (mounted_) ::umount2(path().c_str(), MNT_DETACH);
#endif
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    [[nodiscard]] bool isMounted() const {
        return mounted_;
    }
    [[nodiscard]] const std::filesystem::path& path() const {
        return folder_.path();
    }

    /// Takes all the room that is left with a file of its own, but for some pages of 4096 bytes.
    void fill(std::uintmax_t pagesLeft = 0) const {
        constexpr std::uintmax_t pageSize = 4096;
        const std::string page(pageSize, 'x');
        {
            std::ofstream file(path() / "filling", std::ios::binary);
            while (file.write(page.data(), static_cast<std::streamsize>(page.size())).flush())
                continue;
        }
        const std::uintmax_t filled = file_size(path() / "filling") / pageSize;
        std::filesystem::resize_file(path() / "filling", (filled - pagesLeft) * pageSize);
    }
    void makeRoom() const {
        std::filesystem::remove(path() / "filling");
    }

    /// Whether the disk can only be read from now on.
    [[nodiscard]] bool makeReadOnly() const {
#ifdef __linux__
        return ::mount("none", path().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, size_.c_str()) == 0;
#else
        return false;
#endif
    }

  private:
    TemporaryFolder folder_;
    std::string size_;
    bool mounted_ = false;
};

} // namespace quorvel::test
