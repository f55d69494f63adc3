// Trees of one file per field and locale as other release tools keep them: in, out, and tidied.
#pragma once

#include "Core/metadata/DryRun.h"
#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/MetadataStore.h"
#include "Core/metadata/StrayEntries.h"

#include <filesystem>
#include <string>
#include <vector>

namespace quorvel {

struct ImportReport {
    std::vector<std::string> locales; // with at least one field taken
    std::vector<FieldKey> imported;   // local files that took a new text
    std::int64_t unchanged = 0;       // fields that held the text already
    std::int64_t stripped = 0;        // texts that lost one final line break
    std::vector<KeptEdit> kept;
    std::vector<FieldKey> overLimit; // taken, but too long for a push
    std::vector<SkippedEntry> skipped;
    std::vector<FieldKey> fromDefault; // that took the text of all locales, as theirs is missing or blank
    QUORVEL_RECORD(ImportReport, locales, imported, unchanged, stripped, kept, overLimit, skipped,
                   fromDefault)
};

struct ExportReport {
    std::int64_t written = 0;
    std::int64_t unchanged = 0;
    std::vector<FieldKey> replaced; // files there that held another text
    std::vector<SkippedEntry> skipped;
    QUORVEL_RECORD(ExportReport, written, unchanged, replaced, skipped)
};

struct TidiedField {
    std::string locale;
    FieldType field = FieldType::name;
    bool finalLineBreak = false; // stripped
    bool byteOrderMark = false;  // stripped
    QUORVEL_RECORD(TidiedField, locale, field, finalLineBreak, byteOrderMark)
    bool operator==(const TidiedField&) const = default;
};

struct TidyReport {
    std::vector<TidiedField> tidied;
    std::vector<SkippedEntry> skipped;
    QUORVEL_RECORD(TidyReport, tidied, skipped)
};

/// The tree of one platform at `tree`, for an import: its locales lie in it, those of "default" stand for
/// what they lack.
[[nodiscard]] MetadataFolder treeToImport(const std::filesystem::path& tree);

/// Takes the texts of `source`, a context's part of another tool's tree, into the local files of `store`: one
/// final line break is stripped, everything else stays byte for byte; a text of "default" is taken for each
/// locale that has none. An edit that would be replaced is kept beside; a blank file replaces no text.
/// Folders that are no App Store locale and files that are no field are skipped and named. Throws
/// `MetadataError` when `source` is no folder or holds no locale, and says where one is near; and
/// `FileError`. Unless it is a dry run, the caller holds the lock of the app's folder.
[[nodiscard]] ImportReport importTree(const MetadataFolder& source, const MetadataStore& store,
                                      const Clock& clock, DryRun dryRun = DryRun::no);

/// Writes the local texts of `store` into `tree` with one final line break each, which is what an import
/// strips again; an empty text becomes an empty file. Files that cannot be taken as texts are skipped and
/// named.
[[nodiscard]] ExportReport exportTree(const MetadataStore& store, const std::filesystem::path& tree,
                                      DryRun dryRun = DryRun::no);

/// Strips one final line break and a byte order mark from every local text that is not exactly what App Store
/// Connect holds. Unless it is a dry run, the caller holds the lock of the app's folder.
[[nodiscard]] TidyReport tidyTree(const MetadataStore& store, DryRun dryRun = DryRun::no);

} // namespace quorvel
