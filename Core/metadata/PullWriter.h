// Writes the texts that a pull fetched into a metadata tree without losing an edit.
#pragma once

#include "Core/metadata/MetadataPuller.h"

#include <vector>

namespace quorvel {

/// All localizations of one resource; a field of it that App Store Connect holds nothing of is an empty text.
struct IncomingTexts {
    FieldHome home = FieldHome::versionLocalization;
    LocaleTexts locales; // of a resource of the page, `pageLocale` alone; none where it does not exist
};

/// Writes both sides of the tree; the caller holds the lock of the app's folder. Everything is read and
/// decided before the first write; files that hold what came already are not touched. A local file that
/// cannot be taken as a text stays as it is and is named in the warnings. What App Store Connect has no more,
/// a localization or a resource of the page, takes its pulled copies along and leaves the local files, which
/// a push sends then. In place no blank file is made, and no file for a locale whose text is that of all
/// locales (`FallbackTexts`).
///
/// An end at any moment loses no edit and leaves a tree that the next pull puts right:
/// - an edit is backed up, and what a conflict is of is kept, before its file is replaced;
/// - the local file is replaced before the pulled copy moves: between the two the local file holds what came
///   and differs from the old copy, which the next pull recognises as no edit. The other way round the old
///   text would look like an edit of the new one, and a push would send it back;
/// - a marker exists from before the first write until after the last, and pushes refuse while it does.
[[nodiscard]] PullResult writePulledTexts(const MetadataStore& store,
                                          const std::vector<IncomingTexts>& incoming,
                                          const PullOptions& options, Date moment);

} // namespace quorvel
