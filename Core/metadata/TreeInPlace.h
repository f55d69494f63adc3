// Trees of other tools that are worked on where they are: what a folder holds, and where that is noted.
#pragma once

#include "Core/metadata/MetadataFolder.h"

#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace quorvel {

/// The platform that a folder of this name is of, as tools name them: "ios", "macos", "mac", "osx", "tvos",
/// "appletvos", "visionos", "xros", in any case.
[[nodiscard]] std::optional<ASCPlatform> platformOfTreeFolder(std::string_view name);

/// Whether a folder beside the locales of such a tree may be one of them: "de-DE", and "si" that the App
/// Store does not know, but neither "default" nor "mac".
[[nodiscard]] bool isLocaleOfTree(std::string_view name);

/// Where a tree in place has the texts of a platform's next version; nothing for a platform that it is not
/// of. In a tree with a folder per platform one that has none yet gets its usual name.
[[nodiscard]] std::optional<std::filesystem::path>
textsInPlace(const std::filesystem::path& tree, const TreeInPlace& inPlace, ASCPlatform platform);

/// What `findLayout` finds.
struct FoundLayout {
    TreeLayout layout = TreeLayout::locales;
    std::vector<ASCPlatform> platforms; // that have a folder; none with `locales`
};
/// How the locales lie in `folder`; an empty folder is a tree without locales. Throws `MetadataError` for a
/// folder that is not there, that holds something else, or that has two folders for one platform;
/// `FileError`.
[[nodiscard]] FoundLayout findLayout(const std::filesystem::path& folder);

/// The app's root at `folder`, or above it where that is one of its contexts; in place where
/// <folder>/.brevant/tree.json says so. Throws `MetadataError` for a note that cannot be understood,
/// `FileError`.
[[nodiscard]] MetadataFolder folderAt(const std::filesystem::path& folder);
/// Writes that note for a tree in place, where it does not say so already. Throws `FileError`.
void keepTreeNote(const MetadataFolder& folder);
/// Removes the note: the folder is no tree in place any more. Throws `FileError`.
void removeTreeNote(const std::filesystem::path& folder);
/// Whether the folder has such a note.
[[nodiscard]] bool hasTreeNote(const std::filesystem::path& folder);

} // namespace quorvel
