#include "Core/records/StoreFiles.h"

#include "Core/records/ModelContainer.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <ranges>
#include <system_error>

namespace quorvel {

namespace {

using Path = std::filesystem::path;

// A journal is there when something made the engine leave its usual mode; a fresh store must not find it.
constexpr std::string_view companions[] = {"-journal", "-wal", "-shm"};

bool isThere(const Path& path) {
    std::error_code ignored;
    return std::filesystem::symlink_status(path, ignored).type() > std::filesystem::file_type::not_found;
}

void move(const Path& from, const Path& to) {
    std::error_code error;
    std::filesystem::rename(from, to, error);
    if (error) throw FileError(from, "cannot be moved to " + to.native(), error.value());
}

void moveAll(const std::vector<StoreFiles::Move>& moves) {
    std::vector<StoreFiles::Move> done;
    try {
        for (const StoreFiles::Move& one : moves) {
            move(one.from, one.to);
            done.push_back(one);
        }
    } catch (const FileError&) {
        StoreFiles::putBack(done);
        throw;
    }
}

// A path that is free: the wanted one, else with a number.
Path unusedPath(const Path& wanted) {
    Path path = wanted;
    for (int number = 2; isThere(path); ++number)
        path = fmt::format("{}-{}", wanted.native(), number);
    return path;
}

std::string nameAt(Date moment) {
    std::string name = "damaged-store-" + formatISO8601(moment);
    std::ranges::replace(name, ':', '-'); // some file managers take it for a separator
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

std::vector<StoreFiles::Move> StoreFiles::moveAside(const std::vector<Path>& files, Date moment) const {
    const auto movesTo = [&](auto&& target) {
        std::vector<Move> moves;
        for (const Path& file : files)
            moves.push_back({file, target(file.filename().native())});
        return moves;
    };
    const Path aside = unusedPath(programFolder() / nameAt(moment));
    try {
        createFolders(aside, FolderMode::secret);
        const auto moves = movesTo([&](const std::string& name) { return aside / name; });
        moveAll(moves);
        return moves;
    } catch (const FileError&) {
        std::error_code ignored;
        std::filesystem::remove(aside, ignored);
    }
    const Path beside = unusedPath(folder_ / nameAt(moment));
    const auto moves = movesTo([&](const std::string& name) {
        return Path(beside.native() + name.substr(storeFileNames[0].size()));
    });
    moveAll(moves);
    return moves;
}

void StoreFiles::putBack(const std::vector<Move>& moves) {
    for (const Move& done : std::ranges::reverse_view(moves))
        move(done.to, done.from);
    std::error_code ignored; // the folder made for them, which is empty now
    if (!moves.empty() && moves.front().to.filename() == moves.front().from.filename())
        std::filesystem::remove(moves.front().to.parent_path(), ignored);
}

} // namespace quorvel
