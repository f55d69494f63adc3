// The private key as the upload tool wants it: a file in a folder of its own.
#pragma once

#include "Platform/files/FileLock.h"

#include <filesystem>
#include <optional>
#include <string_view>

namespace quorvel {

/// A folder "brevant-asc-key-<UUID>" (0700) with the file AuthKey_<keyID>.p8 (0600), removed at the end.
class TemporaryKeyFolder {
  public:
    /// Makes the folder in `parent`, the system's temporary folder. Throws `FileError`, and
    /// `std::invalid_argument` for a key id that is no file name.
    TemporaryKeyFolder(const std::filesystem::path& parent, std::string_view keyID,
                       std::string_view privateKey);
    ~TemporaryKeyFolder();
    TemporaryKeyFolder(const TemporaryKeyFolder&) = delete;
    TemporaryKeyFolder& operator=(const TemporaryKeyFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    /// Removes the folders that killed processes left in `parent`, and no folder in use. Returns how many.
    static std::size_t sweep(const std::filesystem::path& parent);

  private:
    std::filesystem::path path_;
    std::optional<FileLock> lock_; // tells `sweep` that the folder is in use
};

} // namespace quorvel
