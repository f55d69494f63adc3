// The metadata folder of a recorded app.
#pragma once

#include "Core/metadata/MetadataFolder.h"
#include "Core/records/Records.h"
#include "Platform/files/Home.h"

#include <optional>

namespace quorvel {

/// The folder of the app's bookmark, or the default one under its short name while no folder was chosen (it
/// need not exist). A stale bookmark is made anew and stored. Throws `MetadataError` when the bookmark leads
/// nowhere.
[[nodiscard]] MetadataFolder appFolderOf(const ManagedApp& app, const Home& home, const AppRecords& apps);

/// Makes the folder if need be and stores a bookmark of it in the app's record. Throws `MetadataError`,
/// `FileError`, `StoreError`.
ManagedApp chooseAppFolder(const ManagedApp& app, const MetadataFolder& folder, const AppRecords& apps);

} // namespace quorvel
