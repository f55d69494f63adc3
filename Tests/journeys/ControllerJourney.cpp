// A release's texts through the metadata controller: real client, real files, real store, the sandbox.
#include "Core/metadata/MetadataDiff.h"
#include "Platform/log/Log.h"
#include "Platform/store/Database.h"
#include "Tests/Core/metadata/FakeConnect.h"
#include "Tests/support/ControllerSandbox.h"

#include <gmock/gmock.h>

#include <set>

using namespace quorvel;
using test::ControllerSandbox;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace {

void edit(const MetadataStore& store) {
    store.write("de-DE", FieldType::description, "Neuer Text\nmit \U0001F331");
    store.write("de-DE", FieldType::subtitle, "Beete und Bäume");
    store.write("fr-FR", FieldType::keywords, "jardin,arbre");
    store.write("ja", FieldType::promotionalText, "");
}

} // namespace

TEST(ControllerJourney, pullsEditsPushesAndPullsWithNothingPending) {
    ControllerSandbox fixture;
    fixture.pull();
    // The versions, the app infos, the localizations of the version and of one app info.
    EXPECT_THAT(fixture.requests(), SizeIs(6));
    const MetadataStore store = fixture.store();
    edit(store);
    fixture.controller.addLocale("ta-IN");
    store.write("ta-IN", FieldType::name, "தோட்டம்");
    store.write("ta-IN", FieldType::description, "உரை");

    fixture.server.forgetRequests();
    const auto plan = fixture.controller.planPush({{}, {}, Clearing::allow});
    EXPECT_THAT(fixture.requests(), ElementsAre("GET /v1/apps")); // its versions
    const auto pushed = fixture.controller.push(plan);
    EXPECT_EQ(pushed.report, "Pushed 6 fields · 4 locales");
    // Ten are the least: the versions, as a context's state may have changed since the pull; the app infos
    // and two lists of localizations, as an identifier may have too and a colleague's text must not be
    // replaced; and one write for each of the six localizations that differ, as none holds another's fields.
    EXPECT_THAT(fixture.requests(),
                UnorderedElementsAre(
                    "GET /v1/apps", "GET /v1/apps", "GET /v1/appInfos", "GET /v1/appStoreVersions",
                    "PATCH /v1/appStoreVersionLocalizations", "PATCH /v1/appInfoLocalizations",
                    "PATCH /v1/appStoreVersionLocalizations", "PATCH /v1/appStoreVersionLocalizations",
                    "POST /v1/appInfoLocalizations", "POST /v1/appStoreVersionLocalizations"));
    EXPECT_THAT(fixture.controller.state()->texts.changes, IsEmpty());

    const LocaleTexts local = store.readAll();
    const PullResult again = fixture.pull();
    EXPECT_THAT(again.updated, IsEmpty());
    EXPECT_THAT(again.kept, IsEmpty());
    EXPECT_EQ(store.readAll(), local);
    EXPECT_THAT(fixture.controller.state()->texts.changes, IsEmpty());
    EXPECT_THAT(fixture.apps.locales(fixture.app.id), SizeIs(41));
}

TEST(ControllerJourney, recordsEachTriedFieldAndTakesThePushBack) {
    ControllerSandbox fixture;
    fixture.pull();
    const MetadataStore store = fixture.store();
    const LocaleTexts before = store.readAll();
    edit(store);
    const auto pushed = fixture.push();

    std::set<FieldKey> recorded;
    for (const PushHistoryEntry& entry : fixture.history()) {
        const FieldKey key{entry.locale, *fromRawValue<FieldType>(entry.fieldType)};
        EXPECT_TRUE(recorded.insert(key).second) << entry.locale << " " << entry.fieldType;
        EXPECT_EQ(entry.sessionId, pushed.run);
        EXPECT_EQ(entry.previousValue, before.at(key.locale)[key.field]);
        EXPECT_EQ(entry.newValue, store.read(key.locale, key.field));
        EXPECT_TRUE(entry.success && !entry.errorMessage);
        EXPECT_EQ(entry.versionString, "3.5");
        EXPECT_EQ(entry.platform, "IOS");
        EXPECT_EQ(entry.stateClass, "editable");
    }
    EXPECT_THAT(recorded, SizeIs(4));

    const auto report = fixture.controller.revert(pushed.run);
    EXPECT_THAT(report.reverted, SizeIs(4));
    EXPECT_THAT(report.warnings, IsEmpty());
    EXPECT_THAT(fixture.controller.state()->texts.changes, SizeIs(4)); // to be pushed when the user says so
    const auto back = fixture.push();
    EXPECT_EQ(back.report, "Pushed 4 fields · 3 locales");
    EXPECT_NE(back.run, pushed.run);
    EXPECT_THAT(PushHistory(fixture.container).runs(fixture.app.id), SizeIs(2));
    fixture.pull();
    EXPECT_EQ(store.readAll(), before);
}

