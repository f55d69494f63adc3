// What requests mean that do not name it: what the environment says, then the repository that one works in.
#pragma once

#include "Core/metadata/MetadataFolder.h"

#include <filesystem>
#include <optional>
#include <string>

namespace quorvel {

class Application;
struct ManagedApp;
struct RepositoryFile;

/// The app of requests that name none; nothing where only the records can tell. Throws what
/// `Application::repository` throws.
[[nodiscard]] std::optional<std::string> usualApp(Application& application);

/// The quorvel.toml in force when it is about this app, which need not be recorded; else null: what it names
/// has nothing to do with other apps. Throws as `usualApp`.
[[nodiscard]] const RepositoryFile* repositoryFor(Application& application, const ManagedApp& app);

/// The app's metadata folder at `folder`: as its note says, else as its locales lie where another tool laid
/// them out, those of one platform being of `context`'s. Throws what `folderAt` throws.
[[nodiscard]] MetadataFolder treeAt(const std::filesystem::path& folder,
                                    const std::optional<std::string>& context);

/// The metadata folder that the file names; nothing where it names none.
[[nodiscard]] std::optional<MetadataFolder> treeOf(const RepositoryFile& file);

} // namespace quorvel
