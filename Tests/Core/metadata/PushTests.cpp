#include "Core/metadata/LocalizationWriter.h"
#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/MetadataPusher.h"
#include "Core/metadata/PushSelection.h"
#include "Platform/files/FileLock.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/task/Task.h"
#include "Tests/Core/metadata/FakeConnect.h"
#include "Tests/support/PullContext.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <atomic>

using namespace quorvel;
using test::FakeConnect;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace {

struct PushAccount {
    test::TemporaryFolder outer;
    MetadataStore store{MetadataFolder{outer / "ios/next"}};
    FakeConnect connect;
    PlatformContext context{ASCPlatform::iOS, AppStoreVersionStateClass::editable, "2.4.3",
                            "PREPARE_FOR_SUBMISSION", "v1"};

    PushAccount() {
        connect.addVersion("v1", "IOS", "PREPARE_FOR_SUBMISSION");
        connect.addAppInfo("i1", "PREPARE_FOR_SUBMISSION");
        for (const std::string locale : {"de-DE", "ja"}) {
            connect.localizations[FakeConnect::ofVersion][locale] = {{"locale", locale}};
            connect.localizations[FakeConnect::ofAppInfo][locale] = {{"locale", locale}, {"name", "Name"}};
        }
        const Clock clock = [] { return dateFromSecondsSince1970(1772368200); };
        (void)test::pullInto(store.folder(), connect, clock, "app1", context);
        connect.requests.clear();
    }
    [[nodiscard]] std::vector<PushOutcome> pushAll() const {
        return MetadataPusher(connect, store).push("app1", context, MetadataDiff::compare(store));
    }
    [[nodiscard]] std::vector<std::string> writes() const {
        std::vector<std::string> list;
        for (const std::string& request : connect.requests)
            if (!request.starts_with("GET")) list.push_back(request);
        return list;
    }
    // Refuses requests whose body names one of these attributes.
    void refuse(std::vector<std::string> attributes) {
        connect.before = [attributes](const ASCRequest& request) {
            for (const std::string& attribute : attributes)
                if (request.body && request.body->find("\"" + attribute + "\"") != std::string::npos)
                    throw FakeConnect::refusal("409", "ENTITY_ERROR.ATTRIBUTE.INVALID", "bad " + attribute);
        };
    }
};

std::vector<bool> successes(const std::vector<PushOutcome>& outcomes) {
    std::vector<bool> list;
    for (const PushOutcome& outcome : outcomes)
        list.push_back(outcome.success);
    return list;
}

} // namespace

TEST(Push, takesItsOwnTextForNoConflictWhereTheServiceTrimmedIt) {
    PushAccount account;
    account.store.write("de-DE", FieldType::promotionalText, " Neu\r\n");
    account.connect.localizations[FakeConnect::ofVersion]["de-DE"]["promotionalText"] = "Neu";
    EXPECT_THAT(successes(account.pushAll()), ElementsAre(true));
}

TEST(Push, learnsFromTwoLocalesThatAVersionTakesNothingButPromotionalTexts) {
    PushAccount account;
    account.connect.before = [](const ASCRequest& request) {
        if (request.body->find("promotionalText") == std::string::npos)
            throw FakeConnect::refusal("409", "STATE_ERROR", "busy");
    };
    ClosedFields closed;
    const auto write = [&](const std::string& locale, std::vector<LocalizationWriter::Value> values) {
        return LocalizationWriter(account.connect, {.parentID = "v1", .locale = locale, .id = locale}, closed)
            .write(std::move(values))
            .failures;
    };
    for (const char* locale : {"de-DE", "ja"})
        EXPECT_THAT(write(locale, {{FieldType::description, "a"}, {FieldType::releaseNotes, "b"}}),
                    SizeIs(2));
    account.connect.requests.clear();
    // Nobody asked for keywords so far.
    const auto failures = write("de-DE", {{FieldType::keywords, "c"}, {FieldType::promotionalText, "d"}});
    ASSERT_THAT(failures, SizeIs(1));
    EXPECT_FALSE(failures.at(FieldType::keywords).wasSent);
    EXPECT_THAT(account.writes(), SizeIs(1));
}

