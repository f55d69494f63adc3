// A file that appears under its name only when all of it was written.
#pragma once

#include <filesystem>
#include <string_view>

namespace quorvel {

/// A temporary file beside `target`. Every function throws `TransportError` (`localFile`).
class DownloadFile {
  public:
    /// A symbolic link at `target` is replaced at its target.
    explicit DownloadFile(const std::filesystem::path& target);
    ~DownloadFile(); // removes the temporary file unless it was committed
    DownloadFile(const DownloadFile&) = delete;
    DownloadFile& operator=(const DownloadFile&) = delete;

    void write(std::string_view bytes);

    /// Syncs the bytes to the disk and renames the file to its target, whose permissions it takes over.
    void commit();

  private:
    std::filesystem::path target_;
    std::filesystem::path temporary_;
    int descriptor_ = -1;
};

} // namespace quorvel
