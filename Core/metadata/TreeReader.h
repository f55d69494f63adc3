// Reads the field files of one side of a metadata tree.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/MetadataFolder.h"
#include "Platform/files/FileDescriptor.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Works relative to open folders: no path is walked twice, and a link is noticed without asking for the kind
/// of every entry first. Throws what `MetadataStore` throws.
class TreeReader {
  public:
    TreeReader(const MetadataFolder& folder, TextSide side);

    /// The names of the folders, sorted; that of the review's fields, hidden and unusable ones are left out,
    /// and so, with a log line, are links out of the tree that nothing marks as locales. In place
    /// also what is named like no locale.
    [[nodiscard]] std::vector<std::string> locales() const;
    [[nodiscard]] FieldTexts readLocale(std::string_view locale) const;
    /// Like `readLocale`, but collects the files that cannot be taken as texts instead of throwing.
    struct Locale {
        FieldTexts texts;
        std::vector<UnreadableText> unreadable;
        std::optional<std::vector<FolderEntry>>
            entries; // of its folder, sorted by name, as far as they are known

        [[nodiscard]] bool isUnreadable(FieldType field) const {
            return std::ranges::find(unreadable, field, &UnreadableText::field) != unreadable.end();
        }
        /// Whether no file can be written in its place: a folder is there, or a link out of the tree.
        [[nodiscard]] bool isBlocked(FieldType field) const {
            const auto found = std::ranges::find(unreadable, field, &UnreadableText::field);
            return found != unreadable.end() && !found->isFile;
        }
    };
    [[nodiscard]] Locale readUsable(std::string_view locale) const;
    /// Adds to `listings` what lies in the folders of locales.
    [[nodiscard]] ReadTexts readAllUsable(FolderListings* listings = nullptr) const;
    [[nodiscard]] std::optional<std::string> read(std::string_view locale, FieldType field) const;

  private:
    [[nodiscard]] bool mayBeLocale(std::string_view name) const;
    [[nodiscard]] bool isStrayLink(const std::string& name) const;
    [[nodiscard]] FileDescriptor openFolder(const FileDescriptor& parent, const std::string& name,
                                            const std::filesystem::path& path) const;
    // The folders that hold the fields of a locale or of the page, opened when they are needed first; one
    // that is not there stays closed.
    struct Folder {
        FileDescriptor descriptor;
        std::optional<std::vector<FolderEntry>> entries; // when it was opened, as far as it was listed
    };
    struct Folders {
        bool lists = false; // most files are missing in most folders, and looking for each takes its time
        std::optional<Folder> own = {};
        std::optional<Folder> review = {};
    };
    [[nodiscard]] const Folder& open(Folders& folders, std::string_view locale, FieldType field) const;
    [[nodiscard]] FileDescriptor openLocale(std::string_view locale) const;
    [[nodiscard]] std::optional<std::string> readFieldFile(Folders& folders, std::string_view locale,
                                                           FieldType field) const;

    MetadataFolder folder_;
    TextSide side_;
    FileDescriptor texts_; // the parent of the locale folders; not open when there is none
};

/// Throws `MetadataError` when `path`, its links followed, lies outside of `root` or leads nowhere.
void requireInside(const std::filesystem::path& path, const std::filesystem::path& root);

} // namespace quorvel
