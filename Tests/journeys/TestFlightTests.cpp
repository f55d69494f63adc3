#include "Quorvel/actions/ReleaseActions.h"
#include "Quorvel/actions/TestFlightActions.h"
#include "Quorvel/actions/TestNotesActions.h"
#include "Tests/support/ApplicationSandbox.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const std::string mosswick(test::gardenApp);
const std::string tides(test::tidesApp);

struct TestFlightJourney : test::ApplicationSandbox {
    using ApplicationSandbox::ApplicationSandbox;

    // Performs a performing action with the plan of its preparing one.
    template <typename Plan, typename Perform>
    typename Perform::Result carryOut(const typename Plan::Request& request) {
        return Perform::perform(*application, {Plan::perform(*application, request).plan, {}});
    }
    void fault(const std::string& spec) { server.setFaults({sandbox::parseFault(spec)}); }
    std::vector<std::string> addressesIn(const std::string& group) {
        std::vector<std::string> addresses;
        for (const auto& each :
             ListTesters::perform(*application, {.group = group, .app = mosswick, .workspace = {}}).testers)
            addresses.push_back(each.attributes.email.value_or(""));
        return addresses;
    }
    std::size_t changes() const {
        const auto sent = server.requests();
        return static_cast<std::size_t>(
            std::ranges::count_if(sent, [](const auto& request) { return request.method != "GET"; }));
    }
};

std::string adviceOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::exception& error) {
        const Failure failure = failureOf(error);
        return failure.text + " | " + failure.advice.value_or("");
    }
    return "no failure";
}

} // namespace

TEST(TestFlightJourney, anEmptyAccountGetsAGroupWithTestersOnceThoughAnswersAreLost) {
    TestFlightJourney home(sandbox::Options{.stateFolder = {}, .seed = sandbox::Seed::empty});
    const std::optional<std::string> app = "studio.fernhollow.blankcanvas";
    EXPECT_THAT(ListTestGroups::perform(*home.application, {app, {}}).groups, IsEmpty());
    EXPECT_THAT(adviceOf([&] {
                    (void)ListTesters::perform(*home.application, {"Friends", app, {}});
                }),
                HasSubstr("The app has no groups yet."));
    home.fault("POST /v1/betaGroups:resetAfter:1:1");
    const auto made = home.carryOut<PlanTestGroup, CreateTestGroup>({"Friends", false, app, {}});
    EXPECT_FALSE(made.group.isInternal);
    writeFileAtomically(home.folder / "testers.csv",
                        "Yuki,Tanaka,yuki@example.com\nMaren,,maren@example.com\n,,oops\n");
    PlanTesters::Request request{
        .group = "friends", .testers = {}, .file = "testers.csv", .app = app, .workspace = {}};
    home.fault("POST /v1/betaTesters:resetAfter:1:1");
    const auto added = home.carryOut<PlanTesters, AddTesters>(request);
    ASSERT_THAT(added.outcomes, SizeIs(2));
    for (const auto& outcome : added.outcomes)
        EXPECT_FALSE(outcome.failure) << outcome.failure->text;
    const auto again = PlanTesters::perform(*home.application, request).plan;
    EXPECT_THAT(again.testers, IsEmpty());
    EXPECT_THAT(again.present, ElementsAre("yuki@example.com", "maren@example.com"));
    EXPECT_THAT(again.problems, ElementsAre(TesterFileProblem{3, "\"oops\" is no e-mail address"}));
    const auto groups = ListTestGroups::perform(*home.application, {app, {}}).groups;
    ASSERT_THAT(groups, SizeIs(1));
    EXPECT_EQ(groups[0].testers, 2);
}

TEST(TestFlightJourney, goesOnPastATesterThatIsRefusedAndStopsWhereAllWouldFail) {
    TestFlightJourney home;
    PlanTesters::Request request{
        .group = "Studio",
        .testers = {{{}, {}, "guest@example.com"}, {{}, {}, "ada@fernhollow.example"}},
        .file = {},
        .app = mosswick,
        .workspace = {}};
    const auto added = home.carryOut<PlanTesters, AddTesters>(request);
    ASSERT_TRUE(added.outcomes[0].failure);
    EXPECT_THAT(added.outcomes[0].failure->text, HasSubstr("members of your team"));
    EXPECT_FALSE(added.outcomes[1].failure);
    EXPECT_THAT(home.addressesIn("Studio"), testing::Contains("ada@fernhollow.example"));

    request.testers.clear();
    for (int number = 0; number < 40; ++number)
        request.testers.push_back({{}, {}, fmt::format("t{}@fernhollow.example", number)});
    const auto plan = PlanTesters::perform(*home.application, request).plan;
    home.server.revokeKey(true);
    home.server.forgetRequests();
    const auto refused = AddTesters::perform(*home.application, {plan, {}});
    EXPECT_TRUE(
        std::ranges::all_of(refused.outcomes, [](const auto& one) { return one.failure.has_value(); }));
    EXPECT_LT(home.changes(), 20u) << "a key that is refused is not tried for everybody";
}

