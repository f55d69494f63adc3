#include "Platform/files/FileLock.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Tests/Core/records/FailingDisk.h"
#include "Tests/Core/records/Garden.h"
#include "Tests/support/ChildProcess.h"
#include "Tests/support/SmallDisk.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <random>

using namespace quorvel;
using test::Garden;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Kind = StoreError::Kind;

namespace {

constexpr std::chrono::milliseconds noWait{0};
constexpr const char* finalText = "Failed to initialize ModelContainer even after fresh store: ";

// A store that holds an app with a history of some pages.
std::filesystem::path fillStore(const std::filesystem::path& folder, int runs = 100) {
    const Garden garden(test::openStore(folder));
    const auto app = garden.plant("garden");
    for (int run = 0; run < runs; ++run)
        garden.history.record(std::vector(20, test::pushed(app.id, "run " + std::to_string(run), run)));
    return garden.container->file();
}

void overwrite(const std::filesystem::path& file, std::string_view bytes) {
    writeFileAtomically(file, bytes, FileMode::secret, Durability::later);
}

std::vector<std::string> namesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const FolderEntry& entry : listFolder(folder).value_or(std::vector<FolderEntry>()))
        if (!entry.name.starts_with("filling")) names.push_back(entry.name);
    return names;
}

template <typename Work>
StoreError failure(Work&& work) {
    try {
        work();
    } catch (const StoreError& error) {
        return error;
    }
    return {Kind::constraint, "no failure"};
}

struct BadStore {
    const char* name;
    Kind kind;
    std::function<void(const std::filesystem::path& file)> damage;
};

void truncate(const std::filesystem::path& file, std::uintmax_t size) {
    std::filesystem::resize_file(file, size);
}

