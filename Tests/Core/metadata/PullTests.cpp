#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataPuller.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/task/StopToken.h"
#include "Platform/task/Task.h"
#include "Tests/Core/metadata/FakeConnect.h"
#include "Tests/support/PullContext.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <atomic>
#include <condition_variable>
#include <latch>
#include <mutex>

using namespace quorvel;
using test::FakeConnect;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

struct PullAccount {
    test::TemporaryFolder outer;
    MetadataFolder app{outer / "app"};
    MetadataStore store{app.contextFolder({})};
    FakeConnect connect;
    Clock clock = [] { return dateFromSecondsSince1970(1772368200); };

    PullAccount() {
        connect.addVersion("v1", "IOS", "PREPARE_FOR_SUBMISSION");
        connect.addAppInfo("i1", "PREPARE_FOR_SUBMISSION");
        connect.localizations[FakeConnect::ofVersion] = {
            {"de-DE", {{"locale", "de-DE"}, {"description", "Text"}, {"keywords", "a,b"}}},
            {"ja", {{"locale", "ja"}, {"whatsNew", "新"}}}};
        connect.localizations[FakeConnect::ofAppInfo] = {
            {"de-DE", {{"locale", "de-DE"}, {"name", "Name"}, {"subtitle", "Unter"}}}};
    }
    [[nodiscard]] PullResult pull(LocalEdits edits = LocalEdits::keepBeside) const {
        return test::pullContext(connect, clock, "app1", app, "ios/next", edits);
    }
};

// Answers no request before its whole round has come: two that find the app, then four that fetch its page.
class Meeting : public ASCClientProtocol {
  public:
    explicit Meeting(const FakeConnect& connect) : connect_(connect) {}
    [[nodiscard]] std::string exchange(const ASCRequest& request) const override {
        {
            std::unique_lock lock(mutex_);
            const int whole = came_++ < 2 ? 2 : 6;
            arrived_.notify_all();
            arrived_.wait(lock, [&] { return came_ >= whole; });
        }
        return connect_.exchange(request);
    }

  private:
    const FakeConnect& connect_;
    mutable std::mutex mutex_;
    mutable std::condition_variable arrived_;
    mutable int came_ = 0;
};

// The first list of an app info's localizations takes until its task is cancelled.
class Hanging : public ASCClientProtocol {
  public:
    explicit Hanging(const FakeConnect& connect) : connect_(connect) {}
    [[nodiscard]] std::string exchange(const ASCRequest& request) const override {
        if (isFirst_.exchange(false)) {
            begun.count_down();
            sleepFor(3600);
        }
        return connect_.exchange(request);
    }
    mutable std::latch begun{1};

  private:
    const FakeConnect& connect_;
    mutable std::atomic<bool> isFirst_ = true;
};

} // namespace

TEST(Pull, asksSixTimesInTwoRoundsAndFillsBothSides) {
    PullAccount account;
    const Meeting together(account.connect);
    const auto result = test::pullContext(together, account.clock, "app1", account.app, "ios/next");
    EXPECT_THAT(account.connect.requests, SizeIs(6));
    EXPECT_EQ(
        result.summary,
        (PullSummary{"2.4.3", "PREPARE_FOR_SUBMISSION", "PREPARE_FOR_SUBMISSION", {"de-DE", "ja"}, 10, {}}));
    EXPECT_THAT(result.updated, SizeIs(10));
    for (const TextSide side : {TextSide::local, TextSide::pulled}) {
        EXPECT_EQ(account.store.read("de-DE", FieldType::subtitle, side), "Unter");
        EXPECT_EQ(account.store.read("de-DE", FieldType::promotionalText, side), "");
        EXPECT_EQ(account.store.read("ja", FieldType::name, side), std::nullopt);
    }
    EXPECT_THAT(MetadataDiff::compare(account.store), IsEmpty());
    EXPECT_FALSE(account.store.hasInterruptedPull());
}

TEST(Pull, keepsEditsBesideAndForgetsLocalesThatAreGone) {
    PullAccount account;
    (void)account.pull();
    account.store.write("de-DE", FieldType::name, "Mein Name");
    account.store.write("de-DE", FieldType::keywords, "");
    account.store.createLocaleLocally("it");
    account.connect.localizations[FakeConnect::ofAppInfo]["de-DE"]["name"] = "Neu";
    account.connect.localizations[FakeConnect::ofVersion].erase("ja");
    const auto result = account.pull();
    ASSERT_THAT(result.kept, SizeIs(2));
    EXPECT_EQ(readFile(result.kept[0].path), "Mein Name");
    EXPECT_EQ(result.kept[0].path,
              account.store.folder().rootURL / ".brevant/kept/2026-03-01T12-30-00Z/de-DE/name.txt");
    EXPECT_THAT(result.updated,
                ElementsAre(FieldKey{"de-DE", FieldType::name}, FieldKey{"de-DE", FieldType::keywords}));
    EXPECT_EQ(account.store.read("de-DE", FieldType::name), "Neu");
    EXPECT_THAT(result.summary.warnings, ElementsAre(HasSubstr("ja is no longer on App Store Connect")));
    EXPECT_EQ(account.store.read("ja", FieldType::releaseNotes), "新");
    EXPECT_THAT(account.store.localesOnDisk(TextSide::pulled), ElementsAre("de-DE"));
    const auto changes = MetadataDiff::compare(account.store);
    ASSERT_THAT(changes, SizeIs(1));
    EXPECT_TRUE(changes[0].isNewLocale && changes[0].locale == "ja");
}

