#include "Core/metadata/BookmarkResolver.h"
#include "Core/metadata/ContextsStore.h"
#include "Core/metadata/LocalizationWriter.h"
#include "Core/metadata/OlderLayout.h"
#include "Platform/files/FileLock.h"
#include "Platform/task/StopToken.h"
#include "Platform/task/Task.h"
#include "Quorvel/workspace/WorkspaceIndex.h"
#include "Tests/Quorvel/controllers/ControllerAccount.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <mutex>

using namespace quorvel;
using test::ControllerAccount;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

// What an observer saw, each text once in a row.
struct Watch {
    explicit Watch(OperationGate& watched)
        : gate(watched), subscription(watched.observe(inlineExecutor(), [this] { note(); })) {}

    void note() {
        const auto state = gate.state();
        std::string text = state->running ? std::string(rawValue(*state->running)) : "ended";
        if (state->progress)
            text +=
                " " + std::to_string(state->progress->done) + "/" + std::to_string(state->progress->total);
        text += ": " + state->error.value_or(state->status);
        if (seen.empty() || seen.back() != text) seen.push_back(std::move(text));
    }

    OperationGate& gate;
    std::vector<std::string> seen;
    NotificationCenter::Subscription subscription;
};

} // namespace

TEST(MetadataController, publishesWhatItDoesFromBeginningToEnd) {
    ControllerAccount account;
    Watch watch(*account.controller->gate());
    (void)account.pull();
    EXPECT_THAT(watch.seen, ElementsAre("pull: ", "pull: Discovering versions on App Store Connect…",
                                        "pull: Pulling ios/next…", "pull 0/1: Pulling ios/next…",
                                        "pull 1/1: Pulling ios/next…", "pull 1/1: Pulled ios/next 2.4.3",
                                        "ended: Pulled ios/next 2.4.3"));
    account.write("de-DE", FieldType::description, "Neu");
    const auto plan = account.controller->planPush({});
    watch.seen.clear();
    account.controller->push(plan);
    EXPECT_THAT(watch.seen,
                ElementsAre("push: ", "push: Resolving ASC IDs…", "push: Pushing…", "push 0/1: Pushing…",
                            "push 1/1: Pushing…", "push 1/1: Pushed 1 field · 1 locale",
                            "ended: Pushed 1 field · 1 locale"));
    EXPECT_THAT(account.controller->state()->lastPush, SizeIs(1));
    watch.seen.clear();
    EXPECT_THROW((void)account.push(), OperationRefused);
    EXPECT_THAT(watch.seen.back(), "ended: Nothing selected to push.");
}

TEST(MetadataController, beginsTheNextOperationFromTheWakeThatTellsTheEnd) {
    ControllerAccount account;
    int pulls = 0;
    const auto subscription = account.controller->gate()->observe(inlineExecutor(), [&] {
        if (account.controller->gate()->state()->running || pulls == 2) return;
        ++pulls;
        (void)account.pull();
    });
    (void)account.pull();
    EXPECT_EQ(pulls, 2);
    EXPECT_EQ(account.controller->gate()->state()->error, std::nullopt);
}

TEST(MetadataController, runsOneOperationOfManyThreads) {
    ControllerAccount account;
    constexpr int others = 7;
    std::mutex mutex;
    std::condition_variable changed;
    int refused = 0;
    account.connect.before =
        [&](const ASCRequest&) { // the one that runs goes on when all others were refused
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return refused == others; });
        };
    std::vector<std::jthread> threads;
    for (int thread = 0; thread <= others; ++thread)
        threads.emplace_back([&] {
            try {
                (void)account.pull();
            } catch (const OperationRefused& refusal) {
                EXPECT_EQ(refusal.refusal(), Refusal::operationRunning);
                const std::lock_guard lock(mutex);
                ++refused;
                changed.notify_all();
            }
        });
    threads.clear();
    EXPECT_EQ(refused, others);
    EXPECT_THAT(account.connect.requests, SizeIs(6));
    EXPECT_EQ(account.controller->gate()->state()->running, std::nullopt);
    EXPECT_EQ(account.controller->gate()->state()->error, std::nullopt);
    EXPECT_EQ(account.controller->state()->texts.pulledLocales.size(), 2u);
}

TEST(MetadataController, endsWithoutAnErrorWhenTheTaskIsCancelled) {
    ControllerAccount account;
    std::stop_source task;
    account.connect.before = [&](const ASCRequest&) {
        task.request_stop();
        throw CancellationError();
    };
    const TaskScope scope(task.get_token());
    EXPECT_THROW((void)account.pull(), CancellationError);
    EXPECT_EQ(account.controller->gate()->state()->error, std::nullopt);
    EXPECT_EQ(account.controller->gate()->state()->status, "Cancelled.");
    EXPECT_EQ(account.controller->gate()->state()->running, std::nullopt);
}

