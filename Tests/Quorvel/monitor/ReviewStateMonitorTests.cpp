#include "Quorvel/monitor/ReviewStateMonitor.h"

#include "Quorvel/actions/MonitorActions.h"
#include "Tests/support/ApplicationSandbox.h"
#include "Tests/support/FileMode.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <fstream>
#include <set>
#include <thread>

using namespace quorvel;
using test::ApplicationSandbox;
using test::kindOf;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

// Notes what it is asked to show.
struct NotedNotifier : DesktopNotifier {
    std::vector<std::string> titles;
    std::optional<std::string> problem;
    Outcome show(const std::vector<DesktopNotification>& notifications) override {
        if (problem) return {{}, problem};
        Outcome outcome;
        for (const DesktopNotification& one : notifications) {
            titles.push_back(one.title);
            outcome.shown.push_back(one.id);
        }
        return outcome;
    }
};

// The sandbox's three apps in the records of a home.
struct WatchedAccount : ApplicationSandbox {
    explicit WatchedAccount(sandbox::Options options = {}) : ApplicationSandbox(std::move(options)) {
        for (const auto& [id, name] :
             {std::pair{test::gardenApp, "Garden"}, {test::tidesApp, "Tides"}, {test::sketchApp, "Sketch"}})
            application->apps().add({.slug = name, .displayName = name, .appStoreId = std::string(id)});
        tides = versionOf(test::tidesApp, "PENDING_DEVELOPER_RELEASE");
        server.setVersionState(tides, "WAITING_FOR_REVIEW");
        server.forgetRequests();
    }
    [[nodiscard]] std::string versionOf(std::string_view app, std::string_view state) const {
        const JSONValue all = server.state();
        for (const auto& [id, version] : *all.find("appStoreVersions")->members()) {
            const std::string text = encodeJSON(version);
            if (text.find(app) != text.npos && text.find("\"" + std::string(state) + "\"") != text.npos)
                return id;
        }
        ADD_FAILURE() << "no version of " << app << " is " << state;
        return {};
    }
    [[nodiscard]] ReviewStateMonitor monitor(ReviewStateMonitor::Options options = {}) const {
        if (!options.notifier) options.notifier = notifier;
        return {*application, std::move(options)};
    }
    ReviewStateMonitor::Check check(ReviewStateMonitor::Options options = {}) const {
        return monitor(std::move(options)).check("test");
    }
    [[nodiscard]] std::filesystem::path file(const char* name) const {
        return folder / "home/Library/Application Support/Brevant" / name;
    }
    std::string tides; // the version of Tides that waits for review
    std::shared_ptr<NotedNotifier> notifier = std::make_shared<NotedNotifier>();
};

std::vector<std::string> statesIn(const std::vector<ReviewNotice>& changes) {
    std::vector<std::string> states;
    for (const ReviewNotice& change : changes)
        states.push_back(change.oldState.value_or("-") + ">" + change.newState);
    return states;
}

// Clocks that move only while somebody sleeps.
struct FakeClocks {
    Date date = dateFromSecondsSince1970(1'800'000'000);
    double steady = 0;
    std::vector<double> slept;
    std::function<void()> whileAsleep = [] {};
    CheckTimer::Clocks clocks() {
        return {.date = [this] { return date; },
                .steadySeconds = [this] { return steady; },
                .sleep =
                    [this](double seconds) {
                        checkCancellation();
                        slept.push_back(seconds);
                        steady += seconds;
                        date += std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
                        whileAsleep();
                        checkCancellation();
                    }};
    }
};

} // namespace