TEST(Pull, leavesEditsInPlaceWhenAsked) {
    PullAccount account;
    (void)account.pull();
    account.store.write("de-DE", FieldType::name, "Mein Name");
    std::filesystem::remove(account.store.folder().fieldFile("de-DE", FieldType::keywords));
    account.connect.localizations[FakeConnect::ofAppInfo]["de-DE"]["name"] = "Neu";
    const auto result = account.pull(LocalEdits::leaveInPlace);
    EXPECT_THAT(result.leftEdits,
                ElementsAre(FieldKey{"de-DE", FieldType::name}, FieldKey{"de-DE", FieldType::keywords}));
    EXPECT_THAT(result.kept, IsEmpty());
    EXPECT_EQ(account.store.read("de-DE", FieldType::name), "Mein Name");
    EXPECT_EQ(account.store.read("de-DE", FieldType::name, TextSide::pulled), "Neu");
    EXPECT_FALSE(account.store.exists("de-DE", FieldType::keywords));
}

TEST(Pull, touchesNoFileThatHoldsWhatCame) {
    PullAccount account;
    (void)account.pull();
    const auto file = account.store.folder().fieldFile("de-DE", FieldType::name);
    const auto identity = fileIdentity(file);
    const auto result = account.pull();
    EXPECT_EQ(fileIdentity(file), identity); // a write would have replaced the file
    EXPECT_THAT(result.updated, IsEmpty());
    EXPECT_EQ(result.summary.writtenFields, 10);
}

TEST(Pull, leavesLocalFilesAloneThatAreNoTextsAndNamesThem) {
    PullAccount account;
    (void)account.pull();
    const MetadataFolder& folder = account.store.folder();
    const auto damaged = folder.fieldFile("de-DE", FieldType::name);
    const auto link = folder.fieldFile("ja", FieldType::releaseNotes);
    writeFileAtomically(damaged, "\xFF");
    std::filesystem::remove(link);
    std::filesystem::create_symlink("release_notes.txt", link); // to itself
    writeFileAtomically(folder.fieldFile("de-DE", FieldType::keywords, TextSide::pulled), "\xFF");
    account.connect.localizations[FakeConnect::ofAppInfo]["de-DE"]["name"] = "Neu";
    account.connect.localizations[FakeConnect::ofVersion]["de-DE"]["keywords"] = "neu";
    const auto result = account.pull();
    EXPECT_EQ(readFile(damaged), "\xFF");
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(account.store.read("de-DE", FieldType::name, TextSide::pulled), "Neu");
    EXPECT_EQ(account.store.read("de-DE", FieldType::keywords, TextSide::pulled), "neu");
    EXPECT_EQ(account.store.read("de-DE", FieldType::keywords), "neu");
    EXPECT_THAT(result.kept, SizeIs(1)); // nobody knows whether the old keywords were an edit
    EXPECT_EQ(result.summary.writtenFields, 8);
    ASSERT_THAT(result.summary.warnings, SizeIs(2));
    const std::string warnings = result.summary.warnings[0] + result.summary.warnings[1];
    EXPECT_THAT(warnings, HasSubstr("The Name of de-DE was not replaced: " + damaged.native()));
    EXPECT_THAT(warnings, HasSubstr("The What's new of ja was not replaced: " + link.native()));
    EXPECT_THAT(warnings, testing::Not(HasSubstr("filesystem error")));
}

TEST(Pull, leavesOutWhatHasNoPlaceForItsCopyAndPullsTheRest) {
    PullAccount account;
    (void)account.pull();
    const MetadataFolder& folder = account.store.folder();
    const auto copy = [&](std::string_view locale, FieldType field) {
        return folder.fieldFile(locale, field, TextSide::pulled);
    };
    std::filesystem::remove(copy("de-DE", FieldType::name));
    createFolders(copy("de-DE", FieldType::name)); // a folder in the place of a copy
    writeFileAtomically(account.outer / "outside", "secret");
    std::filesystem::remove(copy("de-DE", FieldType::keywords));
    std::filesystem::create_symlink(account.outer / "outside", copy("de-DE", FieldType::keywords));
    std::filesystem::remove_all(folder.localeFolder("ja", TextSide::pulled));
    writeFileAtomically(folder.localeFolder("ja", TextSide::pulled), "no folder");
    for (auto& [locale, attributes] : account.connect.localizations[FakeConnect::ofVersion])
        attributes["description"] = attributes["keywords"] = "neu";
    account.connect.localizations[FakeConnect::ofAppInfo]["de-DE"]["name"] = "Neu";

    for (int round = 0; round < 2; ++round) {
        const auto result = account.pull();
        EXPECT_THAT(result.updated, SizeIs(round == 0 ? 1 : 0));
        EXPECT_THAT(
            result.summary.warnings,
            testing::UnorderedElementsAre(
                HasSubstr("The Name of de-DE was not replaced: " + copy("de-DE", FieldType::name).native()),
                HasSubstr("The Keywords of de-DE was not replaced: "),
                testing::ContainsRegex("The Description, .* of ja were not replaced: .*asc/ja: is a file")));
    }
    EXPECT_EQ(account.store.read("de-DE", FieldType::description), "neu");
    EXPECT_EQ(account.store.read("de-DE", FieldType::name), "Name"); // else it would look like an edit
    EXPECT_EQ(readFile(account.outer / "outside"), "secret");
    EXPECT_FALSE(account.store.hasInterruptedPull());
}

