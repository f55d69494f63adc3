#include "Core/records/CoreSchema.h"
#include "Core/records/RecordError.h"
#include "Tests/Core/records/Garden.h"

#include <gmock/gmock.h>

#include <array>

using namespace quorvel;
using test::Garden;
using test::moment;
using test::pushed;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const std::string unknownID = "00000000-0000-4000-8000-000000000000";

struct Records : testing::Test {
    test::TemporaryFolder folder;
    Garden garden{test::openStore(folder.path())};

    // What another process sees and does.
    [[nodiscard]] Database second() const { return Database(garden.container->file()); }
};

template <typename Item, typename Member>
auto each(const std::vector<Item>& items, Member member) {
    std::vector<std::remove_cvref_t<decltype(std::invoke(member, items.front()))>> values;
    for (const Item& item : items)
        values.push_back(std::invoke(member, item));
    return values;
}

template <typename Work>
std::optional<RecordError> refusal(Work&& work) {
    try {
        work();
    } catch (const RecordError& error) {
        return error;
    }
    return std::nullopt;
}

} // namespace

TEST_F(Records, giveBackEveryMemberOfAnApp) {
    const std::string bytes("\x00\xFF{}", 4);
    ManagedApp app{.id = "A6D1F9E0-0000-4000-8000-000000000001",
                   .slug = "garden",
                   .displayName = "Gärten & \"Mehr\"",
                   .bundleId = "com.example.garden",
                   .appStoreId = "6700000101",
                   .metadataFolderBookmark = bytes,
                   .brandVoice = "ruhig\n'; DROP TABLE ManagedApp; --",
                   .protectedTerms = {"Garden+", "", "日本"},
                   .glossary = {{"bed", {{"de-DE", "Beet"}, {"fr-FR", "parterre"}}}, {"", {}}},
                   .sourceLocale = "en-US",
                   .iconURL = "https://example.com/icon.png",
                   .workspace = garden.workspaces.create("Games").id,
                   .createdAt = Date(std::chrono::microseconds(-1)),
                   .updatedAt = moment() + std::chrono::microseconds(1)};
    EXPECT_EQ(garden.apps.add(app), app);
    EXPECT_EQ(Garden(test::openStore(folder.path())).apps.find(app.id), app);
    app.metadataFolderBookmark.reset();
    app.glossary.clear();
    app.workspace.reset();
    EXPECT_EQ(garden.apps.add(app), app);
    EXPECT_THAT(garden.apps.all(), ElementsAre(app));
}

TEST_F(Records, giveBackEveryMemberOfTheOthers) {
    const std::string app = garden.apps.add({.slug = "garden"}).id;
    const std::vector<ManagedLocale> locales = {{"ar-SA", false, true, "Arab", app},
                                                {"de-DE", true, false, {}, app}};
    garden.apps.setLocales(app, locales);
    EXPECT_EQ(garden.apps.locales(app), locales);

    const PushHistoryEntry entry{.timestamp = moment(),
                                 .locale = "de-DE",
                                 .fieldType = "name",
                                 .previousValue = "alt",
                                 .newValue = "neu",
                                 .success = false,
                                 .errorMessage = "refused",
                                 .sessionId = "run",
                                 .versionString = "2.4.3",
                                 .platform = "IOS",
                                 .stateClass = "live",
                                 .app = app};
    garden.history.record(std::vector{entry});
    EXPECT_THAT(garden.history.entries(app), ElementsAre(entry));

    const auto keyword = garden.keywords.add(
        {.term = "garden", .country = "us", .platform = "iphone", .note = "note", .app = app});
    EXPECT_THAT(garden.keywords.all(app), ElementsAre(keyword));
    const KeywordSnapshot rank{moment(), 3, 200, {{"99", 1}, {"98", 2}}, keyword.id};
    const KeywordSnapshot none{moment(1), {}, {}, {}, keyword.id};
    garden.keywords.addSnapshots(keyword.id, std::vector{none, rank});
    EXPECT_THAT(garden.keywords.snapshots(keyword.id), ElementsAre(rank, none));
    EXPECT_THAT(garden.keywords.snapshots(keyword.id, moment(1)), ElementsAre(none));

    const auto competitor = garden.competitors.add({.appStoreId = "99",
                                                    .name = "Beets",
                                                    .bundleId = "com.example.beets",
                                                    .country = "us",
                                                    .iconURL = "https://i",
                                                    .note = "note",
                                                    .app = app});
    EXPECT_EQ(garden.competitors.find(competitor.id), competitor);
    const CompetitorSnapshot page{.capturedAt = moment(),
                                  .name = "Beets",
                                  .subtitle = "Grow",
                                  .versionString = "1.0",
                                  .releaseNotes = "New",
                                  .averageRating = 4.6,
                                  .ratingCount = 1200,
                                  .price = 0.99,
                                  .currency = "USD",
                                  .competitor = competitor.id};
    garden.competitors.addSnapshots(competitor.id, std::vector{page});
    EXPECT_THAT(garden.competitors.snapshots(competitor.id), ElementsAre(page));

    const CachedReview review{.id = "r1",
                              .rating = 5,
                              .title = "Good",
                              .body = "Very",
                              .reviewerNickname = "me",
                              .territory = "DEU",
                              .createdAtRaw = "2026-03-01T04:30:00-08:00",
                              .createdAt = moment(),
                              .sentiment = "positive",
                              .themes = {"price"},
                              .sentimentClassifiedAt = moment(9),
                              .app = app};
    garden.reviews.store(std::vector{review});
    EXPECT_THAT(garden.reviews.all(app), ElementsAre(review));
}