TEST(Push, sendsOneRequestPerLocalizationAndRefreshesTheCopies) {
    PushAccount account;
    account.store.write("de-DE", FieldType::description, "Text");
    account.store.write("de-DE", FieldType::keywords, "a,b");
    account.store.write("de-DE", FieldType::subtitle, "Unter");
    account.store.write("ja", FieldType::releaseNotes, "新");
    account.store.createLocaleLocally("it");
    account.store.write("it", FieldType::name, "Nome");
    account.store.write("it", FieldType::description, "Testo");
    const auto plan = MetadataPusher(account.connect, account.store)
                          .plan("app1", account.context, MetadataDiff::compare(account.store))
                          .requests;
    EXPECT_THAT(account.writes(), IsEmpty());

    const auto outcomes = account.pushAll();
    EXPECT_EQ(pushReport(outcomes), "Pushed 6 fields · 3 locales");
    EXPECT_THAT(account.writes(),
                UnorderedElementsAre("PATCH v1/appStoreVersionLocalizations/de-DE",
                                     "PATCH v1/appInfoLocalizations/de-DE",
                                     "PATCH v1/appStoreVersionLocalizations/ja",
                                     "POST v1/appStoreVersionLocalizations", "POST v1/appInfoLocalizations"));
    std::vector<std::string> planned;
    for (const PlannedRequest& request : plan)
        planned.push_back(request.method + " " + request.path);
    EXPECT_THAT(planned, testing::UnorderedElementsAreArray(account.writes()));
    EXPECT_EQ(encodeJSON(plan[0].body), R"({"data":{"type":"appInfoLocalizations","id":"de-DE",)"
                                        R"("attributes":{"subtitle":"Unter"}}})");
    EXPECT_THAT(MetadataDiff::compare(account.store), IsEmpty());
    EXPECT_EQ(account.connect.localizations[FakeConnect::ofVersion]["it"],
              (FakeConnect::Attributes{{"locale", "it"}, {"description", "Testo"}}));
    account.connect.requests.clear();
    EXPECT_THAT(account.pushAll(), IsEmpty());
    EXPECT_THAT(account.connect.requests, IsEmpty());
}

TEST(Push, listsOnlyWhatItNeeds) {
    PushAccount account;
    account.store.write("ja", FieldType::keywords, "猫");
    (void)account.pushAll();
    EXPECT_THAT(account.connect.requests,
                ElementsAre("GET v1/appStoreVersions/v1/appStoreVersionLocalizations",
                            "PATCH v1/appStoreVersionLocalizations/ja"));
}

TEST(Push, givesEachChangeItsOwnOutcomeWhenTheLotIsRefused) {
    PushAccount account;
    account.refuse({"whatsNew", "subtitle"});
    account.store.write("de-DE", FieldType::description, "Text");
    account.store.write("de-DE", FieldType::releaseNotes, "Neu");
    account.store.write("de-DE", FieldType::keywords, "a,b");
    account.store.write("it", FieldType::name, "Nome");
    account.store.write("it", FieldType::subtitle, "Sotto");
    account.store.write("ja", FieldType::subtitle, "副");
    const auto outcomes = account.pushAll();
    EXPECT_THAT(successes(outcomes), ElementsAre(true, false, true, true, false, false));
    EXPECT_THAT(*outcomes[1].errorMessage, HasSubstr("bad whatsNew"));
    EXPECT_THAT(pushReport(outcomes), HasSubstr("Pushed 3 fields · 2 locales. 3 failed.\nFirst error: "));
    std::vector<FieldKey> left;
    for (const PendingChange& change : MetadataDiff::compare(account.store))
        left.push_back(change.key());
    EXPECT_THAT(left, ElementsAre(FieldKey{"de-DE", FieldType::releaseNotes},
                                  FieldKey{"it", FieldType::subtitle}, FieldKey{"ja", FieldType::subtitle}));
    // The only field of a request is not tried twice: 1 + 3 for de-DE, 1 + 2 for it, 1 for ja.
    EXPECT_THAT(account.writes(), SizeIs(8));
}

