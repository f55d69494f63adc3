#include "Core/metadata/TreeInPlace.h"

#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/StrayEntries.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string>
#include <system_error>
#include <utility>

namespace quorvel {

namespace {

constexpr std::pair<std::string_view, ASCPlatform> platformNames[] = {
    {"ios", ASCPlatform::iOS},           {"macos", ASCPlatform::macOS},   {"mac", ASCPlatform::macOS},
    {"osx", ASCPlatform::macOS},         {"tvos", ASCPlatform::tvOS},     {"appletvos", ASCPlatform::tvOS},
    {"visionos", ASCPlatform::visionOS}, {"xros", ASCPlatform::visionOS},
};

std::filesystem::path treeNoteOf(const MetadataFolder& folder) {
    return folder.privateFolder() / "tree.json";
}

bool isFolderAt(const std::filesystem::path& path) {
    std::error_code unreachable;
    return std::filesystem::is_directory(path, unreachable);
}

// Links count as what they lead to; hidden folders are left out.
std::vector<std::string> foldersAt(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const FolderEntry& entry : listFolder(folder).value_or(std::vector<FolderEntry>()))
        if (!entry.name.starts_with('.') && isFolderAt(folder / entry.name)) names.push_back(entry.name);
    return names;
}

bool holdsLocale(const std::filesystem::path& folder) {
    return std::ranges::any_of(foldersAt(folder), isAppStoreLocale);
}

// The root of an app where `folder` is one of its contexts, such as <root>/ios/next: that has private files
// of its own, which look like those of a root of before.
std::filesystem::path rootOf(const std::filesystem::path& folder) {
    const auto path = folder.filename().empty() ? folder.parent_path() : folder;
    const auto slot = path.filename();
    const auto platform = path.parent_path();
    const auto root = platform.parent_path();
    const bool isContext = parseContextID((platform.filename() / slot).native()).has_value();
    std::error_code unreachable;
    return isContext && std::filesystem::exists(MetadataFolder{root}.contextsFile(), unreachable) ? root
                                                                                                  : folder;
}

} // namespace

std::optional<ASCPlatform> platformOfTreeFolder(std::string_view name) {
    const std::string wanted = asciiLowercase(name);
    for (const auto& [known, platform] : platformNames)
        if (known == wanted) return platform;
    return std::nullopt;
}

bool isLocaleOfTree(std::string_view name) {
    return looksLikeLocale(name) && !platformOfTreeFolder(name);
}

std::optional<std::filesystem::path> textsInPlace(const std::filesystem::path& tree,
                                                  const TreeInPlace& inPlace, ASCPlatform platform) {
    if (inPlace.layout == TreeLayout::locales)
        return inPlace.platform == platform ? std::optional(tree) : std::nullopt;
    try {
        for (const std::string& name : foldersAt(tree))
            if (platformOfTreeFolder(name) == platform) return tree / name;
    } catch (const FileError&) {
        // who reads the folder says what is wrong with it
    }
    return tree / platformFolderName(platform);
}

FoundLayout findLayout(const std::filesystem::path& folder) {
    if (!isFolderAt(folder)) throw MetadataError::notAFolder(folder);
    std::map<ASCPlatform, std::string> found;
    const auto folders = foldersAt(folder);
    for (const std::string& name : folders) {
        const auto platform = platformOfTreeFolder(name);
        if (!platform || !holdsLocale(folder / name)) continue;
        const auto [known, isNew] = found.emplace(*platform, name);
        if (!isNew)
            throw MetadataError(MetadataError::Kind::failed,
                                fmt::format("{}: {} and {} are both of {}. Put the texts into one of them.",
                                            escapeControls(folder.native()), known->second, name,
                                            platformLabel(*platform)),
                                {folder, {}, {}});
    }
    const auto entries = listFolder(folder).value_or(std::vector<FolderEntry>());
    const bool isEmpty =
        std::ranges::all_of(entries, [](const FolderEntry& entry) { return entry.name.starts_with('.'); });
    if (isEmpty) return {};
    if (found.empty() || std::ranges::any_of(folders, isAppStoreLocale)) {
        requireTree(folder);
        return {};
    }
    FoundLayout layout{TreeLayout::platforms, {}};
    for (const ASCPlatform platform : allPlatforms)
        if (found.contains(platform)) layout.platforms.push_back(platform);
    return layout;
}

MetadataFolder folderAt(const std::filesystem::path& folder) {
    MetadataFolder plain{rootOf(folder)};
    const auto file = treeNoteOf(plain);
    const auto text = readFile(file);
    if (!text) return plain;
    try {
        plain.inPlace = decodeJSON<TreeInPlace>(*text);
        return plain;
    } catch (const JSONError& error) {
        throw MetadataError(MetadataError::Kind::failed,
                            fmt::format("{}: cannot be understood ({}). Set the app's tree again.",
                                        escapeControls(file.native()), error.what()),
                            {file, {}, {}});
    }
}

void keepTreeNote(const MetadataFolder& folder) {
    if (!folder.inPlace) return;
    const std::string text = encodeJSON(*folder.inPlace, JSONFormat::stateFile()) + "\n";
    createFolders(folder.privateFolder());
    if (readFile(treeNoteOf(folder)) != text) writeFileAtomically(treeNoteOf(folder), text);
}

void removeTreeNote(const std::filesystem::path& folder) {
    removeFile(treeNoteOf({folder}));
}

bool hasTreeNote(const std::filesystem::path& folder) {
    std::error_code unreachable;
    return std::filesystem::exists(treeNoteOf({folder}), unreachable);
}

} // namespace quorvel
