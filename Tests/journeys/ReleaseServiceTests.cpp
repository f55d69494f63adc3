#include "Core/asc/ASCError.h"
#include "Core/asc/services/ReleaseService.h"
#include "Core/asc/services/ReviewSubmissionService.h"
#include "Core/asc/services/VersionService.h"
#include "Tests/support/SandboxFixture.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const std::string moss(test::gardenApp);

// A sandbox whose coming iOS version may be submitted; who waits moves its clock.
struct ReadyVersion {
    ReadyVersion() : version(VersionService(client()).find(moss, ASCPlatform::iOS)->id) {
        for (const auto& each : client().listVersionLocalizations(version))
            (void)client().updateVersionLocalization(each.id, {.whatsNew = "A calmer week view."});
        for (const auto& each : client().listBuilds(moss, "3.5"))
            if (each.build.attributes.version == "352" && each.platform == "IOS")
                client().attachBuild(version, each.build.id);
    }
    [[nodiscard]] const ASCClient& client() const { return fixture.client; }
    [[nodiscard]] ReviewSubmissionService service(double removalWait = 120) {
        return {client(),
                {.sleep = [this](double seconds) { fixture.server.advance(seconds); },
                 .removalWait = removalWait}};
    }
    void fault(const std::string& spec) { fixture.server.setFaults({sandbox::parseFault(spec)}); }
    void pace(const std::string& members) {
        ASSERT_EQ(fixture.http
                      ->send({.method = "POST",
                              .url = fixture.server.access().url + "/__sandbox/pace",
                              .body = "{" + members + "}"})
                      .status,
                  200);
    }
    [[nodiscard]] std::size_t submissions() const { return client().listReviewSubmissions(moss, {}).size(); }
    [[nodiscard]] std::string state() const {
        return client().getAppStoreVersion(version).attributes.appStoreState.value_or("");
    }

    test::SandboxFixture fixture;
    std::string version;
};

std::string failureText(const std::function<void()>& work) {
    try {
        work();
    } catch (const ASCError& error) {
        return error.description();
    }
    return "no failure";
}

} // namespace

TEST(ReviewSubmission, isMadeOnceWhateverAnswerIsLostAndHoweverLateItShows) {
    for (const char* lost : {"resetAfter", "503After", "truncate"})
        for (const char* visibility : {"0", "4"}) {
            SCOPED_TRACE(fmt::format("{} {}", lost, visibility));
            ReadyVersion ready;
            const std::size_t before = ready.submissions();
            ready.pace(fmt::format(R"("visibility":{})", visibility));
            ready.fault(fmt::format("POST /v1/reviewSubmissions:{}:1:1", lost));
            EXPECT_EQ(ready.service().submit(moss, ASCPlatform::iOS, ready.version).attributes.state,
                      "WAITING_FOR_REVIEW");
            ready.fixture.server.advance(60);
            EXPECT_EQ(ready.submissions(), before + 1);
            EXPECT_EQ(ready.service().plan(moss, ASCPlatform::iOS, ready.version).course,
                      SubmissionCourse::withApple);
        }
}

TEST(ReviewSubmission, takesNothingAlongThatWasNotAgreedTo) {
    ReadyVersion ready;
    const ReviewSubmissionService service = ready.service();
    const SubmissionPlan empty = service.plan(moss, ASCPlatform::iOS, ready.version);
    EXPECT_EQ(empty, SubmissionPlan{});
    const std::string open = ready.client().createReviewSubmission(moss, ASCPlatform::iOS).id;
    const std::string event = ready.client().listAppEvents(moss).back().id;
    (void)ready.client().exchange(ASCRequest{
        .method = "POST",
        .path = "v1/reviewSubmissionItems",
        .body = fmt::format(
            R"({{"data":{{"type":"reviewSubmissionItems","relationships":{{"reviewSubmission":{{"data":{{"type":"reviewSubmissions","id":"{}"}}}},"appEvent":{{"data":{{"type":"appEvents","id":"{}"}}}}}}}}}})",
            open, event)});
    const SubmissionPlan plan = service.plan(moss, ASCPlatform::iOS, ready.version);
    EXPECT_EQ(plan.course, SubmissionCourse::add);
    EXPECT_EQ(plan.submissionID, open);
    ASSERT_EQ(plan.otherItems.size(), 1u);
    EXPECT_EQ(plan.otherItems[0].text, "the in-app event Tomato Championship");
    EXPECT_THAT(failureText([&] { (void)service.submit(moss, ASCPlatform::iOS, ready.version, empty); }),
                HasSubstr("take the in-app event Tomato Championship along"));
    EXPECT_EQ(ready.state(), "PREPARE_FOR_SUBMISSION") << "the version was not added either";
    EXPECT_EQ(service.submit(moss, ASCPlatform::iOS, ready.version, plan).id, open);

    // Turned down, it is sent again as it is: its item is not added a second time.
    ready.fixture.server.setVersionState(ready.version, "METADATA_REJECTED");
    ready.fixture.server.forgetRequests();
    EXPECT_EQ(service.plan(moss, ASCPlatform::iOS, ready.version).course, SubmissionCourse::send);
    EXPECT_EQ(service.submit(moss, ASCPlatform::iOS, ready.version).id, open);
    for (const auto& request : ready.fixture.server.requests())
        EXPECT_NE(request.method, "POST");
}

