#include "Core/records/StoreOpening.h"

#include "Core/records/CoreSchema.h"
#include "Core/records/ModelContainer.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <chrono>

namespace quorvel {

namespace {

using Path = std::filesystem::path;
using std::chrono::steady_clock;

constexpr std::uintmax_t smallestDatabase = 512; // a page
constexpr std::uintmax_t smallStore = 4 << 20;
constexpr std::chrono::hours checkInterval{24};

[[noreturn]] void fail(StoreError::Kind kind, const Path& file, std::string_view problem) {
    throw StoreError(kind, fmt::format("{}: {}", escapeControls(file.native()), problem));
}

// A store is made under another name and renamed, so that one that is there is always whole.
void makeStore(const StoreFiles& files, std::chrono::milliseconds busyTimeout) {
    const Path made = files.main().native() + ".new";
    const auto removeAll = [&] {
        for (const char* suffix : {"", "-wal", "-shm", "-journal"})
            removeFile(made.native() + suffix);
    };
    try {
        removeAll(); // what an interrupted one left
        {
            Database database(made, busyTimeout);
            CoreSchema::create(database);
            database.checkpoint(); // closing would do it as well, and not tell when the disk is full
        }
        std::filesystem::rename(made, files.main());
    } catch (...) {
        removeAll();
        throw;
    }
}

void requireWholeFiles(const StoreFiles& files, const std::vector<Path>& present) {
    const Path main = files.main();
    if (present.back() != main)
        fail(StoreError::Kind::damaged, main, "is missing, while files that belong to it are there");
    const auto status = std::filesystem::status(main);
    if (status.type() == std::filesystem::file_type::not_found)
        fail(StoreError::Kind::unavailable, main, "is a link that leads to no file");
    if (status.type() != std::filesystem::file_type::regular)
        fail(StoreError::Kind::unavailable, main, "is no regular file");
    // The engine would take it for a new file and write over it. Its content must not be looked at here: that
    // would give up the locks of another container of this process.
    if (std::filesystem::file_size(main) < smallestDatabase)
        fail(StoreError::Kind::damaged, main, "is cut short");
}

Path checkedFile(const StoreFiles& files) {
    return files.programFolder() / "store.checked";
}

bool wasCheckedLately(const StoreFiles& files, Date now) {
    const auto date = parseISO8601(trim(readFile(checkedFile(files)).value_or("")));
    return date && *date <= now && now - *date < checkInterval;
}

void checkStore(const StoreFiles& files, Database& database, Date now) {
    CoreSchema::checkTables(database);
    if (std::filesystem::file_size(files.main()) <= smallStore) return database.checkIntegrity();
    if (wasCheckedLately(files, now)) return;
    database.checkIntegrity();
    writeFileAtomically(checkedFile(files), formatISO8601(now) + "\n", FileMode::secret, Durability::later);
}

} // namespace

FileLock lockStore(const StoreFiles& files, std::chrono::milliseconds timeout) {
    const Path file = files.programFolder() / "store.lock";
    const auto deadline = steady_clock::now() + timeout;
    try {
        createFolders(files.programFolder(), FolderMode::secret);
        for (;;) {
            if (auto lock = FileLock::tryLock(file)) return std::move(*lock);
            if (steady_clock::now() >= deadline) break;
            sleepFor(0.01);
        }
    } catch (const FileError& error) {
        throw StoreError(kindOfSystemError(error.errorNumber()), error.what());
    }
    fail(StoreError::Kind::busy, file,
         "another process is opening the store; wait until that is done and try again");
}

Database openStore(const StoreFiles& files, Date now, std::chrono::milliseconds busyTimeout) {
    try {
        if (const auto present = files.present(); present.empty())
            makeStore(files, busyTimeout);
        else
            requireWholeFiles(files, present);
        Database database(files.main(), busyTimeout);
        CoreSchema::migrate(database);
        checkStore(files, database, now);
        return database;
    } catch (const FileError& error) {
        throw StoreError(kindOfSystemError(error.errorNumber()), error.what());
    } catch (const std::filesystem::filesystem_error& error) {
        throw StoreError(kindOfSystemError(error.code().value()), error.what());
    }
}

void demandCheck(const StoreFiles& files) {
    try {
        removeFile(checkedFile(files));
    } catch (const FileError&) {
        // the check comes with the next day
    }
}

} // namespace quorvel
