// Tells what a file or folder that no push reads was probably meant to be.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/MetadataFolder.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// An entry of a tree that was not taken.
struct SkippedEntry {
    enum class Kind {
        other,      // known to be no text, or unknown
        misnamed,   // probably a text or a locale under another name
        unreadable, // a text that cannot be read, or written over
        blank,      // a text without content, which replaces none
    };
    std::string path; // relative to the tree
    std::string reason;
    Kind kind = Kind::other;
    QUORVEL_RECORD(SkippedEntry, path, reason, kind)
    bool operator==(const SkippedEntry&) const = default;
};

template <>
struct RawValues<SkippedEntry::Kind> {
    using K = SkippedEntry::Kind;
    static constexpr std::pair<K, std::string_view> values[] = {
        {K::other, "other"}, {K::misnamed, "misnamed"}, {K::unreadable, "unreadable"}, {K::blank, "blank"}};
};

/// Whether a file of this name in a locale's folder holds a field's text.
[[nodiscard]] bool isFieldFile(std::string_view name);
/// Whether a file of this name, relative to the folder of the locales, holds a field of the page.
[[nodiscard]] bool isPageFile(std::string_view name);
/// Whether a file of this name holds a field of the page in the folder of those that App Review reads.
[[nodiscard]] bool isReviewFile(std::string_view folder, std::string_view name);
/// The field of a locale whose text a file of this name probably holds: "whats_new.txt", "Description.txt",
/// "name.md". Nothing for the field's own file name, and for a name that means none.
[[nodiscard]] std::optional<FieldType> fieldMeantBy(std::string_view fileName);

/// A folder that is no App Store locale, `present` being the folders beside it.
[[nodiscard]] SkippedEntry strayFolder(std::string_view name, const std::vector<std::string>& present);
/// A file in a locale's folder that is no field, `present` being the files beside it.
[[nodiscard]] SkippedEntry strayFile(std::string_view locale, std::string_view name,
                                     const std::vector<std::string>& present);

/// Every entry of a folder of locales that no push takes; the folder "default" of a tree in
/// place counts as taken. Paths are relative to the tree where the folder is a part of one in place, else to
/// the folder. Sorted. Folders of locales in `listings` are not listed again. Throws `FileError` where the
/// folder cannot be listed; a locale's folder that cannot be is left out.
[[nodiscard]] std::vector<SkippedEntry> strayEntries(const MetadataFolder& context,
                                                     const FolderListings& listings = {});

/// Whether an entry of a tree in place is one of the folders beside its locales or platforms that pictures
/// and videos are pushed from: "screenshots", "previews-macos-next".
[[nodiscard]] bool isOfPictures(const SkippedEntry& entry);

/// The entries of a context's folder that probably are texts under another name or in another place, which
/// no push takes: misnamed files and folders, and field files beside the locales. In a tree in place it is
/// every entry that no push takes, as the user brought it there. Sorted by path, throws like `strayEntries`.
[[nodiscard]] std::vector<SkippedEntry> misnamedEntries(const MetadataFolder& context,
                                                        const FolderListings& listings = {});

/// Throws `MetadataError` when `folder` is no tree of <locale>/<field>.txt files, and says what to do: name
/// the tree that lies below it, above it or beside it, or rename a folder. A tree without any text is one as
/// long as no other is near.
void requireTree(const std::filesystem::path& folder);

} // namespace quorvel