TEST_F(Records, keepOneRecordPerUniqueValueWithTheNewerContent) {
    garden.translations.store({.hashKey = "k", .translation = "old", .tokensIn = 1});
    const CachedTranslation newer{.hashKey = "k", .translation = "new", .overLimit = true};
    garden.translations.store(newer);
    EXPECT_EQ(garden.translations.find("k"), newer);
    EXPECT_EQ(garden.translations.removeAll(), 1);

    const auto app = garden.plant("garden");
    garden.apps.setRule(app.id, FieldRule::of(FieldType::subtitle, TranslateMode::off));
    garden.apps.setRule(app.id, FieldRule::of(FieldType::name, TranslateMode::on));
    EXPECT_THAT(garden.apps.rules(app.id),
                ElementsAre(FieldRule::of(FieldType::name, TranslateMode::on, {}, app.id),
                            FieldRule::of(FieldType::subtitle, TranslateMode::off, {}, app.id)));

    garden.apps.setLocales(app.id, std::vector<ManagedLocale>{{.code = "de-DE", .enabled = false}});
    garden.apps.addMissingLocales(app.id, std::vector<std::string>{"de-DE", "fr-FR"});
    EXPECT_THAT(each(garden.apps.locales(app.id), &ManagedLocale::code),
                ElementsAre("de-DE", "en-US", "fr-FR"));
    EXPECT_THAT(each(garden.apps.locales(app.id), &ManagedLocale::enabled), ElementsAre(false, true, true));
    EXPECT_THAT(garden.apps.disabledLocales(app.id), ElementsAre("de-DE"));

    // The same term again keeps its identity, its age and its snapshots.
    const auto first = garden.keywords.all(app.id).at(0);
    auto again = KeywordRecords(garden.container, test::fixedClock(60))
                     .add({.term = "garden", .country = "us", .note = "again", .app = app.id});
    EXPECT_EQ(again.id, first.id);
    EXPECT_EQ(again.createdAt, first.createdAt);
    EXPECT_THAT(garden.keywords.snapshots(first.id), SizeIs(1));
    again.term = "gardens";
    EXPECT_EQ(garden.keywords.add(again), again);
    EXPECT_THAT(garden.keywords.all(app.id), ElementsAre(again));

    const std::vector<CachedReview> reviews = {{.id = "review of garden", .body = "other"}, {.id = "second"}};
    EXPECT_EQ(garden.reviews.addNew(reviews), 1);
    EXPECT_EQ(garden.reviews.find("review of garden")->body, "");
    garden.reviews.store(reviews);
    EXPECT_EQ(garden.reviews.find("review of garden")->body, "other");
}

