// Research in the public store of a sandbox, through the real clients.
#include "Quorvel/actions/StoreActions.h"
#include "Tests/support/ApplicationSandbox.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

class StoreActions : public testing::Test {
  protected:
    void recordGarden() {
        application.apps().add({.slug = "garden",
                                .displayName = "Garden",
                                .bundleId = "studio.fernhollow.mosswick",
                                .appStoreId = gardenID});
    }
    std::vector<SearchStore::Row> found(const std::string& term, const std::string& country = "us") {
        return SearchStore::perform(application, {.term = term, .countries = {country}}).countries.at(0).apps;
    }
    static std::vector<std::int64_t> idsOf(const std::vector<SearchStore::Row>& rows) {
        std::vector<std::int64_t> ids;
        for (const auto& row : rows)
            ids.push_back(row.id);
        return ids;
    }

    ApplicationSandbox sandbox;
    Application& application = *sandbox.application;
};

TEST_F(StoreActions, rankOwnAppsInASearchAndMoveWithTheDays) {
    const auto rows = found("garden");
    EXPECT_GE(rows.size(), 10U);
    EXPECT_THAT(rows, Each(Field(&SearchStore::Row::yours, std::nullopt)));
    EXPECT_FALSE(application.hasRecords()) << "a search makes no records";
    recordGarden();
    const auto again = found("garden");
    EXPECT_EQ(idsOf(again), idsOf(rows));
    for (std::size_t i = 0; i < again.size(); ++i)
        EXPECT_EQ(again[i].rank, static_cast<std::int64_t>(i + 1));
    EXPECT_THAT(again, Contains(AllOf(Field(&SearchStore::Row::id, std::stoll(gardenID)),
                                      Field(&SearchStore::Row::yours, "garden"))));
    EXPECT_THAT(found("gartentagebuch", "DE"),
                Contains(Field(&SearchStore::Row::name, "Mosswick: Gartentagebuch")));
    EXPECT_THAT(found("zzzz"), IsEmpty());
    std::set<std::vector<std::int64_t>> orders;
    for (int day = 0; day < 8; ++day) {
        orders.insert(idsOf(found("garden")));
        sandbox.server.advance(86'400);
    }
    EXPECT_GT(orders.size(), 2U);
}

TEST_F(StoreActions, goOnPastACountryThatFails) {
    const auto result = SearchStore::perform(application, {.term = "tides", .countries = {"us", "XX", "us"}});
    ASSERT_THAT(result.countries, SizeIs(1));
    ASSERT_THAT(result.problems, SizeIs(1));
    EXPECT_EQ(result.problems[0].country, "xx");
    EXPECT_EQ(result.problems[0].failure.text, "App Store endpoint returned HTTP 400");
    sandbox.server.setFaults({{.route = "GET /store/**", .status = 503}});
    EXPECT_EQ(kindOf([&] { (void)SearchStore::perform(application, {.term = "tides"}); }),
              FailureKind::serviceTrouble);
    sandbox.server.setFaults({{.route = "GET /store/**", .action = "truncate"}});
    EXPECT_EQ(kindOf([&] { (void)ListStoreHints::perform(application, {.prefix = "tides"}); }),
              FailureKind::serviceTrouble);
    const auto refused = [&](auto&& work) { EXPECT_EQ(kindOf(work), FailureKind::badRequest); };
    refused([&] { (void)SearchStore::perform(application, {.term = "  "}); });
    refused([&] { (void)SearchStore::perform(application, {.term = "a", .countries = {"usa"}}); });
    refused([&] { (void)SearchStore::perform(application, {.term = "a", .limit = 201}); });
    refused([&] { (void)ListStoreHints::perform(application, {.prefix = "a", .countries = {"zz"}}); });
    refused([&] { (void)ShowStoreCharts::perform(application, {.genre = "gardening"}); });
    refused([&] { (void)LookUpStoreApps::perform(application, {.apps = {"garden"}}); });
    refused([&] { (void)LookUpStoreApps::perform(application, {.apps = {}}); });
}

TEST_F(StoreActions, findAppsByAllTheirNames) {
    recordGarden();
    const auto result = LookUpStoreApps::perform(
        application,
        {.apps = {"garden", "id6700000102", "example.leafline.plot",
                  "https://apps.apple.com/de/app/gezeiten/id6710000013?l=en&mt=8", "6799999999"}});
    std::vector<std::string> found;
    for (const auto& [country, yours, listing] : result.entries)
        found.push_back(country + " " + yours.value_or("-") + " " + listing.trackName);
    EXPECT_THAT(found, ElementsAre("us garden Mosswick: Garden Journal", "us - Pocket Tides",
                                   "us - Plotwise: Garden Planner", "de - Tidewright: Gezeiten"));
    ASSERT_THAT(result.problems, SizeIs(1));
    EXPECT_EQ(result.problems[0].failure.text, "App with id 6799999999 was not found on the App Store.");
    EXPECT_EQ(kindOf([&] { (void)LookUpStoreApps::perform(application, {.apps = {"org.example.none"}}); }),
              FailureKind::notFound);

    // Only the first piece of an address is a country, in letters of any case.
    const auto linked =
        LookUpStoreApps::perform(application, {.apps = {"https://apps.apple.com/app/vk/id6700000102",
                                                        "apps.apple.com/DE/app/gezeiten/id6710000013"}});
    ASSERT_THAT(linked.entries, SizeIs(2));
    EXPECT_EQ(linked.entries[0].country, "us");
    EXPECT_EQ(linked.entries[1].country, "de");
    EXPECT_EQ(linked.entries[1].listing.trackId, 6710000013);

    const auto pages = ShowStorePages::perform(
        application, {.apps = {"example.fernandfrond.id", "6700000103"}, .countries = {"us", "at"}});
    ASSERT_THAT(pages.entries, SizeIs(2));
    EXPECT_EQ(pages.entries[0].page.subtitle, "Name any plant & leaf");
    EXPECT_EQ(pages.entries[1].page.subtitle, "Jede Pflanze & jedes Blatt");
    EXPECT_EQ(pages.entries[0].page.aggregateRatingCount, 210334);
    ASSERT_THAT(pages.problems, SizeIs(2)) << "an app before its first release has no page";
    EXPECT_EQ(pages.problems[0].failure.kind, FailureKind::notFound);
}

TEST_F(StoreActions, showHintsAndBothKindsOfCharts) {
    recordGarden();
    const auto hints = ListStoreHints::perform(application, {.prefix = "Gard", .countries = {"us", "de"}});
    EXPECT_THAT(hints.countries.at(0).hints, Contains("garden game"));
    EXPECT_THAT(hints.countries.at(1).hints, Contains("garten").Times(0));
    const auto free = ShowStoreCharts::perform(application, {.limit = 100});
    const auto& rows = free.countries.at(0).apps;
    EXPECT_GE(rows.size(), 25U);
    EXPECT_THAT(rows, Contains(Field(&ShowStoreCharts::Row::yours, "garden")));
    EXPECT_EQ(rows.back().app.rank, std::ssize(rows));
    const auto games =
        ShowStoreCharts::perform(application, {.kind = ChartKind::topGrossing, .genre = "Games", .limit = 2});
    EXPECT_THAT(games.countries.at(0).apps, SizeIs(2));
    EXPECT_EQ(games.countries[0].apps[0].app.genres.at(0).genreId, "6014");
    const auto medical =
        ShowStoreCharts::perform(application, {.kind = ChartKind::topPaid, .genre = "medical"});
    EXPECT_THAT(medical.countries.at(0).apps, SizeIs(1)) << "a single entry is no list";
    const auto stickers = ShowStoreCharts::perform(application, {.genre = "6025"});
    EXPECT_THAT(stickers.countries.at(0).apps, IsEmpty());
}

TEST_F(StoreActions, waitForTheirTurnAsTheStoresAddressesSay) {
    TemporaryFolder other;
    auto server = std::make_unique<sandbox::SandboxServer>(
        sandbox::Options{.stateFolder = other / "sandbox", .storeSearchesPerMinute = 3});
    ApplicationOptions options = sandbox.options();
    options.endpointsFile = server->access().endpointsFile;
    std::vector<std::string> told;
    double waited = 0;
    const Date start = systemClock()();
    options.clock = [&] {
        return start + std::chrono::milliseconds(static_cast<std::int64_t>(waited * 1000));
    };
    options.sleep = [&](double seconds) {
        waited += seconds;
        server->advance(seconds);
    };
    options.tell = [&](const std::string& text) { told.push_back(text); };
    Application patient(options);
    const auto search = [&](Application& one) {
        return SearchStore::perform(one, {.term = "tides"}).countries.size();
    };
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(search(patient), 1U);
    EXPECT_EQ(waited, 60);
    EXPECT_THAT(told, ElementsAre("The App Store allows about 3 searches a minute: waiting 60 s."));
    // Another home knows nothing of these: it is turned away and waits for that.
    options.home = {other / "home"};
    Application stranger(options);
    EXPECT_EQ(search(stranger), 1U);
    EXPECT_EQ(search(stranger), 1U);
    EXPECT_EQ(search(stranger), 1U);
    EXPECT_EQ(told.back(), "The App Store asks for a pause (HTTP 403): waiting 60 s.");
    options.patience = std::chrono::seconds(0);
    options.home = {other / "impatient"};
    Application impatient(options);
    server->setStoreSearches(1);
    EXPECT_EQ(kindOf([&] { (void)search(impatient); }), FailureKind::serviceTrouble);
}

} // namespace
} // namespace quorvel::test
