#include "Platform/notify/NotificationCenter.h"

#include <gmock/gmock.h>

#include <atomic>
#include <optional>
#include <thread>
#include <vector>

namespace quorvel {
namespace {

using testing::ElementsAre;

TEST(NotificationCenter, deliversByNameInOrderOfSubscription) {
    NotificationCenter center;
    std::vector<std::string> calls;
    const auto first =
        center.observe("a", [&](const Notification& n) { calls.push_back("1" + n.payload.at("k")); });
    const auto other = center.observe("b", [&](const Notification&) { calls.push_back("other"); });
    auto second =
        center.observe("a", [&](const Notification& n) { calls.push_back("2" + n.payload.at("k")); });
    center.post({"a", {{"k", "x"}}});
    second = {};
    center.post({"a", {{"k", "y"}}});
    center.post({"nobody", {}});
    EXPECT_THAT(calls, ElementsAre("1x", "2x", "1y"));
}

TEST(NotificationCenter, observersMayPostSubscribeAndUnsubscribe) {
    NotificationCenter center;
    std::vector<std::string> calls;
    std::optional<NotificationCenter::Subscription> own, later, added;
    own = center.observe("a", [&](const Notification&) {
        calls.push_back("own");
        own.reset();   // itself, while running
        later.reset(); // one that this post has not reached yet
        added = center.observe("a", [&](const Notification&) { calls.push_back("added"); });
        center.post({"b", {}});
    });
    later = center.observe("a", [&](const Notification&) { calls.push_back("later"); });
    const auto nested = center.observe("b", [&](const Notification&) { calls.push_back("nested"); });
    center.post({"a", {}});
    EXPECT_THAT(calls, ElementsAre("own", "nested"));
    center.post({"a", {}});
    EXPECT_THAT(calls, ElementsAre("own", "nested", "added"));
}

TEST(NotificationCenter, handlesMoveAndMayOutliveTheCenter) {
    std::optional<NotificationCenter> center(std::in_place);
    int calls = 0;
    auto handle = center->observe("a", [&](const Notification&) { ++calls; });
    auto moved = std::move(handle);
    handle = {};
    center->post({"a", {}});
    EXPECT_EQ(calls, 1);
    moved = center->observe("a", [&](const Notification&) { calls += 10; }); // ends the one before
    center->post({"a", {}});
    EXPECT_EQ(calls, 11);
    center.reset();
    moved = {};
}

TEST(NotificationCenter, takesPostsAndSubscriptionsFromManyThreads) {
    NotificationCenter center;
    std::atomic<int> calls = 0;
    const auto steady = center.observe("a", [&](const Notification&) { ++calls; });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            for (int round = 0; round < 500; ++round) {
                auto own = std::make_shared<std::atomic<bool>>(true);
                auto passing = center.observe("b", [own](const Notification&) { own->load(); });
                center.post({"a", {}});
                center.post({"b", {}});
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(calls, 2000);
}

} // namespace
} // namespace quorvel