TEST(ReviewChange, hasTheTextsOfItsState) {
    struct Case {
        std::string state, shortText, body;
        bool isCritical = false;
    };
    const std::string rejected =
        "Apple rejected the iOS version. Open Resolution Center for the reviewer's note.";
    const std::string approved = "Apple approved the iOS version and is processing it for the store.";
    const std::vector<Case> cases = {
        {"WAITING_FOR_REVIEW", "waiting for review", "iOS version moved to waiting for review."},
        {"IN_REVIEW", "in review", "An App Review specialist has the iOS build open now."},
        {"PROCESSING_FOR_APP_STORE", "approved", approved},
        {"ACCEPTED", "approved", approved},
        {"PENDING_DEVELOPER_RELEASE", "approved — release it",
         "Approved. It goes live when you press Release on App Store Connect."},
        {"PENDING_APPLE_RELEASE", "approved — scheduled", "iOS version moved to approved — scheduled."},
        {"READY_FOR_SALE", "live on the App Store", "The iOS version is live."},
        {"READY_FOR_DISTRIBUTION", "live on the App Store", "The iOS version is live."},
        {"REJECTED", "rejected", rejected, true},
        {"DEVELOPER_REJECTED", "rejected", rejected, true},
        {"METADATA_REJECTED", "metadata rejected",
         "Apple rejected the metadata — fix the flagged field and push, the binary isn't re-reviewed.", true},
        {"INVALID_BINARY", "binary rejected", rejected, true},
        {"WAITING_FOR_EXPORT_COMPLIANCE", "needs export compliance",
         "Answer the encryption questionnaire on App Store Connect to continue."},
        {"REMOVED_FROM_SALE", "removed from sale", "iOS version moved to removed from sale."},
        {"DEVELOPER_REMOVED_FROM_SALE", "removed from sale", "iOS version moved to removed from sale."},
        {"PENDING_CONTRACT", "pending contract", "iOS version moved to pending contract."},
        {"SOMETHING_NEW", "something new", "iOS version moved to something new."},
    };
    for (const Case& one : cases) {
        const auto notice = noticeOf({"ID", "Kontor {P}", ASCPlatform::iOS, "1.2", {}, one.state});
        EXPECT_EQ(notice.title, "Kontor {P} 1.2 · " + one.shortText);
        EXPECT_EQ(notice.body, one.body);
        EXPECT_EQ(notice.isCritical, one.isCritical) << one.state;
    }
    EXPECT_EQ(transitionKey({"ID", "A", ASCPlatform::macOS, "1.2", "OLD", "IN_REVIEW"}),
              "ID|MAC_OS|1.2|IN_REVIEW");
}

TEST(ReviewMonitorSettings, boundTheIntervalAndTheListOfTransitions) {
    for (const auto& [stored, minutes] : std::vector<std::pair<std::optional<std::int64_t>, int>>{
             {{}, 30}, {0, 30}, {-7, 30}, {1, 5}, {4, 5}, {5, 5}, {6, 6}, {90, 90}})
        EXPECT_EQ(reviewCheckInterval(stored), std::chrono::minutes(minutes));
    const test::TemporaryFolder folder;
    const ReviewMonitorSettings settings(std::make_shared<UserDefaults>(folder / "defaults.json"));
    EXPECT_TRUE(settings.isEnabled());
    std::vector<std::string> keys;
    for (int number = 0; number < 501; ++number)
        keys.push_back("key " + std::to_string(number));
    settings.addNotifiedTransitions({keys.begin(), keys.begin() + 400});
    settings.addNotifiedTransitions({keys.begin() + 399, keys.end()});
    EXPECT_EQ(settings.notifiedTransitions(), std::vector<std::string>(keys.begin() + 1, keys.end()));
}

