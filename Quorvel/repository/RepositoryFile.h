// quorvel.toml: what a repository says of the app whose texts it holds.
#pragma once

#include "Platform/json/JSON.h"

#include <array>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvel {

inline constexpr std::string_view repositoryFileName = "quorvel.toml";

/// What the file names; paths are absolute.
struct RepositoryFile {
    std::string file;
    std::string app;                        // its bundle id
    std::optional<std::string> tree;        // the metadata folder
    std::optional<std::string> context;     // "ios/next"
    std::optional<std::string> screenshots; // the folder of pictures
    std::optional<std::string> project;     // .xcodeproj or .xcworkspace
    QUORVEL_RECORD(RepositoryFile, file, app, tree, context, screenshots, project)
    bool operator==(const RepositoryFile&) const = default;
};

/// A quorvel.toml that cannot be used; the text names the file, the line and the column.
class RepositoryFileError : public std::runtime_error {
  public:
    explicit RepositoryFileError(const std::string& text, std::string advice = {})
        : std::runtime_error(text), advice_(std::move(advice)) {}
    /// What helps, such as "Did you mean tree?"; may be empty.
    [[nodiscard]] const std::string& advice() const { return advice_; }

  private:
    std::string advice_;
};

/// The nearest quorvel.toml from `start` upwards; nothing when there is none. The search ends at the top of
/// the repository that `start` lies in, else at `home`, else at the root. Throws `RepositoryFileError` for
/// one that belongs to another user.
[[nodiscard]] std::optional<std::filesystem::path> findRepositoryFile(const std::filesystem::path& start,
                                                                      const std::filesystem::path& home);

/// The top of the git working tree that `path` lies in; nothing outside of one.
[[nodiscard]] std::optional<std::filesystem::path> workingTreeOf(const std::filesystem::path& path);

/// Reads the text of `file`, whose folder relative paths start at. Throws `RepositoryFileError`.
[[nodiscard]] RepositoryFile parseRepositoryFile(std::string_view text, const std::filesystem::path& file);

/// Finds and reads it. Throws `RepositoryFileError`, `FileError`.
[[nodiscard]] std::optional<RepositoryFile> loadRepositoryFile(const std::filesystem::path& start,
                                                               const std::filesystem::path& home);

/// The text of a file with comments that explain it. Paths under its folder are written relative to that.
[[nodiscard]] std::string repositoryFileText(const RepositoryFile& content);

} // namespace quorvel
