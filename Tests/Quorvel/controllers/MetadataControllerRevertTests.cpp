#include "Core/metadata/ContextsStore.h"
#include "Tests/Quorvel/controllers/ControllerAccount.h"

#include <gmock/gmock.h>

using namespace quorvel;
using test::ControllerAccount;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace {

const FieldKey description{"de-DE", FieldType::description};
const FieldKey promotion{"de-DE", FieldType::promotionalText};

struct PushedAccount : ControllerAccount {
    PushedAccount() {
        (void)pull();
        write("de-DE", FieldType::description, "Neu");      // was "Text"
        write("de-DE", FieldType::promotionalText, "Dazu"); // was empty
        run = push().run;
    }
    std::string run;
};

} // namespace

TEST(MetadataControllerRevert, putsPreviousTextsIntoTheLocalFilesOnly) {
    PushedAccount account;
    const LocaleTexts copies = account.store().readAll(TextSide::pulled);
    account.connect.requests.clear();

    const auto planned = account.controller->revert(account.run, DryRun::yes);
    EXPECT_THAT(planned.reverted, ElementsAre(description, promotion));
    EXPECT_EQ(account.text("de-DE", FieldType::description), "Neu");

    const auto report = account.controller->revert(account.run);
    EXPECT_THAT(report.reverted, ElementsAre(description, promotion));
    EXPECT_EQ(report.version.versionId, "v1");
    EXPECT_EQ(report.context, "ios/next");
    EXPECT_EQ(account.text("de-DE", FieldType::description), "Text");
    EXPECT_EQ(account.text("de-DE", FieldType::promotionalText), "");
    EXPECT_EQ(account.store().readAll(TextSide::pulled), copies);
    EXPECT_THAT(account.connect.requests, IsEmpty());
    EXPECT_THAT(account.controller->state()->texts.changes, SizeIs(2));

    const auto again = account.controller->revert(account.run);
    EXPECT_THAT(again.reverted, IsEmpty());
    EXPECT_THAT(again.kept, IsEmpty());
    EXPECT_THAT(again.unchanged, ElementsAre(description, promotion));
}

TEST(MetadataControllerRevert, leavesOutAFileThatCannotBeReadAndRevertsTheRest) {
    PushedAccount account;
    const auto file = account.store().folder().fieldFile("de-DE", FieldType::description);
    writeFileAtomically(file, "\xFF");
    for (const DryRun dryRun : {DryRun::yes, DryRun::no}) {
        const auto report = account.controller->revert(account.run, dryRun);
        EXPECT_THAT(report.reverted, ElementsAre(promotion));
        EXPECT_THAT(report.warnings,
                    ElementsAre(HasSubstr("The Description of de-DE stays as it is: " + file.native())));
    }
    EXPECT_EQ(readFile(file), "\xFF");
}

TEST(MetadataControllerRevert, keepsNewerEditsBeside) {
    PushedAccount account;
    account.write("de-DE", FieldType::description, "Neuer");
    account.write("de-DE", FieldType::promotionalText, " \n"); // nothing to keep, and nothing to revert
    const auto planned = account.controller->revert(account.run, DryRun::yes);
    ASSERT_THAT(planned.kept, SizeIs(1));
    EXPECT_EQ(planned.kept[0].path, "");
    EXPECT_FALSE(std::filesystem::exists(account.store().folder().privateFolder() / "kept"));
    const auto report = account.controller->revert(account.run);
    EXPECT_THAT(report.reverted, ElementsAre(description));
    EXPECT_THAT(report.unchanged, ElementsAre(promotion));
    ASSERT_THAT(report.kept, SizeIs(1));
    EXPECT_EQ(readFile(report.kept[0].path), "Neuer");
    EXPECT_EQ(account.text("de-DE", FieldType::description), "Text");
}

TEST(MetadataControllerRevert, leavesAloneWhatItCannotPutBack) {
    PushedAccount account;
    account.controller->addLocale("ko");
    account.write("ko", FieldType::name, "이름");
    account.write("ko", FieldType::description, "글");
    account.write("ja", FieldType::description, "新しい");
    const std::string second = account.push().run;
    struct Case {
        std::string_view warning;
        std::string run;
        std::function<void()> arrange;
        std::vector<FieldKey> reverted;
    };
    const Case cases[] = {
        {"The name of ko stays",
         second,
         [] {},
         {{"ja", FieldType::description}, {"ko", FieldType::description}}},
        {"The push was of version 2.4.3; ios/next is now 2.5.",
         account.run,
         [&] {
             const ContextsStore contexts(account.appFolder(), account.clock);
             auto saved = contexts.load()->contexts;
             saved[0].versionString = "2.5";
             contexts.save(saved, "ios/next");
         },
         {description, promotion}},
        {"ja is disabled for this app", second, [&] { account.disable("ja"); }, {}},
        {"de-DE has no folder any more",
         account.run,
         [&] { std::filesystem::remove_all(account.store().folder().localeFolder("de-DE")); },
         {}},
    };
    for (const Case& one : cases) {
        one.arrange();
        const auto report = account.controller->revert(one.run);
        EXPECT_THAT(report.warnings, testing::Contains(HasSubstr(one.warning)));
        EXPECT_EQ(report.reverted, one.reverted) << one.warning;
    }
    EXPECT_EQ(account.text("ko", FieldType::name), "이름");
    EXPECT_EQ(account.text("ko", FieldType::description), "");
}

