// From folders of pictures to the sandbox's sets, through the real client over real HTTP, whatever fails on
// the way.
#include "Core/asc/ASCError.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Tests/support/FaultyProxy.h"
#include "Tests/support/ScreenshotSandbox.h"

#include <gmock/gmock.h>

#include <cstring>

using namespace quorvel;
using test::put;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

using Shots = test::ScreenshotSandbox;

} // namespace

TEST(ScreenshotJourney, endsWithExactlyTheLocalFilesWhateverFails) {
    // Other faults with --gtest_shuffle.
    const auto seed = static_cast<std::uint64_t>(testing::UnitTest::GetInstance()->random_seed());
    Shots shots({.faultSeed = seed + 1, .hourlyQuota = 1'000'000});
    shots.drawThirtySixSets();
    const auto wanted = test::expectedSets(ScreenshotPushScanner(shots.store.paths().pictures).scan().items);
    ASSERT_THAT(wanted, SizeIs(36));
    shots.server.setFaults(test::faultsOfABadDay());
    int runs = 0;
    std::vector<std::string> failures;
    do {
        ++runs;
        try {
            failures = shots.pushAll(ScreenshotPushMode::replaceSet).failures;
        } catch (const ASCError& error) { // while it read what is there
            failures = {error.description()};
        }
    } while (!failures.empty() && runs < 3);
    RecordProperty("runs", runs);
    EXPECT_THAT(failures, IsEmpty());
    shots.server.setFaults({});
    EXPECT_EQ(shots.heldOf(wanted), wanted);
    for (const auto& [set, screenshots] : shots.held())
        for (const auto& screenshot : screenshots)
            EXPECT_EQ(screenshot.state, "COMPLETE") << set << " " << screenshot.fileName;
    const auto requests = shots.server.requests();
    const auto failed =
        std::ranges::count_if(requests, [](const auto& one) { return one.status / 100 != 2; });
    EXPECT_GT(failed * 10, static_cast<std::ptrdiff_t>(requests.size())) << "too few faults to tell anything";

    shots.server.forgetRequests();
    EXPECT_EQ(shots.pushAll(ScreenshotPushMode::replaceSet), ScreenshotPushSummary{});
    EXPECT_EQ(shots.sent("GET", "/"), shots.server.requests().size()) << "nothing was left to do";
}

TEST(ScreenshotJourney, anUnreadableFileStopsNoOther) {
    Shots shots;
    shots.drawThirtySixSets();
    std::filesystem::remove(shots.picture("ja/APP_IPHONE_67/3.png"));
    std::filesystem::create_symlink("/nowhere.png", shots.picture("ja/APP_IPHONE_67/3.png"));
    const auto summary = shots.pushAll(ScreenshotPushMode::replaceSet);
    EXPECT_THAT(summary.failures, ElementsAre("ja APP_IPHONE_67 3.png: Could not stat file"));
    EXPECT_EQ(summary.uploaded, 179);
    EXPECT_THAT(summary.successfullyUploadedLocalURLs, SizeIs(179));
    std::filesystem::remove(shots.picture("ja/APP_IPHONE_67/3.png"));
    const auto wanted = test::expectedSets(ScreenshotPushScanner(shots.store.paths().pictures).scan().items);
    EXPECT_EQ(shots.heldOf(wanted), wanted);
}

TEST(ScreenshotJourney, keepsWhatAFileThatCannotBeSentWouldReplace) {
    Shots shots;
    const auto draw = [&](const char* path, unsigned number) {
        put(shots.picture(path), shots.drawn("APP_IPHONE_65", number));
    };
    for (const char* path : {"sv/iphone-65/1.png", "sv/iphone-65/2.png", "sv/iphone-65/3.png", "it/a.png",
                             "it/b.png", "it/c.png"})
        draw(path, static_cast<unsigned>(path[std::strlen(path) - 5]));
    ASSERT_THAT(shots.pushAll(ScreenshotPushMode::replaceSet).failures, IsEmpty());
    const auto before = shots.held();
    put(shots.picture("sv/iphone-65/2.png"), "no picture any more");
    put(shots.picture("it/b.png"), "nor this, whose size told the display type");
    std::filesystem::remove(shots.picture("sv/iphone-65/1.png"));
    draw("sv/iphone-65/3.png", 200);
    draw("it/c.png", 200);
    EXPECT_THAT(shots.pushAll(ScreenshotPushMode::replaceSet).failures, SizeIs(2));
    const auto after = shots.held();
    const auto idsOf = [](const std::vector<test::HeldScreenshot>& set) {
        std::vector<std::string> ids;
        std::ranges::transform(set, std::back_inserter(ids), &test::HeldScreenshot::id);
        return ids;
    };
    const auto swedish = idsOf(before.at("sv APP_IPHONE_65")), italian = idsOf(before.at("it APP_IPHONE_65"));
    EXPECT_THAT(idsOf(after.at("sv APP_IPHONE_65")), ElementsAre(swedish[1], Not(swedish[2])));
    EXPECT_THAT(idsOf(after.at("it APP_IPHONE_65")), ElementsAre(italian[0], italian[1], Not(italian[2])));
}

