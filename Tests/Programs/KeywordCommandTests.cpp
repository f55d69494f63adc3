#include "Core/records/Records.h"
#include "Core/records/TrackingRecords.h"
#include "Platform/files/Home.h"
#include "Tests/Programs/QuorvelFixture.h"
#include "Tests/support/NotificationBus.h"

#include <algorithm>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

class KeywordCommands : public QuorvelAccountTest {
  protected:
    void SetUp() override { ASSERT_EQ(run({"apps", "import", app}).status, 0); }
};

TEST_F(KeywordCommands, followTermsFromTrackingToForgetting) {
    EXPECT_THAT(run({"keywords", "ranks"}).error, HasSubstr("'quorvel keywords track TERM --country us'"));
    const auto tracked = run({"keywords", "track", "garden,plant diary", "--country", "us,de"});
    EXPECT_EQ(tracked.status, 0) << tracked.all();
    EXPECT_THAT(tracked.out, HasSubstr("Tracking 4 new terms: garden (us), garden (de), plant diary (us)"));
    EXPECT_THAT(run({"keywords", "ranks"}).out, ContainsRegex("garden +us .*never"));
    server.forgetRequests();
    EXPECT_THAT(run({"keywords", "refresh", "--dry-run"}).all(),
                AllOf(HasSubstr("plant diary (de)"), HasSubstr("nothing was asked. 4 searches.")));
    EXPECT_THAT(server.requests(), SizeIs(0));
    const auto refreshed = run({"keywords", "refresh"});
    EXPECT_EQ(refreshed.status, 0) << refreshed.all();
    EXPECT_THAT(refreshed.out, AllOf(ContainsRegex("garden +us +#[0-9]+"), HasSubstr("4 answers captured.")));
    EXPECT_THAT(run({"keywords", "refresh"}).out, HasSubstr("Nothing is due: all 4 were captured"));

    server.setFaults({{.route = "GET /store/itunes/search", .status = 503}});
    const auto refused = run({"keywords", "refresh", "--all"});
    EXPECT_EQ(refused.status, 6) << refused.all();
    EXPECT_THAT(refused.error, AllOf(HasSubstr("App Store endpoint returned HTTP 503"),
                                     HasSubstr("1 more was not asked for")));
    server.setFaults({{.route = "GET /store/itunes/search", .status = 404, .count = 1}});
    const auto partly = run({"keywords", "refresh", "--all", "--json"});
    EXPECT_EQ(partly.status, 7) << partly.all();
    EXPECT_THAT(*onlyDocument(partly.out).find("terms")->items(), SizeIs(4));

    const auto rows = run({"keywords", "export"});
    EXPECT_TRUE(rows.out.starts_with("captured,term,country,rank,results\n")) << rows.out;
    EXPECT_EQ(std::ranges::count(rows.out, '\n'), 1 + 4 + 3);
    EXPECT_EQ(run({"keywords", "untrack", "garden"}).status, 2) << "nobody can be asked";
    const auto untracked = run({"keywords", "untrack", "GARDEN", "--country", "de", "--yes"});
    EXPECT_EQ(untracked.status, 0) << untracked.all();
    EXPECT_EQ(run({"keywords", "untrack", "garden", "--country", "de", "--yes"}).status, 4);
    EXPECT_THAT(*onlyDocument(run({"keywords", "ranks", "--json"}).out).find("rows")->items(), SizeIs(3));
}

