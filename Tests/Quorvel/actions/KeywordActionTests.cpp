#include "Core/metadata/MetadataStore.h"
#include "Platform/task/StopToken.h"
#include "Platform/task/Task.h"
#include "Quorvel/actions/AppActions.h"
#include "Quorvel/actions/CompetitorActions.h"
#include "Quorvel/actions/KeywordActions.h"
#include "Tests/support/ApplicationSandbox.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <thread>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

const std::string frondly = "6710000003";  // "Frondly – Plant Identifier"
const std::string plotwise = "6710000001"; // "Plotwise: Garden Planner", free

class RecordingNotifier : public DesktopNotifier {
  public:
    [[nodiscard]] Outcome show(const std::vector<DesktopNotification>& notifications) override {
        Outcome outcome;
        for (const DesktopNotification& one : notifications) {
            shown.push_back(one);
            outcome.shown.push_back(one.id);
        }
        return outcome;
    }
    std::vector<DesktopNotification> shown;
};

/// The garden journal, with a clock that moves with the store's.
class KeywordActions : public testing::Test {
  protected:
    KeywordActions() : application(made()) {
        static_cast<void>(ImportApps::perform(*application, {.apps = {gardenID}}));
        world.server.forgetRequests();
    }
    std::unique_ptr<Application> made() {
        auto options = world.options();
        options.clock = [this] { return now; };
        options.sleep = [this](double seconds) { slept += seconds; };
        options.patience = std::chrono::seconds(0);
        return std::make_unique<Application>(std::move(options));
    }
    void track(std::vector<std::string> terms, std::vector<std::string> countries = {"us"}) {
        static_cast<void>(TrackKeywords::perform(
            *application, {.terms = std::move(terms), .countries = std::move(countries)}));
    }
    RefreshKeywords::Result refresh(bool all = false) {
        return RefreshKeywords::perform(*application, {.all = all}, {}, notifier);
    }
    PlanKeywordRefresh::Result plan() { return PlanKeywordRefresh::perform(*application, {}); }
    ShowRanks::Result ranks() { return ShowRanks::perform(*application, {}); }
    void moveOn(std::chrono::hours time) {
        now += time;
        world.server.advance(static_cast<double>(std::chrono::seconds(time).count()));
    }
    std::vector<std::string> searches() {
        std::vector<std::string> targets;
        for (const auto& request : world.server.requests())
            if (request.path.ends_with("/search")) targets.push_back(request.target);
        world.server.forgetRequests();
        return targets;
    }
    // Takes the app from sale, and puts it back.
    void sell(bool isSold) {
        const JSONValue state = world.server.state();
        for (const auto& [id, version] : *state.find("appStoreVersions")->members()) {
            const JSONValue* raw = version.at("attributes", "appStoreState");
            if (!raw || !raw->text()) continue;
            if (isSold ? removed_.contains(id) : *raw->text() == "READY_FOR_SALE") {
                world.server.setVersionState(id, isSold ? "READY_FOR_SALE" : "REMOVED_FROM_SALE");
                removed_.insert(id);
            }
        }
    }

    ApplicationSandbox world;
    Date now = systemClock()();
    double slept = 0;
    std::shared_ptr<RecordingNotifier> notifier = std::make_shared<RecordingNotifier>();
    std::unique_ptr<Application> application;

  private:
    std::set<std::string> removed_;
};

