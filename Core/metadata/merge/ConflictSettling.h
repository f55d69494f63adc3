// Settles a text in conflict.
#pragma once

#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/merge/TextConflicts.h"

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace quorvel {

/// Whose text a conflict is settled with.
enum class ConflictSide { ours, theirs };

template <>
struct RawValues<ConflictSide> {
    static constexpr std::pair<ConflictSide, std::string_view> values[] = {{ConflictSide::ours, "ours"},
                                                                           {ConflictSide::theirs, "theirs"}};
};

/// All of these throw what `MetadataStore` and `TextConflicts` throw; the caller holds the lock of the app's
/// folder. A text that was edited since the pull is backed up before another one replaces it, and an end at
/// any moment leaves a conflict that is open, or settled.
class ConflictSettling {
  public:
    ConflictSettling(const MetadataStore& store, FinalLineBreak rule, Date moment)
        : store_(store), conflicts_(store.folder()), rule_(rule), moment_(moment) {}

    struct Settled {
        std::optional<KeptEdit> kept; // a newer edit that was replaced
        bool isPending = false;       // the next push sends the text
    };
    /// Gives the local file the text of one side; the next push sends ours, and does not take theirs for a
    /// change that somebody else made since.
    [[nodiscard]] Settled settle(const TextConflict& conflict, ConflictSide side) const;

    /// Writes both texts into a file to be edited, with markers around what is in conflict; one that is there
    /// already stays. Throws `MetadataError` where the texts are not known, and for a secret.
    [[nodiscard]] std::filesystem::path prepareEdit(const TextConflict& conflict) const;
    /// Gives the local file the text that was edited. Throws `MetadataError` while the file is missing, no
    /// text, as it was prepared, or holds a marker.
    [[nodiscard]] Settled settleWithEdit(const TextConflict& conflict) const;

  private:
    [[nodiscard]] std::string preparedText(const TextConflict& conflict) const;
    [[nodiscard]] Settled finish(const TextConflict& conflict, const std::string& text,
                                 bool replacesNewerEdit) const;

    const MetadataStore& store_;
    TextConflicts conflicts_;
    FinalLineBreak rule_;
    Date moment_;
};

} // namespace quorvel
