// The texts that stand for those which locales of a tree in place lack.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/MetadataFolder.h"
#include "Core/metadata/StrayEntries.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The texts of the folder "default" beside the locales: a blank or missing text of a locale takes theirs.
/// Nothing stands in where the folder is no part of a tree in place, or the text there is blank.
class FallbackTexts {
  public:
    /// Reads them. Throws `MetadataError` where the tree itself cannot be read.
    explicit FallbackTexts(const MetadataFolder& folder);

    /// The text that stands for `local`; nothing where that is one itself, or none is there.
    [[nodiscard]] const std::optional<std::string>& standingFor(const std::optional<std::string>& local,
                                                                FieldType field) const;
    /// Puts them into `local`, and into the locales `others` that have no folder; returns the fields that
    /// took one. Where the fallback cannot be read those that need it count as unreadable.
    std::vector<FieldKey> fill(ReadTexts& local, const std::vector<std::string>& others = {}) const;

    /// The texts that none of the fields `filled` took, as entries that no push takes; their paths are
    /// relative to the tree.
    [[nodiscard]] std::vector<SkippedEntry> unused(const std::vector<FieldKey>& filled) const;

  private:
    std::filesystem::path place_; // in the tree
    FieldTexts texts_;            // without the blank ones
    std::vector<UnreadableText> unreadable_;
};

/// The local text of one field that counts in the folder; nothing where there is no file. Throws what reading
/// it throws.
[[nodiscard]] std::optional<std::string> readTextThatCounts(const MetadataFolder& folder,
                                                            std::string_view locale, FieldType field);
/// The local texts that count in the folder, those that stand in for others included. Throws like
/// `MetadataStore::readAllUsable`.
[[nodiscard]] ReadTexts readTextsThatCount(const MetadataFolder& folder);

} // namespace quorvel
