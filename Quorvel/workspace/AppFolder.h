// The metadata folder of a recorded app.
#pragma once

#include "Core/metadata/DryRun.h"
#include "Core/metadata/FolderLock.h"
#include "Core/metadata/MetadataFolder.h"
#include "Core/metadata/MetadataStore.h"
#include "Core/metadata/OlderLayout.h"
#include "Core/records/Records.h"
#include "Platform/files/Home.h"

#include <optional>

namespace quorvel {

/// The folder of the app's bookmark, in place where that says so or the folder itself does, or the default
/// one under its short name while no folder was chosen (it need not exist). A stale bookmark is made anew and
/// stored. Throws `MetadataError` when the bookmark leads nowhere.
[[nodiscard]] MetadataFolder appFolderOf(const ManagedApp& app, const Home& home, const AppRecords& apps);

/// Makes the folder if need be and stores a bookmark of it in the app's record; a tree in place is noted in
/// the tree too. Throws `MetadataError` for a folder that another app's texts lie in or under, that lies in
/// one, that lies in another tree in place, or that holds the home folder; also `FileError`, `StoreError`.
ManagedApp chooseAppFolder(const ManagedApp& app, const MetadataFolder& folder, const Home& home,
                           const AppRecords& apps);
/// Like `chooseAppFolder` for the folder that the app uses already: nothing is refused.
ManagedApp keepAppFolder(const ManagedApp& app, const MetadataFolder& folder, const AppRecords& apps);

/// Another recorded app that uses the very folder; nothing when there is none.
[[nodiscard]] std::optional<ManagedApp> otherAppIn(const MetadataFolder& folder, const ManagedApp& app,
                                                   const Home& home, const AppRecords& apps);

/// Whether the folder holds a tree of the older layout that was pulled: locale folders that the folder
/// happens to hold, of another tool perhaps, are not ours to move, and none of a tree in place are.
[[nodiscard]] bool holdsOlderLayout(const MetadataFolder& folder);

/// Carries a tree of the older layout over, if it was pulled, and logs what became of it. The caller holds
/// the folder's lock. Throws `FileError`.
void carryOverPulledTree(const MetadataFolder& folder);

/// Logs which folders of the older layout stay where they are, and why.
void tellOlderLayout(const MetadataFolder& folder);

} // namespace quorvel