TEST(TestFlightJourney, writesOnlyNotesThatDiffer) {
    TestFlightJourney home;
    createFolders(home.folder / "notes");
    writeFileAtomically(home.folder / "notes/de-DE.txt", "Neue Wochenansicht.\r\n");
    writeFileAtomically(home.folder / "notes/ja.txt", " \n");
    writeFileAtomically(home.folder / "notes/de.txt", "x");
    PlanTestNotes::Request request{.tree = "notes", .build = "352", .platform = "ios", .app = mosswick};
    const auto plan = PlanTestNotes::perform(*home.application, request).plan;
    ASSERT_THAT(plan.changes, SizeIs(1));
    EXPECT_EQ(plan.changes[0].after, "Neue Wochenansicht.");
    EXPECT_THAT(plan.remarks, ElementsAre("de.txt is left out: it is no <locale>.txt. Did you mean de-DE?",
                                          "ja is left out: its text is empty"));
    EXPECT_FALSE(WriteTestNotes::perform(*home.application, {plan, {}}).outcomes[0].failure);
    EXPECT_THAT(PlanTestNotes::perform(*home.application, request).plan.unchanged, ElementsAre("de-DE"));

    // A text goes to the primary locale where none is named.
    request.tree.reset();
    request.text = std::string(4001, 'x');
    EXPECT_THAT(adviceOf([&] { (void)PlanTestNotes::perform(*home.application, request); }),
                HasSubstr("en-US has 4001 characters"));
    request.text = "Try the week view.";
    request.build = "353";
    home.fault("POST /v1/betaBuildLocalizations:resetAfter:1:1");
    (void)home.carryOut<PlanTestNotes, WriteTestNotes>(request);
    const auto shown = ShowTestNotes::perform(*home.application, {.build = "353", .app = mosswick});
    EXPECT_EQ(shown.notes, (std::map<std::string, std::string>{{"en-US", "Try the week view."}}));

    request.releaseNotes = true;
    EXPECT_EQ(test::kindOf([&] { (void)PlanTestNotes::perform(*home.application, request); }),
              FailureKind::badRequest);
    request.text.reset();
    const auto texts = home.folder / "texts/ios/next/de-DE";
    createFolders(texts);
    writeFileAtomically(texts / "release_notes.txt", "Aus dem Store.\n");
    request.folder = (home.folder / "texts").string();
    request.context = "ios/next";
    const auto fromStore = PlanTestNotes::perform(*home.application, request).plan;
    ASSERT_THAT(fromStore.changes, SizeIs(1));
    EXPECT_EQ(fromStore.changes[0], (TestNotesChange{"de-DE", std::nullopt, "Aus dem Store."}));
}

TEST(TestFlightJourney, aBuildGoesToGroupsAndThroughBetaReviewOnce) {
    TestFlightJourney home;
    PlanBuildToGroups::Request request{.groups = {"Translators", "Studio"},
                                       .notify = true,
                                       .build = {},
                                       .version = {},
                                       .platform = "ios",
                                       .app = mosswick,
                                       .workspace = {}};
    const BuildRequest of352{.build = "352", .platform = "ios", .app = mosswick};
    EXPECT_THAT(adviceOf([&] { (void)PlanBuildToGroups::perform(*home.application, request); }),
                HasSubstr("3.5 (353) for ios misses its answer on encryption"));
    struct Refused {
        const char* build;
        const char* text;
    };
    for (const Refused& one : {Refused{"354", "is still being processed"},
                               {"350", "was not accepted (INVALID)"},
                               {"330", "has expired"},
                               {"999", "There are 3.5 (354) for ios"}}) {
        request.build = one.build;
        EXPECT_THAT(adviceOf([&] { (void)PlanBuildToGroups::perform(*home.application, request); }),
                    HasSubstr(one.text));
    }
    request.build = "352";
    home.fault("POST /v1/betaGroups/*/relationships/builds:resetAfter:1:1");
    const auto planned = PlanBuildToGroups::perform(*home.application, request).plan;
    EXPECT_THAT(planned.groups, SizeIs(1));
    EXPECT_THAT(planned.present, SizeIs(1)) << "Studio gets every build";
    const auto given = AddBuildToGroups::perform(*home.application, {planned, {}});
    EXPECT_FALSE(given.outcomes[0].failure);
    EXPECT_EQ(given.externalState, "READY_FOR_BETA_SUBMISSION");
    EXPECT_THAT(PlanBuildToGroups::perform(*home.application, request).plan.groups, IsEmpty());
    request.platform.reset();
    EXPECT_THAT(adviceOf([&] { (void)PlanBuildToGroups::perform(*home.application, request); }),
                HasSubstr("\"352\" may be 3.5 (352) for macos, 3.5 (352) for ios"));

    home.fault("POST /v1/betaAppReviewSubmissions:resetAfter:1:1");
    const auto submitted = home.carryOut<PlanBetaReview, SubmitForBetaReview>(of352);
    EXPECT_EQ(submitted.betaReviewState, "WAITING_FOR_REVIEW");
    home.server.forgetRequests();
    EXPECT_EQ((home.carryOut<PlanBetaReview, SubmitForBetaReview>(of352).end), StepEnd::wasDone);
    EXPECT_EQ(home.changes(), 0u);
}