TEST(ReviewSubmission, leavesReviewAndIsWaitedFor) {
    for (const char* lost : {"", "resetAfter", "503After"}) {
        SCOPED_TRACE(lost);
        ReadyVersion ready;
        const ReviewSubmissionService service = ready.service();
        (void)service.submit(moss, ASCPlatform::iOS, ready.version);
        ready.pace(R"("cancellation":40)");
        const auto plan = service.planRemoval(moss, ASCPlatform::iOS, ready.version);
        ASSERT_TRUE(plan);
        EXPECT_EQ(plan->itemID, std::nullopt);
        if (*lost) ready.fault(fmt::format("PATCH /v1/reviewSubmissions/*:{}:1:1", lost));
        EXPECT_EQ(ready.service(10).remove(moss, *plan), RemovalEnd::beingRemoved) << "not so fast";
        EXPECT_THAT(failureText([&] { (void)service.submit(moss, ASCPlatform::iOS, ready.version); }),
                    HasSubstr("CANCELING"));
        const auto again = service.planRemoval(moss, ASCPlatform::iOS, ready.version);
        ASSERT_TRUE(again);
        EXPECT_EQ(service.remove(moss, *again), RemovalEnd::removed);
        EXPECT_EQ(ready.state(), "DEVELOPER_REJECTED");
        EXPECT_EQ(service.planRemoval(moss, ASCPlatform::iOS, ready.version), std::nullopt);
        EXPECT_EQ(service.submit(moss, ASCPlatform::iOS, ready.version).attributes.state,
                  "WAITING_FOR_REVIEW");
    }
}

TEST(ReviewSubmission, isNotGoneWhileTheListDoesNotShowTheCancellation) {
    ReadyVersion ready;
    const std::string sent = ready.service().submit(moss, ASCPlatform::iOS, ready.version).id;
    int pauses = 0;
    const ReviewSubmissionService late(ready.client(), {.sleep = [&](double seconds) {
                                           // Only now does the cancellation arrive that the plan takes for
                                           // made.
                                           if (pauses++ == 0)
                                               (void)ready.client().cancelReviewSubmission(sent);
                                           ready.fixture.server.advance(seconds);
                                       }});
    EXPECT_EQ(late.remove(moss, {.submissionID = sent, .state = "CANCELING"}), RemovalEnd::removed);
    EXPECT_EQ(ready.state(), "DEVELOPER_REJECTED");
}

TEST(ReviewSubmission, onlyTheVersionLeavesOneThatWasNotSent) {
    ReadyVersion ready;
    const std::string open = ready.client().createReviewSubmission(moss, ASCPlatform::iOS).id;
    (void)ready.client().addReviewSubmissionItem(open, ready.version);
    const auto plan = ready.service().planRemoval(moss, ASCPlatform::iOS, ready.version);
    ASSERT_TRUE(plan && plan->itemID);
    for (int run = 0; run < 2; ++run) // the second finds it gone
        EXPECT_EQ(ready.service().remove(moss, *plan), RemovalEnd::removed);
    EXPECT_EQ(ready.state(), "PREPARE_FOR_SUBMISSION");
}

TEST(ReleaseService, releasesOnceAndTakesPhasesThroughTheirStates) {
    for (const char* lost : {"resetAfter", "503After"}) {
        SCOPED_TRACE(lost);
        ReadyVersion ready;
        const auto& client = ready.client();
        const ReleaseService service(client);
        EXPECT_THAT(failureText([&] { service.release(ready.version); }),
                    HasSubstr("PREPARE_FOR_SUBMISSION"));
        ready.fault(fmt::format("POST /v1/appStoreVersionPhasedReleases:{}:1:1", lost));
        service.startPhases(ready.version);
        ready.fixture.server.setVersionState(ready.version, "PENDING_DEVELOPER_RELEASE");
        ready.fault(fmt::format("POST /v1/appStoreVersionReleaseRequests:{}:1:1", lost));
        service.release(ready.version);
        ready.fixture.server.advance(61);
        EXPECT_EQ(ready.state(), "READY_FOR_SALE");
        const std::string phased = client.getPhasedRelease(ready.version)->id;
        for (const PhasedReleaseState state :
             {PhasedReleaseState::paused, PhasedReleaseState::active, PhasedReleaseState::complete}) {
            ready.fault(fmt::format("PATCH /v1/appStoreVersionPhasedReleases/*:{}:1:1", lost));
            service.changePhases(ready.version, phased, state);
            EXPECT_EQ(client.getPhasedRelease(ready.version)->attributes.phasedReleaseState, rawValue(state));
        }
        EXPECT_NE(
            failureText([&] { service.changePhases(ready.version, phased, PhasedReleaseState::active); }),
            "no failure");
    }
    std::vector<std::int64_t> percentages;
    for (std::int64_t day = 0; day <= 8; ++day)
        percentages.push_back(phasedPercentage(day).value_or(-1));
    EXPECT_THAT(percentages, ElementsAre(-1, 1, 2, 5, 10, 20, 50, 100, -1));
}