TEST(Push, isNotStoppedByARefusalThatPasses) {
    for (const bool isAlone : {true, false}) {
        SCOPED_TRACE(isAlone ? "one field of each locale" : "several fields of each locale");
        PushAccount account;
        std::vector<std::string> locales;
        for (int i = 10; i < 45; ++i) {
            locales.push_back("x-" + std::to_string(i));
            account.connect.localizations[FakeConnect::ofVersion][locales.back()] = {
                {"locale", locales.back()}};
            account.store.write(locales.back(), FieldType::description, "", TextSide::pulled);
            account.store.write(locales.back(), FieldType::keywords, "new");
            if (!isAlone) account.store.write(locales.back(), FieldType::description, "new");
        }
        // The first locale is refused, however often it is tried.
        std::string refused;
        account.connect.before = [&](const ASCRequest& request) {
            if (request.method != "PATCH") return;
            if (refused.empty()) refused = request.path;
            if (request.path == refused) throw FakeConnect::refusal("409", "STATE_ERROR", "busy");
        };
        for (const PushOutcome& outcome : account.pushAll()) {
            EXPECT_EQ(outcome.success, !refused.ends_with(outcome.change.locale)) << outcome.change.locale;
            EXPECT_TRUE(outcome.wasSent());
        }
        account.connect.before = [](const ASCRequest&) {};
        EXPECT_THAT(successes(account.pushAll()), testing::Each(true));
        EXPECT_THAT(MetadataDiff::compare(account.store), IsEmpty());
    }
}

TEST(Push, doesNotSplitWhatIsNotRefusedForItsContent) {
    struct Case {
        ASCError error;
        std::string words;
    };
    for (const ASCError& error :
         {FakeConnect::refusal("403", "FORBIDDEN_ERROR", "no role"),
          FakeConnect::refusal("404", "NOT_FOUND", "gone"),
          FakeConnect::refusal("429", "RATE_LIMIT_EXCEEDED", "slow"),
          ASCError(ASCError::HTTPStatus{500, std::nullopt}), ASCError(ASCError::NetworkFailure{"cut"})}) {
        PushAccount account;
        account.connect.before = [&](const ASCRequest& request) {
            if (request.method == "PATCH") throw error;
        };
        account.store.write("de-DE", FieldType::description, "Text");
        account.store.write("de-DE", FieldType::keywords, "a,b");
        EXPECT_THAT(successes(account.pushAll()), ElementsAre(false, false)) << error.description();
        EXPECT_THAT(account.writes(), SizeIs(1)) << error.description();
    }
}

TEST(Push, createsAnAppInfoLocalizationOnlyWithAName) {
    PushAccount account;
    account.store.write("it", FieldType::subtitle, "Sotto");
    auto outcomes = account.pushAll();
    ASSERT_THAT(successes(outcomes), ElementsAre(false));
    EXPECT_THAT(*outcomes[0].errorMessage, HasSubstr("needs a name to create it. Fill in it/name.txt"));
    EXPECT_THAT(account.writes(), IsEmpty());

    // The name is sent along though it was not chosen, and is no change any more.
    account.store.write("it", FieldType::name, "Nome");
    std::vector<PendingChange> subtitle =
        selectForPush(MetadataDiff::compare(account.store), {{"it"}, {FieldType::subtitle}, {}}).chosen;
    outcomes = MetadataPusher(account.connect, account.store).push("app1", account.context, subtitle);
    EXPECT_THAT(successes(outcomes), ElementsAre(true));
    EXPECT_EQ(account.connect.localizations[FakeConnect::ofAppInfo]["it"],
              (FakeConnect::Attributes{{"locale", "it"}, {"name", "Nome"}, {"subtitle", "Sotto"}}));
    EXPECT_THAT(MetadataDiff::compare(account.store), IsEmpty());
}

