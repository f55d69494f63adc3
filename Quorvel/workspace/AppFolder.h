// The metadata folder of a recorded app.
#pragma once

#include "Core/metadata/DryRun.h"
#include "Core/metadata/MetadataFolder.h"
#include "Core/metadata/MetadataStore.h"
#include "Core/metadata/OlderLayout.h"
#include "Core/records/Records.h"
#include "Platform/files/Home.h"

#include <optional>

namespace quorvel {

/// The folder of the app's bookmark, or the default one under its short name while no folder was chosen (it
/// need not exist). A stale bookmark is made anew and stored. Throws `MetadataError` when the bookmark leads
/// nowhere.
[[nodiscard]] MetadataFolder appFolderOf(const ManagedApp& app, const Home& home, const AppRecords& apps);

/// Makes the folder if need be and stores a bookmark of it in the app's record. Throws `MetadataError` for a
/// folder that another app's texts lie in or under, that lies in one, or that holds the home folder; also
/// `FileError`, `StoreError`.
ManagedApp chooseAppFolder(const ManagedApp& app, const MetadataFolder& folder, const Home& home,
                           const AppRecords& apps);
/// Like `chooseAppFolder` for the folder that the app uses already: nothing is refused.
ManagedApp keepAppFolder(const ManagedApp& app, const MetadataFolder& folder, const AppRecords& apps);

/// Another recorded app that uses the very folder; nothing when there is none.
[[nodiscard]] std::optional<ManagedApp> otherAppIn(const MetadataFolder& folder, const ManagedApp& app,
                                                   const Home& home, const AppRecords& apps);

/// Whether a context's tree has texts, but nothing that was pulled to compare them with.
[[nodiscard]] bool lacksItsCopies(const MetadataStore& store);

/// Carries a tree of the older layout over, if it was pulled, and tells in the log what became of it: locale
/// folders that the folder happens to hold, of another tool perhaps, are not ours to move. A fixture writes
/// nothing, see `readOlderLayoutInPlace`. Throws `FileError`.
[[nodiscard]] CarriedTree carryOverPulledTree(const MetadataFolder& folder, DryRun dryRun);

} // namespace quorvel
