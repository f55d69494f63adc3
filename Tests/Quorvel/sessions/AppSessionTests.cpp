#include "Platform/task/StopToken.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/controllers/OperationRefused.h"
#include "Quorvel/sessions/AppSession.h"
#include "Tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <latch>
#include <set>
#include <stdexcept>

namespace quorvel {
namespace {

TEST(AppSessionStore, makesOneSessionPerAppAlsoWhenThreadsRace) {
    constexpr int threads = 8, apps = 20;
    std::atomic<int> made = 0;
    AppSessionStore store([&](std::string_view) {
        ++made;
        std::this_thread::yield();
        return std::make_shared<AppSession>();
    });
    std::vector<std::vector<std::shared_ptr<AppSession>>> seen(threads);
    {
        std::barrier together(threads);
        std::vector<std::jthread> askers;
        for (auto& mine : seen)
            askers.emplace_back([&] {
                for (int app = 0; app < apps; ++app) {
                    together.arrive_and_wait();
                    mine.push_back(store.session(std::to_string(app)));
                }
            });
    }
    EXPECT_EQ(made, apps);
    for (const auto& one : seen)
        EXPECT_EQ(one, seen.front());
    EXPECT_EQ(std::set(seen.front().begin(), seen.front().end()).size(), static_cast<std::size_t>(apps));
    store.session("3")->selectedTab = AppTab::revenue;
    EXPECT_EQ(store.session("3")->selectedTab, AppTab::revenue);
}

TEST(AppSessionStore, makesOneAppsSessionWhileAnotherIsBeingMade) {
    std::latch slowBegan(1), otherDone(1);
    AppSessionStore store([&](std::string_view app) {
        if (app == "slow") {
            slowBegan.count_down();
            otherDone.wait(); // for ever, if the other had to wait for this one
        }
        return std::make_shared<AppSession>();
    });
    std::jthread slow([&] { EXPECT_NE(store.session("slow"), nullptr); });
    slowBegan.wait();
    EXPECT_NE(store.session("other"), nullptr);
    otherDone.count_down();
}

TEST(AppSessionStore, triesAgainAfterAFailureAndForgetsRemovedApps) {
    int calls = 0;
    AppSessionStore store([&](std::string_view) {
        if (++calls == 1) throw std::runtime_error("the store is busy");
        return std::make_shared<AppSession>();
    });
    EXPECT_THROW((void)store.session("a"), std::runtime_error);
    const auto first = store.session("a");
    EXPECT_EQ(store.session("a"), first);
    store.forget("a");
    store.forget("unknown");
    EXPECT_NE(store.session("a"), first);
    EXPECT_EQ(calls, 3);
}

TEST(AppSessionStore, forgetsASessionThatIsStillBeingMade) {
    AppSessionStore* self = nullptr;
    int calls = 0;
    AppSessionStore store([&](std::string_view app) {
        if (++calls == 1) self->forget(app);
        return std::make_shared<AppSession>();
    });
    self = &store;
    const auto first = store.session("a");
    EXPECT_NE(store.session("a"), first); // the app was removed meanwhile
    EXPECT_EQ(calls, 2);
}

TEST(ApplicationSessions, ofOneAppShareItsGateWhateverFolderTheyWorkIn) {
    const test::TemporaryFolder folder;
    Application application({.home = {folder / "home"}, .workingFolder = folder.path()});
    const auto addApp = [&](const std::string& slug) {
        return application.apps().add({.slug = slug, .displayName = slug, .appStoreId = slug}).id;
    };
    const std::string app = addApp("garden");
    const auto named = application.session(app, MetadataFolder{folder / "named"});
    const auto own = application.session(app);
    EXPECT_NE(own, named);
    EXPECT_EQ(application.session(app, MetadataFolder{folder / "named"}), named);
    own->gate->run(OperationKind::tidy, [&](OperationGate::Operation&) {
        const auto before = named->gate->state();
        EXPECT_EQ(before->running, OperationKind::tidy);
        EXPECT_THROW((void)named->metadata->pull({}), OperationRefused);
        EXPECT_THROW((void)named->screenshots->pull({}), OperationRefused);
        EXPECT_EQ(own->gate->state(), before);
    });
    EXPECT_FALSE(std::filesystem::exists(folder / "named"));
    EXPECT_NE(application.session(addApp("other"))->gate, own->gate);
}

} // namespace
} // namespace quorvel