TEST(Push, createsALocaleWhoseNameIsClearedWithTheAppsName) {
    for (const bool subtitleIsTaken : {true, false}) {
        PushAccount account;
        // The copies are of a localization that was removed on App Store Connect since.
        account.store.write("it", FieldType::name, "Nome", TextSide::pulled);
        account.store.write("it", FieldType::name, "");
        account.store.write("it", FieldType::subtitle, "Sotto");
        if (!subtitleIsTaken) account.refuse({"subtitle"});
        const auto outcomes = MetadataPusher(account.connect, account.store, "The App")
                                  .push("app1", account.context, MetadataDiff::compare(account.store));
        EXPECT_THAT(successes(outcomes), ElementsAre(true, subtitleIsTaken));
        EXPECT_THAT(outcomes[0].remark.value_or(""), HasSubstr("created with the name \"The App\""));
        EXPECT_EQ(outcomes[0].errorMessage, std::nullopt);
        EXPECT_THAT(outcomes[1].errorMessage.value_or(""),
                    subtitleIsTaken ? testing::IsEmpty()
                                    : testing::Matcher<std::string>(HasSubstr("bad subtitle")));
        EXPECT_EQ(account.connect.localizations[FakeConnect::ofAppInfo]["it"]["name"], "The App");
        for (const TextSide side : {TextSide::local, TextSide::pulled})
            EXPECT_EQ(account.store.read("it", FieldType::name, side), "The App");
    }
    // The failure of the first change stays its own when the locale is made by a later one.
    PushAccount account;
    account.store.write("it", FieldType::subtitle, "Sotto");
    account.store.write("it", FieldType::name, "x", TextSide::pulled);
    account.store.write("it", FieldType::name, "");
    int writes = 0;
    account.connect.before = [&](const ASCRequest& request) {
        if (request.method == "POST" && ++writes <= 2)
            throw FakeConnect::refusal("409", "ENTITY_ERROR.ATTRIBUTE.INVALID", "bad name");
    };
    const auto outcomes = MetadataPusher(account.connect, account.store, "The App")
                              .push("app1", account.context, MetadataDiff::compare(account.store));
    ASSERT_THAT(successes(outcomes), ElementsAre(false, true));
    EXPECT_THAT(*outcomes[0].errorMessage, HasSubstr("bad name"));
    EXPECT_EQ(outcomes[0].failure, ASCError::Kind::valuesRefused);
    EXPECT_THAT(outcomes[1].remark.value_or(""), HasSubstr("created with the name"));
}

TEST(Push, makesNoStumpOfALocalizationThatSomebodyRemoved) {
    PushAccount account;
    auto& versions = account.connect.localizations[FakeConnect::ofVersion];
    versions["de-DE"]["description"] = "Lang";
    versions["de-DE"]["keywords"] = "eins";
    (void)test::pullInto(
        account.store.folder(), account.connect, [] { return dateFromSecondsSince1970(1772368200); }, "app1",
        account.context);
    versions.erase("de-DE");
    account.connect.requests.clear();
    account.store.write("de-DE", FieldType::keywords, "zwei");
    const auto outcomes = account.pushAll();
    ASSERT_THAT(successes(outcomes), ElementsAre(false));
    EXPECT_THAT(*outcomes[0].errorMessage, HasSubstr("was removed on App Store Connect"));
    EXPECT_THAT(account.writes(), IsEmpty());
}

TEST(Push, writesToALocalizationThatTurnsOutToExist) {
    struct Case {
        std::string name;
        bool isDone; // whether the create was carried out
        std::optional<ASCError> error;
        bool success;
    };
    const std::vector<Case> cases = {
        {"made meanwhile", true, std::nullopt, true}, // refused as a duplicate
        {"cut after the work", true, ASCError(ASCError::NetworkFailure{"cut"}), true},
        {"503 after the work", true, ASCError(ASCError::HTTPStatus{503, std::nullopt}), true},
        {"503 without work", false, ASCError(ASCError::HTTPStatus{503, std::nullopt}), false},
        {"another refusal", false, FakeConnect::refusal("422", "ENTITY_ERROR", "no"), false},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        PushAccount account;
        account.store.write("it", FieldType::description, "Testo");
        account.connect.before = [&](const ASCRequest& request) {
            if (request.method != "POST") return;
            if (one.isDone) account.connect.localizations[FakeConnect::ofVersion]["it"] = {{"locale", "it"}};
            if (one.error) throw *one.error;
        };
        const auto outcomes = account.pushAll();
        EXPECT_THAT(successes(outcomes), ElementsAre(one.success));
        const auto& made = account.connect.localizations[FakeConnect::ofVersion];
        EXPECT_EQ(made.contains("it") && made.at("it").contains("description"), one.success);
        EXPECT_EQ(MetadataDiff::compare(account.store).empty(), one.success);
    }
}