TEST(ReleaseJourney, refusesInTheWordsOfTheStateAndReleasesWhatWaits) {
    TestFlightJourney home;
    const PlatformRequest ofTides{.platform = {}, .app = tides, .workspace = {}};
    const PlatformRequest ofMosswick{.platform = "ios", .app = mosswick, .workspace = {}};
    EXPECT_THAT(adviceOf([&] { (void)PlanRelease::perform(*home.application, ofMosswick); }),
                HasSubstr("ios 3.5: This version is not submitted yet (Prepare for Submission)."));
    const std::string version =
        PlanReleaseType::perform(*home.application,
                                 {ReleaseType::manual, {}, ofMosswick.platform, ofMosswick.app, {}})
            .plan.version.versionId;
    home.server.setVersionState(version, "IN_REVIEW");
    EXPECT_EQ(test::kindOf([&] { (void)PlanRelease::perform(*home.application, ofMosswick); }),
              FailureKind::stateRefused);
    EXPECT_THAT(adviceOf([&] { (void)PlanRelease::perform(*home.application, ofMosswick); }),
                HasSubstr("is in review right now"));
    EXPECT_THAT(adviceOf([&] { (void)PlanReviewRemoval::perform(*home.application, ofTides); }),
                HasSubstr("is approved and waiting to be released"));

    const PlanReleaseType::Request schedule{
        ReleaseType::scheduled, "2031-12-01T09:00:00+01:00", {}, tides, {}};
    const auto set = home.carryOut<PlanReleaseType, SetReleaseType>(schedule);
    EXPECT_EQ(set.version.attributes.releaseType, "SCHEDULED");
    EXPECT_TRUE(PlanReleaseType::perform(*home.application, schedule).plan.isSet);
    for (const auto& [date, text] : std::map<std::string, std::string>{{"2031-12-01", "is no date"},
                                                                       {"2020-01-01T00:00:00Z", "is over"}}) {
        auto wrong = schedule;
        wrong.date = date;
        EXPECT_THAT(adviceOf([&] { (void)PlanReleaseType::perform(*home.application, wrong); }),
                    HasSubstr(text));
    }

    const auto step = [&](PhasedStep wanted) { return PlanPhasedRelease::Request{wanted, {}, tides, {}}; };
    const auto carry = [&](PhasedStep wanted) {
        return home.carryOut<PlanPhasedRelease, ChangePhasedRelease>(step(wanted)).phased;
    };
    EXPECT_EQ(carry(PhasedStep::start)->state, "INACTIVE");
    EXPECT_TRUE(PlanPhasedRelease::perform(*home.application, step(PhasedStep::start)).plan.isDone);
    EXPECT_THAT(
        adviceOf([&] { (void)PlanPhasedRelease::perform(*home.application, step(PhasedStep::pause)); }),
        HasSubstr("The phased release of ios 1.9 is INACTIVE."));
    EXPECT_EQ(carry(PhasedStep::complete), std::nullopt) << "one that has not begun is taken away";
    EXPECT_EQ(carry(PhasedStep::start)->state, "INACTIVE");
    EXPECT_TRUE(PlanRelease::perform(*home.application, ofTides).plan.inPhases);
    EXPECT_EQ((home.carryOut<PlanRelease, ReleaseVersion>(ofTides).version.appStoreState),
              "PROCESSING_FOR_APP_STORE");
    home.server.advance(61);
    home.server.advance(2 * 86'400 + 1);
    EXPECT_EQ(carry(PhasedStep::pause)->state, "PAUSED");
    const auto shown = ShowPhasedRelease::perform(*home.application, ofTides).versions;
    ASSERT_THAT(shown, SizeIs(1));
    EXPECT_EQ(shown[0].phased->day, 3);
    EXPECT_EQ(shown[0].phased->percentage, 5);
    EXPECT_EQ(carry(PhasedStep::resume)->state, "ACTIVE");
    EXPECT_EQ(carry(PhasedStep::complete)->percentage, 100);
    EXPECT_EQ(test::kindOf([&] { (void)carry(PhasedStep::resume); }), FailureKind::stateRefused);
    EXPECT_THAT(
        adviceOf([&] { (void)PlanPhasedRelease::perform(*home.application, step(PhasedStep::start)); }),
        HasSubstr("only before a version is released"));
}