TEST(MetadataController, recordsNothingOfWhatACancelledPushDidNotTry) {
    ControllerAccount account;
    (void)account.pull();
    account.write("de-DE", FieldType::description, "Neu");
    account.write("de-DE", FieldType::promotionalText, "Neu");
    account.write("de-DE", FieldType::keywords, "neu");
    const auto plan = account.controller->planPush({});
    std::stop_source task;
    int patches = 0;
    account.connect.before = [&](const ASCRequest& request) {
        if (request.method != "PATCH") return;
        // The fields are tried one by one, and the push is cancelled while the first is sent.
        if (++patches == 1)
            throw test::FakeConnect::refusal("409", "ENTITY_ERROR.ATTRIBUTE.INVALID", "one is bad");
        task.request_stop();
    };
    const TaskScope scope(task.get_token());
    const auto pushed = account.controller->push(plan);
    EXPECT_EQ(std::ranges::count(pushed.outcomes, false, &PushOutcome::wasSent), 2);
    const auto history = account.history();
    ASSERT_THAT(history, SizeIs(1));
    EXPECT_TRUE(history[0].success);
    EXPECT_EQ(history[0].fieldType, "description");
}

TEST(MetadataController, remembersWhatAFirstPullFound) {
    ControllerAccount account;
    std::vector<std::string> told;
    auto subscription = account.notifications->observe(
        metadataContextsPersistedNotification, [&](const Notification& notification) {
            EXPECT_TRUE(account.apps.find(account.app.id)->metadataFolderBookmark); // where to read it
            EXPECT_TRUE(ContextsStore(account.appFolder(), account.clock).load());
            told.push_back(notification.payload.at("app"));
        });
    account.disable("ja");
    (void)account.pull();
    subscription = {};
    EXPECT_THAT(told, ElementsAre(account.app.id));
    std::vector<std::string> locales;
    for (const ManagedLocale& locale : account.apps.locales(account.app.id))
        locales.push_back(locale.code + (locale.enabled ? "" : " off"));
    EXPECT_THAT(locales, ElementsAre("de-DE", "ja off"));
    const auto bookmark = account.apps.find(account.app.id)->metadataFolderBookmark;
    EXPECT_EQ(BookmarkResolver::resolve(bookmark.value()).url, account.appFolder().rootURL);

    // A folder that is named for once never takes its place, not even while it is lost.
    const MetadataFolder other{account.folder / "other"};
    account.use(other);
    (void)account.pull();
    EXPECT_EQ(account.apps.find(account.app.id)->metadataFolderBookmark, bookmark);
    std::filesystem::remove_all(account.appFolder().rootURL);
    (void)account.pull();
    EXPECT_EQ(account.apps.find(account.app.id)->metadataFolderBookmark, bookmark);
}

TEST(MetadataController, keepsTheSelectedContextWhileTheAppHasIt) {
    ControllerAccount account;
    const ContextsStore contexts(account.appFolder(), account.clock);
    account.controller->pull({.context = "ios/live"});
    EXPECT_EQ(contexts.load()->selectedContextId, "ios/live");
    account.controller->pull({.context = "ios/next"});
    EXPECT_EQ(contexts.load()->selectedContextId, "ios/live");
    EXPECT_THAT(account.pull().updated, IsEmpty()); // the selected one again
    account.connect.versions.pop_back();
    (void)account.pull();
    EXPECT_EQ(contexts.load()->selectedContextId, "ios/next");
    EXPECT_THAT(contexts.load()->contexts, SizeIs(1));
}

TEST(MetadataController, showsTheLinesOfTheChecklist) {
    ControllerAccount account;
    const auto lines = [&] {
        account.controller->refresh();
        std::vector<std::string> list;
        const MetadataChecklist checklist = account.controller->state()->checklist();
        for (const auto& line : {checklist.pulled, checklist.limits, checklist.pushed})
            list.push_back(line.title + ": " + line.detail + (line.holds ? " ✓" : ""));
        return list;
    };
    const std::string limits =
        "Nothing over a character limit: Name 30 · Subtitle 30 · Promo 170 · Keywords 100 ✓";
    EXPECT_THAT(lines(), ElementsAre("All locales pulled: Click Pull to fetch App Store Connect", limits,
                                     "Local edits pushed: Click Pull to fetch App Store Connect"));
    (void)account.pull();
    EXPECT_THAT(lines(), ElementsAre("All locales pulled: 2 locales on disk ✓", limits,
                                     "Local edits pushed: Local matches App Store Connect ✓"));
    account.controller->addLocale("ko");
    account.write("ko", FieldType::name, std::string(31, 'x'));
    account.write("ja", FieldType::keywords, "a,b");
    std::filesystem::remove_all(account.store().folder().localeFolder("de-DE"));
    EXPECT_THAT(lines(), ElementsAre("All locales pulled: 1 locale missing",
                                     "Nothing over a character limit: 1 to trim before Push",
                                     "Local edits pushed: 2 waiting for Push"));
}