TEST(Push, leavesTheNameOfALocalizationThatTurnsOutToExist) {
    PushAccount account;
    account.store.write("it", FieldType::subtitle, "Sotto");
    account.connect.before = [&](const ASCRequest& request) {
        if (request.method == "POST")
            account.connect.localizations[FakeConnect::ofAppInfo]["it"] = {{"locale", "it"},
                                                                           {"name", "Nome"}};
    };
    const auto outcomes = MetadataPusher(account.connect, account.store, "The App")
                              .push("app1", account.context, MetadataDiff::compare(account.store));
    ASSERT_THAT(successes(outcomes), ElementsAre(true));
    EXPECT_EQ(outcomes[0].remark, std::nullopt);
    EXPECT_EQ(account.connect.localizations[FakeConnect::ofAppInfo]["it"],
              (FakeConnect::Attributes{{"locale", "it"}, {"name", "Nome"}, {"subtitle", "Sotto"}}));
    EXPECT_EQ(account.store.read("it", FieldType::name), std::nullopt);
}

TEST(Push, clearsAFieldWithAnEmptyText) {
    PushAccount account;
    account.store.write("de-DE", FieldType::keywords, "a");
    EXPECT_THAT(successes(account.pushAll()), ElementsAre(true));
    account.store.write("de-DE", FieldType::keywords, " \n");
    const auto changes = MetadataDiff::compare(account.store);
    const auto chosen = selectForPush(changes, {{}, {}, Clearing::allow}).chosen;
    (void)MetadataPusher(account.connect, account.store).push("app1", account.context, chosen);
    EXPECT_EQ(account.connect.localizations[FakeConnect::ofVersion]["de-DE"]["keywords"], "");
    EXPECT_THAT(MetadataDiff::compare(account.store), IsEmpty());
}

TEST(Push, takesItsOwnTextBackFromAServiceThatTidiesIt) {
    PushAccount account;
    account.connect.after = [&](const ASCRequest& request) {
        if (request.method == "PATCH")
            account.connect.localizations[FakeConnect::ofVersion]["ja"]["description"] = "a\nb";
    };
    for (const std::string text : {"a\r\nb\n", "another"}) {
        account.store.write("ja", FieldType::description, text);
        EXPECT_THAT(successes(account.pushAll()), ElementsAre(true)) << text;
    }
    EXPECT_THAT(account.writes(), SizeIs(2));
}

TEST(Push, failsNameAndSubtitleOfAnAppWithoutAppInfo) {
    PushAccount account;
    account.connect.appInfos.clear();
    account.store.write("de-DE", FieldType::name, "Neu");
    account.store.write("de-DE", FieldType::keywords, "a");
    const auto outcomes = account.pushAll();
    EXPECT_THAT(successes(outcomes), ElementsAre(false, true));
    EXPECT_EQ(outcomes[0].errorMessage,
              "ASC has no AppInfo for this app — name and subtitle cannot be created. "
              "Add a localization in ASC web UI first.");
}

TEST(Push, refusesBeforeAnyRequest) {
    PushAccount account;
    account.store.write("de-DE", FieldType::name, "Neu");
    const auto changes = MetadataDiff::compare(account.store);
    const MetadataPusher pusher(account.connect, account.store);
    const auto codeOf = [&](const PlatformContext& context) {
        try {
            (void)pusher.push("app1", context, changes);
        } catch (const MetadataError& error) {
            return std::string(rawValue(error.kind())) + ": " + error.what();
        }
        return std::string("pushed");
    };
    PlatformContext locked = account.context;
    locked.appStoreState = "IN_REVIEW";
    EXPECT_EQ(codeOf(locked), "READ_ONLY_CONTEXT: Current state is IN_REVIEW. "
                              "Create a new editable version on App Store Connect to push changes.");
    account.store.beginPull();
    EXPECT_THAT(codeOf(account.context), HasSubstr("interruptedPull: "));
    EXPECT_THROW((void)pusher.plan("app1", account.context, changes), MetadataError);
    EXPECT_THAT(account.connect.requests, IsEmpty());
    account.store.endPull();
    account.connect.before = [](const ASCRequest&) {
        throw FakeConnect::refusal("401", "NOT_AUTHORIZED", "no");
    };
    EXPECT_THROW((void)pusher.push("app1", account.context, changes), ASCError);
}

