#include "Platform/files/FileLock.h"
#include "Platform/files/Files.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace quorvel {
namespace {

using test::TemporaryFolder;
using Holder = FileLock::Holder;

std::string ownNote(std::string_view what) {
    return std::to_string(::getpid()) + std::string(what);
}

TEST(FileLock, isHeldByOneAtATimeAndPassesOnWhenItMoves) {
    const TemporaryFolder folder;
    const auto file = folder / "lock";
    auto lock = FileLock::tryLock(file);
    ASSERT_TRUE(lock);
    EXPECT_FALSE(FileLock::tryLock(file));
    FileLock other(folder / "other");
    other = std::move(*lock); // gives up its own
    EXPECT_TRUE(FileLock::tryLock(folder / "other"));
    lock.reset();
    EXPECT_FALSE(FileLock::tryLock(file));
    other = FileLock(folder / "third");
    EXPECT_TRUE(FileLock::tryLock(file));
    EXPECT_THROW(FileLock(folder / "missing" / "lock"), FileError);
}

TEST(FileLock, tellsThoseWhoWaitWhatItsHolderDoes) {
    const TemporaryFolder folder;
    const auto file = folder / "lock";
    EXPECT_EQ(FileLock::holderOf(file), std::nullopt); // no file
    {
        const FileLock lock(file);
        EXPECT_EQ(FileLock::holderOf(file), std::nullopt); // says nothing
        lock.noteHolder("an import of many texts");
        lock.noteHolder("a push"); // shorter than the one before
        EXPECT_EQ(FileLock::holderOf(file), (Holder{"a push", ::getpid()}));
        EXPECT_FALSE(FileLock::tryLock(file)); // trying leaves the note alone
        EXPECT_EQ(FileLock::holderOf(file), (Holder{"a push", ::getpid()}));
    }
    EXPECT_EQ(FileLock::holderOf(file), std::nullopt);
    EXPECT_EQ(readFile(file), "");
}

TEST(FileLock, doesNotNameAHolderThatWasKilled) {
    const TemporaryFolder folder;
    const auto file = folder / "lock";
    const pid_t child = ::fork();
    if (child == 0) {
        const FileLock lock(file);
        lock.noteHolder("a pull");
        ::raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(readFile(file), std::to_string(child) + " a pull\n");
    EXPECT_EQ(FileLock::holderOf(file), std::nullopt);
    const auto next = FileLock::tryLock(file);
    ASSERT_TRUE(next);
    next->noteHolder("a push");
    EXPECT_EQ(FileLock::holderOf(file), (Holder{"a push", ::getpid()}));
}

TEST(FileLock, takesForeignContentForNoNoteOrMakesItHarmless) {
    const TemporaryFolder folder;
    const auto file = folder / "lock";
    const std::vector<std::string> notNotes = {
        "\n",          ownNote("\n"), ownNote(" a pu"),  ownNote(" \n"),         "a push\n",
        "-5 a push\n", "0 a push\n",  "99999999999 a\n", std::string(4096, 'x'), std::string("1\0\0\n", 4),
        "1.5\n",       "\xFF\xFE\n"};
    for (const std::string& note : notNotes) {
        writeFileAtomically(file, note);
        EXPECT_EQ(FileLock::holderOf(file), std::nullopt) << note;
    }
    const std::vector<std::pair<std::string, std::string>> harmless = {
        {" \x1B[2J push\n second line\n", "\\x1B[2J push"},
        {" bad \xFF bytes\n", "bad \uFFFD bytes"},
        {" " + std::string(500, 'x') + "\n", std::string(80, 'x')},
    };
    for (const auto& [note, shown] : harmless) {
        writeFileAtomically(file, ownNote(note));
        EXPECT_EQ(FileLock::holderOf(file), (Holder{shown, ::getpid()}));
    }
    ASSERT_TRUE(removeFile(file));
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0); // reading it would wait for a writer
    EXPECT_EQ(FileLock::holderOf(file), std::nullopt);
    EXPECT_EQ(FileLock::holderOf(folder.path()), std::nullopt);
}

} // namespace
} // namespace quorvel