// The pull of another process has replaced one side of a text and not yet the other.
TEST(MetadataController, comparesForAPushOnlyWhenNoPullIsAtWork) {
    ControllerAccount account;
    (void)account.pull();
    account.write("de-DE", FieldType::subtitle, "Neu");
    account.store().write("ja", FieldType::name, "別", TextSide::pulled);
    std::optional<FileLock> pulling(std::in_place, account.appFolder().privateFolder() / "lock");
    pulling->noteHolder("a pull");
    std::vector<std::string> told;
    const LogCapture putsBackTheSink;
    setLogSink(LogLevel::warning, [&](const LogLine& line) {
        told.push_back(line.text);
        account.write("ja", FieldType::name, "別");
        pulling.reset();
    });
    const auto plan = account.controller->planPush({});
    EXPECT_THAT(told, ElementsAre(HasSubstr("Waiting for a pull (process ")));
    ASSERT_THAT(plan.changes, SizeIs(1));
    EXPECT_EQ(plan.changes[0].locale, "de-DE");
}

TEST(MetadataController, waitsForAnotherPullUntilItIsCancelled) {
    ControllerAccount account;
    (void)account.pull();
    account.connect.localizations[test::FakeConnect::ofAppInfo]["de-DE"]["name"] = "Neu";
    const auto before = account.text("de-DE", FieldType::name);
    std::optional<FileLock> other(std::in_place, account.appFolder().privateFolder() / "lock");
    std::stop_source source;
    int waits = 0;
    std::function<void()> onWait = [&] { source.request_stop(); };
    const LogCapture putsBackTheSink;
    setLogSink(LogLevel::warning, [&](const LogLine& line) {
        waits += line.text.starts_with("Waiting for another pull or push");
        onWait();
    });
    {
        const TaskScope scope(source.get_token());
        EXPECT_THROW((void)account.pull(), CancellationError);
    }
    EXPECT_FALSE(account.store().hasInterruptedPull());
    EXPECT_EQ(account.text("de-DE", FieldType::name), before);
    onWait = [&] { other.reset(); };
    EXPECT_THAT(account.pull().updated, ElementsAre(FieldKey{"de-DE", FieldType::name}));
    EXPECT_EQ(waits, 2);
}

TEST(MetadataController, carriesTreesOfTheOlderLayoutOverButNotThoseOfOthers) {
    ControllerAccount account;
    const MetadataStore older(account.appFolder());
    older.write("de-DE", FieldType::description, "Alt");
    account.controller->refresh(); // nothing was pulled into it: it may be another program's
    EXPECT_EQ(older.read("de-DE", FieldType::description), "Alt");
    older.write("de-DE", FieldType::description, "Text", TextSide::pulled);
    account.controller->refresh();
    EXPECT_EQ(account.text("de-DE", FieldType::description), "Alt");
    EXPECT_THAT(account.controller->state()->texts.changes, SizeIs(1));
    EXPECT_EQ(account.controller->state()->selectedContextId, "ios/next");
    EXPECT_EQ(account.store().read("de-DE", FieldType::description, TextSide::pulled), "Text");
    EXPECT_TRUE(findOlderLayout(account.appFolder()).isEmpty());

    // One that is there in both layouts is told of, once by each controller.
    older.write("de-DE", FieldType::description, "Älter");
    older.write("de-DE", FieldType::description, "Text", TextSide::pulled);
    const LogCapture log;
    account.controller->refresh();
    account.controller->refresh();
    EXPECT_EQ(older.read("de-DE", FieldType::description), "Älter");
    EXPECT_THAT(findOlderLayout(account.appFolder()).leftInPlace, SizeIs(2));
    EXPECT_THAT(log.text(),
                HasSubstr("de-DE stays where it is: ios/next/.brevant/asc/de-DE is there already."));
    EXPECT_EQ(std::ranges::count(log.text(), '\n'), 2) << log.text();
}

