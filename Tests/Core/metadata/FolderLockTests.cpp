#include "Core/metadata/FolderLock.h"
#include "Platform/log/Log.h"
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

TEST(FolderLock, isWaitedForWithTheNameOfItsHolder) {
    const test::TemporaryFolder folder;
    const MetadataFolder tree{folder / "ios/next"};
    std::optional<FileLock> held = lockFolder(tree, "a push");
    std::vector<std::string> told;
    const LogCapture putsBackTheSink;
    setLogSink(LogLevel::warning, [&](const LogLine& line) {
        told.push_back(line.text);
        held.reset();
    });
    const std::string place = ", which is at work in " + tree.rootURL.native() + "…";
    held = lockFolder(tree, "a pull");
    EXPECT_THAT(told, ElementsAre("Waiting for a push (process " + std::to_string(::getpid()) + ")" + place));

    held.reset();
    held.emplace(tree.privateFolder() / "lock"); // a holder that says nothing of itself
    told.clear();
    (void)lockFolder(tree);
    EXPECT_THAT(told, ElementsAre("Waiting for another pull or push" + place));
}

TEST(FolderLock, ofAnAppAndOfItsContextAreHeldTogether) {
    const test::TemporaryFolder folder;
    const MetadataFolder app{folder.path()};
    const FileLock whole = lockFolder(app, "an import");
    const FileLock context = lockFolder(app.contextFolder({}), "a pull");
    EXPECT_EQ(FileLock::holderOf(app.privateFolder() / "lock")->what, "an import");
    EXPECT_EQ(FileLock::holderOf(app.contextFolder({}).privateFolder() / "lock")->what, "a pull");
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
    std::vector<std::string> told;
    const LogCapture putsBackTheSink;
    setLogSink(LogLevel::warning, [&](const LogLine& line) {
        told.push_back(line.text);
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    });
    const FileLock held = lockFolder(tree, "a push");
    EXPECT_THAT(told, ElementsAre("Waiting for a pull (process " + std::to_string(child) +
                                  "), which is at work in " + tree.rootURL.native() + "…"));
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