TEST_F(Records, loseWithAnAppAllThatBelongsToIt) {
    const auto app = garden.plant("garden");
    const auto other = garden.plant("other");
    Database database = second();
    const std::map<std::string_view, std::int64_t> left = {
        {"ManagedWorkspace", 2},   {"ManagedApp", 1},     {"ManagedLocale", 2},    {"FieldRule", 1},
        {"PushHistoryEntry", 1},   {"TrackedKeyword", 1}, {"KeywordSnapshot", 1},  {"TrackedCompetitor", 1},
        {"CompetitorSnapshot", 1}, {"CachedReview", 1},   {"CachedTranslation", 0}};
    EXPECT_EQ(left.size(), CoreSchema::models().size());
    const auto expectLeft = [&] {
        for (const std::string_view model : CoreSchema::models())
            EXPECT_EQ(test::countRows(database, model), left.at(model)) << model;
    };
    EXPECT_TRUE(garden.apps.remove(app.id));
    EXPECT_FALSE(garden.apps.remove(app.id));
    expectLeft();
    // The rule is the database's own: a second connection need not know it.
    garden.plant("third");
    database.execute("DELETE FROM ManagedWorkspace WHERE name = 'Workspace of garden'");
    database.execute("DELETE FROM ManagedApp WHERE slug = 'third'");
    expectLeft();
    EXPECT_THAT(each(garden.apps.all(), &ManagedApp::id), ElementsAre(other.id));
}

TEST_F(Records, keepTheAppsOfADeletedWorkspace) {
    const auto app = garden.plant("garden");
    const auto other = garden.plant("other");
    EXPECT_THAT(garden.apps.inWorkspace(app.workspace), SizeIs(1));
    EXPECT_TRUE(garden.workspaces.remove(*app.workspace));
    second().execute("DELETE FROM ManagedWorkspace WHERE id = '" + *other.workspace + "'");
    EXPECT_THAT(each(garden.apps.inWorkspace(std::nullopt), &ManagedApp::slug),
                ElementsAre("garden", "other"));
    EXPECT_THAT(garden.apps.locales(app.id), SizeIs(2));
    EXPECT_THAT(garden.workspaces.all(), IsEmpty());
}

TEST_F(Records, findWorkspacesAndAppsByWhatUsersType) {
    const auto games = garden.workspaces.create("  Games\n");
    EXPECT_EQ(games.name, "Games");
    const auto tools = garden.workspaces.create("tools");
    EXPECT_EQ(garden.workspaces.locate("gAMES"), games);
    EXPECT_EQ(garden.workspaces.locate(tools.id), tools);
    // Earlier versions took names that differ in letter case alone.
    second().execute("UPDATE ManagedWorkspace SET name = 'TOOLS' WHERE id = '" +
                     garden.workspaces.create("twin").id + "'");
    EXPECT_EQ(garden.workspaces.locate("tools"), tools);
    EXPECT_EQ(garden.workspaces.locate("Tools"), std::nullopt) << "which of the two?";
    garden.workspaces.rename(games.id, "Games");
    garden.workspaces.rename(tools.id, "Äpfel");
    EXPECT_THAT(each(garden.workspaces.all(), &ManagedWorkspace::name),
                ElementsAre("Äpfel", "Games", "TOOLS"));

    const auto first =
        garden.apps.add({.slug = "one", .displayName = "b", .bundleId = "two", .appStoreId = "1"});
    const auto other =
        garden.apps.add({.slug = "two", .displayName = "A", .bundleId = "one.x", .appStoreId = "2"});
    EXPECT_EQ(garden.apps.locate("two"), first) << "the bundle id comes before the short name";
    EXPECT_EQ(garden.apps.locate("2"), other);
    EXPECT_EQ(garden.apps.locate("one"), first);
    EXPECT_EQ(garden.apps.locate(other.id), other);
    EXPECT_EQ(garden.apps.locate(""), std::nullopt);
    const auto third = garden.apps.add({.slug = "c", .displayName = "b 10", .appStoreId = "3"});
    const auto second = garden.apps.add({.slug = "d", .displayName = "B 2", .appStoreId = "4"});
    EXPECT_THAT(garden.apps.all(), ElementsAre(other, first, second, third));
}

