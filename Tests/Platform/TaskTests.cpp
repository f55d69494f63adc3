#include "Platform/task/Patience.h"
#include "Platform/task/Task.h"

#include <gtest/gtest.h>

#include <barrier>
#include <latch>
#include <limits>
#include <memory>
#include <numeric>
#include <set>
#include <stdexcept>
#include <string>

namespace quorvel::test {
namespace {

std::vector<int> numbers(int count) {
    std::vector<int> items(static_cast<std::size_t>(count));
    std::iota(items.begin(), items.end(), 0);
    return items;
}

struct Fault : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Blocks until the current task is cancelled; a task that never is hangs the test.
void blockUntilCancelled() {
    sleepFor(1e300);
}

TEST(Patience, countsWaitsAtTheSameTimeOnce) {
    Patience patience(std::chrono::seconds(100));
    const Patience::TimePoint start{std::chrono::hours(1)};
    const auto at = [&](int seconds) { return start + std::chrono::seconds(seconds); };
    EXPECT_FALSE(patience.grants(101, at(0)));
    EXPECT_TRUE(patience.grants(60, at(0)));
    EXPECT_TRUE(patience.grants(60, at(0))) << "another thread";
    EXPECT_TRUE(patience.grants(70, at(10))) << "twenty more";
    EXPECT_FALSE(patience.grants(21, at(1000)));
    EXPECT_TRUE(patience.grants(20, at(1000)));
    EXPECT_TRUE(patience.grants(20, at(1000)));
    EXPECT_FALSE(patience.grants(1, at(2000)));
    EXPECT_FALSE(patience.grants(9e18, at(2000)));
}

TEST(ParallelMap, keepsTheOrderOfItemsForAnyKindOfResult) {
    struct Labelled { // neither default-constructible nor copyable
        explicit Labelled(int value) : text(std::make_unique<std::string>(std::to_string(value))) {}
        std::unique_ptr<std::string> text;
    };
    const auto items = numbers(500);
    const auto labels = parallelMap(items, 8, [](int item) { return Labelled(item); });
    const std::vector<bool> parities = parallelMap(items, 8, [](int item) { return item % 2 == 1; });
    ASSERT_EQ(labels.size(), items.size());
    for (std::size_t index = 0; index < items.size(); ++index) {
        EXPECT_EQ(*labels[index].text, std::to_string(index));
        EXPECT_EQ(parities[index], index % 2 == 1);
    }
    EXPECT_TRUE(parallelMap(std::vector<int>(), 4, [](int item) { return item; }).empty());
}

TEST(ParallelMap, usesAsManyThreadsAsItsWidthAndNoMore) {
    std::barrier allAtOnce(3); // passes only when three items are worked on at the same time
    std::atomic<int> running = 0;
    std::atomic<int> most = 0;
    parallelForEach(numbers(30), 3, [&](int) {
        const int now = ++running;
        int seen = most;
        while (now > seen && !most.compare_exchange_weak(seen, now)) {
        }
        allAtOnce.arrive_and_wait();
        --running;
    });
    EXPECT_EQ(most, 3);
}

TEST(ParallelMap, runsInlineWhenTheWidthIsOneOrZero) {
    for (const std::size_t width : {0, 1}) {
        const auto threads = parallelMap(numbers(5), width, [](int) { return std::this_thread::get_id(); });
        EXPECT_EQ(std::set(threads.begin(), threads.end()), std::set{std::this_thread::get_id()});
    }
}

TEST(ParallelMap, nests) {
    const auto sums = parallelMap(numbers(6), 3, [](int outer) {
        const auto inner = parallelMap(numbers(4), 2, [outer](int item) { return outer * item; });
        return std::accumulate(inner.begin(), inner.end(), 0);
    });
    EXPECT_EQ(sums, (std::vector{0, 6, 12, 18, 24, 30}));
}

TEST(ParallelMap, stopsSiblingsAtTheFirstThrowAndRethrowsIt) {
    for (const bool isNested : {false, true}) {
        std::latch siblingsRun(2);
        std::atomic<int> started = 0;
        const auto work = [&](int item) {
            ++started;
            if (item == 2) {
                siblingsRun.wait();
                throw Fault("item 2");
            }
            siblingsRun.count_down();
            isNested ? parallelForEach(numbers(2), 2, [](int) { blockUntilCancelled(); })
                     : blockUntilCancelled();
        };
        try {
            parallelForEach(numbers(100), 3, work);
            FAIL() << "nothing was thrown";
        } catch (const Fault& fault) {
            EXPECT_STREQ(fault.what(), "item 2");
        }
        EXPECT_EQ(started, 3);
    }
}

TEST(ParallelMap, prefersARealErrorToTheCancellationThatCameFirst) {
    std::latch siblingRuns(1);
    const auto work = [&](int item) {
        if (item == 0) {
            siblingRuns.wait();
            throw CancellationError();
        }
        siblingRuns.count_down();
        try {
            blockUntilCancelled();
        } catch (const CancellationError&) {
            throw Fault("the disk is full");
        }
    };
    EXPECT_THROW(parallelForEach(numbers(2), 2, work), Fault);
}

TEST(ParallelMap, throwsCancellationWhenItsTaskIsCancelled) {
    for (const std::size_t width : {1, 4}) {
        std::stop_source task;
        const TaskScope scope(task.get_token());
        std::atomic<int> started = 0;
        const auto work = [&](int item) {
            ++started;
            if (item == 0) task.request_stop();
            blockUntilCancelled();
            return item;
        };
        EXPECT_THROW(static_cast<void>(parallelMap(numbers(100), width, work)), CancellationError);
        EXPECT_LE(started, static_cast<int>(width));
        started = 0;
        EXPECT_THROW(static_cast<void>(parallelMap(numbers(3), width, work)), CancellationError);
        EXPECT_EQ(started, 0);
    }
}

TEST(Task, sleepEndsAtOnceWhenTheTaskIsCancelled) {
    std::stop_source task;
    std::latch sleeps(1);
    std::atomic<bool> wasCancelled = false;
    std::jthread sleeper([&] {
        const TaskScope scope(task.get_token());
        sleeps.count_down();
        try {
            sleepFor(1e300);
        } catch (const CancellationError&) {
            wasCancelled = true;
        }
    });
    sleeps.wait();
    task.request_stop();
    sleeper.join();
    EXPECT_TRUE(wasCancelled);
    const TaskScope scope(task.get_token());
    EXPECT_THROW(sleepFor(-1), CancellationError);
}

TEST(Task, scopesRestoreTheTaskAround) {
    std::stop_source outer;
    outer.request_stop();
    const TaskScope outerScope(outer.get_token());
    EXPECT_THROW(checkCancellation(), CancellationError);
    {
        const TaskScope shielded{std::stop_token()};
        checkCancellation();
        sleepFor(std::numeric_limits<double>::quiet_NaN());
        parallelForEach(numbers(2), 2, [](int) { checkCancellation(); });
        EXPECT_FALSE(currentStopToken().stop_requested());
    }
    EXPECT_TRUE(currentStopToken().stop_requested());
}

} // namespace
} // namespace quorvel::test