TEST(ReviewStateMonitor, tellsEachChangeOnceAlsoAcrossRestarts) {
    WatchedAccount account;
    const LogCapture log;
    const auto first = account.check();
    EXPECT_THAT(first.changes, IsEmpty()) << "what a first check meets is no change";
    EXPECT_THAT(account.server.requests(), SizeIs(3)) << "one request per app";
    EXPECT_EQ(test::modeOf(account.file("review-states.json")), 0600);

    account.server.setVersionState(account.tides, "PENDING_DEVELOPER_RELEASE");
    const auto approved = account.check(); // by a monitor that knows the first check from the file
    EXPECT_THAT(statesIn(approved.changes), ElementsAre("WAITING_FOR_REVIEW>PENDING_DEVELOPER_RELEASE"));
    EXPECT_THAT(account.notifier->titles, ElementsAre("Tides 1.9 · approved — release it"));
    EXPECT_EQ(approved.changes.front().wasNotified, true);
    EXPECT_THAT(account.check().changes, IsEmpty());

    account.server.setVersionState(account.tides, "READY_FOR_SALE");
    const auto live = account.check();
    EXPECT_THAT(statesIn(live.changes),
                testing::UnorderedElementsAre("PENDING_DEVELOPER_RELEASE>READY_FOR_SALE",
                                              "READY_FOR_SALE>REPLACED_WITH_NEW_VERSION"));
    EXPECT_THAT(account.notifier->titles, SizeIs(2)) << "that a version was replaced is no news";
    EXPECT_EQ(account.notifier->titles.back(), "Tides 1.9 · live on the App Store");
    for (const auto& version : live.versions)
        EXPECT_EQ(version.since.has_value(), version.slug == "Tides") << version.appName;

    // The states are lost, the transitions are not.
    removeFile(account.file("review-states.json"));
    account.server.setVersionState(account.tides, "PENDING_DEVELOPER_RELEASE");
    EXPECT_THAT(account.check().changes, IsEmpty());
    account.server.setVersionState(account.tides, "READY_FOR_SALE");
    const auto again = account.check();
    EXPECT_THAT(statesIn(again.changes), ElementsAre("PENDING_DEVELOPER_RELEASE>READY_FOR_SALE"));
    EXPECT_EQ(again.changes.front().wasNotified, std::nullopt);
    EXPECT_THAT(account.notifier->titles, SizeIs(2));
    EXPECT_THAT(log.text(), AllOf(HasSubstr("Review check (test) for 3 app(s)"),
                                  HasSubstr("Review check done — 1 transition(s)\n"),
                                  HasSubstr("Posting 1 review notification(s)")));
}

TEST(ReviewStateMonitor, tellsAVersionThatCameWhileNobodyWatched) {
    WatchedAccount account;
    account.check();
    const auto client = account.application->client();
    const auto made = client->createAppStoreVersion(test::tidesApp, {"MAC_OS", "1.0", {}});
    static_cast<void>(client->createAppStoreVersion(test::gardenApp, {"TV_OS", "1.0", {}}));
    account.server.setVersionState(made.id, "REJECTED");
    EXPECT_THAT(statesIn(account.check().changes), ElementsAre("->REJECTED"));
}

TEST(ReviewStateMonitor, forgetsAVersionThatIsNoMore) {
    WatchedAccount account;
    account.check();
    const auto version = account.versionOf(test::sketchApp, "PREPARE_FOR_SUBMISSION");
    static_cast<void>(
        account.application->client()->updateAppStoreVersion(version, {.versionString = "77.0"}));
    const auto namesIn = [](const ReviewStateMonitor::Check& check) {
        std::vector<std::string> names;
        for (const auto& each : check.versions)
            if (each.slug == "Sketch" && each.state == "PREPARE_FOR_SUBMISSION")
                names.push_back(each.version);
        return names;
    };
    EXPECT_THAT(namesIn(account.check()), ElementsAre("77.0")) << "it was renamed";
    account.server.setFaults({{.route = "GET /v1/apps/**", .status = 404}});
    EXPECT_THAT(namesIn(account.check()), ElementsAre("77.0")) << "an app that fails forgets nothing";
}

