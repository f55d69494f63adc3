#include "Core/records/StoreFiles.h"

#include "Core/records/ModelContainer.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>

namespace quorvel {

namespace {

using Path = std::filesystem::path;

// A rollback journal exists only when something changed the engine's mode. A fresh store must not find one.
constexpr std::string_view companions[] = {"-journal", "-wal", "-shm"};

bool isThere(const Path& path) {
    std::error_code ignored;
    return std::filesystem::symlink_status(path, ignored).type() > std::filesystem::file_type::not_found;
}

// The wanted path, with a number when it is taken.
Path unusedPath(const Path& wanted) {
    Path path = wanted;
    for (int number = 2; isThere(path); ++number)
        path = fmt::format("{}-{}", wanted.native(), number);
    return path;
}

std::string nameAt(Date moment) {
    std::string name = "damaged-store-" + formatISO8601(moment);
    std::ranges::replace(name, ':', '-'); // some file managers show it as a separator
    return name;
}

} // namespace

StoreFiles::StoreFiles(Path folder) : folder_(std::move(folder)) {}

Path StoreFiles::main() const {
    return folder_ / storeFileNames[0];
}

std::vector<Path> StoreFiles::present() const {
    std::vector<Path> candidates;
    for (const std::string_view suffix : companions)
        candidates.push_back(main().native() + std::string(suffix));
    candidates.push_back(main());
    try {
        const auto entries = listFolder(folder_).value_or(std::vector<FolderEntry>());
        std::erase_if(candidates, [&](const Path& path) {
            return std::ranges::find(entries, path.filename().native(), &FolderEntry::name) == entries.end();
        });
    } catch (const FileError& error) {
        Logger("ModelContainer").error(fmt::format("Could not enumerate store directory: {}", error.what()));
        std::erase_if(candidates, [](const Path& path) { return !isThere(path); });
    }
    return candidates;
}

std::vector<Path> StoreFiles::moveToBackup(const std::vector<Path>& files, Date moment) const {
    const Path backup = unusedPath(programFolder() / nameAt(moment));
    createFolders(backup, FolderMode::secret);
    std::vector<Path> moved;
    for (const Path& file : files) {
        const Path target = backup / file.filename();
        std::error_code error;
        std::filesystem::rename(file, target, error);
        if (error) {
            std::error_code ignored;
            std::filesystem::remove(backup, ignored); // fails when it holds files already
            throw FileError(file,
                            fmt::format("cannot be moved to {}{}", target.native(),
                                        moved.empty() ? "" : ", where its companions are already"),
                            error.value());
        }
        moved.push_back(target);
    }
    return moved;
}

} // namespace quorvel
