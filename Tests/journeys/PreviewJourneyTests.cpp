// From folders of videos to the sandbox's sets of previews, through the real client over real HTTP.
#include "Tests/support/SampleVideo.h"
#include "Tests/support/ScreenshotSandbox.h"

#include <gmock/gmock.h>

using namespace quorvel;
using test::put;
using test::sampleVideo;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr auto append = ScreenshotPushMode::append;
constexpr auto replaceSet = ScreenshotPushMode::replaceSet;

struct PreviewSandbox : test::ScreenshotSandbox {
    PreviewSandbox() : ScreenshotSandbox({.hourlyQuota = 1'000'000}, AssetKind::preview) {}

    void video(const std::string& path, unsigned number, test::VideoTraits traits = {}) const {
        traits.number = number;
        traits.bytes = 100'000 + number; // in several parts
        put(picture(path), sampleVideo(traits));
    }
    [[nodiscard]] std::vector<std::string> names(const std::string& set = "it IPHONE_67") const {
        std::vector<std::string> all;
        const auto sets = held();
        const auto found = sets.find(set);
        if (found == sets.end()) return all;
        for (const auto& preview : found->second)
            all.push_back(preview.state == "COMPLETE" ? preview.fileName
                                                      : preview.fileName + " " + preview.state);
        return all;
    }
    [[nodiscard]] std::vector<std::string> posterFrames() const {
        std::vector<std::string> frames;
        const ScreenshotsCatalog remote = store.readRemote(client, {"it"});
        for (const auto& [type, set] : remote.sets.at("it"))
            for (const auto& entry : set)
                frames.push_back(entry.posterFrame.value_or("none"));
        return frames;
    }
    void setPace(const std::string& body) const {
        ASSERT_EQ(http->send({.method = "POST",
                              .url = server.access().url + "/__sandbox/pace",
                              .headers = {{"Content-Type", "application/json"}},
                              .body = body})
                      .status,
                  200);
    }
    [[nodiscard]] std::size_t changes() const {
        return sent("POST", "/v1/") + sent("PATCH", "/v1/") + sent("DELETE", "/v1/") + sent("PUT", "/");
    }
};

} // namespace

TEST(PreviewJourney, bringsThreeVideosOfAnEmptySetInTheOrderOfTheirNames) {
    PreviewSandbox videos;
    for (const unsigned number : {10u, 2u, 1u})
        videos.video("it/iphone-67/" + std::to_string(number) + ".mp4", number);
    put(videos.picture("it/iphone-67/2.poster.txt"), "7.5\n");
    const auto summary = videos.pushAll(append);
    EXPECT_THAT(summary.failures, IsEmpty());
    EXPECT_THAT(summary.warnings, IsEmpty()) << "they were processed";
    EXPECT_EQ(summary.uploaded, 3);
    EXPECT_EQ(summary.setsCreated, 1);
    EXPECT_THAT(videos.names(), ElementsAre("1.mp4", "2.mp4", "10.mp4"));
    EXPECT_THAT(videos.posterFrames(), ElementsAre("00:00:05:00", "00:00:07:15", "00:00:05:00"));

    videos.server.forgetRequests();
    EXPECT_EQ(videos.pushAll(replaceSet), ScreenshotPushSummary{});
    EXPECT_EQ(videos.changes(), 0u) << "nothing was left to do";
    put(videos.picture("it/iphone-67/2.poster.txt"), "00:00:09:00");
    EXPECT_EQ(videos.pushAll(append).posterFrames, 1);
    EXPECT_EQ(videos.changes(), 1u) << "a poster frame is one request";
    EXPECT_THAT(videos.posterFrames(), ElementsAre("00:00:05:00", "00:00:09:00", "00:00:05:00"));

    const auto pulled = videos.store.pull(videos.client, *videos.http);
    EXPECT_THAT(pulled.failures, IsEmpty());
    EXPECT_EQ(pulled.totalScreenshots, 4) << "with that of the demo";
    EXPECT_EQ(pulled.thumbnailsDownloaded, 4) << "the poster frames";
}

TEST(PreviewJourney, sendsAgainFromTheFirstOneThatStandsElsewhere) {
    PreviewSandbox videos;
    videos.video("it/IPHONE_67/2.mp4", 2);
    videos.video("it/IPHONE_67/3.mp4", 3);
    ASSERT_THAT(videos.pushAll(append).failures, IsEmpty());
    const auto before = videos.held()["it IPHONE_67"];
    videos.video("it/IPHONE_67/2b.mp4", 4);
    auto status = videos.prepare(append).plan.sets;
    std::erase_if(status, [](const auto& set) { return set.locale != "it"; });
    ASSERT_THAT(status, SizeIs(1));
    EXPECT_THAT(status[0].sentAgain.value(), ElementsAre("3.mp4"));
    EXPECT_THAT(status[0].toUpload, ElementsAre("2b.mp4", "3.mp4"));
    const auto summary = videos.pushAll(append);
    EXPECT_THAT(summary.failures, IsEmpty());
    EXPECT_EQ(summary.deleted, 1);
    EXPECT_THAT(videos.names(), ElementsAre("2.mp4", "2b.mp4", "3.mp4"));
    EXPECT_EQ(videos.held()["it IPHONE_67"][0].id, before[0].id) << "what stands well is left";

    videos.video("it/IPHONE_67/4.mp4", 5);
    EXPECT_THAT(videos.pushAll(append).failures,
                ElementsAre(HasSubstr("it IPHONE_67: would hold 4 previews, and App Store Connect takes 3")));
    EXPECT_THAT(videos.names(), SizeIs(3));
}