TEST(ReviewStateMonitor, saysWhatCannotBeShownOrKept) {
    WatchedAccount account;
    account.notifier->problem = "no notification service runs on the session bus";
    const LogCapture log;
    account.check();
    account.server.setVersionState(account.tides, "REJECTED");
    const auto check = account.check();
    EXPECT_EQ(check.changes.at(0).wasNotified, false);
    EXPECT_THAT(check.problems, ElementsAre(HasSubstr("no notification service runs")));
    EXPECT_THAT(log.text(), HasSubstr("Notifications not authorised — 1 transition(s) not shown"));

    for (const std::string damaged :
         {R"({"formatVersion":1,"apps":{"A":)", R"({"formatVersion":0})", "[]", ""}) {
        writeFileAtomically(account.file("review-states.json"), damaged);
        const auto anew = account.check();
        EXPECT_THAT(anew.problems, ElementsAre(HasSubstr("review-states.json.damaged"))) << damaged;
        EXPECT_THAT(anew.changes, IsEmpty());
        EXPECT_EQ(readFile(account.file("review-states.json.damaged")), damaged);
        EXPECT_THAT(account.check().problems, IsEmpty());
    }
    const std::string newer = R"({"formatVersion":2,"apps":{}})";
    writeFileAtomically(account.file("review-states.json"), newer);
    EXPECT_EQ(kindOf([&] { account.check(); }), FailureKind::failed);
    EXPECT_EQ(readFile(account.file("review-states.json")), newer);
}

TEST(ReviewStateMonitor, worksAloneOnAHome) {
    const WatchedAccount account;
    const auto other = account.made();
    {
        const auto monitor = account.monitor();
        EXPECT_EQ(kindOf([&] { (void)CheckReviews::perform(*other, {}); }), FailureKind::operationRunning);
    }
    EXPECT_THAT(CheckReviews::perform(*other, {}).versions, SizeIs(testing::Gt(3u)));
}

TEST(ReviewStateMonitor, checksTheOthersWhenAnAppOrTheNetworkFails) {
    WatchedAccount account;
    for (int number = 0; number < 47; ++number)
        account.application->apps().add({.slug = "copy" + std::to_string(number),
                                         .displayName = "Copy",
                                         .appStoreId = std::string(test::tidesApp)});
    const LogCapture log;
    account.server.setFaults({{.route = "GET /v1/apps/6700000103/appStoreVersions", .status = 404}});
    account.check();
    EXPECT_THAT(account.server.requests(), SizeIs(50));
    account.server.setVersionState(account.versionOf(test::sketchApp, "PREPARE_FOR_SUBMISSION"), "IN_REVIEW");
    account.server.setVersionState(account.versionOf(test::gardenApp, "PREPARE_FOR_SUBMISSION"), "IN_REVIEW");
    const auto partly = account.check();
    EXPECT_THAT(partly.changes, SizeIs(1));
    ASSERT_THAT(partly.failures, SizeIs(1));
    EXPECT_EQ(partly.failures.front().appName, "Sketch");
    EXPECT_EQ(partly.failures.front().failure.kind, FailureKind::notFound);
    EXPECT_THAT(log.text(), AllOf(HasSubstr("Review check failed for Sketch: "),
                                  HasSubstr("1 transition(s), 1 app(s) failed")));

    // Without a network no more apps are asked than at once; what was seen stays.
    account.server.setFaults({{.action = "reset"}});
    account.server.forgetRequests();
    const auto lost = account.check();
    EXPECT_THAT(lost.failures, SizeIs(50));
    EXPECT_EQ(lost.failures.back().failure.kind, FailureKind::serviceTrouble);
    EXPECT_LE(account.server.requests().size(), 12u * 5) << "each is repeated at most four times";
    EXPECT_THAT(lost.versions, SizeIs(partly.versions.size()));
    account.server.setFaults({});
    EXPECT_THAT(account.check().failures, IsEmpty());

    account.server.revokeKey(true);
    const auto refused = account.check();
    EXPECT_THAT(refused.failures, SizeIs(50));
    EXPECT_EQ(refused.failures.front().failure.kind, FailureKind::keyRefused);
}

TEST(ReviewStateMonitor, asksAgainWhenTheClockWasSet) {
    WatchedAccount account;
    auto monitor = account.monitor();
    EXPECT_THAT(monitor.check("test").failures, IsEmpty());
    for (const double hours : {2.0, -3.0}) {
        account.server.skewClock(hours * 3600); // as this machine's clock would be set back, or ahead
        EXPECT_THAT(monitor.check("test").failures, IsEmpty()) << hours;
    }
}

