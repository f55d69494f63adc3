// The files that make up the store.
#pragma once

#include "Platform/time/Date.h"

#include <filesystem>
#include <string>
#include <vector>

namespace quorvel {

class StoreFiles {
  public:
    explicit StoreFiles(std::filesystem::path folder);

    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    [[nodiscard]] std::filesystem::path main() const;
    /// The folder of the program's other files, which holds the lock and the backups of stores.
    [[nodiscard]] std::filesystem::path programFolder() const { return folder_ / "Brevant"; }

    /// Those that exist, the main file last. A folder that cannot be listed is logged, and each file is then
    /// looked for by its name.
    [[nodiscard]] std::vector<std::filesystem::path> present() const;

    /// Moves `files` in their order into a new folder named after `moment`, and returns their new paths.
    /// Throws `FileError` when one cannot be moved; the text says where those before it are.
    [[nodiscard]] std::vector<std::filesystem::path>
    moveToBackup(const std::vector<std::filesystem::path>& files, Date moment) const;

  private:
    std::filesystem::path folder_;
};

} // namespace quorvel