TEST_F(KeywordCommands, refuseWhatMakesNoSense) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"keywords", "track", "garden"}, "--country"},
        {{"keywords", "track", "garden", "--country", "uk"}, "The United Kingdom is gb."},
        {{"keywords", "track", "garden", "--country", "xx"},
         "Country \"xx\" is not in our App Store storefront map."},
        {{"keywords", "track", "!!", "--country", "us"}, "is no search term"},
        {{"keywords", "track", "a\x1B[31m", "--country", "us"}, "control character"},
        {{"keywords", "track", "x", "--country", "us", "--platform", "tv"}, "--platform"},
        {{"keywords", "suggest", "--country", "us", "--limit", "0"}, "--limit"},
        {{"keywords", "export", "--csv", "--json"}, "exclude each other"},
        {{"competitors", "add", "Bloomly", "--country", "us"}, "names no app of the store"},
        {{"competitors", "add", "123456789"}, "no storefront is named"}};
    for (const auto& [words, text] : cases) {
        const auto result = run(words);
        EXPECT_EQ(result.status, 2) << result.all();
        EXPECT_THAT(result.all(), HasSubstr(text));
        EXPECT_THAT(result.all(), Not(HasSubstr("\x1B")));
    }
    environment["QUORVEL_HOME"] = (folder / "another home").string();
    EXPECT_EQ(run({"keywords", "refresh"}).status, 4);
}

// Other makers choose the names of their apps.
TEST_F(KeywordCommands, makeHostileNamesHarmless) {
    const std::string hostile = "\x1B]0;owned\x07\x1B[2J<b>Ev\u202Eil\nname";
    {
        const auto container =
            ModelContainer::open(Home{folder / "home"}.applicationSupport(), systemClock());
        const auto garden = AppRecords(container, systemClock()).all().front();
        const CompetitorRecords records(container, systemClock());
        const auto added = records.add({.id = {},
                                        .appStoreId = "77",
                                        .name = hostile,
                                        .bundleId = {},
                                        .country = "us",
                                        .iconURL = {},
                                        .note = {},
                                        .createdAt = {},
                                        .app = garden.id});
        std::vector<CompetitorSnapshot> pages(2);
        pages[0].capturedAt = systemClock()() - std::chrono::hours(48);
        pages[1] = {.capturedAt = systemClock()() - std::chrono::hours(24),
                    .name = hostile,
                    .subtitle = hostile,
                    .versionString = hostile,
                    .releaseNotes = {},
                    .averageRating = {},
                    .ratingCount = {},
                    .price = {},
                    .currency = {},
                    .competitor = {}};
        records.addSnapshots(added.id, pages);
    }
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"competitors", "list"},
          {"keywords", "refresh", "--all"},
          {"keywords", "suggest", "--country", "us", "--seed", "garden", "--limit", "2"},
          {"competitors", "remove", "77", "--yes"}}) {
        const auto result = run(words);
        EXPECT_THAT(result.all(), AllOf(Not(HasSubstr("\x1B")), Not(HasSubstr("\x07")))) << words[1];
    }
}

#ifdef __linux__

TEST_F(KeywordCommands, showAnAlertOnTheDesktopOnce) {
    const PrivateBus bus;
    NotificationService service(bus.address(), NotificationService::Manner::answers);
    environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    ASSERT_EQ(run({"keywords", "track", "garden", "--country", "us"}).status, 0);
    ASSERT_EQ(run({"keywords", "refresh", "--notify"}).status, 0);
    const JSONValue state = server.state();
    for (const auto& [id, version] : *state.find("appStoreVersions")->members())
        if (const auto* raw = version.at("attributes", "appStoreState");
            raw && raw->text() && *raw->text() == "READY_FOR_SALE")
            server.setVersionState(id, "REMOVED_FROM_SALE");
    for (int round = 0; round < 2; ++round) {
        const auto fallen = run({"keywords", "refresh", "--all", "--notify"});
        EXPECT_EQ(fallen.status, 0) << fallen.all();
        EXPECT_THAT(fallen.out, HasSubstr("garden (us): Fell out of the top 200"));
    }
    EXPECT_THAT(run({"keywords", "alerts"}).out, HasSubstr("Fell out of the top 200"));
    ASSERT_THAT(service.shown(), SizeIs(1));
}

#endif

} // namespace
} // namespace quorvel::test
