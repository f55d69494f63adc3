#include "Core/asc/ASCError.h"
#include "Core/asc/services/Workflows.h"
#include "Tests/support/SandboxFixture.h"

#include <gmock/gmock.h>

#include <algorithm>

using namespace quorvel;
using testing::HasSubstr;

namespace {

constexpr std::string_view garden = "6700000101"; // forty locales, next versions on two platforms

template <typename List>
auto ofLocale(const List& list, std::string_view locale) {
    return std::ranges::find_if(list, [&](const auto& each) { return each.attributes.locale == locale; });
}

std::string textOfFailure(const std::function<void()>& work) {
    try {
        work();
    } catch (const ASCError& error) {
        return error.description();
    }
    return "no failure";
}

} // namespace

TEST(VersionService, findsTheNewestVersionOfAPlatformOrMakesOne) {
    test::SandboxFixture fixture;
    const VersionService versions(fixture.client);
    EXPECT_EQ(versions.find(garden, ASCPlatform::iOS)->attributes.versionString, "3.5");
    EXPECT_EQ(versions.findOrCreate(garden, ASCPlatform::iOS, "9.9").attributes.versionString, "3.5");
    EXPECT_EQ(versions.find(garden, ASCPlatform::visionOS), std::nullopt);
    const auto made = versions.findOrCreate(garden, ASCPlatform::visionOS, "1.0");
    EXPECT_EQ(made.attributes.platform, "VISION_OS");
    EXPECT_EQ(versions.findOrCreate(garden, ASCPlatform::visionOS, "1.1").id, made.id);
}

TEST(LocalizationService, patchesWhatExistsAndCreatesWhatIsMissing) {
    test::SandboxFixture fixture;
    const LocalizationService localizations(fixture.client);
    const std::string version = VersionService(fixture.client).find(garden, ASCPlatform::iOS)->id;
    const auto before = fixture.client.listVersionLocalizations(version);
    const auto patched =
        localizations.writeVersionLocalization(version, {.locale = "ja", .promotionalText = "新しい季節"});
    EXPECT_EQ(patched.id, ofLocale(before, "ja")->id);
    EXPECT_EQ(patched.attributes.description, ofLocale(before, "ja")->attributes.description);

    // The create is carried out, but its answer is lost: it is found and patched, not made twice.
    fixture.server.setFaults(
        {{.route = "POST /v1/appStoreVersionLocalizations", .action = "resetAfter", .count = 1}});
    const auto made =
        localizations.writeVersionLocalization(version, {.locale = "bn-BD", .keywords = "বাগান"});
    EXPECT_EQ(made.attributes.keywords, "বাগান");
    EXPECT_EQ(fixture.client.listVersionLocalizations(version).size(), before.size() + 1);

    const auto infos = fixture.client.listAppInfos(garden);
    const auto next = std::ranges::find_if(
        infos, [](const auto& info) { return info.attributes.appStoreState == "PREPARE_FOR_SUBMISSION"; });
    const auto info = localizations.writeAppInfoLocalization(
        next->id, {.locale = "ja", .subtitle = "庭の手帳", .privacyPolicyUrl = "https://example.test/ja"});
    EXPECT_EQ(info.attributes.subtitle, "庭の手帳");
    EXPECT_EQ(info.attributes.privacyPolicyUrl, "https://example.test/ja");
}

TEST(ReviewSubmissionService, submitsAlsoAfterARunWhoseAnswerWasLost) {
    test::SandboxFixture fixture;
    const auto& client = fixture.client;
    const std::string version = VersionService(client).find(garden, ASCPlatform::iOS)->id;
    for (const auto& each : client.listVersionLocalizations(version))
        (void)client.updateVersionLocalization(each.id, {.whatsNew = "A calmer week view."});
    const auto builds = client.listBuilds(garden, "3.5");
    const auto build = std::ranges::find_if(
        builds, [](const auto& each) { return each.build.attributes.processingState == "VALID"; });
    ASSERT_NE(build, builds.end());
    client.setExportCompliance(build->build.id, {false});
    client.attachBuild(version, build->build.id);

    const ReviewSubmissionService reviews(client);
    fixture.server.setFaults(
        {{.route = "POST /v1/reviewSubmissionItems", .action = "resetAfter", .count = 1}});
    EXPECT_THAT(textOfFailure([&] { (void)reviews.submit(garden, ASCPlatform::iOS, version); }),
                HasSubstr("Couldn't reach App Store Connect"));
    EXPECT_EQ(reviews.submit(garden, ASCPlatform::iOS, version).attributes.state, "WAITING_FOR_REVIEW");
    EXPECT_THAT(textOfFailure([&] { (void)reviews.submit(garden, ASCPlatform::iOS, version); }),
                HasSubstr("Its state is WAITING_FOR_REVIEW"));
    EXPECT_EQ(client.listReviewSubmissions(garden, {ReviewSubmissionState::waitingForReview}).size(), 1u);
}

TEST(TestFlightService, writesNotesAddsToGroupsAndAsksForReview) {
    test::SandboxFixture fixture;
    const auto& client = fixture.client;
    const auto builds = client.listBuilds(garden);
    const auto build = std::ranges::find_if(builds, [](const auto& each) {
        return each.build.attributes.processingState == "VALID" && each.build.attributes.expired != true;
    });
    ASSERT_NE(build, builds.end());
    client.setExportCompliance(build->build.id, {false});
    const std::string group = client.listBetaGroups(garden).back().id;
    const std::string id = build->build.id;
    TestFlightService(client).release({.buildID = id,
                                       .notes = {{"en-US", "Try the week view."}, {"ur-PK", "آزمائیں"}},
                                       .groupIDs = {group},
                                       .betaReview = TestFlightService::Release::BetaReview::request});
    const auto notes = client.listBetaBuildLocalizations(id);
    ASSERT_NE(ofLocale(notes, "ur-PK"), notes.end());
    EXPECT_EQ(ofLocale(notes, "en-US")->attributes.whatsNew, "Try the week view.");
    const auto sent = fixture.server.requests();
    const auto asked = [&](std::string_view path) {
        return std::ranges::count_if(sent, [&](const auto& request) {
            return request.method == "POST" && request.path == path && request.status / 100 == 2;
        });
    };
    EXPECT_EQ(asked("/v1/betaGroups/" + group + "/relationships/builds"), 1);
    EXPECT_EQ(asked("/v1/betaAppReviewSubmissions"), 1);
}

TEST(AnalyticsService, walksFromTheAppToTheSegments) {
    test::SandboxFixture fixture;
    const AnalyticsService analytics(fixture.client);
    const auto request = analytics.findOrCreateRequest(garden);
    EXPECT_EQ(analytics.findOrCreateRequest(garden).id, request.id);
    EXPECT_FALSE(analytics.listSegments(request.id, "APP_STORE_ENGAGEMENT", "DAILY").empty());
    EXPECT_EQ(analytics.findOrCreateRequest("6700000102").attributes.accessType, "ONGOING");
}
