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

[[noreturn]] void fail(StoreError::Kind kind, const Path& file, std::string_view problem) {
    throw StoreError(kind, fmt::format("{}: {}", escapeControls(file.native()), problem));
}

void requireWholeFiles(const StoreFiles& files, const std::vector<Path>& present) {
    const Path main = files.main();
    if (present.back() != main)
        fail(StoreError::Kind::damaged, main, "is missing, while files that belong to it are there");
    const auto status = std::filesystem::status(main);
    if (status.type() == std::filesystem::file_type::not_found)
        fail(StoreError::Kind::noFile, main, "is a link that leads to no file");
    if (status.type() != std::filesystem::file_type::regular)
        fail(StoreError::Kind::noFile, main, "is no regular file");
    // The engine would take such a file for a new one and write over it. The file must not be opened here:
    // closing it would release the locks of another container of this process.
    if (std::filesystem::file_size(main) < smallestDatabase)
        fail(StoreError::Kind::damaged, main, "is cut short");
}

// Exists while the next opening has to check the whole store.
Path checkFile(const StoreFiles& files) {
    return files.programFolder() / "store.check";
}

void removeQuietly(const Path& file) {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
}

void checkStore(const StoreFiles& files, Database& database) {
    CoreSchema::checkTables(database);
    const bool isDemanded = std::filesystem::exists(checkFile(files));
    if (isDemanded || std::filesystem::file_size(files.main()) <= smallStore) database.checkIntegrity();
    if (isDemanded) removeQuietly(checkFile(files));
}

void removeWithCompanions(const Path& main) {
    for (const char* suffix : {"", "-wal", "-shm", "-journal"})
        removeQuietly(main.native() + suffix);
}

// Runs `work` and turns the errors of files into those of the store.
template <typename Work>
auto withStoreErrors(Work&& work) {
    try {
        return work();
    } catch (const FileError& error) {
        throw StoreError(kindOfSystemError(error.errorNumber()), error.what());
    } catch (const std::filesystem::filesystem_error& error) {
        throw StoreError(kindOfSystemError(error.code().value()), error.what());
    }
}

// A file that the engine cannot even set up has a header or tables that it does not understand.
Database openDatabase(const Path& main, std::chrono::milliseconds busyTimeout) {
    try {
        return Database(main, busyTimeout);
    } catch (const StoreError& error) {
        if (error.kind() != StoreError::Kind::statement) throw;
        throw StoreError(StoreError::Kind::damaged, error.what());
    }
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

NewStore::NewStore(const StoreFiles& files, std::chrono::milliseconds busyTimeout)
    : main_(files.main()), made_(main_.native() + ".new") {
    try {
        withStoreErrors([&] {
            removeWithCompanions(made_); // what an interrupted process left
            Database database(made_, busyTimeout);
            CoreSchema::create(database);
            database.checkpoint(); // closing does it as well, but hides that the disk is full
        });
    } catch (...) {
        removeWithCompanions(made_);
        throw;
    }
}

NewStore::~NewStore() {
    removeWithCompanions(made_);
}

void NewStore::place() const {
    withStoreErrors([&] { std::filesystem::rename(made_, main_); });
}

Database openStore(const StoreFiles& files, std::chrono::milliseconds busyTimeout) {
    return withStoreErrors([&] {
        if (const auto present = files.present(); present.empty())
            NewStore(files, busyTimeout).place();
        else
            requireWholeFiles(files, present);
        Database database = openDatabase(files.main(), busyTimeout);
        CoreSchema::migrate(database);
        checkStore(files, database);
        return database;
    });
}

void demandCheck(const StoreFiles& files) {
    try {
        writeFileAtomically(checkFile(files), "", FileMode::secret, Durability::later);
    } catch (const FileError&) {
        // without the file, only a small store is checked
    }
}

} // namespace quorvel