TEST_F(KeywordActions, trackRefreshAndRaiseEachAlertOnce) {
    track({"garden", "Plant  Diary"}, {"us", "DE"});
    const auto again = TrackKeywords::perform(
        *application, {.terms = {"plant diary"}, .countries = {"us"}, .note = "spelt otherwise"});
    EXPECT_THAT(again.added, IsEmpty());
    EXPECT_THAT(again.known, ElementsAre(Field(&TrackedKeyword::note, "spelt otherwise")));
    EXPECT_EQ(plan().searchRequests, 4);

    const auto first = refresh();
    ASSERT_THAT(first.terms, SizeIs(4));
    EXPECT_THAT(searches(), SizeIs(4));
    EXPECT_THAT(first.alerts, IsEmpty());
    const auto rows = ranks().rows;
    ASSERT_THAT(rows, SizeIs(4));
    EXPECT_EQ(rows[2].keyword.term, "Plant Diary") << "by country, then term";
    const auto ranked = std::ranges::count_if(rows, [](const auto& row) { return row.rank.has_value(); });
    ASSERT_GE(ranked, 2);
    EXPECT_TRUE(rows[3].rank) << "garden in us";

    EXPECT_THAT(refresh().terms, IsEmpty()) << "nothing is due";
    EXPECT_THAT(searches(), IsEmpty());
    moveOn(std::chrono::hours(21));
    sell(false);
    const auto second = refresh();
    EXPECT_THAT(second.terms, SizeIs(4));
    ASSERT_THAT(second.alerts, SizeIs(ranked));
    EXPECT_EQ(second.alerts[0].alert.summary, "Fell out of the top 200");
    EXPECT_EQ(second.notified, ranked);
    EXPECT_THAT(notifier->shown, Not(IsEmpty()));
    EXPECT_THAT(ListRankAlerts::perform(*application, {}).alerts, SizeIs(ranked));

    notifier->shown.clear();
    moveOn(std::chrono::hours(21));
    EXPECT_THAT(refresh().alerts, SizeIs(ranked));
    EXPECT_THAT(notifier->shown, IsEmpty()) << "told already";
    moveOn(std::chrono::hours(21));
    sell(true);
    for (const RankAlert& alert : refresh().alerts)
        EXPECT_NE(alert.keyword, rows[3].keyword.id) << "only the ends of the week count";
    moveOn(std::chrono::hours(21));
    sell(false);
    EXPECT_THAT(refresh().alerts, SizeIs(ranked));
    EXPECT_THAT(notifier->shown, Not(IsEmpty())) << "it came to rest in between";

    const auto rows2 = ranks().rows;
    EXPECT_EQ(rows2[3].days.back(), (DailyRank{true, std::nullopt}));
    EXPECT_THAT(ExportRanks::perform(*application, {.countries = {"us"}}).rows, SizeIs(10));
}

TEST_F(KeywordActions, goOnWithWhatIsDueAfterACancellation) {
    track({"garden", "plants", "diary", "seeds", "tides"});
    std::stop_source stop;
    ActionProgress progress;
    progress.step = [&](const ActionProgress::Step& step) {
        if (step.done == std::size_t{2}) stop.request_stop();
    };
    {
        const TaskScope task(stop.get_token());
        EXPECT_THROW((void)RefreshKeywords::perform(*application, {}, progress), CancellationError);
    }
    const auto rest = plan();
    EXPECT_THAT(rest.keywords, SizeIs(3));
    EXPECT_EQ(rest.keywordsUpToDate, 2);
    world.server.forgetRequests();
    application = made(); // another run
    EXPECT_THAT(refresh().terms, SizeIs(3));
    EXPECT_THAT(searches(), SizeIs(3));
    EXPECT_THAT(ExportRanks::perform(*application, {}).rows, SizeIs(5)) << "each once";
}

TEST_F(KeywordActions, leaveTheRestDueWhereTheStoreTurnsAway) {
    track({"a1", "b1", "c1", "d1", "garden"});
    world.server.setFaults({{.route = "GET /store/itunes/search", .status = 500, .count = 1}});
    const auto partly = refresh();
    EXPECT_EQ(std::ranges::count_if(partly.terms, [](const auto& term) { return term.failure.has_value(); }),
              1);
    EXPECT_THAT(partly.terms, SizeIs(5)) << "one failure stops no other";
    moveOn(std::chrono::hours(24));
    searches();
    world.server.setFaults({{.route = "GET /store/itunes/search", .status = 403}});
    const auto refused = refresh();
    EXPECT_THAT(searches(), SizeIs(3));
    EXPECT_EQ(refused.leftDue, 2);
    EXPECT_THAT(refused.terms,
                AllOf(SizeIs(3), Each(Field(&RefreshKeywords::Term::snapshot, testing::Eq(std::nullopt)))));
    EXPECT_EQ(refused.terms[0].failure->kind, FailureKind::serviceTrouble);
    EXPECT_THAT(refused.terms[0].failure->text, HasSubstr("App Store endpoint returned HTTP 403"));
    EXPECT_THAT(plan().keywords, SizeIs(5));
    EXPECT_EQ(slept, 0) << "nobody waits longer than the user allows";
    world.server.setFaults({});
    EXPECT_EQ(refresh().leftDue, 0);
    EXPECT_THAT(plan().keywords, IsEmpty());
}

TEST_F(KeywordActions, writeNoSnapshotTwiceWhenTwoProgramsRefresh) {
    track({"garden", "plants", "diary"});
    world.server.setLatency(20);
    const auto other = made();
    std::exception_ptr refusal;
    std::thread second([&] {
        try {
            static_cast<void>(RefreshKeywords::perform(*other, {}));
        } catch (...) {
            refusal = std::current_exception();
        }
    });
    try {
        static_cast<void>(RefreshKeywords::perform(*application, {}));
    } catch (...) {
        EXPECT_FALSE(refusal) << "one of them works";
        refusal = std::current_exception();
    }
    second.join();
    if (refusal) {
        EXPECT_EQ(failureOf(refusal).kind, FailureKind::operationRunning);
    }
    EXPECT_THAT(ExportRanks::perform(*application, {}).rows, SizeIs(3));
}