std::string randomBytes(std::size_t count) {
    std::mt19937 generator(17);
    std::string bytes(count, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(generator());
    return bytes;
}

void execute(const std::filesystem::path& file, std::string_view sql) {
    Database(file).execute(sql);
}

const BadStore badStores[] = {
    {"empty", Kind::damaged, [](const auto& file) { truncate(file, 0); }},
    {"one byte", Kind::damaged, [](const auto& file) { truncate(file, 1); }},
    {"half a header", Kind::damaged, [](const auto& file) { truncate(file, 50); }},
    {"a header", Kind::damaged, [](const auto& file) { truncate(file, 100); }},
    {"one page", Kind::damaged, [](const auto& file) { truncate(file, 4096); }},
    {"half", Kind::damaged, [](const auto& file) { truncate(file, file_size(file) / 2); }},
    {"a page short", Kind::damaged, [](const auto& file) { truncate(file, file_size(file) - 4096); }},
    {"random bytes", Kind::damaged, [](const auto& file) { overwrite(file, randomBytes(50'000)); }},
    {"text", Kind::damaged, [](const auto& file) { overwrite(file, "these are no records\n"); }},
    {"random bytes after a whole page", Kind::damaged,
     [](const auto& file) {
         const std::string bytes = readFile(file).value();
         overwrite(file, bytes.substr(0, 4096) + randomBytes(bytes.size() - 4096));
     }},
    {"zeroes in the middle", Kind::damaged,
     [](const auto& file) {
         std::string bytes = readFile(file).value();
         std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2), 8192, '\0');
         overwrite(file, bytes);
     }},
    {"only a log", Kind::damaged,
     [](const auto& file) { std::filesystem::rename(file, file.native() + "-wal"); }},
    {"a list that is not JSON", Kind::damaged,
     [](const auto& file) {
         execute(file, "PRAGMA ignore_check_constraints = ON; UPDATE ManagedApp SET protectedTerms = '[\"a'");
     }},
    {"a table less", Kind::damaged, [](const auto& file) { execute(file, "DROP TABLE CachedReview"); }},
    {"a column less", Kind::damaged,
     [](const auto& file) { execute(file, "ALTER TABLE ManagedApp DROP COLUMN iconURL"); }},
    {"another program's", Kind::damaged,
     [](const auto& file) {
         std::filesystem::remove(file);
         execute(file, "CREATE TABLE Song (title)");
     }},
    {"a newer schema", Kind::newerSchema,
     [](const auto& file) { execute(file, "PRAGMA user_version = 1000001"); }},
    {"a folder", Kind::noFile,
     [](const auto& file) {
         std::filesystem::remove(file);
         std::filesystem::create_directories(file / "inside");
     }},
    {"a pipe", Kind::noFile,
     [](const auto& file) {
         std::filesystem::remove(file);
         ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
     }},
    {"a link that leads nowhere", Kind::noFile,
     [](const auto& file) {
         std::filesystem::remove(file);
         std::filesystem::create_symlink(file.parent_path() / "unplugged" / "default.store", file);
     }},
};

} // namespace

TEST(ModelContainer, backsUpAStoreThatCannotBeOpenedAndMakesAFreshOne) {
    for (const BadStore& bad : badStores) {
        SCOPED_TRACE(bad.name);
        const test::TemporaryFolder folder;
        const auto file = fillStore(folder.path());
        bad.damage(file);
        const auto status = symlink_status(file);
        const auto bytes =
            status.type() == std::filesystem::file_type::regular ? readFile(file) : std::nullopt;

        const LogCapture log;
        const auto container = test::openStore(folder.path(), noWait);
        EXPECT_THAT(log.text(), HasSubstr("ModelContainer init failed: "));
        EXPECT_THAT(log.text(), HasSubstr(" — attempting fresh store."));
        ASSERT_TRUE(container->rebuilt());
        const RebuiltStore& rebuilt = *container->rebuilt();
        EXPECT_EQ(rebuilt.kind, bad.kind) << rebuilt.reason;
        ASSERT_FALSE(rebuilt.backups.empty());
        const auto& kept = rebuilt.backups.back();
        EXPECT_EQ(kept.parent_path(), folder / "Brevant" / "damaged-store-2026-03-01T12-30-00Z");
        if (bytes) {
            EXPECT_EQ(readFile(kept), bytes);
        }
        for (const char* text :
             {"Lost: workspaces", "push history", "the folders that were chosen",
              "Not lost: the metadata folders", "Keys of a workspace or of a single app", kept.c_str()})
            EXPECT_THAT(rebuilt.description(), HasSubstr(text));
        EXPECT_EQ(rebuilt.description().find("update the program") != std::string::npos,
                  bad.kind == Kind::newerSchema);

        EXPECT_THAT(Garden(container).apps.all(), IsEmpty());
        Garden(container).plant("new");
        EXPECT_FALSE(test::openStore(folder.path(), noWait)->rebuilt());
    }
}

TEST(ModelContainer, keepsEveryBackup) {
    const test::TemporaryFolder folder;
    for (int round = 0; round < 3; ++round)
        overwrite(fillStore(folder.path(), 1), "damage " + std::to_string(round));
    EXPECT_TRUE(test::openStore(folder.path())->rebuilt());
    for (const auto& [name, content] :
         std::map<std::string, std::string>{{"", "0"}, {"-2", "1"}, {"-3", "2"}})
        EXPECT_EQ(
            readFile(folder / "Brevant" / ("damaged-store-2026-03-01T12-30-00Z" + name) / "default.store"),
            "damage " + content);
}

TEST(ModelContainer, givesANewerStoreBackWhenItsFilesArePutBack) {
    const test::TemporaryFolder folder;
    const auto file = fillStore(folder.path());
    execute(file, "PRAGMA user_version = 2000000");
    const auto backups = test::openStore(folder.path())->rebuilt()->backups;
    for (const auto& moved : backups)
        std::filesystem::rename(moved, folder / moved.filename());
    execute(file, "PRAGMA user_version = 1000000"); // the newer program, updated
    const auto container = test::openStore(folder.path());
    EXPECT_FALSE(container->rebuilt());
    EXPECT_THAT(Garden(container).apps.all(), SizeIs(1));
}

// Flipped bits in a text go unnoticed. Anywhere else they make an error or a fresh store, never a crash.
TEST(ModelContainer, survivesFlippedBits) {
    const test::TemporaryFolder folder;
    const auto file = fillStore(folder.path(), 10);
    const std::string whole = readFile(file).value();
    std::mt19937 generator(42);
    int rebuilt = 0;
    for (int round = 0; round < 150; ++round) {
        std::string bytes = whole;
        const std::size_t reach = round % 2 ? bytes.size() : 4096; // often where everything hangs
        for (int flips = 0; flips <= round % 5; ++flips)
            bytes[generator() % reach] ^= static_cast<char>(1 << generator() % 8);
        std::filesystem::remove(file.native() + "-wal");
        overwrite(file, bytes);
        try {
            const Garden garden(test::openStore(folder.path()));
            rebuilt += garden.container->rebuilt() ? 1 : 0;
            for (const ManagedApp& app : garden.apps.all()) {
                (void)garden.history.entries(app.id);
                (void)garden.history.runs(app.id);
                (void)garden.reviews.all(app.id);
            }
            garden.apps.add({.slug = "new"});
        } catch (const StoreError&) {
        }
    }
    EXPECT_GT(rebuilt, 20);
    EXPECT_LT(rebuilt, 150);
}

TEST(ModelContainer, opensAStoreWhoseLastWriterWasKilled) {
    const test::TemporaryFolder folder;
    const int status = test::awaitChild(test::startChild([&] {
        const Garden garden(test::openStore(folder.path()));
        garden.plant("garden");
        ::raise(SIGKILL);
    }));
    ASSERT_TRUE(WIFSIGNALED(status));
    ASSERT_GT(file_size(folder / "default.store-wal"), 0U);
    const Garden garden(test::openStore(folder.path()));
    EXPECT_FALSE(garden.container->rebuilt());
    EXPECT_THAT(garden.apps.all(), SizeIs(1));
}

TEST(ModelContainer, leavesABusyStoreAlone) {
    const test::TemporaryFolder folder;
    const auto file = fillStore(folder.path());
    {
        const FileLock opening(folder / "Brevant" / "store.lock");
        const auto error = failure([&] { (void)test::openStore(folder.path(), noWait); });
        EXPECT_EQ(error.kind(), Kind::busy) << error.what();
        EXPECT_THAT(error.what(), HasSubstr("another process is opening the store"));
    }
    {
        Database holder(file);
        holder.execute("PRAGMA locking_mode = EXCLUSIVE; UPDATE ManagedApp SET iconURL = 'x'");
        const auto error = failure([&] { (void)test::openStore(folder.path(), noWait); });
        EXPECT_EQ(error.kind(), Kind::busy) << error.what();
        EXPECT_THAT(error.what(), HasSubstr("another process is using it"));
    }
    EXPECT_THAT(namesIn(folder / "Brevant"), ElementsAre("store.lock"));
    EXPECT_THAT(Garden(test::openStore(folder.path())).apps.all(), SizeIs(1));
}

TEST(ModelContainer, leavesTheStoreAloneOnAFullDisk) {
    std::map<bool, int> failures;
    // Each more room than the one before, so that every step is the one that finds none.
    for (int pagesLeft = 0; pagesLeft < 120; pagesLeft += 3)
        for (const bool isDamaged : {false, true}) {
            SCOPED_TRACE(std::to_string(pagesLeft) + (isDamaged ? " damaged" : ""));
            const test::SmallDisk disk(2 << 20);
            if (!disk.isMounted()) GTEST_SKIP() << "this process may not mount a disk of its own";
            const auto file = fillStore(disk.path(), 2);
            if (isDamaged) overwrite(file, std::string(9000, 'x'));
            const std::string bytes = readFile(file).value();
            disk.fill(static_cast<std::uintmax_t>(pagesLeft));
            const auto backup = disk.path() / "Brevant" / "damaged-store-2026-03-01T12-30-00Z";
            const auto isMoved = [&] { return exists(backup); };
            const auto error = failure([&] { (void)test::openStore(disk.path(), noWait); });
            if (error.kind() == Kind::full) {
                ++failures[isDamaged];
                EXPECT_THAT(error.what(), StartsWith(finalText));
                EXPECT_THAT(error.what(), HasSubstr(isMoved() ? "The old files are in " + backup.native()
                                                              : "Nothing was changed."));
                EXPECT_EQ(readFile(isMoved() ? backup / "default.store" : file), bytes);
                if (!isMoved()) {
                    EXPECT_THAT(namesIn(disk.path() / "Brevant"), ElementsAre("store.lock"));
                }
                if (isDamaged && !isMoved()) {
                    EXPECT_THAT(namesIn(disk.path()), ElementsAre("Brevant", "default.store"));
                }
            } else {
                EXPECT_STREQ(error.what(), "no failure");
            }
            const bool isLeft = error.kind() == Kind::full && !isMoved();
            disk.makeRoom();
            const Garden garden(test::openStore(disk.path()));
            EXPECT_EQ(garden.container->rebuilt().has_value(), isDamaged && isLeft);
            EXPECT_THAT(garden.apps.all(), SizeIs(isDamaged ? 0 : 1));
        }
    EXPECT_GT(failures[false], 0);
    EXPECT_GT(failures[true], 5);
    EXPECT_LT(failures[true], 40);
}

TEST(ModelContainer, leavesTheStoreAloneOnADiskThatCanOnlyBeRead) {
    for (const bool isDamaged : {false, true}) {
        const test::SmallDisk disk(8 << 20);
        if (!disk.isMounted()) GTEST_SKIP() << "this process may not mount a disk of its own";
        const auto file = fillStore(disk.path());
        if (isDamaged) overwrite(file, std::string(9000, 'x'));
        const std::string bytes = readFile(file).value();
        ASSERT_TRUE(disk.makeReadOnly());
        const auto error = failure([&] { (void)test::openStore(disk.path(), noWait); });
        EXPECT_EQ(error.kind(), Kind::readOnly) << error.what();
        EXPECT_THAT(error.what(), StartsWith(finalText));
        EXPECT_THAT(
            error.what(),
            HasSubstr("No fresh store was tried. Nothing was changed. Give yourself the right to write in " +
                      disk.path().native()));
        EXPECT_EQ(readFile(file), bytes);
    }
}

TEST(ModelContainer, leavesAStoreAloneThatItMayNotWrite) {
    const test::TemporaryFolder folder;
    const auto file = fillStore(folder.path());
    const std::string bytes = readFile(file).value();
    const auto open = [&] {
        const auto container = test::openStore(folder.path(), noWait);
        return "opened " + std::to_string(container->rebuilt().has_value());
    };
    const struct {
        std::filesystem::path path;
        mode_t mode;
        mode_t usual;
    } cases[] = {{file, 0400, 0600},
                 {file, 0000, 0600},
                 {folder.path(), 0500, 0700},
                 {folder / "Brevant", 0500, 0700}};
    for (const auto& one : cases) {
        SCOPED_TRACE(one.path);
        ASSERT_EQ(::chmod(one.path.c_str(), one.mode), 0);
        const std::string outcome = test::runUnprivileged(folder.path(), open);
        ASSERT_EQ(::chmod(one.path.c_str(), one.usual), 0);
        // The lock file exists already, so the program folder needs no new file.
        if (one.path.filename() == "Brevant")
            EXPECT_EQ(outcome, "opened 0");
        else
            EXPECT_THAT(outcome, testing::AllOf(StartsWith(finalText), HasSubstr("Nothing was changed."),
                                                HasSubstr(one.path.c_str())));
        EXPECT_EQ(readFile(file), bytes);
        EXPECT_FALSE(test::openStore(folder.path())->rebuilt());
    }
}

TEST(ModelContainer, opensTheStoreAtTheSecondAttemptAfterATransientFault) {
    const test::TemporaryFolder folder;
    (void)fillStore(folder.path(), 5);
    const test::DiskFault faults[] = {{SQLITE_CANTOPEN, EMFILE}, {SQLITE_IOERR, EIO}, {SQLITE_NOMEM, 0}};
    int told = 0;
    for (const test::DiskFault& fault : faults)
        // Each call of the engine to the system is the one that fails once.
        for (int before = 0, wasMet = 1; wasMet; ++before) {
            SCOPED_TRACE(std::to_string(fault.result) + " after " + std::to_string(before));
            const LogCapture log;
            {
                const test::FailingDisk disk(fault, before);
                ASSERT_FALSE(test::openStore(folder.path(), noWait)->rebuilt());
                wasMet = disk.wasMet();
            }
            ASSERT_THAT(Garden(test::openStore(folder.path(), noWait)).apps.all(), SizeIs(1));
            if (log.text().find("init failed") == std::string::npos) continue;
            EXPECT_THAT(log.text(), HasSubstr("was opened at the second attempt; nothing was lost."));
            ++told;
        }
    EXPECT_GT(told, 30);
    EXPECT_THAT(namesIn(folder / "Brevant"), ElementsAre("store.lock"));
}

TEST(ModelContainer, leavesTheStoreAloneWithoutFileDescriptors) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the checks of this build need descriptors themselves";
#endif
    const test::TemporaryFolder folder;
    const auto file = fillStore(folder.path());
    const std::string bytes = readFile(file).value();
    int failures = 0;
    for (int left = 0; left < 12; ++left) {
        const test::FewDescriptors few(left);
        try {
            ASSERT_FALSE(test::openStore(folder.path(), noWait)->rebuilt()) << left;
        } catch (const StoreError& error) {
            ++failures;
            EXPECT_EQ(error.kind(), Kind::unavailable) << error.what();
            EXPECT_THAT(error.what(), HasSubstr("No fresh store was tried. Nothing was changed."));
        }
    }
    EXPECT_GT(failures, 2);
    EXPECT_LT(failures, 12);
    EXPECT_EQ(readFile(file), bytes);
    EXPECT_THAT(namesIn(folder / "Brevant"), ElementsAre("store.lock"));
}

TEST(ModelContainer, saysWhenTheFolderCannotBeListed) {
    const test::TemporaryFolder folder;
    overwrite(fillStore(folder.path(), 1), "damage");
    ASSERT_EQ(::chmod(folder.path().c_str(), 0300), 0);
    const std::string outcome = test::runUnprivileged(folder.path(), [&] {
        const LogCapture log;
        const auto container = test::openStore(folder.path(), noWait);
        return log.text() + container->rebuilt().value().description();
    });
    ASSERT_EQ(::chmod(folder.path().c_str(), 0700), 0);
    EXPECT_THAT(outcome, HasSubstr("Could not enumerate store directory: " + folder.path().native()));
    EXPECT_THAT(outcome, HasSubstr("Lost: workspaces"));
    EXPECT_EQ(readFile(folder / "Brevant/damaged-store-2026-03-01T12-30-00Z/default.store"), "damage");

    const LogCapture log;
    const auto file = folder / "file";
    overwrite(file, "no folder");
    const auto error = failure([&] { (void)test::openStore(file, noWait); });
    EXPECT_THAT(error.what(), StartsWith(finalText));
    EXPECT_THAT(log.text(), HasSubstr("Could not enumerate store directory: " + file.native()));
    EXPECT_EQ(readFile(file), "no folder");
}

TEST(ModelContainer, leavesADamagedStoreWhenItCannotMakeABackup) {
    const test::TemporaryFolder folder;
    const auto file = fillStore(folder.path());
    overwrite(file, "damage");
    ASSERT_EQ(::chmod((folder / "Brevant").c_str(), 0500), 0);
    const std::string outcome = test::runUnprivileged(
        folder.path(), [&] { return test::openStore(folder.path(), noWait)->file().string(); });
    EXPECT_THAT(outcome, testing::AllOf(StartsWith(finalText), HasSubstr("Nothing was changed."),
                                        HasSubstr((folder / "Brevant").native())));
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("Brevant", "default.store"));
    EXPECT_EQ(readFile(file), "damage");
}

