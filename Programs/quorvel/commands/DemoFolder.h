// The folder of a demo, which goes away with its object.
#pragma once

#include <filesystem>
#include <string_view>

namespace quorvel {

class DemoFolder {
  public:
    /// Makes a folder whose name begins with `prefix`, for this user only. Throws `FileError`.
    explicit DemoFolder(std::string_view prefix);
    ~DemoFolder();
    DemoFolder(const DemoFolder&) = delete;
    DemoFolder& operator=(const DemoFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    /// Leaves the folder in place.
    void keep() { kept_ = true; }

  private:
    std::filesystem::path path_;
    bool kept_ = false;
};

} // namespace quorvel