TEST_F(KeywordActions, followCompetitorsBesideOneThatIsNotThere) {
    const auto added = AddCompetitors::perform(
        *application, {.competitors = {"https://apps.apple.com/us/app/frondly/id" + frondly, "999", gardenID},
                       .countries = {"us"}});
    ASSERT_THAT(added.outcomes, SizeIs(3));
    EXPECT_EQ(added.outcomes[0].competitor->name, "Frondly – Plant Identifier");
    EXPECT_EQ(added.outcomes[1].failure->kind, FailureKind::notFound);
    EXPECT_THAT(added.outcomes[2].failure->text, HasSubstr("is the app itself"));
    track({"plants"});
    const auto result = refresh();
    ASSERT_THAT(result.competitors, SizeIs(1));
    ASSERT_TRUE(result.competitors[0].snapshot);
    EXPECT_EQ(result.competitors[0].snapshot->subtitle, "Name any plant & leaf");
    EXPECT_TRUE(result.terms[0].snapshot->competitorRanks.contains(frondly));
    const auto row = ranks().rows[0];
    ASSERT_THAT(row.competitors, SizeIs(1));
    EXPECT_EQ(row.competitors[0].name, "Frondly – Plant Identifier");

    const auto removal = PlanCompetitorRemoval::perform(*application, {.competitors = {frondly}});
    ASSERT_THAT(removal.competitors, SizeIs(1));
    EXPECT_EQ(removal.competitors[0].snapshots, 1);
    static_cast<void>(RemoveCompetitors::perform(*application, {{removal.competitors[0].competitor}}));
    EXPECT_THAT(ListCompetitors::perform(*application, {}).competitors, IsEmpty());
    EXPECT_EQ(kindOf([&] { (void)PlanCompetitorRemoval::perform(*application, {.competitors = {frondly}}); }),
              FailureKind::notFound);
}

TEST_F(KeywordActions, suggestWithoutWhatIsKnownOrForbidden) {
    const MetadataStore texts(world.contextFolder("mosswick-garden-journal"));
    texts.write("en-US", FieldType::name, "Mosswick: Garden Journal");
    texts.write("en-US", FieldType::subtitle, "Plan and remember");
    texts.write("en-US", FieldType::keywords, "plants,seeds,harvest");
    static_cast<void>(
        AddCompetitors::perform(*application, {.competitors = {frondly, plotwise}, .countries = {"us"}}));
    track({"plants", "garden diary"});
    refresh();
    const auto use = ranks().rows[1].use;
    ASSERT_TRUE(use);
    EXPECT_EQ(use->locale, "en-US");
    EXPECT_THAT(use->fields, ElementsAre(FieldType::keywords));

    world.server.forgetRequests();
    const auto found = SuggestKeywords::perform(
        *application, {.country = "us", .seeds = {"garden", "plan", "frond"}, .limit = 6});
    EXPECT_LE(searches().size(), 6u);
    ASSERT_THAT(found.suggestions, SizeIs(6));
    EXPECT_TRUE(std::ranges::is_sorted(found.suggestions, std::greater(),
                                       [](const auto& one) { return one.score.total; }));
    for (const KeywordSuggestion& one : found.suggestions) {
        EXPECT_GT(one.facts.results, 0) << one.term;
        EXPECT_THAT(one.term, Not(testing::AnyOf("plants", "garden", "journal", "frondly"))) << one.term;
        EXPECT_EQ(one.score.total,
                  one.score.demand + one.score.competition + one.score.reach + one.score.length);
    }
    const auto leftOut = [&](const std::string& term, LeftOutKeyword::Reason reason) {
        return std::ranges::any_of(found.leftOut, [&](const LeftOutKeyword& one) {
            return one.term == term && one.reason == reason;
        });
    };
    EXPECT_TRUE(leftOut("garden", LeftOutKeyword::Reason::inName));
    EXPECT_TRUE(leftOut("plants", LeftOutKeyword::Reason::tracked));
    EXPECT_TRUE(leftOut("frondly", LeftOutKeyword::Reason::brand));
    EXPECT_THAT(found.problems, IsEmpty());

    world.server.setFaults({{.route = "GET /store/hints/**", .status = 500}});
    const auto without =
        SuggestKeywords::perform(*application, {.country = "us", .seeds = {"garden"}, .limit = 2});
    EXPECT_THAT(without.suggestions, SizeIs(2)) << "competitors' terms are there all the same";
    EXPECT_THAT(without.problems, ElementsAre(HasSubstr("HTTP 500")));
}

} // namespace
} // namespace quorvel::test
