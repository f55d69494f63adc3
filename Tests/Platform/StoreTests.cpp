#include "Platform/files/Files.h"
#include "Platform/store/Database.h"
#include "Platform/task/StopToken.h"
#include "Platform/task/Task.h"
#include "Tests/support/ChildProcess.h"
#include "Tests/support/SmallDisk.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <array>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Kind = StoreError::Kind;

namespace {

constexpr std::chrono::milliseconds noWait{0};

struct Notes {
    explicit Notes(const std::filesystem::path& file, std::chrono::milliseconds busyTimeout = noWait)
        : database(file, busyTimeout) {
        database.execute(
            "CREATE TABLE IF NOT EXISTS Note (text TEXT UNIQUE, other TEXT REFERENCES Note(text))");
    }
    void add(std::string_view text) {
        const std::array<StoreValue, 1> values = {text};
        EXPECT_EQ(database.run("INSERT INTO Note (text) VALUES (?1)", values), 1);
    }
    std::vector<std::string> all() {
        std::vector<std::string> texts;
        database.query("SELECT text FROM Note ORDER BY text", {},
                       [&](const StoreRow& row) { texts.emplace_back(row.text(0)); });
        return texts;
    }
    Database database;
};

template <typename Work>
std::optional<Kind> kindOf(Work&& work) {
    try {
        work();
    } catch (const StoreError& error) {
        return error.kind();
    }
    return std::nullopt;
}

} // namespace

TEST(Database, givesBackValuesOfEveryKind) {
    const test::TemporaryFolder folder;
    Database database(folder / "store");
    const std::string bytes("a\0b\xFF\xFE", 5);
    const std::array<StoreValue, 6> values = {
        StoreValue{},       std::int64_t{-1} << 63, 0.1, std::string_view(bytes),
        std::string_view(), std::string_view("ü")};
    int rows = 0;
    database.query("SELECT ?1, ?2, ?3, ?4, ?5, ?6", values, [&](const StoreRow& row) {
        ++rows;
        EXPECT_TRUE(row.isNull(0));
        EXPECT_EQ(row.integer(1), std::int64_t{-1} << 63);
        EXPECT_EQ(row.number(2), 0.1);
        EXPECT_EQ(row.text(3), bytes);
        EXPECT_FALSE(row.isNull(4)); // an empty text without an address is a text
        EXPECT_EQ(row.text(5), "ü");
    });
    EXPECT_EQ(rows, 1);
}

TEST(Database, nestsTransactionsAndRollsBackWhatThrew) {
    const test::TemporaryFolder folder;
    Notes notes(folder / "store");
    notes.database.transaction([&] {
        notes.add("kept");
        EXPECT_THROW(notes.database.transaction([&] {
            notes.add("inner");
            throw std::runtime_error("no");
        }),
                     std::runtime_error);
        notes.database.transaction([&] { notes.add("kept too"); });
    });
    EXPECT_THROW(notes.database.transaction([&] {
        notes.database.transaction([&] { notes.add("released and lost"); });
        throw std::runtime_error("no");
    }),
                 std::runtime_error);
    EXPECT_THAT(notes.all(), ElementsAre("kept", "kept too"));
}

// The same statement is asked for again while its rows are read, and after it failed half way.
TEST(Database, usesAStatementWithinItselfAndAfterAFailure) {
    const test::TemporaryFolder folder;
    Notes notes(folder / "store");
    notes.add("a");
    notes.add("b");
    std::vector<std::string> pairs;
    constexpr std::string_view sql = "SELECT text FROM Note ORDER BY text";
    notes.database.query(sql, {}, [&](const StoreRow& outer) {
        notes.database.query(sql, {}, [&](const StoreRow& inner) {
            pairs.push_back(std::string(outer.text(0)) + std::string(inner.text(0)));
        });
    });
    EXPECT_THAT(pairs, ElementsAre("aa", "ab", "ba", "bb"));
    EXPECT_EQ(kindOf([&] { notes.add("a"); }), Kind::constraint);
    notes.add("c");
    EXPECT_THROW(notes.database.query(sql, {}, [](const StoreRow&) { throw std::runtime_error("no"); }),
                 std::runtime_error);
    EXPECT_THAT(notes.all(), ElementsAre("a", "b", "c"));
}

TEST(Database, countsTheRowsThatTheStatementItselfChanged) {
    const test::TemporaryFolder folder;
    Notes notes(folder / "store");
    notes.add("a");
    EXPECT_EQ(notes.database.run("DELETE FROM Note WHERE text = 'none'"), 0);
    EXPECT_EQ(notes.database.run("CREATE TABLE Other (x)"), 0);
    EXPECT_EQ(notes.database.run("DELETE FROM Note"), 1);
}

