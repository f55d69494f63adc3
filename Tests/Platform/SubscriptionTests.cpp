// What holds once a subscription has ended, on any thread and executor.
#include "Platform/log/Log.h"
#include "Platform/notify/Published.h"
#include "Platform/task/StopToken.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <future>
#include <latch>
#include <optional>
#include <stdexcept>
#include <vector>

namespace quorvel {
namespace {

using Subscription = NotificationCenter::Subscription;

// Work waits here until a test runs it.
struct WorkQueue {
    std::deque<std::function<void()>> work;

    [[nodiscard]] Executor executor() {
        return [this](std::function<void()> next) { work.push_back(std::move(next)); };
    }
    void drain() {
        while (!work.empty()) {
            const auto next = std::move(work.front());
            work.pop_front();
            next();
        }
    }
};

TEST(Subscription, waitsAtItsEndForACallOnAnotherThread) {
    WorkQueue queue;
    for (const bool isQueued : {false, true}) {
        Published<int> published;
        std::latch entered(1), release(1);
        auto finished = std::make_unique<bool>(false);
        std::optional<Subscription> handle =
            published.observe(isQueued ? queue.executor() : inlineExecutor(), [&] {
                entered.count_down();
                release.wait();
                for (int step = 0; step < 1000; ++step)
                    std::this_thread::yield();
                *finished = true;
            });
        const auto poster = std::async(std::launch::async, [&] {
            published.publish(1);
            queue.drain();
        });
        entered.wait();
        release.count_down();
        handle.reset();
        EXPECT_TRUE(*finished) << isQueued;
        finished.reset();
        published.publish(2);
    }
}

TEST(Subscription, dropsItsQueuedCallsAndWhatTheyHold) {
    WorkQueue queue;
    Published<int> published;
    int calls = 0;
    const auto held = std::make_shared<int>();
    std::optional<Subscription> handle = published.observe(queue.executor(), [&calls, held] { ++calls; });
    published.publish(1);
    queue.drain();
    published.publish(2);
    published.publish(3);
    handle.reset();
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(queue.work.size(), 2U);
    queue.drain();
    EXPECT_EQ(calls, 1);
}

TEST(Subscription, mayBeEndedFromInsideItsOwnCall) {
    WorkQueue queue;
    for (const bool isQueued : {false, true}) {
        Published<int> published;
        int calls = 0;
        std::optional<Subscription> handle;
        const auto held = std::make_shared<int>(7);
        handle = published.observe(isQueued ? queue.executor() : inlineExecutor(), [&, held] {
            handle.reset();
            calls += *held; // what the call holds lives as long as the call
        });
        published.publish(1);
        published.publish(2);
        std::jthread([&] { queue.drain(); }).join();
        EXPECT_EQ(calls, 7) << isQueued;
        EXPECT_EQ(held.use_count(), 1) << isQueued;
    }
}

TEST(Subscription, endsWhileOtherThreadsKeepPosting) {
    Published<int> published;
    std::latch posting(4);
    std::atomic<bool> isOver = false;
    std::vector<std::jthread> posters;
    for (int poster = 0; poster < 4; ++poster)
        posters.emplace_back([&] {
            posting.count_down();
            while (!isOver)
                published.publish(1);
        });
    posting.wait();
    for (int round = 0; round < 200; ++round) {
        auto count = std::make_unique<std::atomic<int>>(0);
        auto handle = published.observe(inlineExecutor(), [raw = count.get()] { ++*raw; });
        handle = {};
        const int seen = *count;
        std::this_thread::yield();
        EXPECT_EQ(*count, seen);
        count.reset(); // nobody may touch it any more
    }
    isOver = true;
}

TEST(Subscription, thatThrowsDisturbsNobodyAndIsLoggedOnce) {
    const LogCapture log;
    WorkQueue queue;
    Published<int> published;
    int calls = 0;
    const auto fail = [] { throw std::runtime_error("broken observer"); };
    const auto first = published.observe(inlineExecutor(), fail);
    const auto second = published.observe(queue.executor(), fail);
    const auto third = published.observe(inlineExecutor(), [] { throw 7; });
    const auto last = published.observe(inlineExecutor(), [&] { ++calls; });
    published.publish(1);
    published.publish(2);
    queue.drain();
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(log.text(),
              "warning NotificationCenter: An observer of \"changed\" failed: broken observer\n"
              "warning NotificationCenter: An observer of \"changed\" failed: unknown exception\n");
}

} // namespace
} // namespace quorvel
