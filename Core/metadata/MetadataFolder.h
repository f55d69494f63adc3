// Where the files of one metadata tree lie.
#pragma once

#include "Core/metadata/FieldType.h"
#include "Core/metadata/PlatformContext.h"
#include "Platform/files/Home.h"

#include <filesystem>
#include <string_view>

namespace quorvel {

/// Which of the two texts of a field: the one that users edit, or the copy of what App Store Connect held at
/// the last pull.
enum class TextSide { local, pulled };

/// The root of a metadata tree: of an app, or of one of its contexts.
struct MetadataFolder {
    std::filesystem::path rootURL;

    /// The folder of a context under an app's root, such as <root>/ios/next.
    [[nodiscard]] MetadataFolder contextFolder(const ContextID& context) const;
    /// The folder of a platform in a tree of the older layout, which had one context per platform: the root
    /// itself for iOS, else the subfolder "macos", "tvos" or "visionos".
    [[nodiscard]] MetadataFolder platformFolder(ASCPlatform platform) const;

    /// The tool's own files: <root>/.brevant.
    [[nodiscard]] std::filesystem::path privateFolder() const { return rootURL / ".brevant"; }
    [[nodiscard]] std::filesystem::path contextsFile() const { return privateFolder() / "contexts.json"; }
    /// The parent of the locale folders: the root itself, or <root>/.brevant/asc.
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
