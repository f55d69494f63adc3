// Remembers a folder across runs, also when it is moved nearby.
#pragma once

#include "Core/metadata/MetadataFolder.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// A bookmark is a small JSON record of the folder's path, of what the file system knows it by, and of how a
/// tree in place lies there.
class BookmarkResolver {
  public:
    struct Resolved {
        std::filesystem::path url;
        bool isStale = false; // works, but a new bookmark of `url` should be made and stored
        std::optional<TreeInPlace> inPlace = {};
        bool operator==(const Resolved&) const = default;
    };

    /// The bookmark of an existing folder. Throws `MetadataError` when there is none at `folder`.
    [[nodiscard]] static std::string bookmark(const std::filesystem::path& folder,
                                              const std::optional<TreeInPlace>& inPlace = {});

    /// The folder of a bookmark. One that is no longer at its path is searched for under its parent and its
    /// grandparent; a metadata folder found there, or another folder in its old place, is stale. Throws
    /// `MetadataError` when there is no such folder, and for bytes that are no bookmark.
    [[nodiscard]] static Resolved resolve(std::string_view bookmark);

    /// The new bookmark to store for a stale folder, logged under the owner's `name`; nothing when the
    /// bookmark need not be made anew. Throws like `bookmark`.
    [[nodiscard]] static std::optional<std::string> renew(const Resolved& resolved, std::string_view name);
};

} // namespace quorvel
