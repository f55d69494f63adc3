// Writes generated texts into a tree, so that none is lost and none is taken for a text that somebody read.
#pragma once

#include "Core/metadata/MetadataStore.h"
#include "Core/metadata/ReviewMarks.h"

#include <filesystem>
#include <mutex>
#include <optional>
#include <string_view>

namespace quorvel {

/// For one run, whose caller holds the tree's lock. Thread-safe.
class GeneratedTexts {
  public:
    /// `moment` names the folder of the backups. Throws `FileError` when the tree's marks cannot be read.
    GeneratedTexts(const MetadataStore& store, Date moment);

    struct Written {
        std::optional<std::filesystem::path> kept; // the backup of the text that it replaced
        std::optional<ReviewMark> review;          // none: the same text was there, and read already
    };
    /// Writes a text and marks it as unread; a different one is backed up under .brevant/kept first. The text
    /// that is there already stays with the mark that it has. Throws `FileError`, `MetadataError`.
    Written write(std::string_view locale, FieldType field, std::string_view text, ReviewMark mark);

  private:
    const MetadataStore store_;
    const Date moment_;
    std::mutex mutex_; // guards `marks_`
    ReviewMarks marks_;
};

} // namespace quorvel