// Without the pulled copies every text looks new, though App Store Connect holds it.
TEST(MetadataControllerRevert, putsBackWhatAppStoreConnectReallyHeldWhenThePulledCopiesAreLost) {
    ControllerAccount account;
    (void)account.pull();
    account.write("ja", FieldType::releaseNotes, "新版");
    const auto loseCopies = [&] { std::filesystem::remove_all(account.store().folder().privateFolder()); };
    loseCopies();
    account.connect.localizations[test::FakeConnect::ofVersion].erase("de-DE"); // to be created
    const auto pushed = account.push();
    std::map<std::string, std::string> previous;
    for (const PushHistoryEntry& entry : account.history())
        previous[entry.locale + " " + entry.fieldType] =
            entry.previousValue + (entry.success ? "" : " (failed)");
    EXPECT_EQ(previous, (std::map<std::string, std::string>{{"de-DE name", "Name"},
                                                            {"de-DE subtitle", "Unter"},
                                                            {"de-DE description", ""},
                                                            {"de-DE keywords", ""},
                                                            {"ja name", "名"},
                                                            {"ja releaseNotes", "新 (failed)"}}));
    const auto report = account.controller->revert(pushed.run);
    EXPECT_THAT(report.reverted, ElementsAre(description, FieldKey{"de-DE", FieldType::keywords}));
    EXPECT_EQ(account.text("de-DE", FieldType::subtitle), "Unter");
    EXPECT_EQ(account.text("ja", FieldType::name), "名");
}

// A run that tries a field again reverts to what there was before it, not to what it sent in between.
TEST(MetadataControllerRevert, goesBackBeforeTheFirstOfSeveralTextsThatARunSent) {
    PushedAccount account;
    auto again = PushHistory(account.container).entriesOfRun(account.app.id, account.run).at(0);
    ASSERT_EQ(again.newValue, "Neu");
    again.previousValue = "Neu";
    again.newValue = "Neuer";
    PushHistory(account.container).record(std::vector{again});
    account.write("de-DE", FieldType::description, "Neuer"); // what was sent last is no edit to back up
    const auto report = account.controller->revert(account.run);
    EXPECT_THAT(report.kept, IsEmpty());
    EXPECT_EQ(account.text("de-DE", FieldType::description), "Text");
}

TEST(MetadataControllerRevert, takesBackOnlyWhatAppStoreConnectTook) {
    ControllerAccount account;
    (void)account.pull();
    const auto entry = [&](FieldType field, bool success) {
        return PushHistoryEntry{.timestamp = account.clock(),
                                .locale = "de-DE",
                                .fieldType = std::string(rawValue(field)),
                                .previousValue = "before",
                                .newValue = "after",
                                .success = success,
                                .sessionId = "run",
                                .versionString = "2.4.3",
                                .platform = "IOS",
                                .stateClass = "editable",
                                .app = account.app.id};
    };
    auto unknown = entry(FieldType::name, true);
    unknown.fieldType = "ringtone";
    auto failed = entry(FieldType::description, false);
    failed.sessionId = "failed";
    failed.errorMessage = "no";
    auto homeless = entry(FieldType::description, true);
    homeless.sessionId = "homeless";
    homeless.platform = std::nullopt;
    auto alsoFailed = entry(FieldType::keywords, false);
    alsoFailed.errorMessage = "no";
    PushHistory(account.container)
        .record(std::vector{entry(FieldType::subtitle, true), alsoFailed, unknown, failed, homeless});
    const auto report = account.controller->revert("run");
    EXPECT_THAT(report.reverted, ElementsAre(FieldKey{"de-DE", FieldType::subtitle}));
    EXPECT_THAT(report.warnings, ElementsAre(HasSubstr("\"ringtone\"")));
    EXPECT_THAT(account.controller->revert("failed").warnings,
                ElementsAre("Nothing of this run reached App Store Connect."));
    EXPECT_THROW((void)account.controller->revert("homeless"), MetadataError);
}
