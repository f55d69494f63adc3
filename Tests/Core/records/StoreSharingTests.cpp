// Several threads, containers and processes over one store, and processes that are killed.
#include "Platform/files/Files.h"
#include "Platform/task/StopToken.h"
#include "Tests/Core/records/Garden.h"
#include "Tests/support/ChildProcess.h"

#include <gmock/gmock.h>

#include <sys/time.h>

#include <set>

using namespace quorvel;
using test::Garden;
using test::pushed;
using testing::SizeIs;

namespace {

// Ends this process like a kill after some microseconds.
void dieIn(int microseconds) {
    const itimerval timer{{0, 0}, {microseconds / 1'000'000, microseconds % 1'000'000}};
    ::setitimer(ITIMER_REAL, &timer, nullptr);
}

std::size_t countBackups(const std::filesystem::path& folder) {
    std::size_t count = 0;
    for (const FolderEntry& entry : listFolder(folder / "Brevant").value_or(std::vector<FolderEntry>()))
        count += entry.name.starts_with("damaged-store");
    return count;
}

} // namespace

TEST(SharedStore, takesWritesOfThreadsAndContainersAtOnce) {
    constexpr int threads = 4, rounds = 25;
    const test::TemporaryFolder folder;
    const Garden first(test::openStore(folder.path())), second(test::openStore(folder.path()));
    const std::string app = first.apps.add({.slug = "garden"}).id;
    {
        std::vector<std::jthread> working;
        for (int thread = 0; thread < threads; ++thread)
            working.emplace_back([&, thread] {
                const Garden& garden = thread % 2 ? first : second;
                for (int round = 0; round < rounds; ++round) {
                    const std::string run = std::to_string(thread) + "/" + std::to_string(round);
                    garden.history.record(std::vector(3, pushed(app, run)));
                    garden.apps.addMissingLocales(app, std::vector<std::string>{"de-DE", run});
                    EXPECT_THAT(garden.history.entriesOfRun(app, run), SizeIs(3));
                    for (const PushRun& seen : garden.history.runs(app))
                        EXPECT_EQ(seen.fields, 3) << "a run was seen half written";
                }
            });
    }
    EXPECT_THAT(first.history.runs(app), SizeIs(threads * rounds));
    EXPECT_THAT(second.apps.locales(app), SizeIs(threads * rounds + 1));
}

TEST(SharedStore, isMadeOrRebuiltByOneOfSeveralProcesses) {
    constexpr int processes = 4, entries = 5;
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        const test::TemporaryFolder folder;
        const bool isDamaged = round % 2;
        if (isDamaged) writeFileAtomically(folder / "default.store", "damage");
        std::vector<pid_t> children;
        for (int process = 0; process < processes; ++process)
            children.push_back(test::startChild([&] {
                const Garden garden(test::openStore(folder.path()));
                std::string app;
                garden.apps.together([&] { // one of the processes adds it
                    const auto there = garden.apps.locate("garden");
                    app = there ? there->id : garden.apps.add({.slug = "garden"}).id;
                });
                for (int entry = 0; entry < entries; ++entry)
                    garden.history.record(std::vector{pushed(app, "run")});
            }));
        for (const pid_t child : children)
            EXPECT_EQ(test::awaitChild(child), 0);
        const Garden garden(test::openStore(folder.path()));
        EXPECT_FALSE(garden.container->rebuilt());
        EXPECT_EQ(countBackups(folder.path()), isDamaged ? 1U : 0U);
        EXPECT_THAT(garden.history.entries(garden.apps.locate("garden")->id), SizeIs(processes * entries));
    }
}

TEST(SharedStore, staysWholeWhenItsWritersAreKilled) {
    test::TemporaryFolder folder;
    std::set<std::string> known;
    int kills = 0;
    double microseconds = 200;
    for (int round = 0; round < 120; ++round, microseconds *= 1.04) {
        SCOPED_TRACE(round);
        const pid_t child = test::startChild([&] {
            dieIn(static_cast<int>(microseconds));
            const Garden garden(test::openStore(folder.path()));
            const std::string app = garden.apps.add({.slug = "app " + std::to_string(round)}).id;
            for (int run = 0; run < 30; ++run)
                garden.history.record(
                    std::vector(7, pushed(app, std::to_string(round) + "/" + std::to_string(run))));
        });
        kills += WIFSIGNALED(test::awaitChild(child)) ? 1 : 0;

        const Garden garden(test::openStore(folder.path()));
        ASSERT_FALSE(garden.container->rebuilt()) << garden.container->rebuilt()->reason;
        std::set<std::string> present;
        for (const ManagedApp& app : garden.apps.all())
            for (const PushRun& run : garden.history.runs(app.id)) {
                EXPECT_EQ(run.fields, 7) << "a run is half there";
                present.insert(run.sessionId);
            }
        EXPECT_TRUE(std::ranges::includes(present, known)) << "a run is gone";
        known = std::move(present);
        if (round % 10 == 0) { // so that making a store is interrupted as well
            for (const std::string_view name : storeFileNames)
                std::filesystem::remove(folder / name);
            known.clear();
        }
    }
    EXPECT_GT(kills, 60);
}
