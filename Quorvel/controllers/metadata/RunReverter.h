// Takes a push back into the local files.
#pragma once

#include "Core/metadata/MetadataStore.h"
#include "Core/metadata/MetadataTransfer.h"
#include "Core/metadata/TextComparison.h"
#include "Core/records/Models.h"

#include <string>
#include <vector>

namespace quorvel {

struct RevertReport {
    std::string context; // "ios/next"
    PlatformContext version;
    std::vector<FieldKey> reverted;  // local files that took their previous text
    std::vector<FieldKey> unchanged; // those that had it already
    std::vector<KeptEdit> kept;      // newer edits, backed up
    std::vector<std::string> warnings;
    QUORVEL_RECORD(RevertReport, context, version, reverted, unchanged, kept, warnings)
};

/// The context that the entries of a run are of, as far as they say. Throws `MetadataError` when they do not.
[[nodiscard]] PlatformContext contextOfRun(const std::vector<PushHistoryEntry>& entries);

/// Writes the previous value of each entry that succeeded, or may have, into its local file, where that does
/// not hold it already; a text that is neither is kept beside first. Where App Store Connect may have taken
/// the new text though the pulled copy is the previous one, the copy takes the new one, so that the next push
/// looks. A file keeps its final line break where that counts for nothing, and one that is blank stays so
/// where the text of all locales is the previous one. Of the age rating only the answers of the run go back.
/// A field that had no text becomes an empty file. Names
/// are not emptied, and the files of disabled locales and of those without a folder are left alone; warnings
/// say so. `context` and `version` are filled in by the caller. Throws what `MetadataStore` throws.
[[nodiscard]] RevertReport revertEntries(const std::vector<PushHistoryEntry>& entries,
                                         const MetadataStore& store, const TextRules& rules, Date moment,
                                         DryRun dryRun);

} // namespace quorvel