TEST(ReviewStateMonitor, usesTheKeyOfEachAppAndNoticesANewOne) {
    WatchedAccount account;
    const sandbox::Access& access = account.server.access();
    Application application({.home = {account.folder / "home"},
                             .workingFolder = account.folder.path(),
                             .endpointsFile = access.endpointsFile});
    ReviewStateMonitor monitor(application, {});
    const auto without = monitor.check("test");
    ASSERT_THAT(without.failures, SizeIs(3));
    EXPECT_EQ(without.failures.front().failure.kind, FailureKind::missingKey);

    using Key = KeychainStore::AccountKey;
    const std::string tides = application.apps().locate("Tides")->id;
    application.keychain().write({{accountName(Key::keyID, tides), access.keyID},
                                  {accountName(Key::issuerID, tides), access.issuerID},
                                  {accountName(Key::privateKeyPEM, tides), readFile(access.privateKeyFile)}});
    const auto with = monitor.check("test"); // as another process stored it meanwhile
    EXPECT_THAT(with.failures, SizeIs(2));
    ASSERT_THAT(with.versions, testing::Not(IsEmpty()));
    EXPECT_EQ(with.versions.front().slug, "Tides");
}

TEST(ReviewStateMonitor, handsEachChangeToAProgramThatCannotHoldItUp) {
    struct KeyVariable {
        KeyVariable() { ::setenv("ASC_PRIVATE_KEY", "KEY-TEXT", 1); }
        ~KeyVariable() { ::unsetenv("ASC_PRIVATE_KEY"); }
    } const keyVariable; // outlives the threads of the account
    WatchedAccount account;
    account.check();
    const auto script = [&](const char* name, const std::string& text) {
        const auto path = account.folder / name;
        writeFileAtomically(path, "#!/bin/sh\n" + text);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path.string();
    };
    const auto after = [&](const char* state, ChangeProgram program) {
        account.server.setVersionState(account.tides, state);
        const auto check = account.check({.program = std::move(program)});
        EXPECT_THAT(check.changes, SizeIs(1)) << state;
        return check.changes.front().programProblem.value_or("");
    };
    const std::string kept = (account.folder / "kept").string();
    EXPECT_EQ(after("IN_REVIEW", {script("keep", "cat > '" + kept + "'\n")}), "");
    const auto notice = decodeJSON<ReviewNotice>(readFile(kept).value_or(""));
    EXPECT_EQ(notice.title, "Tides 1.9 · in review");
    EXPECT_EQ(notice.oldState, "WAITING_FOR_REVIEW");
    EXPECT_EQ(after("PENDING_CONTRACT", {script("look", "env | grep KEY-TEXT && exit 3; exit 0\n")}), "");
    EXPECT_EQ(after("REJECTED", {script("fail", "echo no luck >&2; exit 3\n")}),
              "ended with status 3: no luck");
    EXPECT_EQ(after("METADATA_REJECTED", {script("hang", "sleep 60\n"), 0.1}), "was ended after 0.1 seconds");
    EXPECT_THAT(after("INVALID_BINARY", {(account.folder / "missing").string()}), HasSubstr("did not run"));
    EXPECT_THAT(account.check().changes, IsEmpty()) << "a program that fails is not run again";
}

TEST(ReviewStateMonitor, findsAChangeAgainThatAnInterruptionKeptBack) {
    WatchedAccount account;
    account.check();
    account.server.setVersionState(account.tides, "IN_REVIEW");
    const auto script = account.folder / "hang";
    const auto began = account.folder / "began";
    ASSERT_EQ(::mkfifo(began.c_str(), 0600), 0);
    writeFileAtomically(script, "#!/bin/sh\ntrap '' TERM\necho > '" + began.string() +
                                    "'\nwhile :; do sleep 1; done\n");
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    std::stop_source interrupt;
    std::jthread interrupter([&] {
        static_cast<void>(std::ifstream(began).get()); // returns once the program runs
        interrupt.request_stop();
    });
    {
        const TaskScope scope(interrupt.get_token());
        EXPECT_THROW(account.check({.program = ChangeProgram{script.string()}}), CancellationError);
    }
    EXPECT_THAT(account.notifier->titles, SizeIs(1));
    EXPECT_THAT(statesIn(account.check().changes), ElementsAre("WAITING_FOR_REVIEW>IN_REVIEW"));
    EXPECT_THAT(account.notifier->titles, SizeIs(1)) << "it is not notified twice";
}