TEST_F(Records, refuseWhatCannotBe) {
    using Refusal = RecordError::Kind;
    const auto games = garden.workspaces.create("Games");
    const auto tools = garden.workspaces.create("Tools");
    const auto app = garden.apps.add({.slug = "garden"});
    const struct {
        std::function<void()> work;
        Refusal kind;
        std::string_view text;
    } cases[] = {
        {[&] { garden.workspaces.create(" \n"); }, Refusal::blankName, "A workspace needs a name."},
        {[&] { garden.workspaces.create("Games "); }, Refusal::nameTaken,
         "There is a workspace \"Games\" already; choose another name."},
        {[&] { garden.workspaces.rename(tools.id, "gAMES"); }, Refusal::nameTaken,
         "There is a workspace \"Games\" already; choose another name."},
        {[&] { garden.workspaces.create("a\nb"); }, Refusal::invalidName,
         "one line without control characters"},
        {[&] { garden.workspaces.rename(tools.id, "a\x1b[2Jb"); }, Refusal::invalidName,
         "one line without control characters"},
        {[&] { garden.workspaces.create("\xff"); }, Refusal::invalidName, "must be UTF-8"},
        {[&] { garden.workspaces.create(std::string(101, 'x')); }, Refusal::invalidName,
         "at most 100 characters"},
        {[&] { garden.workspaces.rename(unknownID, "New"); }, Refusal::gone, "The workspace is gone"},
        {[&] { garden.apps.add({.slug = "x", .workspace = unknownID}); }, Refusal::gone,
         "The workspace is gone"},
        {[&] { garden.apps.moveToWorkspace(app.id, unknownID); }, Refusal::gone, "The workspace is gone"},
        {[&] { garden.apps.moveToWorkspace(unknownID, games.id); }, Refusal::gone, "The app is no longer"},
        {[&] { garden.apps.update({.id = unknownID, .slug = "x"}); }, Refusal::gone, "The app is no longer"},
        {[&] { garden.apps.addMissingLocales(unknownID, std::vector<std::string>{"ja"}); }, Refusal::gone,
         "The app is no longer"},
    };
    for (const auto& one : cases) {
        const auto error = refusal(one.work);
        ASSERT_TRUE(error) << one.text;
        EXPECT_EQ(error->kind(), one.kind) << one.text;
        EXPECT_THAT(error->what(), HasSubstr(std::string(one.text)));
    }
    EXPECT_THROW(garden.apps.add({.slug = "garden"}), StoreError) << "a short name names one folder";
    EXPECT_THROW(garden.history.record(std::vector{pushed(app.id, "a"), pushed(unknownID, "a")}), StoreError);
    EXPECT_THAT(garden.history.entries(app.id), IsEmpty()) << "all or none";
    EXPECT_THAT(garden.apps.all(), ElementsAre(app));
}

TEST_F(Records, dateTheChangesOfAnApp) {
    auto app = garden.apps.add({.slug = "garden", .updatedAt = moment(5)});
    EXPECT_EQ(app.createdAt, moment(60));
    EXPECT_EQ(app.updatedAt, moment(5));
    app.brandVoice = "calm";
    EXPECT_EQ(garden.apps.update(app).updatedAt, moment(60));
    const auto games = garden.workspaces.create("Games");
    garden.apps.moveToWorkspace(app.id, games.id);
    EXPECT_EQ(garden.apps.find(app.id)->workspace, games.id);
    EXPECT_EQ(garden.apps.find(app.id)->brandVoice, "calm");
}

TEST_F(Records, changeTogetherOrNotAtAll) {
    EXPECT_THROW(garden.apps.together([&] {
        garden.plant("garden");
        throw std::runtime_error("no");
    }),
                 std::runtime_error);
    EXPECT_THAT(garden.apps.all(), IsEmpty());
    EXPECT_THAT(garden.workspaces.all(), IsEmpty());
}

