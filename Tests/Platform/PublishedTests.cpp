#include "Platform/notify/Published.h"
#include "Platform/task/StopToken.h"

#include <gmock/gmock.h>

#include <atomic>
#include <deque>
#include <optional>
#include <stdexcept>
#include <vector>

namespace quorvel {
namespace {

using testing::ElementsAre;

// Two members that are always equal, so that a torn state shows.
struct Pair {
    int left = 0;
    int right = 0;
    bool operator==(const Pair&) const = default;
};

TEST(Published, wakesOnTheExecutorWhereTheNewestStateIsFetched) {
    Published<Pair> published;
    std::deque<std::function<void()>> queue;
    std::vector<int> seen;
    auto slow = published.observe([&](std::function<void()> work) { queue.push_back(std::move(work)); },
                                  [&] { seen.push_back(published.current()->left); });
    const auto before = published.current();
    published.publish({1, 1});
    published.update([](Pair& state) { ++state.left; });
    EXPECT_EQ(*before, Pair()); // a snapshot never changes
    EXPECT_THAT(seen, ElementsAre());
    for (const auto& work : queue)
        work();
    EXPECT_THAT(seen, ElementsAre(2, 2)); // 1 was replaced before anybody looked
    slow = {};
    published.publish({3, 3});
    EXPECT_EQ(queue.size(), 2U);
}

TEST(Published, observersMayPublishAndEndThemselves) {
    Published<Pair> published;
    std::vector<int> seen;
    std::optional<NotificationCenter::Subscription> once;
    const auto steady = published.observe(inlineExecutor(), [&] {
        const int now = published.current()->left;
        seen.push_back(now);
        if (now < 3) published.update([](Pair& state) { ++state.left; });
    });
    once = published.observe(inlineExecutor(), [&] { once.reset(); });
    published.publish({1, 1});
    EXPECT_THAT(seen, ElementsAre(1, 2, 3));
}

TEST(Published, keepsItsStateWhenAChangeThrows) {
    Published<Pair> published({1, 1});
    int wakes = 0;
    const auto watching = published.observe(inlineExecutor(), [&] { ++wakes; });
    EXPECT_THROW(published.update([](Pair& state) {
        state.left = 2;
        throw std::runtime_error("half way");
    }),
                 std::runtime_error);
    EXPECT_EQ(*published.current(), (Pair{1, 1}));
    EXPECT_EQ(wakes, 0);
    published.update([](Pair& state) { state.left = state.right = 2; });
    EXPECT_EQ(wakes, 1);
}

TEST(Published, losesNoUpdateOfManyThreadsAndShowsNoHalfState) {
    constexpr int writers = 4, rounds = 500;
    Published<Pair> published;
    std::atomic<int> wakes = 0, last = 0;
    std::atomic<bool> isTorn = false;
    {
        const auto watching = published.observe(inlineExecutor(), [&] {
            const auto state = published.current();
            if (state->left != state->right) isTorn = true;
            for (int seen = last; state->left > seen && !last.compare_exchange_weak(seen, state->left);) {
            }
            ++wakes;
        });
        std::vector<std::jthread> threads;
        for (int writer = 0; writer < writers; ++writer)
            threads.emplace_back([&] {
                for (int round = 0; round < rounds; ++round) {
                    const auto passing = published.observe(inlineExecutor(), [] {});
                    published.update([](Pair& state) {
                        ++state.left;
                        ++state.right;
                    });
                }
            });
    }
    EXPECT_EQ(*published.current(), (Pair{writers * rounds, writers * rounds}));
    EXPECT_EQ(wakes, writers * rounds);
    EXPECT_EQ(last, writers * rounds); // whoever was woken last saw the last state
    EXPECT_FALSE(isTorn);
}

} // namespace
} // namespace quorvel