TEST(ControllerJourney, recordsAFailureLikeASuccess) {
    ControllerSandbox fixture(test::sketchApp);
    const std::string locale = fixture.pull().summary.locales.at(0);
    fixture.store().write(locale, FieldType::description, "Text");
    fixture.store().write(locale, FieldType::subtitle, "Refused");
    fixture.store().write(locale, FieldType::releaseNotes, "A first version has none");
    fixture.server.setFaults({{.route = "PATCH /v1/appInfoLocalizations/*", .status = 409}});
    const auto pushed = fixture.push();
    EXPECT_THAT(pushed.report, HasSubstr("Pushed 1 field · 1 locale. 1 failed.\nFirst error:"));
    EXPECT_EQ(fixture.controller.gate()->state()->status, pushed.report);
    std::vector<bool> successes;
    for (const PushHistoryEntry& entry :
         PushHistory(fixture.container).entriesOfRun(fixture.app.id, pushed.run)) {
        successes.push_back(entry.success);
        EXPECT_EQ(entry.errorMessage.has_value(), !entry.success);
    }
    EXPECT_THAT(successes, UnorderedElementsAre(true, false));
    EXPECT_THAT(fixture.controller.revert(pushed.run).reverted, SizeIs(1));
}

// With the request is lost whether App Store Connect took it. The history knows both texts all the same.
TEST(ControllerJourney, takesAPushBackWhoseAnswersWereLost) {
    for (const char* fault : {"resetAfter", "reset", "503After"})
        for (const bool isPushedAgain : {false, true}) {
            SCOPED_TRACE(std::string(fault) + (isPushedAgain ? ", pushed again" : ""));
            ControllerSandbox fixture;
            fixture.pull();
            const MetadataStore store = fixture.store();
            const LocaleTexts before = store.readAll();
            edit(store);
            fixture.server.setFaults({sandbox::parseFault("PATCH /v1/**:" + std::string(fault))});
            const auto pushed = fixture.push();
            fixture.server.setFaults({});
            for (const PushOutcome& outcome : pushed.outcomes)
                EXPECT_THAT(outcome.errorMessage.value_or(""), HasSubstr(mayHaveTakenText));
            for (const PushHistoryEntry& entry : fixture.history()) {
                EXPECT_TRUE(isOutcomeUnknown(entry));
                EXPECT_EQ(entry.previousValue,
                          before.at(entry.locale)[*fromRawValue<FieldType>(entry.fieldType)]);
            }
            EXPECT_THAT(fixture.history(), SizeIs(4));

            const auto report = fixture.controller.revert(isPushedAgain ? fixture.push().run : pushed.run);
            EXPECT_THAT(report.reverted, SizeIs(4));
            EXPECT_THAT(report.warnings, SizeIs(isPushedAgain ? 0 : 1));
            EXPECT_EQ(fixture.push().report, "Pushed 4 fields · 3 locales");
            fixture.pull();
            EXPECT_EQ(store.readAll(), before);
        }
}

TEST(ControllerJourney, pushesOnWhenTheHistoryCannotBeWrittenAndSaysSo) {
    ControllerSandbox fixture;
    fixture.pull();
    edit(fixture.store());
    Database(fixture.container->file()).execute("DROP TABLE PushHistoryEntry");
    const LogCapture log;
    const auto pushed = fixture.push();
    EXPECT_EQ(pushed.report, "Pushed 4 fields · 3 locales");
    EXPECT_THAT(pushed.historyProblem.value_or(""), HasSubstr("Not all of this push is in the history"));
    EXPECT_THAT(log.text(), HasSubstr("Failed to save push history: "));
}

// What is sent is in the history before the request goes out.
TEST(ControllerJourney, keepsTheHistoryOfWhatWasSentBeforeAPushWasKilled) {
    const test::TemporaryFolder folder;
    const test::RecordedApp recorded(folder / "home", "app1");
    test::FakeConnect connect;
    connect.addVersion("v1", "IOS", "PREPARE_FOR_SUBMISSION");
    connect.addAppInfo("i1", "PREPARE_FOR_SUBMISSION");
    const std::vector<std::string> locales = {"da", "de-DE", "fi", "fr-FR", "it",
                                              "ja", "ko",    "sv", "th",    "vi"};
    for (const std::string& locale : locales)
        connect.localizations[test::FakeConnect::ofVersion][locale] = {{"locale", locale}};
    const auto controller = recorded.controllerOver(connect);
    (void)controller->pull({});
    for (const std::string& locale : locales)
        recorded.store().write(locale, FieldType::description, "New");
    recorded.store().write("th", FieldType::keywords, "here");
    connect.localizations[test::FakeConnect::ofVersion]["th"]["keywords"] = "there"; // a conflict is not sent
    std::size_t sent = 0;
    connect.before = [&](const ASCRequest& request) {
        if (request.method != "PATCH") return;
        ++sent;
        const std::string locale = request.path.substr(request.path.rfind('/') + 1);
        const auto isKept = [&](const PushHistoryEntry& entry) {
            return entry.locale == locale && entry.fieldType == "description" && isOutcomeUnknown(entry) &&
                   entry.previousValue.empty() && entry.newValue == "New";
        };
        EXPECT_EQ(std::ranges::count_if(recorded.history(), isKept), 1) << locale;
    };
    controller->push(controller->planPush({}));
    EXPECT_EQ(sent, locales.size());
    EXPECT_THAT(recorded.history(), SizeIs(locales.size() + 1));
    EXPECT_EQ(std::ranges::count(recorded.history(), true, &PushHistoryEntry::success), locales.size());
    EXPECT_TRUE(std::ranges::none_of(recorded.history(), isOutcomeUnknown));
}

