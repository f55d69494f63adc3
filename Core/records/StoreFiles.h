// The files that make up the store, and their way aside when it cannot be opened.
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
    /// The folder of the program's other files, which holds the lock and what was moved aside.
    [[nodiscard]] std::filesystem::path programFolder() const { return folder_ / "Brevant"; }

    /// Those that there are, the main one last: what it holds may depend on the others, so that a move that
    /// is cut short must not leave them behind. Where the folder cannot be listed, logs that and looks for
    /// each by its name.
    [[nodiscard]] std::vector<std::filesystem::path> present() const;

    struct Move {
        std::filesystem::path from;
        std::filesystem::path to;
    };
    /// Moves `files` into a folder named after `moment`, or beside themselves where that cannot be made.
    /// Throws `FileError` when neither is possible; everything is in its place then.
    [[nodiscard]] std::vector<Move> moveAside(const std::vector<std::filesystem::path>& files,
                                              Date moment) const;
    /// Undoes `moveAside`. Throws `FileError`.
    static void putBack(const std::vector<Move>& moves);

  private:
    std::filesystem::path folder_;
};

} // namespace quorvel
