// Which commits belong to a version that is being prepared.
#pragma once

#include "Core/build/notes/GitRepoReader.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace quorvel {

/// The version that a tag stands for: "v1.2", "release/2026.7.3", "7.157.0-5", "1.2-beta.1".
struct TagVersion {
    enum class Suffix { preRelease, none, build };
    std::vector<std::uint64_t> numbers; // without zeros at the end: 3.5.0 is 3.5
    Suffix suffix = Suffix::none;
    std::vector<std::uint64_t> suffixNumbers;
    auto operator<=>(const TagVersion&) const = default;
};
/// Nothing for a tag that names no version.
[[nodiscard]] std::optional<TagVersion> versionOfTag(std::string_view tag);

/// Finds the range of commits for a version.
class VersionRangeResolver {
  public:
    explicit VersionRangeResolver(const GitRepoReader& reader) : reader_(reader) {}

    /// From the tag of the greatest version below `versionString`, of several builds of it the last one; else
    /// from the newest tag; else from the start of history. Throws `GitRepoError`.
    [[nodiscard]] VersionRange resolve(const std::filesystem::path& root,
                                       const std::optional<std::string>& versionString) const;

  private:
    const GitRepoReader& reader_;
};

} // namespace quorvel