TEST(ReviewStateMonitor, notifiesWhatAnInterruptionLeftOutAndNothingTwice) {
    WatchedAccount account;
    account.check();
    account.server.setVersionState(account.tides, "IN_REVIEW");
    account.server.setVersionState(account.versionOf(test::sketchApp, "PREPARE_FOR_SUBMISSION"), "IN_REVIEW");
    // Shows the first of its notifications, then the process is told to end.
    struct InterruptedNotifier : DesktopNotifier {
        std::stop_source interrupt;
        std::string shown;
        Outcome show(const std::vector<DesktopNotification>& notifications) override {
            interrupt.request_stop();
            shown = notifications.at(0).title;
            return {{notifications.at(0).id}, {}};
        }
    };
    const auto interrupted = std::make_shared<InterruptedNotifier>();
    {
        const TaskScope scope(interrupted->interrupt.get_token());
        EXPECT_THROW(account.check({.notifier = interrupted}), CancellationError);
    }
    EXPECT_THAT(account.check().changes, SizeIs(2));
    EXPECT_THAT(account.notifier->titles, ElementsAre(testing::Ne(interrupted->shown)));
}

TEST(CheckTimer, goesByTheClockThatWentFurther) {
    using Due = CheckTimer::Due;
    constexpr std::chrono::seconds period(1800);
    FakeClocks fake;
    std::vector<Date> due;
    const auto wait = [&] {
        due.clear();
        fake.slept.clear();
        return CheckTimer(fake.clocks()).wait(period, [&](Date date) { due.push_back(date); });
    };
    const Date began = fake.date;
    EXPECT_EQ(wait(), Due::asPlanned);
    EXPECT_EQ(fake.date - began, period);
    EXPECT_THAT(due, ElementsAre(began + period));

    const auto once = [&](std::chrono::seconds leap) {
        fake.whileAsleep = [&, leap] {
            fake.date += leap;
            fake.whileAsleep = [] {};
        };
    };
    once(std::chrono::hours(8)); // the machine slept past the check
    EXPECT_EQ(wait(), Due::afterSleep);
    EXPECT_THAT(fake.slept, SizeIs(2)) << "soon, but the network needs a moment";
    once(std::chrono::minutes(10)); // it slept, and there is time left
    const double before = fake.steady;
    EXPECT_EQ(wait(), Due::asPlanned);
    EXPECT_DOUBLE_EQ(fake.steady - before, 1200);
    once(std::chrono::hours(-3)); // the clock was set back: the period stays, the announced date does not
    const double set = fake.steady;
    EXPECT_EQ(wait(), Due::asPlanned);
    EXPECT_DOUBLE_EQ(fake.steady - set, 1800);
    ASSERT_THAT(due, SizeIs(2));
    EXPECT_EQ(due.back(), fake.date);
}

TEST(ReviewStateMonitor, goesOnForHoursWithoutTheNetwork) {
    WatchedAccount account;
    account.server.setFaults({{.action = "reset"}});
    FakeClocks fake;
    std::stop_source stop;
    auto monitor = account.monitor({.clocks = fake.clocks()});
    std::set<std::int64_t> checks;
    const auto subscription = monitor.observe(inlineExecutor(), [&] {
        const auto state = monitor.state();
        if (!checks.insert(state->checks).second || !state->last) return;
        EXPECT_THAT(state->last->failures, SizeIs(state->checks < 12 ? 3 : 0)) << state->checks;
        if (state->checks == 11) {
            account.server.setFaults({});
            account.server.setVersionState(account.tides, "IN_REVIEW");
        }
        if (state->checks == 13) stop.request_stop();
    });
    const TaskScope scope(stop.get_token());
    EXPECT_THROW(monitor.run(), CancellationError);
    EXPECT_EQ(fake.steady, 12 * 1800) << "half an hour between checks";
}
