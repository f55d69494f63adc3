// Writes the texts that a pull fetched into a metadata tree without losing an edit.
#pragma once

#include "Core/metadata/MetadataPuller.h"

#include <vector>

namespace quorvel {

/// All localizations of one resource; a field of it that App Store Connect holds nothing of is an empty text.
struct IncomingTexts {
    FieldHome home = FieldHome::versionLocalization;
    LocaleTexts locales;
};

/// Whether the caller has the tree's turn (`lockFolder`) already.
enum class Turn { held, notHeld };

/// Writes both sides of the tree, in its turn. Everything is read and decided
/// before the first write, so a file that cannot be read stops the pull with nothing changed; files that hold
/// what came already are not touched.
///
/// An end at any moment loses no edit and leaves a tree that the next pull puts right:
/// - an edit is put aside before its file is replaced;
/// - the local file is replaced before the pulled copy moves: between the two the local file holds what came
///   and differs from the old copy, which the next pull recognises as no edit. The other way round the old
///   text would stand as an edit of the new one, and a push would send it back;
/// - a marker stands from before the first write until after the last, and pushes refuse while it does.
[[nodiscard]] PullResult writePulledTexts(const MetadataStore& store,
                                          const std::vector<IncomingTexts>& incoming,
                                          const PullOptions& options, Date moment, Turn turn = Turn::notHeld);

} // namespace quorvel