TEST(ControllerJourney, pullsAllContextsWithOneDiscoveryAndEachAppInfoOnce) {
    ControllerSandbox fixture;
    AutoPullLimiter limiter;
    const auto pulls = fixture.controller.pull(
        {.contexts = MetadataController::PullRequest::Contexts::all, .limiter = &limiter});
    std::vector<std::string> ids;
    for (const auto& pull : pulls) {
        ids.push_back(pull.context.id());
        EXPECT_TRUE(pull.result && !pull.failure);
    }
    EXPECT_THAT(ids, ElementsAre("ios/next", "ios/live", "macos/next", "macos/live"));
    // The versions, the app infos, the localizations and review details of four versions, the localizations
    // and age ratings of two app infos.
    EXPECT_THAT(fixture.server.requests(), SizeIs(2 + 4 * 2 + 2 * 2));
    for (const auto& pull : pulls)
        EXPECT_THAT(MetadataDiff::compare(fixture.store(pull.context.contextID())), IsEmpty());
    EXPECT_EQ(fixture.store({ASCPlatform::macOS}).localesOnDisk(), fixture.store().localesOnDisk());
    EXPECT_EQ(fixture.controller.gate()->state()->status, "Pulled 4 of 4 contexts");
    EXPECT_EQ(limiter.running(), 0u);
}

TEST(ControllerJourney, goesOnWithTheOtherContextsWhenOneFails) {
    ControllerSandbox fixture;
    const auto versions = fixture.client.listAppStoreVersions(test::gardenApp);
    const auto failing = contextsOf(versions).at(2);
    fixture.server.setFaults({sandbox::parseFault("GET /v1/appStoreVersions/" + failing.versionId +
                                                  "/appStoreVersionLocalizations:500")});
    const auto pulls = fixture.controller.pull({.contexts = MetadataController::PullRequest::Contexts::all});
    for (const auto& pull : pulls)
        EXPECT_EQ(pull.result.has_value(), pull.context.id() != "macos/next");
    try {
        std::rethrow_exception(pulls.at(2).failure);
    } catch (const ASCError& error) {
        EXPECT_EQ(fixture.controller.gate()->state()->error, std::string("Pull failed: ") + error.what());
    }
    EXPECT_THAT(fixture.controller.state()->contexts, SizeIs(4));
}

TEST(ControllerJourney, leavesDisabledLocalesAlone) {
    ControllerSandbox fixture;
    fixture.pull();
    const ManagedLocale off{.code = "fr-FR", .enabled = false, .app = fixture.app.id};
    fixture.apps.setLocales(fixture.app.id, std::vector{off});
    const MetadataStore store = fixture.store();
    const FieldTexts copies = store.readLocale("fr-FR", TextSide::pulled);
    for (const std::string locale : {"fr-FR", "de-DE"}) {
        store.write(locale, FieldType::description, "New");
        store.write(locale, FieldType::subtitle, std::string(31, 'x'));
    }
    const auto plan = fixture.controller.planPush({});
    EXPECT_THAT(plan.changes, SizeIs(1));
    std::vector<LeftOutReason> reasons;
    for (const LeftOutChange& left : plan.leftOut)
        reasons.push_back(left.reason);
    EXPECT_THAT(reasons, UnorderedElementsAre(LeftOutReason::overLimit, LeftOutReason::localeDisabled,
                                              LeftOutReason::localeDisabled));
    fixture.controller.refresh();
    const MetadataChecklist checklist = fixture.controller.state()->checklist();
    EXPECT_EQ(checklist.pushed.detail, "2 waiting for Push");
    EXPECT_EQ(checklist.limits.detail, "1 to trim before Push");

    // Not even when App Store Connect has the locale no longer, or other texts.
    const PlatformContext context = plan.version;
    for (const auto& localization : fixture.client.listVersionLocalizations(context.versionId))
        if (localization.attributes.locale == "fr-FR")
            fixture.client.updateVersionLocalization(localization.id, {.description = "Autre"});
    const PullResult pulled = fixture.pull();
    EXPECT_EQ(store.read("fr-FR", FieldType::description), "New");
    EXPECT_EQ(store.readLocale("fr-FR", TextSide::pulled), copies);
    EXPECT_THAT(pulled.summary.locales, SizeIs(39));
    EXPECT_THAT(pulled.kept, Each(testing::Field(&KeptEdit::locale, "de-DE")));
}