TEST(PreviewJourney, leavesWhatOthersSentWhereItIsUnlessTheSetIsReplaced) {
    PreviewSandbox videos; // whose demo has one preview of en-US
    const auto other = videos.held().at("en-US IPHONE_67");
    ASSERT_THAT(other, SizeIs(1));
    videos.video("en-US/IPHONE_67/00.mp4", 1);
    ASSERT_THAT(videos.pushAll(append).failures, IsEmpty());
    EXPECT_THAT(videos.names("en-US IPHONE_67"), ElementsAre(other[0].fileName, "00.mp4"));
    EXPECT_EQ(videos.pushAll(append), ScreenshotPushSummary{});
    ASSERT_THAT(videos.pushAll(replaceSet).failures, IsEmpty());
    EXPECT_THAT(videos.names("en-US IPHONE_67"), ElementsAre("00.mp4"));
}

TEST(PreviewJourney, namesWhatCannotBeSentAndSendsTheRest) {
    PreviewSandbox videos;
    videos.video("it/IPHONE_67/1.mp4", 1);
    videos.video("it/IPHONE_67/2.mp4", 2, {.seconds = 45});
    videos.video("it/IPHONE_67/3.mp4", 3);
    put(videos.picture("it/IPHONE_67/3.poster.txt"), "at the end");
    std::filesystem::create_symlink("/nowhere.mp4", videos.picture("it/IPHONE_67/4.mp4"));
    put(videos.picture("it/APP_WATCH_ULTRA/1.mp4"), "of a watch");
    put(videos.picture("it/flat.mp4"), "no video");
    const auto summary = videos.pushAll(replaceSet);
    EXPECT_THAT(summary.failures,
                testing::UnorderedElementsAre(
                    HasSubstr("it IPHONE_67 2.mp4: lasts 45.0 seconds; App Store Connect takes 15 to 30."),
                    HasSubstr("it IPHONE_67 3.mp4: has no poster frame in 3.poster.txt"),
                    HasSubstr("it IPHONE_67 4.mp4: Could not stat file"),
                    HasSubstr("it/APP_WATCH_ULTRA/1.mp4: WATCH_ULTRA shows no previews."),
                    HasSubstr("it/flat.mp4: is no")));
    EXPECT_THAT(videos.names(), ElementsAre("1.mp4"));
}

TEST(PreviewJourney, tellsWhatCouldNotBeProcessedAndSendsItOnceMore) {
    PreviewSandbox videos;
    videos.video("it/IPHONE_67/1.mp4", 1);
    videos.video("it/IPHONE_67/2.mp4", 2);
    videos.setPace(R"({"screenshots": 3, "screenshotsFail": true})");
    auto summary = videos.pushAll(append);
    EXPECT_THAT(summary.failures,
                testing::Each(HasSubstr("App Store Connect could not process it — MOV_SAVE_STEREO: ")));
    EXPECT_EQ(summary.uploaded, 0);
    EXPECT_THAT(
        videos.store.readRemote(videos.client, {"it"}).sets["it"]["IPHONE_67"][0].problem.value_or(""),
        HasSubstr("not in stereo"));
    videos.setPace(R"({"screenshots": 3})");
    summary = videos.pushAll(append);
    EXPECT_THAT(summary.failures, IsEmpty());
    EXPECT_EQ(summary.deleted, 2);
    EXPECT_THAT(videos.names(), ElementsAre("1.mp4", "2.mp4"));
}

TEST(PreviewJourney, goesOnWhereAPushWasCutOff) {
    const struct {
        const char* name;
        sandbox::Fault fault;
        bool fails = true;
    } rows[] = {
        {"before the parts", {.route = "PUT /upload/**", .status = 400, .count = 1}},
        {"before a commit", {.route = "PATCH /v1/appPreviews/*", .status = 400, .count = 1}},
        {"behind a commit", {.route = "PATCH /v1/appPreviews/*", .action = "resetAfter", .count = 1}, false}};
    for (const auto& [name, fault, fails] : rows) {
        SCOPED_TRACE(name);
        PreviewSandbox videos;
        for (const unsigned number : {1u, 2u, 3u})
            videos.video("it/IPHONE_67/" + std::to_string(number) + ".mp4", number);
        videos.push.attempts = 1;
        // What is cut off cannot clear up after itself.
        videos.server.setFaults({fault, {.route = "DELETE /v1/appPreviews/*", .status = 400}});
        EXPECT_EQ(videos.pushAll(append).failures.empty(), !fails);
        videos.server.setFaults({});
        EXPECT_THAT(videos.pushAll(append).failures, IsEmpty());
        EXPECT_THAT(videos.names(), ElementsAre("1.mp4", "2.mp4", "3.mp4"));
        videos.server.forgetRequests();
        EXPECT_EQ(videos.pushAll(append), ScreenshotPushSummary{});
        EXPECT_EQ(videos.changes(), 0u);
    }
}