TEST(Pull, takesNoFinalLineBreakForAnEditWhereItCountsForNothing) {
    for (const FinalLineBreak rule : {FinalLineBreak::keep, FinalLineBreak::strip}) {
        SCOPED_TRACE(rawValue(rule));
        PullAccount account;
        (void)account.pull();
        account.store.write("de-DE", FieldType::name, "Name\n");
        account.store.write("de-DE", FieldType::subtitle, "Unter\n");
        account.connect.localizations[FakeConnect::ofAppInfo]["de-DE"]["name"] = "Neu";
        const auto result = test::pullContext(account.connect, account.clock, "app1", account.app, "ios/next",
                                              PullOptions(LocalEdits::keepBeside, {}, rule));
        const bool strips = rule == FinalLineBreak::strip;
        EXPECT_THAT(result.kept, SizeIs(strips ? 0 : 2));
        EXPECT_EQ(account.store.read("de-DE", FieldType::name), "Neu");
        EXPECT_EQ(account.store.read("de-DE", FieldType::subtitle), strips ? "Unter\n" : "Unter");
    }
}

TEST(Pull, ofAVersionWithoutLocalizationsIsAPull) {
    PullAccount account;
    account.connect.localizations.clear();
    const auto result = account.pull();
    EXPECT_THAT(result.summary.locales, IsEmpty());
    EXPECT_TRUE(account.store.wasPulled());
    EXPECT_EQ(account.store.pulledAt(), account.clock());
}

TEST(Pull, worksWithoutAppInfoAndRefusesWhatItCannotPlace) {
    PullAccount account;
    account.connect.appInfos.clear();
    const auto result = account.pull();
    EXPECT_THAT(result.summary.warnings,
                ElementsAre("No editable AppInfo found — name and subtitle were not pulled."));
    EXPECT_EQ(result.summary.appInfoState, std::nullopt);
    EXPECT_EQ(result.summary.writtenFields, 8);

    PullAccount hostile;
    hostile.connect.localizations[FakeConnect::ofVersion]["../../up"] = {{"locale", "../../up"}};
    EXPECT_THROW((void)hostile.pull(), MetadataError);
    EXPECT_FALSE(std::filesystem::exists(hostile.app.rootURL)); // nothing was written before the refusal
}

TEST(Pull, writesNothingWhenAListFails) {
    PullAccount account;
    account.connect.before = [](const ASCRequest& request) {
        if (request.path.ends_with(FakeConnect::ofAppInfo))
            throw ASCError(ASCError::HTTPStatus{503, std::nullopt});
    };
    EXPECT_THROW((void)account.pull(), ASCError);
    EXPECT_FALSE(std::filesystem::exists(account.app.rootURL));
}

// A context whose own lists fail cancels its part of what the contexts share.
TEST(Pull, goesOnWhenAnotherThatListsTheSameTextsIsCancelled) {
    const PullAccount account;
    for (int round = 0; round < 30; ++round) {
        const Hanging client(account.connect);
        AppInfoTexts texts(client, {});
        std::stop_source other;
        std::jthread lister([&] {
            const TaskScope scope(other.get_token());
            EXPECT_THROW((void)texts.of("i1"), CancellationError);
        });
        client.begun.wait();
        std::latch asking{1};
        std::jthread waiter([&] {
            asking.count_down();
            EXPECT_NO_THROW(EXPECT_TRUE(texts.of("i1").locales.contains("de-DE")));
        });
        asking.wait();
        for (int count = 0; count < round * 10; ++count) // until it waits, in most rounds
            std::this_thread::yield();
        other.request_stop();
    }
}

TEST(Pull, leavesNoMarkerWhenItIsCancelledBeforeItWrites) {
    PullAccount account;
    std::stop_source source;
    account.connect.after = [&](const ASCRequest& request) {
        if (request.path.ends_with(FakeConnect::ofAppInfo)) source.request_stop();
    };
    {
        const TaskScope scope(source.get_token());
        EXPECT_THROW((void)account.pull(), CancellationError);
    }
    EXPECT_FALSE(account.store.hasInterruptedPull());
}