TEST(ScreenshotJourney, addsToASetAndTellsEachStep) {
    Shots shots;
    put(shots.picture("en-US/iphone-67/b.png"), shots.drawn("APP_IPHONE_67", 1));
    put(shots.picture("sv/iphone-65/a.png"), shots.drawn("APP_IPHONE_65", 14)); // of several parts
    put(shots.picture("ta-IN/iphone-65/a.png"), shots.drawn("APP_IPHONE_65", 3));
    const auto before = shots.held()["en-US APP_IPHONE_67"];
    std::mutex mutex;
    std::vector<ScreenshotPusher::PushProgress> told;
    std::map<std::string, std::uint64_t> bytes;
    const auto summary =
        shots.pushAll(ScreenshotPushMode::append, {.progress =
                                                       [&](const auto& progress) {
                                                           const std::lock_guard lock(mutex);
                                                           told.push_back(progress);
                                                       },
                                                   .transfer =
                                                       [&](const ScreenshotTransfer& transfer) {
                                                           const std::lock_guard lock(mutex);
                                                           bytes[transfer.fileURL] = transfer.sent;
                                                           EXPECT_LE(transfer.sent, transfer.total);
                                                       }});
    EXPECT_THAT(summary.failures, IsEmpty());
    EXPECT_EQ(summary.uploaded, 2);
    EXPECT_EQ(summary.setsCreated, 1);
    EXPECT_THAT(summary.warnings,
                ElementsAre("ta-IN: no localization on ASC — create the locale first via the Metadata tab."));
    auto after = shots.held()["en-US APP_IPHONE_67"];
    EXPECT_EQ(after.back().fileName, "b.png");
    after.pop_back();
    EXPECT_EQ(after, before);
    EXPECT_EQ(told.front(), (ScreenshotPusher::PushProgress{"Loading localizations…", 0, 6}));
    EXPECT_EQ(told.back().completed, 6);
    EXPECT_EQ(bytes.at(shots.picture("sv/iphone-65/a.png")),
              std::filesystem::file_size(shots.picture("sv/iphone-65/a.png")));
    EXPECT_EQ(shots.sent("PUT", "/upload/"), 5u) << "one part per operation: two and three";
    for (const auto& request : shots.server.requests())
        if (request.method == "PUT") {
            EXPECT_THAT(request.authorization, IsEmpty());
        }
}

TEST(ScreenshotJourney, mixesNoSetsOfANewVersionIntoTheCatalogueOfTheOldOne) {
    test::ScreenshotSandbox fixture;
    (void)fixture.store.pull(fixture.client, *fixture.http);
    const auto before = fixture.store.catalog();
    ASSERT_TRUE(before);
    PlatformContext newer = fixture.context;
    newer.versionString += ".1";
    const ScreenshotsStore store(fixture.app, newer, systemClock());
    ScreenshotsCatalog remote{.versionString = newer.versionString};
    remote.sets["de-DE"]["APP_IPHONE_67"] = {{.id = "new"}};
    store.remember(remote, {"de-DE"});
    EXPECT_EQ(store.catalog(), before);
    remote.versionString = before->versionString;
    store.remember(remote, {"de-DE"});
    EXPECT_EQ(store.catalog()->sets.at("de-DE"), remote.sets.at("de-DE"));
}

TEST(ScreenshotJourney, pullsCatalogueAndThumbnailsOnceEach) {
    Shots shots;
    const auto first = shots.store.pull(shots.client, *shots.http);
    EXPECT_THAT(first.warnings, IsEmpty());
    EXPECT_EQ(first.thumbnailsDownloaded, first.totalScreenshots);
    EXPECT_EQ(first.totalSets, 5);
    const auto catalog = shots.store.catalog().value();
    EXPECT_EQ(catalog.versionString, shots.context.versionString);
    EXPECT_EQ(static_cast<std::int64_t>(catalog.screenshotCount()), first.totalScreenshots);
    for (const auto& [locale, types] : catalog.sets)
        for (const auto& [type, set] : types)
            for (std::size_t at = 0; at < set.size(); ++at) {
                EXPECT_EQ(set[at].displayOrder, static_cast<std::int64_t>(at));
                EXPECT_TRUE(
                    std::filesystem::exists(shots.store.paths().thumbnails / *set[at].thumbnailFileName));
            }

    put(shots.picture("en-US/iphone-67/new.png"), shots.drawn("APP_IPHONE_67", 1));
    EXPECT_THAT(shots.pushAll(ScreenshotPushMode::replaceSet).failures, IsEmpty());
    put(shots.store.paths().catalog, "{ damaged");
    const auto second = shots.store.pull(shots.client, *shots.http);
    EXPECT_THAT(second.warnings, ElementsAre(HasSubstr("was damaged and has been replaced")));
    EXPECT_EQ(second.thumbnailsDownloaded, 1) << "only the new one";
    std::size_t thumbnails = 0;
    for ([[maybe_unused]] const auto& file :
         std::filesystem::directory_iterator(shots.store.paths().thumbnails))
        ++thumbnails;
    EXPECT_EQ(static_cast<std::int64_t>(thumbnails), second.totalScreenshots)
        << "none is left of those that are gone";

    put(shots.store.paths().catalog, R"({"formatVersion": 9})");
    EXPECT_THROW((void)shots.store.pull(shots.client, *shots.http), ScreenshotError);
    EXPECT_EQ(readFile(shots.store.paths().catalog), R"({"formatVersion": 9})");
}

