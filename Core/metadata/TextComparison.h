// What a context's folder says: the texts, what differs from the last pull, and what a push would send.
#pragma once

#include "Core/metadata/FinalLineBreak.h"
#include "Core/metadata/MetadataSnapshot.h"
#include "Core/metadata/MetadataStore.h"
#include "Core/metadata/PlatformContext.h"
#include "Core/metadata/PushSelection.h"
#include "Core/metadata/StrayEntries.h"

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quorvel {

/// What the user decided about all texts of an app.
struct TextRules {
    LocaleSet disabledLocales; // left out of pulls and pushes
    FinalLineBreak finalLineBreak = FinalLineBreak::keep;

    // Implicit, as most comparisons have no more than this.
    TextRules(LocaleSet disabled = {}, FinalLineBreak lineBreak = FinalLineBreak::keep)
        : disabledLocales(std::move(disabled)), finalLineBreak(lineBreak) {}
};

/// The texts of both sides of a context, read once and as they count.
struct ReadContext {
    ReadTexts local; // with those that stand in for a locale's own
    ReadTexts pulled;
    std::vector<FieldKey> fromDefault;        // texts of the folder "default" that stand in, sorted
    std::vector<std::string> withoutFolder;   // pulled and enabled locales
    std::vector<SkippedEntry> unusedDefaults; // that stand in nowhere
    FolderListings listings;                  // of the locales here, as far as they were listed
    bool isRemote = false;                    // `pulled` is what App Store Connect holds now
};
/// Throws what `compareTexts` throws.
[[nodiscard]] ReadContext readContext(const MetadataStore& store, const TextRules& rules);

struct TextComparison {
    ContextID context;
    LocaleSet disabledLocales;
    MetadataSnapshot grid;                   // of the local texts
    std::map<FieldType, std::size_t> filled; // in how many enabled locales; of the page, 1 or 0
    std::vector<PendingChange> changes;      // all that differ, those of disabled locales excepted
    PushSelection selection;                 // what a push with the filter would send and leave out
    std::vector<UnreadableText> unreadable;  // local files and pulled copies
    std::vector<FieldKey> conflicts;         // of enabled locales; not settled yet
    std::vector<FieldKey> fromDefault;       // texts of the folder "default" that stand for a locale's own
    std::vector<UnreadText> unread;          // of enabled locales, also those that App Store Connect has
    std::vector<std::string> pulledLocales;  // with a copy of App Store Connect's texts
    std::vector<std::string> removedLocales; // pulled and enabled, without a folder
    std::vector<SkippedEntry> misnamed;      // texts that no push takes, as they have another name
    bool wasPulled = false;                  // else nothing is known of what App Store Connect holds
    std::optional<Date> pulledAt;            // when, as far as it was noted
    bool interruptedPull = false;

    /// The changes that are chosen, and those left out until the user does something (`waitsForUser`).
    [[nodiscard]] std::size_t waiting() const;
    /// The fields of enabled locales that are above their limit.
    [[nodiscard]] std::size_t overLimit() const;
    /// Whether there are texts, but nothing pulled to compare with.
    [[nodiscard]] bool lacksCopies() const { return !wasPulled && !grid.locales.empty(); }
    /// What to tell the user of missing copies, removed locales and misnamed texts.
    [[nodiscard]] std::vector<std::string> notices() const;
};

/// Compares the texts of `store`, the folder of `context`. A file that cannot be taken as a text stops
/// nothing: its field is left out. Throws `MetadataError` when the folder itself cannot be read, `FileError`
/// for the marks of unread texts.
[[nodiscard]] TextComparison compareTexts(const MetadataStore& store, const ContextID& context,
                                          const TextRules& rules, const PushFilter& filter = {});
/// The same of texts that were read, without what lies beside them (`misnamed`).
[[nodiscard]] TextComparison compareTexts(const ReadContext& read, const MetadataStore& store,
                                          const ContextID& context, const TextRules& rules,
                                          const PushFilter& filter = {});
/// The same with `remote`, what App Store Connect holds now, in place of the pulled copies; `unreadable` is
/// empty there. A field without a
/// local file is no change then, as nothing tells that somebody removed it; nor is a field of the page whose
/// file is blank.
[[nodiscard]] TextComparison compareWithRemote(const MetadataStore& store, const ContextID& context,
                                               const TextRules& rules, const PushFilter& filter,
                                               const ReadTexts& remote);

} // namespace quorvel
