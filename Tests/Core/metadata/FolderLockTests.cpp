#include "Core/metadata/FolderLock.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <optional>

namespace quorvel {
namespace {

using testing::ElementsAre;

TEST(FolderLock, saysWhoHoldsItOnceForEachHolder) {
    const test::TemporaryFolder folder;
    const MetadataFolder tree{folder / "app"};
    std::optional<FileLock> held = lockFolder(tree, "a push");
    std::vector<FolderLockWait> waits;
    const FileLock lock = lockFolder(tree, "a pull", [&](const FolderLockWait& wait) {
        waits.push_back(wait);
        if (waits.size() == 1)
            held->noteHolder("a translation"); // as if another had acquired it meanwhile
        else
            held.reset();
    });
    EXPECT_THAT(waits, ElementsAre(FolderLockWait{tree.rootURL, "a push", ::getpid()},
                                   FolderLockWait{tree.rootURL, "a translation", ::getpid()}));
    EXPECT_EQ(waitingText(waits.at(0)), "Waiting for a push (process " + std::to_string(::getpid()) +
                                            "), which is at work in " + tree.rootURL.native() + "…");
}

TEST(FolderLock, reportsAHolderThatDoesNotSayWhoItIs) {
    const test::TemporaryFolder folder;
    const MetadataFolder tree{folder / "app"};
    createFolders(tree.privateFolder());
    std::optional<FileLock> held(std::in_place, tree.privateFolder() / "lock");
    std::vector<std::string> texts;
    const FileLock lock = lockFolder(tree, "a pull", [&](const FolderLockWait& wait) {
        texts.push_back(waitingText(wait));
        held.reset();
    });
    EXPECT_THAT(texts, ElementsAre("Waiting for another pull or push, which is at work in " +
                                   tree.rootURL.native() + "…"));
}

TEST(FolderLock, passesToTheNextWhenAHolderInAnotherProcessIsKilled) {
    const test::TemporaryFolder folder;
    const MetadataFolder tree{folder.path()};
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const FileLock held = lockFolder(tree, "a pull");
        (void)!::write(ready[1], "x", 1);
        for (;;)
            ::pause();
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    std::vector<FolderLockWait> waits;
    const FileLock held = lockFolder(tree, "a push", [&](const FolderLockWait& wait) {
        waits.push_back(wait);
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    });
    EXPECT_THAT(waits, ElementsAre(FolderLockWait{tree.rootURL, "a pull", child}));
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST(FolderLock, isGivenBackWhenTheTaskWasCancelled) {
    const test::TemporaryFolder folder;
    const MetadataFolder tree{folder.path()};
    std::stop_source cancelled;
    cancelled.request_stop();
    {
        const TaskScope scope(cancelled.get_token());
        EXPECT_THROW((void)lockFolder(tree, "a pull"), CancellationError);
    }
    EXPECT_TRUE(FileLock::tryLock(tree.privateFolder() / "lock"));
}

} // namespace
} // namespace quorvel
