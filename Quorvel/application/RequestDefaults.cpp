#include "Quorvel/application/RequestDefaults.h"

#include "Core/metadata/MetadataError.h"
#include "Core/metadata/StrayEntries.h"
#include "Core/metadata/TreeInPlace.h"
#include "Platform/files/Files.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/repository/RepositoryFile.h"

#include <filesystem>
#include <system_error>

namespace quorvel {

namespace {

// A fresh checkout has no private folder yet that says how its texts lie. Nothing for a folder that this
// program laid out, or that is to be made.
std::optional<TreeInPlace> layoutOfTree(const std::filesystem::path& folder,
                                        const std::optional<ContextID>& context) try {
    const FoundLayout found = findLayout(folder);
    if (found.layout == TreeLayout::platforms) return TreeInPlace{.layout = TreeLayout::platforms};
    requireTree(folder); // an empty folder is none yet
    if (context) return TreeInPlace{.platform = context->platform};
    const auto name = (folder.has_filename() ? folder : folder.parent_path()).filename();
    return TreeInPlace{.platform = platformOfTreeFolder(name.native()).value_or(ASCPlatform::iOS)};
} catch (const MetadataError&) {
    return std::nullopt;
} catch (const FileError&) {
    return std::nullopt; // who reads the folder says what is wrong with it
}

// Whether pulls of this program laid out the folder, also as its older versions did.
bool holdsOwnLayout(const MetadataFolder& folder) {
    std::error_code unreachable;
    for (const ASCPlatform platform : allPlatforms)
        for (const auto slot : {AppStoreVersionStateClass::editable, AppStoreVersionStateClass::live})
            if (std::filesystem::is_directory(folder.rootURL / platformFolderName(platform) / slotName(slot),
                                              unreachable))
                return true;
    return std::filesystem::is_directory(folder.textsFolder(TextSide::pulled), unreachable);
}

} // namespace

std::optional<std::string> usualApp(Application& application) {
    if (application.options().usualApp) return application.options().usualApp;
    const RepositoryFile* file = application.repository();
    return file ? std::optional(file->app) : std::nullopt;
}

const RepositoryFile* repositoryFor(Application& application, const ManagedApp& app) {
    const RepositoryFile* file = application.repository();
    // The records would find it by any of these.
    const bool isMeant =
        file && (file->app == app.bundleId || file->app == app.appStoreId || file->app == app.slug);
    return isMeant ? file : nullptr;
}

MetadataFolder treeAt(const std::filesystem::path& path, const std::optional<std::string>& context) {
    MetadataFolder folder = folderAt(path);
    if (folder.inPlace || holdsOwnLayout(folder)) return folder;
    folder.inPlace = layoutOfTree(folder.rootURL, context ? parseContextID(*context) : std::nullopt);
    return folder;
}

std::optional<MetadataFolder> treeOf(const RepositoryFile& file) {
    return file.tree ? std::optional(treeAt(*file.tree, file.context)) : std::nullopt;
}

} // namespace quorvel
