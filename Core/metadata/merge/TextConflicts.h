// The texts that were changed here and on App Store Connect and could not be merged.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/FinalLineBreak.h"
#include "Core/metadata/MetadataFolder.h"
#include "Platform/time/Date.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// A field in conflict. The local file holds what App Store Connect held, unless it was edited since; the
/// texts here are what a choice between the two needs. Of a secret no text is kept: its local file keeps the
/// edit, the pulled copy holds App Store Connect's, and the texts here say what was done (`hideSecrets`).
struct TextConflict {
    FieldKey key;
    std::string base;   // what both sides began with
    std::string ours;   // the local text that a pull met
    std::string theirs; // what App Store Connect held at the last pull
    std::optional<Date> since;
    std::optional<std::string> problem; // why the texts are not known: the record is damaged
    // The digests of what `theirs` was before: a pull that was killed may have left it in the local file.
    std::vector<std::string> earlier = {};

    [[nodiscard]] bool knowsTexts() const { return !problem && !isSecret(key.field); }
};

/// Keeps each conflict of a context in .brevant/conflicts/<locale>/<field>.json, and the text that is edited
/// to settle it beside it. Everything throws `FileError`, and `MetadataError` for a name that may not become
/// a path. For one process at a time, which holds the lock of the app's folder; reading needs none.
class TextConflicts {
  public:
    explicit TextConflicts(MetadataFolder folder) : folder_(std::move(folder)) {}

    /// In locale order and then in field order.
    [[nodiscard]] std::vector<TextConflict> all() const;
    [[nodiscard]] std::optional<TextConflict> find(const FieldKey& key) const;
    /// Replaces the record in one step; it survives a power failure at once. The texts of a secret are
    /// hidden.
    void keep(const TextConflict& conflict) const;
    /// Forgets the conflict and the text that was edited for it.
    void remove(const FieldKey& key) const;

    [[nodiscard]] std::filesystem::path editFile(const FieldKey& key) const;

  private:
    [[nodiscard]] std::filesystem::path fileOf(const FieldKey& key, std::string_view ending) const;

    MetadataFolder folder_;
};

/// What counts as the local text of a conflict: `local` where it was edited after the pull, else the text
/// that the pull met.
[[nodiscard]] std::string ourTextOf(const TextConflict& conflict, const std::optional<std::string>& local,
                                    FinalLineBreak rule);
/// The same to be shown: of a secret what was done to it, of the age rating all answers that it stands for.
[[nodiscard]] std::string shownTextOf(const TextConflict& conflict, const std::optional<std::string>& local,
                                      FinalLineBreak rule);
/// Whether `local` is neither the text that the pull met nor one of App Store Connect's.
[[nodiscard]] bool isNewerEdit(const TextConflict& conflict, const std::optional<std::string>& local,
                               FinalLineBreak rule);

} // namespace quorvel
