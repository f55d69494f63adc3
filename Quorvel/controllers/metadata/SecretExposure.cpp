#include "Quorvel/controllers/metadata/SecretExposure.h"

#include "Core/build/notes/GitRepoReader.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>
#include <vector>

namespace quorvel {

namespace {

bool isTakenByGit(const std::filesystem::path& file) {
    try {
        return GitRepoReader().takes(file);
    } catch (const GitRepoError&) { // without git nobody commits it here
        return false;
    }
}

// Where the password may lie: the file, its copy, the one at the root of a tree whose platforms have folders
// of their own, and what was kept of edits.
std::vector<std::filesystem::path> placesOfSecret(const MetadataFolder& folder) {
    namespace fs = std::filesystem;
    constexpr FieldType secret = FieldType::demoAccountPassword;
    std::vector<fs::path> places = {folder.fieldFile(pageLocale, secret),
                                    folder.fieldFile(pageLocale, secret, TextSide::pulled)};
    if (folder.isPartOfTree() && folder.treeURL != folder.rootURL)
        places.push_back(folder.treeURL / fileNameOf(secret));
    const fs::path name = fs::path(fileNameOf(secret)).filename();
    std::error_code unreachable;
    for (fs::recursive_directory_iterator entry(folder.privateFolder() / "kept", unreachable), end;
         !unreachable && entry != end; entry.increment(unreachable))
        if (entry->path().filename() == name) places.push_back(entry->path());
    return places;
}

} // namespace

std::optional<ExposedSecret> exposedSecret(const MetadataFolder& contextFolder) {
    for (const auto& file : placesOfSecret(contextFolder)) {
        std::error_code unreachable;
        if (!std::filesystem::is_regular_file(file, unreachable)) continue;
        if (isBlank(readFile(file).value_or("")) || !isTakenByGit(file)) continue;
        return ExposedSecret{
            file.native(),
            fmt::format(
                "{} holds the demo account's password, and the git repository around it would take it. "
                "Write a line \"{}\" into its .gitignore; a file that it holds already has to be "
                "removed from it.",
                escapeControls(file.native()), file.filename().native())};
    }
    return std::nullopt;
}

} // namespace quorvel