TEST_F(Records, listRunsOfPushes) {
    const std::string app = garden.apps.add({.slug = "garden"}).id;
    const std::string other = garden.apps.add({.slug = "other"}).id;
    const auto entry = [&](const std::string& owner, const std::string& run, std::int64_t seconds) {
        auto made = pushed(owner, run, seconds);
        made.versionString = "of " + run;
        return made;
    };
    auto failed = entry(app, "ab%1", 12);
    failed.success = false;
    failed.errorMessage = "no";
    failed.locale = "ja";
    auto loose = entry(app, "", 99);
    loose.sessionId.reset();
    // Two runs at once, with their entries interleaved.
    garden.history.record(std::vector{entry(app, "ab%1", 10), entry(app, "abc2", 11), failed,
                                      entry(app, "abc2", 11), entry(other, "abc3", 20), loose});
    const PushRun first{.sessionId = "ab%1",
                        .started = moment(10),
                        .finished = moment(12),
                        .fields = 2,
                        .failed = 1,
                        .locales = 2,
                        .versionString = "of ab%1"};
    const PushRun second{.sessionId = "abc2",
                         .started = moment(11),
                         .finished = moment(11),
                         .fields = 2,
                         .failed = 0,
                         .locales = 1,
                         .versionString = "of abc2"};
    EXPECT_THAT(garden.history.runs(app), ElementsAre(first, second));
    EXPECT_THAT(garden.history.runs(app, 1), ElementsAre(first));
    EXPECT_THAT(garden.history.runsBeginningWith(app, "ab"), ElementsAre(first, second));
    EXPECT_THAT(garden.history.runsBeginningWith(app, "ab%"), ElementsAre(first)) << "no wildcard";
    EXPECT_THAT(garden.history.runsBeginningWith(app, "abc3"), IsEmpty()) << "another app's";
    EXPECT_THAT(garden.history.entriesOfRun(app, "ab%1"), ElementsAre(entry(app, "ab%1", 10), failed));
    EXPECT_THAT(each(garden.history.entries(app), &PushHistoryEntry::timestamp),
                ElementsAre(moment(99), moment(12), moment(11), moment(11), moment(10)));
    EXPECT_THAT(garden.history.entries(app, 1), ElementsAre(loose));
}

TEST_F(Records, keepWhatIsAboutToBeSentUntilItsOutcomeIsKnown) {
    const std::string app = garden.apps.add({.slug = "garden"}).id;
    const auto entry = [&](std::string locale, std::string run = "run") {
        auto made = pushed(app, run);
        made.locale = std::move(locale);
        return made;
    };
    const auto begun = [&](std::string locale, std::string run = "run") {
        auto made = entry(std::move(locale), std::move(run));
        made.success = false;
        return made;
    };
    garden.history.record(
        std::vector{begun("da"), begun("fi"), begun("ja"), begun("sv"), begun("da", "other")});
    EXPECT_EQ(garden.history.runsBeginningWith(app, "run").at(0).unknown, 4);

    auto lost = begun("ja");
    lost.errorMessage = "HTTP 500. App Store Connect may have taken it. Push again to make sure.";
    auto failed = begun("fi");
    failed.errorMessage = "no";
    garden.history.settle(std::vector{entry("da"), failed, lost}, std::vector{begun("sv")});
    garden.history.settle({}, std::vector{begun("da"), begun("ja")}); // what is settled stays
    EXPECT_THAT(garden.history.entriesOfRun(app, "run"), ElementsAre(entry("da"), failed, lost));
    const PushRun run = garden.history.runsBeginningWith(app, "run").at(0);
    EXPECT_EQ(run.fields, 3);
    EXPECT_EQ(run.failed, 1);
    EXPECT_EQ(run.unknown, 1);
    EXPECT_EQ(isOutcomeUnknown(lost), true);
    EXPECT_EQ(isOutcomeUnknown(failed), false);
    EXPECT_THAT(garden.history.entriesOfRun(app, "other"), ElementsAre(begun("da", "other")));
}
