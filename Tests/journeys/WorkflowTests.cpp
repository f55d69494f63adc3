#include "Core/asc/ASCError.h"
#include "Core/asc/services/AnalyticsService.h"
#include "Core/asc/services/ReviewSubmissionService.h"
#include "Core/asc/services/TestFlightService.h"
#include "Core/asc/services/VersionService.h"
#include "Tests/support/SandboxFixture.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>

using namespace quorvel;
using testing::HasSubstr;

namespace {

constexpr std::string_view garden = "6700000101"; // forty locales, next versions on two platforms

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

TEST(VersionService, findsTheVersionThatItMadeWhenTheAnswerIsLost) {
    for (const std::string fault : {"resetAfter", "503After", "truncate"}) {
        SCOPED_TRACE(fault);
        test::SandboxFixture fixture;
        const VersionService versions(fixture.client);
        const AppStoreVersionCreateAttributes wanted{"VISION_OS", "1.0", "MANUAL"};
        fixture.server.setFaults({sandbox::parseFault("POST /v1/appStoreVersions:" + fault + ":1:1")});
        const auto made = versions.create(garden, wanted);
        EXPECT_EQ(made.attributes.versionString, "1.0");
        EXPECT_THAT(textOfFailure([&] { (void)versions.create(garden, wanted); }), HasSubstr("["))
            << "it was there before";
        EXPECT_EQ(fixture.client.listAppStoreVersions(garden, ASCPlatform::visionOS).size(), 1u);
    }
    test::SandboxFixture fixture;
    fixture.server.setFaults({sandbox::parseFault("POST /v1/appStoreVersions:reset:1:1")});
    EXPECT_THAT(textOfFailure([&] {
                    (void)VersionService(fixture.client).create(garden, {"VISION_OS", "1.0", {}});
                }),
                HasSubstr("Couldn't reach App Store Connect"));
}

namespace {

// Makes the garden journal's coming iOS version ready for review and returns its id.
std::string completeVersion(const ASCClientProtocol& client) {
    const std::string version = VersionService(client).find(garden, ASCPlatform::iOS)->id;
    for (const auto& each : client.listVersionLocalizations(version))
        (void)client.updateVersionLocalization(each.id, {.whatsNew = "A calmer week view."});
    const auto builds = client.listBuilds(garden, "3.5");
    const auto build = std::ranges::find_if(
        builds, [](const auto& each) { return each.build.attributes.processingState == "VALID"; });
    client.setExportCompliance(build->build.id, {false});
    client.attachBuild(version, build->build.id);
    return version;
}

} // namespace

TEST(ReviewSubmissionService, submitsWhateverAnswerIsLost) {
    for (const char* route : {"POST /v1/reviewSubmissionItems", "PATCH /v1/reviewSubmissions/*"})
        for (const char* fault : {"resetAfter", "503After", "truncate"}) {
            SCOPED_TRACE(fmt::format("{} {}", route, fault));
            test::SandboxFixture fixture;
            const std::string version = completeVersion(fixture.client);
            fixture.server.setFaults({sandbox::parseFault(fmt::format("{}:{}:1:1", route, fault))});
            EXPECT_EQ(ReviewSubmissionService(fixture.client)
                          .submit(garden, ASCPlatform::iOS, version)
                          .attributes.state,
                      "WAITING_FOR_REVIEW");
        }
}

TEST(ReviewSubmissionService, neverSubmitsWithoutTheWantedVersion) {
    test::SandboxFixture fixture;
    const auto& client = fixture.client;
    const std::string version = completeVersion(client);
    const ReviewSubmissionService reviews(client);
    const std::string open = client.createReviewSubmission(garden, ASCPlatform::iOS).id;
    fixture.server.setFaults({{.route = "POST /v1/reviewSubmissionItems", .status = 409, .count = 2}});
    fixture.server.forgetRequests();
    for (int run = 0; run < 2; ++run)
        EXPECT_NE(textOfFailure([&] { (void)reviews.submit(garden, ASCPlatform::iOS, version); }),
                  "no failure");
    for (const auto& request : fixture.server.requests())
        EXPECT_NE(request.method, "PATCH");

    // The version is in already, from a run that was cut off.
    (void)client.addReviewSubmissionItem(open, version);
    EXPECT_EQ(reviews.submit(garden, ASCPlatform::iOS, version).attributes.state, "WAITING_FOR_REVIEW");
    EXPECT_THAT(textOfFailure([&] { (void)reviews.submit(garden, ASCPlatform::iOS, version); }),
                HasSubstr("Its state is WAITING_FOR_REVIEW"));
    EXPECT_EQ(client.listReviewSubmissions(garden, {ReviewSubmissionState::waitingForReview}).size(), 1u);
    fixture.server.setVersionState(version, "IN_REVIEW");
    fixture.server.forgetRequests();
    EXPECT_THAT(textOfFailure([&] { (void)reviews.submit(garden, ASCPlatform::iOS, version); }),
                HasSubstr("Its state is IN_REVIEW"));
    EXPECT_EQ(fixture.server.requests().size(), 1u) << "nothing is made beside it";
}

TEST(TestFlightService, takesEachStepOnceWhateverAnswerIsLost) {
    for (const char* fault : {"resetAfter", "503After", "truncate"}) {
        SCOPED_TRACE(fault);
        test::SandboxFixture fixture;
        const auto& client = fixture.client;
        const TestFlightService service(client);
        fixture.server.setFaults({sandbox::parseFault(fmt::format("POST /v1/betaGroups:{}:1:1", fault))});
        const std::string group = service.createGroup(garden, {"Readers", false}).id;
        EXPECT_EQ(std::ranges::count(fixture.server.requests(), "GET", &sandbox::RecordedRequest::method), 1)
            << "the group that was found is taken; another listing may be without it";
        const auto builds = client.listBuilds(garden, "3.5");
        const std::string build = std::ranges::find_if(builds, [](const auto& each) {
                                      return each.build.attributes.version == "352" && each.platform == "IOS";
                                  })->build.id;
        const std::function<StepEnd()> steps[] = {
            [&] {
                return service.addTester(group, {"Yuki", {}, "yuki@example.com"});
            },
            [&] { return service.addBuildToGroup(group, build); },
            [&] { return service.requestBetaReview(build); },
            [&] { return service.setAutoNotify(build, true); }};
        for (const auto& step : steps) {
            fixture.server.setFaults({sandbox::parseFault(fmt::format("POST /v1/**:{}:1:1", fault))});
            EXPECT_EQ(step(), StepEnd::done);
        }
        EXPECT_EQ(service.addBuildToGroup(group, build), StepEnd::wasDone);
        EXPECT_EQ(service.requestBetaReview(build), StepEnd::wasDone);
        EXPECT_EQ(service.setAutoNotify(build, true), StepEnd::wasDone);
        EXPECT_EQ(client.listBetaTesters(group).size(), 1u);
        EXPECT_EQ(client.listBetaGroups(garden).size(), 4u);
    }
}

TEST(AnalyticsService, walksFromTheAppToTheSegments) {
    test::SandboxFixture fixture;
    const AnalyticsService analytics(fixture.client);
    const auto request = analytics.findOrCreateRequest(garden);
    EXPECT_EQ(analytics.findOrCreateRequest(garden).id, request.id);
    EXPECT_FALSE(analytics.listSegments(request.id, "APP_STORE_ENGAGEMENT", "DAILY").empty());
    EXPECT_EQ(analytics.findOrCreateRequest("6700000102").attributes.accessType, "ONGOING");
}
