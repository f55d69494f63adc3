// From a fresh version to the App Store, over the sandbox.
#include "Core/asc/SharedReads.h"
#include "Quorvel/actions/ChecklistActions.h"
#include "Quorvel/actions/PullActions.h"
#include "Quorvel/actions/PushActions.h"
#include "Quorvel/actions/ShipActions.h"
#include "Quorvel/actions/SubmissionActions.h"
#include "Quorvel/controllers/build/BuildFolder.h"
#include "Tests/support/ApplicationSandbox.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>

namespace quorvel {

namespace {

using test::kindOf;
using testing::HasSubstr;

const std::string sketch(test::sketchApp);
const std::string tides(test::tidesApp);

class ReleaseTest : public testing::Test {
  protected:
    NextAction next(const std::string& app) {
        return ShowChecklist::perform(*sandbox.application, {.app = app}).checklist.pipeline.next;
    }
    [[nodiscard]] std::shared_ptr<const ASCClientProtocol> client() const {
        return sandbox.application->client();
    }
    [[nodiscard]] std::string versionID(const std::string& app, std::string_view version) const {
        for (const auto& one : client()->listAppStoreVersions(app))
            if (one.attributes.versionString == version) return one.id;
        return {};
    }
    void pull(const std::string& app) { (void)PullTexts::perform(*sandbox.application, {.app = app}); }
    std::ptrdiff_t changesSent() const {
        return std::ranges::count_if(sandbox.server.requests(),
                                     [](const auto& request) { return request.method != "GET"; });
    }
    // Waiting moves the clocks on.
    ApplicationOptions waitingOptions() {
        auto options = sandbox.options();
        options.clock = [&, clock = systemClock()] { return clock() + slept; };
        options.sleep = [&](double seconds) {
            pauses.push_back(seconds);
            slept += std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
            sandbox.server.advance(seconds);
        };
        return options;
    }
    test::ApplicationSandbox sandbox;
    std::vector<double> pauses;
    std::chrono::milliseconds slept{0};
};

} // namespace

TEST_F(ReleaseTest, theVersionInPreparationGoesBeforeTheOneOnSaleThatWasPulled) {
    sandbox.server.setVersionState(versionID(tides, "1.9"), "READY_FOR_SALE");
    pull(tides); // selects what there is, the live context
    EXPECT_EQ(next(tides), NextAction::createVersion);
    (void)client()->createAppStoreVersion(tides, {"IOS", "2.0", std::nullopt});
    const auto checklist = ShowChecklist::perform(*sandbox.application, {.app = tides}).checklist;
    EXPECT_EQ(checklist.pipeline.context.value().versionString, "2.0");
    EXPECT_EQ(checklist.pipeline.next, NextAction::pull);
}

TEST_F(ReleaseTest, checklistNamesEachNextActionInTurnWithTwoRequests) {
    EXPECT_EQ(next(sketch), NextAction::pull);
    pull(sketch);
    const MetadataStore texts(sandbox.contextFolder("mosswick-skizzenbuch"));
    texts.write("de-DE", FieldType::name, std::string(31, 'x'));
    EXPECT_EQ(next(sketch), NextAction::trimTexts);
    texts.write("de-DE", FieldType::name, "Skizzenbuch");
    sandbox.server.forgetRequests();
    EXPECT_EQ(next(sketch), NextAction::pushTexts);
    EXPECT_EQ(sandbox.server.requests().size(), 2u);
    const auto plan = PlanPush::perform(*sandbox.application, {.app = sketch}).plan;
    (void)PushTexts::perform(*sandbox.application, {plan});
    EXPECT_EQ(next(sketch), NextAction::pushScreenshots);
    const std::string version = versionID(sketch, "1.0");
    const auto localization = client()->listVersionLocalizations(version).front().id;
    (void)client()->createScreenshotSet(localization, "APP_IPHONE_65");
    EXPECT_EQ(next(sketch), NextAction::build);
    const std::string build = sandbox.server.addBuild(sketch, "IOS", "1.0", "5");
    sandbox.server.advance(600);
    client()->attachBuild(version, build);
    EXPECT_EQ(next(sketch), NextAction::answerCompliance);
    client()->setExportCompliance(build, {.usesNonExemptEncryption = false});
    EXPECT_EQ(next(sketch), NextAction::fillReviewContact);
    const auto shown = ShowChecklist::perform(*sandbox.application, {.app = sketch}).checklist;
    EXPECT_EQ(shown.build->number, "5");
    EXPECT_TRUE(shown.localesWithoutNotes.empty()) << "a first version takes none";
    EXPECT_EQ(ShowChecklist::perform(*sandbox.application, {.app = sketch, .context = "macos/next"})
                  .checklist.pipeline.next,
              NextAction::createVersion);

    const std::string approved = versionID(tides, "1.9");
    const auto in = [&](const char* state) {
        sandbox.server.setVersionState(approved, state);
        return next(tides);
    };
    EXPECT_EQ(in("PENDING_DEVELOPER_RELEASE"), NextAction::release);
    EXPECT_EQ(in("PENDING_CONTRACT"), NextAction::signAgreement);
    EXPECT_EQ(in("IN_REVIEW"), NextAction::waitForReview);
    EXPECT_EQ(in("PREPARE_FOR_SUBMISSION"), NextAction::pull);
    pull(tides);
    EXPECT_EQ(next(tides), NextAction::submit);
    const auto submission = client()->createReviewSubmission(tides, ASCPlatform::iOS);
    (void)client()->addReviewSubmissionItem(submission.id, approved);
    EXPECT_EQ(next(tides), NextAction::finishSubmission);
    EXPECT_EQ(in("READY_FOR_SALE"), NextAction::createVersion);
}

TEST_F(ReleaseTest, submissionIsRefusedWithEachCheckThatIsNotMet) {
    pull(sketch);
    try {
        (void)PlanSubmission::perform(*sandbox.application, {.app = sketch});
        FAIL();
    } catch (const ApplicationError& error) {
        EXPECT_EQ(error.kind(), FailureKind::notReady);
        for (const char* check : {"Screenshots on App Store Connect", "A processed build is attached",
                                  "Review contact filled in: Missing first name, last name, phone, email"})
            EXPECT_THAT(error.what(), HasSubstr(check));
    }
    const auto forced = PlanSubmission::perform(*sandbox.application, {.force = true, .app = sketch}).plan;
    EXPECT_EQ(forced.obstacles.size(), 4u);
    EXPECT_EQ(forced.requests, 3);
    EXPECT_EQ(kindOf([&] { (void)SubmitVersion::perform(*sandbox.application, {forced}); }),
              FailureKind::stateRefused);
    sandbox.server.setVersionState(versionID(tides, "1.9"), "IN_REVIEW");
    EXPECT_EQ(
        kindOf([&] { (void)PlanSubmission::perform(*sandbox.application, {.force = true, .app = tides}); }),
        FailureKind::stateRefused);
}

TEST_F(ReleaseTest, shipmentWaitsThroughReviewAndReleases) {
    const std::string version = versionID(tides, "1.9");
    (void)client()->updateAppStoreVersion(version, {.releaseType = "MANUAL"});
    sandbox.server.setVersionState(version, "PREPARE_FOR_SUBMISSION");
    auto options = waitingOptions();
    Application application(options);
    sandbox.server.forgetRequests();
    const auto plan =
        PlanShip::perform(application, {.version = "1.9", .until = ShipUntil::live, .app = tides}).plan;
    EXPECT_EQ(changesSent(), 0);
    const auto shipped = Ship::perform(application, {plan});
    EXPECT_TRUE(shipped.outcome.isComplete());
    EXPECT_EQ(shipped.outcome.version->appStoreState, "READY_FOR_SALE");
    EXPECT_EQ(changesSent(), plan.requests) << "a submission of three requests and a release";
    EXPECT_EQ(plan.requests, 4);
    EXPECT_TRUE(std::ranges::all_of(pauses, [](double pause) { return pause <= 600; }));
    EXPECT_LT(pauses.size(), 30u);
    sandbox.server.setVersionState(version, "WAITING_FOR_REVIEW");
    options.sleep = [&](double) { sandbox.server.setVersionState(version, "REJECTED"); };
    Application rejected(options);
    const auto waiting =
        PlanShip::perform(rejected, {.version = "1.9", .until = ShipUntil::live, .app = tides}).plan;
    const auto ended = Ship::perform(rejected, {waiting});
    EXPECT_EQ(ended.outcome.steps.back().state, ShipStep::State::person);
    EXPECT_THAT(ended.outcome.steps.back().text, HasSubstr("Rejected"));
}

// After a submission a version may show its old state, and some questions find no answer.
TEST_F(ReleaseTest, shipmentWaitsThroughALateStateAndServiceTrouble) {
    const std::string version = versionID(tides, "1.9");
    const auto ship = [&](const char* lateState, double seconds) {
        sandbox.server.setVersionState(version, "REJECTED");
        auto options = waitingOptions();
        double waited = 0;
        options.sleep = [&, sleep = options.sleep](double pause) {
            sandbox.server.setVersionState(version, waited < seconds ? lateState : "WAITING_FOR_REVIEW");
            sleep(pause);
            waited += pause;
        };
        Application application(options);
        const auto plan = PlanShip::perform(application, {.version = "1.9", .app = tides}).plan;
        sandbox.server.setFaults(
            {{.route = "GET /v1/appStoreVersions/*", .status = 429, .count = 8, .retryAfter = 0}});
        return Ship::perform(application, {plan}).outcome;
    };
    const auto shipped = ship("REJECTED", 40);
    EXPECT_TRUE(shipped.isComplete()) << shipped.steps.back().text;
    const auto late = ship("READY_FOR_REVIEW", 1e6);
    EXPECT_EQ(late.steps.back().state, ShipStep::State::failed);
    EXPECT_THAT(late.steps.back().text, HasSubstr("still says Ready for Review after 15 min"));
}

TEST_F(ReleaseTest, buildThatWasTurnedDownIsNotSubmittedAgain) {
    pull(tides);
    const std::string version = versionID(tides, "1.9");
    sandbox.server.setVersionState(version, "INVALID_BINARY");
    try {
        (void)PlanSubmission::perform(*sandbox.application, {.app = tides});
        FAIL();
    } catch (const ApplicationError& error) {
        EXPECT_EQ(error.kind(), FailureKind::notReady);
        EXPECT_THAT(error.what(), HasSubstr("the attached build was turned down"));
    }
    Application application(waitingOptions());
    const auto plan = [&] {
        return PlanShip::perform(application, {.version = "1.9", .exempt = true, .app = tides}).plan;
    };
    const auto alone = plan();
    EXPECT_EQ(std::ranges::find(alone.steps, ShipStep::Kind::build, &ShipStep::kind)->state,
              ShipStep::State::person)
        << "another one has to be built, and no project is chosen here";
    (void)sandbox.server.addBuild(tides, "IOS", "1.9", "999");
    sandbox.server.advance(600);
    const auto shipped = Ship::perform(application, {plan()}).outcome;
    EXPECT_TRUE(shipped.isComplete()) << shipped.steps.back().text;
    EXPECT_EQ(shipped.version->appStoreState, "WAITING_FOR_REVIEW");
}

TEST_F(ReleaseTest, shipmentUsesTheBuildThatIsThere) {
    pull(tides);
    sandbox.server.setVersionState(versionID(tides, "1.9"), "READY_FOR_SALE");
    const auto made = client()->createAppStoreVersion(tides, {"IOS", "2.0", std::nullopt});
    EXPECT_EQ(next(tides), NextAction::pull) << "the texts on disk are those of 1.9";
    const std::string build = sandbox.server.addBuild(tides, "IOS", "2.0", "91");
    auto options = sandbox.options();
    options.sleep = [&](double seconds) { sandbox.server.advance(seconds); };
    options.xcrun = sandbox.folder / "missing";
    Application application(options);
    const auto plan =
        PlanShip::perform(application,
                          {.version = "2.0", .until = ShipUntil::build, .exempt = true, .app = tides})
            .plan;
    const auto step = std::ranges::find(plan.steps, ShipStep::Kind::build, &ShipStep::kind);
    EXPECT_EQ(step->text, "Wait until App Store Connect has processed build 91");
    const auto shipped = Ship::perform(application, {plan});
    EXPECT_TRUE(shipped.outcome.isComplete()) << shipped.outcome.steps.back().text;
    for (const auto& version : client()->listVersionSummaries(tides))
        if (version.version.id == made.id) {
            EXPECT_EQ(version.build->id, build);
        }
    EXPECT_EQ(client()->listBuilds(tides, "2.0").size(), 1u);
}

TEST_F(ReleaseTest, uploadThatNeverArrivedIsGivenUpOnce) {
    pull(tides);
    sandbox.server.setVersionState(versionID(tides, "1.9"), "READY_FOR_SALE");
    (void)client()->createAppStoreVersion(tides, {"IOS", "2.0", std::nullopt});
    Application application(waitingOptions());
    const auto plan = [&] {
        return PlanShip::perform(application, {.version = "2.0", .until = ShipUntil::build, .app = tides})
            .plan;
    };
    const auto buildOf = [](const ShipPlan& one) {
        return *std::ranges::find(one.steps, ShipStep::Kind::build, &ShipStep::kind);
    };
    const BuildFolder noted(application.home(), plan().app, TargetPlatform::iOS);
    (void)noted.lock(); // makes it
    noted.remember(AwaitedBuild{tides, {.scheme = "Tides"}, "2.0", "91", application.clock()(), false});
    EXPECT_EQ(buildOf(plan()).text, "Go on with build 91, whose upload was cut off");
    const auto shipped = Ship::perform(application, {plan()}).outcome;
    EXPECT_EQ(shipped.steps.back().kind, ShipStep::Kind::build);
    EXPECT_THAT(shipped.steps.back().text, HasSubstr("Build and upload again"));
    EXPECT_EQ(buildOf(plan()).state, ShipStep::State::person) << "no project is chosen here";
}

TEST_F(ReleaseTest, shipmentTakesNothingAlongThatWasNotShownBeforeItsVersionIsMade) {
    pull(tides);
    sandbox.server.setVersionState(versionID(tides, "1.9"), "READY_FOR_SALE");
    MetadataStore(sandbox.contextFolder("pocket-tides"))
        .write("en-US", FieldType::releaseNotes, "Moon phases.");
    (void)sandbox.server.addBuild(tides, "IOS", "2.0", "91");
    sandbox.server.advance(600);
    Application application(waitingOptions());
    const auto plan = [&] {
        return PlanShip::perform(application, {.version = "2.0", .exempt = true, .app = tides}).plan;
    };
    const auto before = plan();
    const std::string open = client()->createReviewSubmission(tides, ASCPlatform::iOS).id;
    (void)client()->exchange(ASCRequest{
        .method = "POST",
        .path = "v1/reviewSubmissionItems",
        .body = fmt::format(
            R"({{"data":{{"type":"reviewSubmissionItems","relationships":{{"reviewSubmission":{{"data":{{"type":"reviewSubmissions","id":"{}"}}}},"appEvent":{{"data":{{"type":"appEvents","id":"{}"}}}}}}}}}})",
            open, client()->listAppEvents(test::gardenID).back().id)});
    const auto shown = plan();
    EXPECT_THAT(std::ranges::find(shown.steps, ShipStep::Kind::submission, &ShipStep::kind)->text,
                HasSubstr("along with the in-app event Tomato Championship"));
    const auto refused = Ship::perform(application, {before}).outcome;
    ASSERT_TRUE(refused.failure);
    EXPECT_THAT(refused.steps.back().text, HasSubstr("take the in-app event Tomato Championship along"));
    EXPECT_EQ(refused.steps.back().kind, ShipStep::Kind::submission);
    const auto made = versionID(tides, "2.0");
    EXPECT_EQ(client()->getAppStoreVersion(made).attributes.appStoreState, "PREPARE_FOR_SUBMISSION");
    const auto shipped = Ship::perform(application, {shown}).outcome;
    EXPECT_TRUE(shipped.isComplete()) << shipped.steps.back().text;
    EXPECT_EQ(client()->getAppStoreVersion(made).attributes.appStoreState, "WAITING_FOR_REVIEW");
}

TEST(Release, platformIsAskedForUnlessTheAppHasOnlyOne) {
    test::ApplicationSandbox sandbox({.seed = sandbox::Seed::empty});
    Application& application = *sandbox.application;
    const auto client = application.client();
    const std::string app = client->listApps().front().id;
    const auto plan = [&] { return PlanShip::perform(application, {.version = "1.0", .app = app}).plan; };
    EXPECT_EQ(kindOf([&] { (void)plan(); }), FailureKind::badRequest);
    (void)client->createAppStoreVersion(app, {"MAC_OS", "1.0", std::nullopt});
    EXPECT_EQ(plan().options.platform, ASCPlatform::macOS);
    (void)client->createAppStoreVersion(app, {"IOS", "1.0", std::nullopt});
    try {
        (void)plan();
        FAIL();
    } catch (const ApplicationError& error) {
        EXPECT_EQ(error.kind(), FailureKind::badRequest);
        EXPECT_THAT(error.advice(), HasSubstr("ios/next or macos/next"));
    }
}

TEST_F(ReleaseTest, openVersionIsRenamedAndALockedOneIsAPersonsMatter) {
    pull(sketch);
    const auto plan = PlanShip::perform(*sandbox.application, {.version = "1.1", .app = sketch}).plan;
    EXPECT_EQ(plan.steps.front().text, "Rename version 1.0 to 1.1");
    const auto shipped = Ship::perform(*sandbox.application, {plan});
    EXPECT_EQ(shipped.outcome.version->versionString, "1.1");
    EXPECT_EQ(shipped.outcome.steps.back().kind, ShipStep::Kind::screenshots);
    EXPECT_EQ(shipped.outcome.steps.back().state, ShipStep::State::person);
    const auto locked = PlanShip::perform(*sandbox.application, {.version = "2.0", .app = tides}).plan;
    EXPECT_EQ(locked.steps.front().state, ShipStep::State::person);
    EXPECT_EQ(locked.requests, 0);
}

TEST_F(ReleaseTest, sharedReadsAskEachQuestionOnceAndChangeNothing) {
    const SharedReads shared(client());
    sandbox.server.forgetRequests();
    EXPECT_EQ(shared.listApps().size(), shared.listApps().size());
    EXPECT_EQ(sandbox.server.requests().size(), 1u);
    sandbox.server.setFaults({{.route = "GET /v1/apps/*/appInfos", .status = 404, .count = 1}});
    EXPECT_THROW((void)shared.listAppInfos(sketch), ASCError);
    EXPECT_EQ(shared.listAppInfos(sketch).size(), 1u) << "a failure is no answer";
    EXPECT_THROW(shared.deleteScreenshot("1"), std::logic_error);
}

} // namespace quorvel