TEST(ModelContainer, neverLeavesTheJournalsOfADamagedStoreBesideTheFreshOne) {
    const test::TemporaryFolder folder;
    const auto file = fillStore(folder.path());
    overwrite(file, "damage");
    for (const char* suffix : {"-wal", "-shm", "-journal"})
        overwrite(file.native() + suffix, suffix);
    const auto rebuilt = test::openStore(folder.path())->rebuilt().value();
    std::vector<std::string> kept;
    for (const auto& backup : rebuilt.backups)
        kept.push_back(readFile(backup).value());
    EXPECT_THAT(kept, ElementsAre("-journal", "-wal", "-shm", "damage")) << "the main file is moved last";
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("Brevant", "default.store"));
}

TEST(ModelContainer, checksALargeStoreWholeAfterDamageWasMet) {
    const test::TemporaryFolder folder;
    const auto file = fillStore(folder.path(), 2000);
    ASSERT_GT(file_size(file), 4U << 20);
    const std::string whole = readFile(file).value();
    std::string bytes = whole;
    const auto middle = bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2);
    std::fill(middle, middle + 40 * 4096, '\0');
    const auto meetDamage = [&] {
        overwrite(file, bytes);
        const auto container = test::openStore(folder.path(), noWait);
        ASSERT_FALSE(container->rebuilt());
        const Garden garden(container);
        const auto error = failure([&] { (void)garden.history.entries(garden.apps.all().at(0).id); });
        EXPECT_EQ(error.kind(), Kind::damaged);
        EXPECT_THAT(error.what(), HasSubstr("Start the program again"));
    };
    meetDamage();
    overwrite(file, whole); // the check finds nothing, and is not repeated
    EXPECT_FALSE(test::openStore(folder.path(), noWait)->rebuilt());
    meetDamage();
    EXPECT_TRUE(test::openStore(folder.path(), noWait)->rebuilt());
    EXPECT_THAT(namesIn(folder / "Brevant"), ElementsAre("damaged-store-2026-03-01T12-30-00Z", "store.lock"));
}
