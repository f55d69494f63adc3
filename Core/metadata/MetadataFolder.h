// Where the files of one metadata tree lie.
#pragma once

#include "Core/metadata/FieldType.h"
#include "Core/metadata/PlatformContext.h"
#include "Platform/files/Files.h"
#include "Platform/files/Home.h"

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The entries of folders by the folder's name, each sorted by name.
using FolderListings = std::map<std::string, std::vector<FolderEntry>, std::less<>>;

/// How the locales lie in a tree that another tool keeps.
enum class TreeLayout {
    locales,   // <folder>/<locale>, all of one platform
    platforms, // <folder>/<platform>/<locale>
};

template <>
struct RawValues<TreeLayout> {
    static constexpr std::pair<TreeLayout, std::string_view> values[] = {
        {TreeLayout::locales, "locales"}, {TreeLayout::platforms, "platforms"}};
};

/// Says that a folder is a tree of another tool which is worked on where it is: its locales are those of
/// platforms' next versions, and everything else of an app lies in its private folder.
struct TreeInPlace {
    TreeLayout layout = TreeLayout::locales;
    ASCPlatform platform = ASCPlatform::iOS; // of the locales; of no account with a folder per platform
    QUORVEL_RECORD(TreeInPlace, layout, platform)
    bool operator==(const TreeInPlace&) const = default;
};

/// The folder whose texts stand for those that a locale of a tree in place lacks.
inline constexpr std::string_view fallbackFolderName = "default";

/// Which of the two texts of a field: the one that users edit, or the copy of what App Store Connect held at
/// the last pull.
enum class TextSide { local, pulled };

/// The root of a metadata tree: of an app, or of one of its contexts.
struct MetadataFolder {
    std::filesystem::path rootURL;
    std::optional<TreeInPlace> inPlace = {}; // of an app's root: it is another tool's tree

    // Of a context that is a part of a tree in place; empty for all others.
    std::filesystem::path treeURL = {}; // the root of the tree
    std::filesystem::path ownURL = {};  // the tool's own files, which lie beside no text there

    /// The folder of a context under an app's root, such as <root>/ios/next. In place the next version of a
    /// platform lies where the tree has it, such as <root> or <root>/mac; any other context, which the tree
    /// has no place for, lies in the private folder: <root>/.brevant/ios/live.
    [[nodiscard]] MetadataFolder contextFolder(const ContextID& context) const;
    /// The folder of a platform in a tree of the older layout, which had one context per platform: the root
    /// itself for iOS, else the subfolder "macos", "tvos" or "visionos".
    [[nodiscard]] MetadataFolder platformFolder(ASCPlatform platform) const;

    /// Whether it is the context's folder of a tree in place: another tool's files lie beside its texts, and
    /// its locales share those of `fallbackFolderName`.
    [[nodiscard]] bool isPartOfTree() const { return !treeURL.empty(); }
    /// What links in the tree may not lead out of.
    [[nodiscard]] const std::filesystem::path& boundary() const { return isPartOfTree() ? treeURL : rootURL; }

    /// The tool's own files: <root>/.brevant, and <tree>/.brevant/<context> of a tree in place.
    [[nodiscard]] std::filesystem::path privateFolder() const {
        return isPartOfTree() ? ownURL : rootURL / ".brevant";
    }
    [[nodiscard]] std::filesystem::path contextsFile() const { return privateFolder() / "contexts.json"; }
    /// The parent of the locale folders: the root itself, or "asc" in the private folder.
    [[nodiscard]] std::filesystem::path textsFolder(TextSide side) const;
    /// Throws `MetadataError` for a locale that may not become a folder's name.
    [[nodiscard]] std::filesystem::path localeFolder(std::string_view locale,
                                                     TextSide side = TextSide::local) const;
    /// Of a field of the page, `locale` is `pageLocale`: its file lies beside the locale folders, or in the
    /// folder of the review's fields there.
    [[nodiscard]] std::filesystem::path fieldFile(std::string_view locale, FieldType field,
                                                  TextSide side = TextSide::local) const;

    bool operator==(const MetadataFolder&) const = default;
};

/// Whether the tree's folder exists.
[[nodiscard]] bool isFolder(const MetadataFolder& folder);

/// Where an app's metadata lies unless the user chose a place: ~/Documents/Brevant/<slug>. Throws
/// `MetadataError` for a slug that may not become a folder's name.
[[nodiscard]] MetadataFolder defaultAppFolder(const Home& home, std::string_view slug);

} // namespace quorvel