TEST(Database, isReadableByItsOwnerOnly) {
    const test::TemporaryFolder folder;
    const auto file = folder / "store";
    const auto modeOf = [](const std::filesystem::path& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 0777;
    };
    {
        Notes notes(file);
        for (const char* suffix : {"", "-wal", "-shm"})
            EXPECT_EQ(modeOf(file.native() + suffix), 0600U) << suffix;
    }
    ASSERT_EQ(::chmod(file.c_str(), 0644), 0);
    Notes notes(file);
    EXPECT_EQ(modeOf(file), 0600U);
    EXPECT_EQ(modeOf(file.native() + "-wal"), 0600U);
}

TEST(Database, tellsWhatWentWrong) {
    const test::TemporaryFolder folder;
    const auto wreck = folder / "wreck";
    writeFileAtomically(wreck, std::string(8192, 'x'));
    Notes notes(folder / "store");
    Notes other(folder / "store");
    const struct {
        std::function<void()> work;
        Kind kind;
        std::string text;
    } cases[] = {
        {[&] { Notes{wreck}; }, Kind::damaged, "wreck: is damaged (file is not a database)"},
        {[&] { Notes{folder / "none" / "store"}; }, Kind::unavailable,
         "store: cannot be used (unable to open"},
        {[&] { Notes{folder.path()}; }, Kind::unavailable, "cannot be used"},
        {[&] { notes.database.run("SELECT * FROM Missing"); }, Kind::statement, "no such table: Missing"},
        {[&] { notes.database.run("INSERT INTO Note VALUES ('a', 'none')"); }, Kind::constraint,
         "FOREIGN KEY constraint failed"},
        {[&] { notes.database.transaction([&] { other.add("x"); }); }, Kind::busy,
         "another process is using it"},
        {[&] { notes.database.transaction([&] { other.database.transaction([] {}); }); }, Kind::busy,
         "another process is using it"},
    };
    for (const auto& one : cases)
        try {
            one.work();
            ADD_FAILURE() << "no error: " << one.text;
        } catch (const StoreError& error) {
            EXPECT_EQ(error.kind(), one.kind) << error.what();
            EXPECT_THAT(error.what(), HasSubstr(one.text));
        }
    EXPECT_THAT(notes.all(), IsEmpty());
}

TEST(Database, stopsWaitingForAnotherWhenItsTaskIsCancelled) {
    const test::TemporaryFolder folder;
    Notes holder(folder / "store");
    Notes waiting(folder / "store", std::chrono::hours(1));
    holder.database.transaction([&] {
        std::jthread thread([&](const std::stop_token& token) {
            const TaskScope scope(token);
            EXPECT_THROW(waiting.database.transaction([] {}), CancellationError);
        });
        thread.request_stop();
    });
}

TEST(Database, waitsForAnotherWriter) {
    const test::TemporaryFolder folder;
    Notes holder(folder / "store");
    std::jthread thread;
    holder.database.transaction([&] {
        thread = std::jthread([&] { Notes(folder / "store", std::chrono::hours(1)).add("second"); });
        holder.add("first");
    });
    thread.join();
    EXPECT_THAT(holder.all(), ElementsAre("first", "second"));
}

TEST(Database, tellsAFileThatMayNotBeWritten) {
    const test::TemporaryFolder folder;
    const auto file = folder / "store";
    { Notes{file}.add("a"); }
    ASSERT_EQ(::chmod(file.c_str(), 0400), 0);
    EXPECT_THAT(test::runUnprivileged(folder.path(), [&] { return Notes(file).all().at(0); }),
                HasSubstr("may not be written; check the permissions"));
    ASSERT_EQ(::chmod(file.c_str(), 0000), 0);
    EXPECT_THAT(test::runUnprivileged(folder.path(), [&] { return Notes(file).all().at(0); }),
                HasSubstr("may not be written; check the permissions"));
}

TEST(Database, losesNothingOfWhatWasStoredWhenTheDiskIsFull) {
    const test::SmallDisk disk(2 << 20);
    if (!disk.isMounted()) GTEST_SKIP() << "this process may not mount a disk of its own";
    Notes notes(disk.path() / "store");
    notes.add("first");
    disk.fill();
    // The engine rolls the whole transaction back: what follows in it must not be stored alone.
    EXPECT_EQ(kindOf([&] {
                  notes.database.transaction([&] {
                      notes.add("before it");
                      EXPECT_EQ(kindOf([&] {
                                    notes.database.transaction([&] { notes.add(std::string(3 << 20, 'x')); });
                                }),
                                Kind::full);
                      notes.add("after it");
                  });
              }),
              Kind::unavailable);
    EXPECT_THAT(notes.all(), ElementsAre("first"));
    disk.makeRoom();
    notes.add("second");
    EXPECT_THAT(notes.all(), ElementsAre("first", "second"));
    notes.database.checkIntegrity();
}