TEST(MetadataController, carriesATreeOfTheOlderLayoutOverUnderItsLockAndNotInADryRun) {
    ControllerAccount account;
    const MetadataStore older(account.appFolder());
    older.write("de-DE", FieldType::name, "Neu");
    older.write("de-DE", FieldType::name, "Name", TextSide::pulled);
    try {
        (void)account.controller->planPush({}, {}, DryRun::yes);
        ADD_FAILURE() << "a dry run went on";
    } catch (const MetadataError& error) {
        EXPECT_EQ(error.kind(), MetadataError::Kind::olderLayout);
    }
    EXPECT_FALSE(hasLockFile(account.appFolder()));
    {
        const FileLock pull = lockFolder(account.appFolder(), "a pull");
        std::stop_source cancelled;
        const LogCapture putsBackTheSink;
        setLogSink(LogLevel::warning, [&](const LogLine&) { cancelled.request_stop(); });
        const TaskScope scope(cancelled.get_token());
        EXPECT_THROW(account.controller->refresh(), CancellationError);
    }
    EXPECT_TRUE(older.exists("de-DE", FieldType::name));
    const auto plan = account.controller->planPush({}); // finds the texts where it moved them
    EXPECT_FALSE(older.exists("de-DE", FieldType::name));
    EXPECT_THAT(plan.changes, SizeIs(1));
}

TEST(MetadataController, saysWhenNothingIsThereToCompareWithAndRestoresTheContextsByAPush) {
    ControllerAccount account;
    (void)account.pull();
    std::filesystem::remove_all(account.store().folder().privateFolder());
    account.controller->refresh();
    EXPECT_THAT(account.controller->state()->texts.notices(),
                ElementsAre(HasSubstr("Nothing is known here of what App Store Connect holds for ios/next")));
    const auto before = ContextsStore(account.appFolder(), account.clock).load();
    const LogCapture log;
    for (const bool isDamaged : {false, true}) {
        if (isDamaged)
            writeFileAtomically(account.appFolder().contextsFile(), "{\"contexts\": 1}");
        else
            std::filesystem::remove(account.appFolder().contextsFile());
        account.write("de-DE", FieldType::subtitle, isDamaged ? "Neu" : "Unter");
        account.connect.localizations[test::FakeConnect::ofAppInfo]["de-DE"]["subtitle"] = "Unter";
        EXPECT_THAT(account.push().report, testing::StartsWith("Pushed "));
        EXPECT_EQ(ContextsStore(account.appFolder(), account.clock).load(), before);
        EXPECT_THAT(account.controller->state()->texts.notices(), IsEmpty());
    }
    const std::string file = account.appFolder().contextsFile().native();
    const std::string said = log.text();
    const std::size_t first = said.find(file + ": is damaged and not used (");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(said.find(file + ": is damaged", first + 1), std::string::npos);
    EXPECT_THAT(said, HasSubstr("The next pull writes it anew."));
}

TEST(MetadataController, addsALocaleToAContextThatWasMadeSinceThePull) {
    ControllerAccount account;
    (void)account.pull();
    account.connect.addVersion("t1", "TV_OS", "PREPARE_FOR_SUBMISSION");
    account.controller->addLocale("ko", "tvos/next");
    const auto saved = ContextsStore(account.appFolder(), account.clock).load();
    EXPECT_THAT(saved->contexts, SizeIs(3));
    EXPECT_EQ(saved->selectedContextId, "ios/next");
}

TEST(MetadataController, asksForTheContextsOnlyWhenALocaleIsAddedToAnEmptyFolder) {
    ControllerAccount account;
    const auto planned = account.controller->addLocale("ko", {}, DryRun::yes);
    EXPECT_FALSE(std::filesystem::exists(account.appFolder().rootURL));
    const auto added = account.controller->addLocale("ko");
    EXPECT_THAT(account.connect.requests,
                ElementsAre("GET v1/apps/app1/appStoreVersions", "GET v1/apps/app1/appStoreVersions"));
    EXPECT_EQ(added.folder, planned.folder);
    EXPECT_FALSE(added.existed);
    EXPECT_TRUE(account.controller->addLocale("ko").existed);
    EXPECT_THAT(account.connect.requests, SizeIs(2));
    EXPECT_THAT(account.store().localesOnDisk(), ElementsAre("ko"));
    EXPECT_THAT(account.apps.locales(account.app.id), SizeIs(1));
}

TEST(MetadataController, plansThePushWithoutSendingIt) {
    ControllerAccount account;
    (void)account.pull();
    account.write("de-DE", FieldType::subtitle, "Neu");
    using Requests = MetadataController::Requests;
    const auto plan = account.controller->planPush({}, {}, DryRun::no, Requests::include);
    ASSERT_THAT(plan.requests, SizeIs(1));
    EXPECT_EQ(plan.requests[0].path, "v1/appInfoLocalizations/de-DE");
    for (const std::string& request : account.connect.requests)
        EXPECT_THAT(request, testing::StartsWith("GET "));
    EXPECT_THAT(account.history(), IsEmpty());
}
