#include "Platform/task/StopToken.h"
#include "Platform/task/Task.h"
#include "Quorvel/controllers/AutoPullLimiter.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <optional>

namespace quorvel {
namespace {

using testing::ElementsAre;

void waitUntil(const std::function<bool()>& holds) {
    while (!holds())
        std::this_thread::yield();
}

// A caller on a thread of its own that notes the order in which slots came and gives its slot back at once.
std::jthread queueUp(AutoPullLimiter& limiter, int number, std::vector<int>& order,
                     std::stop_token task = {}) {
    const std::size_t before = limiter.waiters();
    std::jthread caller([&limiter, &order, number, task = std::move(task)] {
        const TaskScope scope(task);
        try {
            const AutoPullLimiter::Slot slot = limiter.acquire();
            order.push_back(number); // one slot goes from hand to hand: no two callers are here at once
        } catch (const CancellationError&) {
        }
    });
    waitUntil([&] { return limiter.waiters() == before + 1; });
    return caller;
}

TEST(AutoPullLimiter, handsASlotToTheFirstInTheQueue) {
    AutoPullLimiter limiter;
    EXPECT_EQ(limiter.limit(), 2U);
    std::optional<AutoPullLimiter::Slot> first = limiter.acquire();
    const AutoPullLimiter::Slot second = limiter.acquire();
    std::vector<int> order;
    std::vector<std::jthread> callers;
    for (int number = 0; number < 5; ++number)
        callers.push_back(queueUp(limiter, number, order));
    EXPECT_EQ(limiter.running(), 2U);
    first.reset();
    callers.clear();
    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_EQ(limiter.running(), 1U);
    EXPECT_EQ(limiter.waiters(), 0U);
}

TEST(AutoPullLimiter, keepsASlotTakenWhileItPassesToAWaiter) {
    AutoPullLimiter limiter(1);
    std::optional<AutoPullLimiter::Slot> held = limiter.acquire();
    std::atomic<bool> goOn = false;
    std::jthread waiter([&] {
        const AutoPullLimiter::Slot slot = limiter.acquire();
        waitUntil([&] { return goOn.load(); });
    });
    waitUntil([&] { return limiter.waiters() == 1; });
    held.reset();
    EXPECT_EQ(limiter.running(), 1U); // already the waiter's, whether or not its thread woke
    EXPECT_EQ(limiter.waiters(), 0U);
    goOn = true;
    waiter.join();
    EXPECT_EQ(limiter.running(), 0U);
}

TEST(AutoPullLimiter, losesNoSlotWhenWaitersAreCancelled) {
    AutoPullLimiter limiter(1);
    std::optional<AutoPullLimiter::Slot> held = limiter.acquire();
    std::vector<int> order;
    std::stop_source cancelled;
    std::vector<std::jthread> callers;
    for (int number = 0; number < 4; ++number)
        callers.push_back(
            queueUp(limiter, number, order, number % 2 == 0 ? cancelled.get_token() : std::stop_token()));
    cancelled.request_stop();
    waitUntil([&] { return limiter.waiters() == 2; });
    EXPECT_EQ(limiter.running(), 1U);
    held.reset();
    callers.clear();
    EXPECT_THAT(order, ElementsAre(1, 3));
    EXPECT_EQ(limiter.running(), 0U);

    const TaskScope scope(cancelled.get_token());
    EXPECT_THROW((void)limiter.acquire(), CancellationError); // also when there is a slot
    EXPECT_EQ(limiter.running(), 0U);
}

TEST(AutoPullLimiter, neverLetsMoreThanItsLimitRunWhateverIsCancelled) {
    AutoPullLimiter limiter(3);
    std::atomic<int> running = 0, most = 0, done = 0;
    {
        std::vector<std::stop_source> tasks(24);
        std::vector<std::jthread> threads;
        for (std::stop_source& task : tasks)
            threads.emplace_back([&, token = task.get_token()] {
                const TaskScope scope(token);
                try {
                    for (int round = 0; round < 100; ++round) {
                        const AutoPullLimiter::Slot slot = limiter.acquire();
                        const int now = ++running;
                        for (int seen = most; now > seen && !most.compare_exchange_weak(seen, now);) {
                        }
                        --running;
                    }
                    ++done;
                } catch (const CancellationError&) {
                }
            });
        for (std::size_t index = 0; index < tasks.size(); index += 3)
            tasks[index].request_stop();
    }
    EXPECT_LE(most, 3);
    EXPECT_GE(done, 16);
    EXPECT_EQ(limiter.running(), 0U);
    EXPECT_EQ(limiter.waiters(), 0U);
}

TEST(AutoPullLimiter, givesTheOldSlotBackWhenAnotherIsMovedIn) {
    AutoPullLimiter limiter(2), other(1);
    AutoPullLimiter::Slot slot = limiter.acquire();
    slot = other.acquire();
    EXPECT_EQ(limiter.running(), 0U);
    EXPECT_EQ(other.running(), 1U);
    EXPECT_EQ(AutoPullLimiter(0).limit(), 1U); // a limit of none would wait for ever
}

} // namespace
} // namespace quorvel
