#ifdef __linux__

#include "Platform/desktop/DesktopNotifier.h"
#include "Platform/task/Task.h"
#include "Tests/support/NotificationBus.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <mutex>
#include <thread>

using namespace quorvel;
using test::NotificationService;
using test::PrivateBus;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

// The taps that arrived, waited for.
class Taps {
  public:
    DesktopNotifier::TapHandler handler() {
        return [this](const std::string& group) {
            {
                const std::lock_guard lock(mutex_);
                groups_.push_back(group);
            }
            arrived_.notify_all();
        };
    }
    std::vector<std::string> await(std::size_t count) {
        std::unique_lock lock(mutex_);
        arrived_.wait(lock, [&] { return groups_.size() >= count; });
        return groups_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<std::string> groups_;
};

DesktopAccess accessTo(const std::string& address) {
    return {.applicationName = "Quorvel", .busAddress = address, .patience = std::chrono::seconds(60)};
}

const std::vector<DesktopNotification> two = {
    {.id = "A|IOS|1.2|REJECTED",
     .title = "Kontor <1.2> · rejected",
     .body = "Fix <it> & go",
     .group = "A",
     .urgency = DesktopNotification::Urgency::critical},
    {.id = "B|IOS|3|IN_REVIEW", .title = "Tides 3 · in review", .body = "Now.", .group = "B"}};

} // namespace

TEST(DesktopNotifier, showsEachOnceAndHandsTapsBack) {
    const PrivateBus bus;
    NotificationService service(bus.address(), NotificationService::Manner::answers);
    Taps taps;
    const auto notifier = makeDesktopNotifier(accessTo(bus.address()), taps.handler());
    const auto outcome = notifier->show(two);
    EXPECT_THAT(outcome.shown, ElementsAre(two[0].id, two[1].id));
    EXPECT_EQ(outcome.problem, std::nullopt);
    const auto shown = service.shown();
    ASSERT_THAT(shown, SizeIs(2));
    for (std::size_t index = 0; index < two.size(); ++index) {
        EXPECT_EQ(shown[index].application, "Quorvel");
        EXPECT_EQ(shown[index].title, two[index].title);
        EXPECT_EQ(shown[index].body, two[index].body);
        EXPECT_EQ(shown[index].id, two[index].id);
        EXPECT_EQ(shown[index].urgency, index == 0 ? 2 : 1);
        EXPECT_EQ(shown[index].replaces, 0u);
        EXPECT_THAT(shown[index].actions, ElementsAre("default", "Open"));
    }
    service.tap(0, "another button");
    service.tap(7); // of another program
    service.tap(1);
    EXPECT_THAT(taps.await(1), ElementsAre("B"));
}

TEST(DesktopNotifier, heedsWhatTheServiceCanDo) {
    const PrivateBus bus;
    const NotificationService service(bus.address(), NotificationService::Manner::answers,
                                      {"body", "body-markup"});
    EXPECT_THAT(makeDesktopNotifier(accessTo(bus.address()), {})->show(two).shown, SizeIs(2));
    EXPECT_EQ(service.shown()[0].body, "Fix &lt;it&gt; &amp; go");
    EXPECT_EQ(service.shown()[0].title, two[0].title) << "titles hold no markup";
    EXPECT_THAT(service.shown()[0].actions, IsEmpty());
}

TEST(DesktopNotifier, saysWhyNothingIsShownAndTriesAgain) {
    const auto problemOf = [](DesktopNotifier& notifier) {
        const auto outcome = notifier.show(two);
        EXPECT_THAT(outcome.shown, IsEmpty());
        return outcome.problem.value_or("");
    };
    EXPECT_THAT(problemOf(*makeDesktopNotifier({}, {})), HasSubstr("no session bus"));
    EXPECT_THAT(problemOf(*makeDesktopNotifier(accessTo("unix:path=/nonexistent/bus"), {})),
                HasSubstr("cannot be used"));
    EXPECT_THAT(problemOf(*makeDesktopNotifier(accessTo("nonsense"), {})), HasSubstr("cannot be used"));

    auto bus = std::make_unique<PrivateBus>();
    const auto notifier = makeDesktopNotifier(accessTo(bus->address()), {});
    EXPECT_THAT(problemOf(*notifier), HasSubstr("no notification service runs"));
    {
        const NotificationService service(bus->address(), NotificationService::Manner::answers);
        EXPECT_THAT(notifier->show(two).shown, SizeIs(2)) << "a service that came later is found";
    }
    bus->end();
    EXPECT_NE(problemOf(*notifier), "");
}

TEST(DesktopNotifier, isNotHeldUpByAServiceThatNeverAnswers) {
    const PrivateBus bus;
    const NotificationService service(bus.address(), NotificationService::Manner::neverAnswers);
    auto access = accessTo(bus.address());
    access.patience = std::chrono::milliseconds(50);
    EXPECT_THAT(makeDesktopNotifier(access, {})->show(two).problem.value_or(""),
                HasSubstr("does not answer"));

    const auto patient = makeDesktopNotifier(accessTo(bus.address()), {});
    std::stop_source interrupt;
    std::jthread interrupter([&] { interrupt.request_stop(); });
    const TaskScope scope(interrupt.get_token());
    EXPECT_THROW(static_cast<void>(patient->show(two)), CancellationError);
}

TEST(DesktopNotifier, findsTheSessionBusInTheEnvironment) {
    const test::TemporaryFolder folder;
    std::map<std::string, std::string, std::less<>> variables;
    const auto address = [&] {
        return sessionBusAddress([&](std::string_view name) {
            const auto found = variables.find(name);
            return found == variables.end() ? std::nullopt : std::optional(found->second);
        });
    };
    EXPECT_EQ(address(), std::nullopt);
    variables["XDG_RUNTIME_DIR"] = (folder / "run, one").string();
    EXPECT_EQ(address(), std::nullopt) << "there is no socket";
    std::filesystem::create_directories(folder / "run, one/bus");
    EXPECT_EQ(address(), "unix:path=" + (folder / "run%2c%20one/bus").string());
    variables["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/x";
    EXPECT_EQ(address(), "unix:path=/x");
}

#endif