TEST(ScreenshotJourney, pullsToTheEndInEachOfFortyRunsOverANetworkThatSpoilsSixInAHundred) {
    Shots shots;
    const auto whole = shots.store.readRemote(shots.client);
    const test::FaultyProxy proxy(shots.server.access().url, 0.06, 11);
    const ASCClient through(
        {.baseURL = proxy.url(), .http = shots.http, .tokens = shots.client.tokens(), .sleepFor = [](double) {
         }});
    for (int run = 0; run < 40; ++run) {
        const MetadataFolder app{shots.folder / ("run" + std::to_string(run))};
        const ScreenshotsStore store(app, shots.context, systemClock(), shots.retries);
        const auto summary = store.pull(through, *shots.http);
        EXPECT_THAT(summary.failures, IsEmpty()) << run;
        EXPECT_EQ(summary.thumbnailsDownloaded, static_cast<std::int64_t>(whole.screenshotCount())) << run;
        EXPECT_EQ(store.catalog()->screenshotCount(), whole.screenshotCount()) << run;
    }
    EXPECT_GT(proxy.faults(), 40u) << "too few to tell anything";
}

TEST(ScreenshotJourney, keepsInAPullWhatCannotBeReadAndNamesIt) {
    Shots shots;
    (void)shots.store.pull(shots.client, *shots.http);
    const auto before = shots.store.catalog().value();
    std::string german, set, type;
    for (const auto& localization : shots.client.listVersionLocalizations(shots.context.versionId))
        if (localization.attributes.locale == "de-DE")
            german = localization.id;
        else if (localization.attributes.locale == "en-US") {
            const auto first = shots.client.listScreenshotSets(localization.id).at(0);
            set = first.id;
            type = first.attributes.screenshotDisplayType;
        }
    shots.server.setFaults(
        {{.route = "GET /v1/appStoreVersionLocalizations/" + german + "/**", .status = 500},
         {.route = "GET /v1/appScreenshotSets/" + set + "/**", .status = 500}});
    const auto summary = shots.store.pull(shots.client, *shots.http);
    EXPECT_THAT(summary.failures, testing::UnorderedElementsAre(testing::StartsWith("de-DE: "),
                                                                testing::StartsWith("en-US " + type + ": ")));
    auto after = shots.store.catalog().value();
    EXPECT_EQ(after.sets, before.sets) << "as the last pull left it";

    shots.server.setFaults({{.route = "GET /v1/appStoreVersions/**", .status = 500}});
    EXPECT_THROW((void)shots.store.pull(shots.client, *shots.http), ASCError);
    shots.server.setFaults({{.route = "GET /v1/appScreenshotSets/**", .status = 401}});
    EXPECT_THROW((void)shots.store.pull(shots.client, *shots.http), ASCError) << "every request would fail";
    EXPECT_EQ(shots.store.catalog()->sets, before.sets);
}

TEST(ScreenshotJourney, takesThumbnailsOnlyWhereTheyAreWholePicturesOfABoundedSize) {
    Shots shots;
    struct Images : HTTPClient {
        HTTPResponse send(const HTTPRequest& request) override {
            EXPECT_EQ(request.maximumBodyBytes, 16U << 20) << "heeded while the answer streams";
            const std::lock_guard lock(mutex);
            switch (++sent[request.url]) {
            case 1:
                return {502, {}, "<html>"};
            case 2:
                return {200, {}, "<html>a login page</html>"};
            case 3:
                return {200, {}, picture.substr(0, picture.size() - 20)};
            default:
                return {200, {}, picture};
            }
        }
        std::string picture = samplePicture({100, 200}, 1);
        std::mutex mutex;
        std::map<std::string, int> sent;
    } images;
    const auto summary = shots.store.pull(shots.client, images);
    EXPECT_THAT(summary.failures, IsEmpty());
    EXPECT_EQ(summary.thumbnailsDownloaded, summary.totalScreenshots);
    for (const auto& [url, count] : images.sent)
        EXPECT_EQ(count, 4) << url;
}
