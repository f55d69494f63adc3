// Reads and writes the field files of one metadata tree.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/MetadataFolder.h"
#include "Core/metadata/MetadataSnapshot.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/time/Date.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// All reads and writes of field files go through this value. A file holds exactly its field's text in UTF-8;
/// that of a secret is readable by its owner only. The fields of the page are those of `pageLocale`.
///
/// Everything throws `MetadataError` for a name that may not become a path, a link that leads out of the
/// tree, a file above `fileLimit` (not read then), and bytes that are no text; `FileError` where the file
/// system refuses. Safe to use from several threads at once for different locales.
class MetadataStore {
  public:
    static constexpr std::uint64_t fileLimit = 1ULL << 20; // bytes

    explicit MetadataStore(MetadataFolder folder, Logger logger = Logger("MetadataStore"));

    [[nodiscard]] const MetadataFolder& folder() const { return folder_; }

    /// The text of a field; nothing when there is no file.
    [[nodiscard]] std::optional<std::string> read(std::string_view locale, FieldType field,
                                                  TextSide side = TextSide::local) const;
    [[nodiscard]] FieldTexts readLocale(std::string_view locale, TextSide side = TextSide::local) const;
    /// The texts of all locales that have a folder on that side.
    [[nodiscard]] LocaleTexts readAll(TextSide side = TextSide::local) const;
    /// Like `readAll`, but names the files that cannot be taken as texts instead of throwing.
    [[nodiscard]] ReadTexts readAllUsable(TextSide side = TextSide::local,
                                          FolderListings* listings = nullptr) const;

    /// Replaces a text in one step, making the folders, whatever it is.
    void write(std::string_view locale, FieldType field, std::string_view text,
               TextSide side = TextSide::local, Durability durability = Durability::now) const;
    /// What becomes of a local text that is there (nothing: no file): the text to replace it by, or nothing
    /// when it stays.
    using Rewrite = std::function<std::optional<std::string>(const std::optional<std::string>& present)>;
    /// Replaces a local text that a person may be editing; whether it was replaced. Where somebody saves the
    /// file while it is being replaced, `rewrite` is asked again about the newer text, so nothing is
    /// overwritten that it did not see. Every change of a user's file goes through this. Throws what reading
    /// and writing throw, and `MetadataError` for a file that never comes to rest.
    bool update(std::string_view locale, FieldType field, const Rewrite& rewrite,
                Durability durability = Durability::now) const;
    /// Removes a text; whether there was one. A pulled locale without any text left loses its folder too.
    bool remove(std::string_view locale, FieldType field, TextSide side) const;

    [[nodiscard]] bool exists(std::string_view locale, FieldType field,
                              TextSide side = TextSide::local) const;
    /// The names of the folders under the root, hidden ones left out, sorted; empty when there is no root.
    [[nodiscard]] std::vector<std::string> localesOnDisk(TextSide side = TextSide::local) const;

    /// Makes the locale's folder and an empty file for each store text that has none; existing files stay.
    void createLocaleLocally(std::string_view locale) const;

    /// The grid of the store texts of all locales on disk.
    [[nodiscard]] MetadataSnapshot snapshot() const;

    /// Whether a pull into this tree began to write and did not end: the pulled copies cannot be trusted
    /// until the next pull, as a text that came from App Store Connect may look like a local edit.
    [[nodiscard]] bool hasInterruptedPull() const;
    void beginPull() const;
    void endPull() const;

    /// The id of the version that the pulled copies are of, as the last pull noted it: copies of one version
    /// say nothing about the next.
    [[nodiscard]] std::optional<std::string> pulledVersionID() const;
    /// When the last pull was; nothing before the first one, and of trees of before that was noted.
    [[nodiscard]] std::optional<Date> pulledAt() const;
    /// Notes a pull that is done, also one that brought nothing.
    void notePulledVersion(std::string_view versionID, Date moment) const;
    /// Whether there was a pull, so that a text without a copy is one that App Store Connect does not hold.
    [[nodiscard]] bool wasPulled() const;

    /// Leaves the files of secrets, as an editor or a checkout makes them, to their owner alone; one that
    /// cannot be changed is logged.
    void restrictSecrets() const;

    /// Backs up a local text under .brevant/kept/<moment>/<locale>/, so that it can be replaced; returns
    /// its new path. A file that is there already is not replaced.
    [[nodiscard]] std::filesystem::path keepBeside(std::string_view locale, FieldType field,
                                                   std::string_view text, Date moment) const;

  private:
    [[nodiscard]] std::filesystem::path checkedFile(std::string_view locale, FieldType field,
                                                    TextSide side) const;

    MetadataFolder folder_;
    Logger logger_;
};

/// A folder below <root>/.brevant/kept, named after the moment, in which nothing was backed up yet; it is not
/// made.
[[nodiscard]] std::filesystem::path newKeptFolder(const MetadataFolder& folder, Date moment);

} // namespace quorvel
