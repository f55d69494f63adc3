// A fresh folder that goes away with its object.
#pragma once

#include <filesystem>
#include <string_view>

namespace quorvel {

class TemporaryFolder {
  public:
    /// Makes a folder whose name begins with `prefix`, for this user only. Throws `FileError`.
    explicit TemporaryFolder(std::string_view prefix);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    /// Leaves the folder in place.
    void keep() { kept_ = true; }

  private:
    std::filesystem::path path_;
    bool kept_ = false;
};

} // namespace quorvel