TEST(Push, leavesWhatWasDoneBehindWhenItIsCancelled) {
    PushAccount account;
    for (int i = 0; i < 30; ++i) {
        const std::string locale = "x-" + std::to_string(10 + i);
        account.connect.localizations[FakeConnect::ofVersion][locale] = {{"locale", locale}};
        account.store.write(locale, FieldType::keywords, "new");
        account.store.write(locale, FieldType::description, "", TextSide::pulled);
    }
    std::stop_source source;
    std::atomic<int> patches = 0;
    account.connect.before = [&](const ASCRequest& request) {
        checkCancellation();
        if (request.method == "PATCH" && ++patches == 10) source.request_stop();
    };
    std::vector<PushOutcome> outcomes;
    {
        const TaskScope scope(source.get_token());
        outcomes = account.pushAll();
    }
    ASSERT_THAT(outcomes, SizeIs(30));
    std::size_t sent = 0, notSent = 0;
    for (const PushOutcome& outcome : outcomes) {
        const auto& service = account.connect.localizations[FakeConnect::ofVersion][outcome.change.locale];
        EXPECT_EQ(outcome.success, service.contains("keywords")) << outcome.change.locale;
        sent += outcome.success;
        notSent += outcome.errorMessage == "Not sent: cancelled.";
        EXPECT_THAT(outcome.errorMessage.value_or("cancelled"), testing::ContainsRegex("[Cc]ancelled"));
    }
    EXPECT_GE(notSent, 30 - sent - 6); // up to six were under way
    EXPECT_GE(sent, 10u);
    EXPECT_LT(sent, 30u);
    EXPECT_THAT(MetadataDiff::compare(account.store), SizeIs(30 - sent));
}

TEST(Push, tellsOfEachFieldHowFarACancelledLocalizationCame) {
    PushAccount account;
    account.store.write("de-DE", FieldType::description, "Text");
    account.store.write("de-DE", FieldType::promotionalText, "Neu");
    account.store.write("de-DE", FieldType::releaseNotes, "Neu");
    account.store.write("de-DE", FieldType::keywords, "a,b");
    std::stop_source source;
    int patches = 0;
    account.connect.before = [&](const ASCRequest& request) {
        if (request.method != "PATCH") return;
        if (++patches == 1) throw FakeConnect::refusal("409", "ENTITY_ERROR.ATTRIBUTE.INVALID", "one is bad");
        if (patches == 3) source.request_stop();
        checkCancellation();
    };
    const TaskScope scope(source.get_token());
    const auto outcomes = account.pushAll();
    EXPECT_THAT(successes(outcomes), ElementsAre(true, false, false, false));
    EXPECT_THAT(outcomes[1].errorMessage.value_or(""), HasSubstr("may have taken it"));
    EXPECT_EQ(outcomes[1].failure, ASCError::Kind::cancelled);
    EXPECT_EQ(outcomes[2].failure, std::nullopt);
    EXPECT_EQ(outcomes[2].errorMessage, "Not sent: cancelled.");
    EXPECT_EQ(outcomes[3].errorMessage, "Not sent: cancelled.");
}

TEST(Push, saysWhenOnlyTheCopyCouldNotBeWritten) {
    PushAccount account;
    account.store.write("de-DE", FieldType::keywords, "a");
    const auto changes = MetadataDiff::compare(account.store);
    const auto copy = account.store.folder().fieldFile("de-DE", FieldType::keywords, TextSide::pulled);
    std::filesystem::remove(copy);
    createFolders(copy);
    const auto outcomes =
        MetadataPusher(account.connect, account.store).push("app1", account.context, changes);
    EXPECT_THAT(successes(outcomes), ElementsAre(true));
    EXPECT_THAT(*outcomes[0].remark, HasSubstr("Pushed, but the pulled copy could not be written"));
    EXPECT_EQ(outcomes[0].errorMessage, std::nullopt);
}

TEST(Push, refusesCopiesOfAnotherVersion) {
    PushAccount account;
    account.store.write("de-DE", FieldType::name, "Neu");
    account.store.notePulledVersion("the version before", {});
    try {
        (void)account.pushAll();
        ADD_FAILURE() << "pushed against the copies of another version";
    } catch (const MetadataError& error) {
        EXPECT_EQ(error.kind(), MetadataError::Kind::otherVersionPulled);
    }
    EXPECT_THAT(account.writes(), IsEmpty());
    account.store.notePulledVersion(account.context.versionId, {});
    EXPECT_TRUE(std::ranges::all_of(account.pushAll(), &PushOutcome::success));
}
