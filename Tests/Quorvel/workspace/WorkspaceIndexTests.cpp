#include "Platform/log/Log.h"
#include "Platform/task/StopToken.h"
#include "Tests/Quorvel/workspace/WorkspaceFixture.h"

#include <atomic>

namespace quorvel::test {
namespace {

using Summary = WorkspaceIndex::Summary;
using Bucket = Summary::Bucket;
using testing::HasSubstr;

Summary summaryOf(std::vector<PlatformContext> contexts) {
    return WorkspaceIndex::summarize("app", PersistedContexts{Date(), std::move(contexts), std::nullopt});
}

TEST(WorkspaceSummary, sortsEveryStateIntoItsBucket) {
    const std::pair<Bucket, std::vector<std::string>> buckets[] = {
        {Bucket::attention,
         {"REJECTED", "DEVELOPER_REJECTED", "METADATA_REJECTED", "INVALID_BINARY", "REMOVED_FROM_SALE",
          "DEVELOPER_REMOVED_FROM_SALE", "PENDING_DEVELOPER_RELEASE", "PREPARE_FOR_SUBMISSION"}},
        {Bucket::inReview,
         {"IN_REVIEW", "ACCEPTED", "READY_FOR_REVIEW", "WAITING_FOR_REVIEW", "PENDING_APPLE_RELEASE",
          "PROCESSING_FOR_APP_STORE", "WAITING_FOR_EXPORT_COMPLIANCE", "PENDING_CONTRACT", "SOMETHING_NEW"}},
        {Bucket::live,
         {"READY_FOR_SALE", "READY_FOR_DISTRIBUTION", "PROCESSING_FOR_DISTRIBUTION",
          "PREORDER_READY_FOR_SALE", "REPLACED_WITH_NEW_VERSION"}},
    };
    for (const auto& [bucket, states] : buckets)
        for (const std::string& state : states) {
            const Summary summary = summaryOf({contextIn(state)});
            EXPECT_EQ(summary.bucket(), bucket) << state;
            EXPECT_EQ(summary.attentionCount(), bucket == Bucket::attention) << state;
            EXPECT_EQ(summary.headline, contextIn(state)) << state;
        }
    EXPECT_FALSE(asksForAttention("rejected"));
}

TEST(WorkspaceSummary, isHeadedByTheContextThatPutTheAppIntoItsBucket) {
    const PlatformContext onSale = contextIn("READY_FOR_SALE"), removed = contextIn("REMOVED_FROM_SALE"),
                          inReview = contextIn("IN_REVIEW"), rejected = contextIn("REJECTED"),
                          macOnSale = contextIn("READY_FOR_SALE", ASCPlatform::macOS),
                          macWaiting = contextIn("WAITING_FOR_REVIEW", ASCPlatform::macOS),
                          macDraft = contextIn("PREPARE_FOR_SUBMISSION", ASCPlatform::macOS);
    struct Case {
        std::vector<PlatformContext> contexts;
        Bucket bucket;
        PlatformContext headline;
        std::int64_t attention;
    };
    const Case cases[] = {
        {{onSale, macOnSale}, Bucket::live, onSale, 0},
        {{inReview, onSale}, Bucket::inReview, inReview, 0},
        {{onSale, macWaiting}, Bucket::inReview, macWaiting, 0},
        {{inReview, macDraft}, Bucket::attention, macDraft, 1},
        {{inReview, removed}, Bucket::attention, removed, 1},  // also behind a version in review
        {{removed, macDraft}, Bucket::attention, macDraft, 2}, // next goes before live
        {{rejected, onSale, macDraft}, Bucket::attention, rejected, 2},
    };
    for (const Case& one : cases) {
        const Summary summary = summaryOf(one.contexts);
        const std::string label = encodeJSON(one.contexts);
        EXPECT_EQ(summary.bucket(), one.bucket) << label;
        EXPECT_EQ(summary.headline, one.headline) << label;
        EXPECT_EQ(summary.attentionCount(), one.attention) << label;
    }
    EXPECT_EQ(summaryOf({}).bucket(), Bucket::notPulled);
    EXPECT_EQ(WorkspaceIndex::summarize("app", std::nullopt), (Summary{.appID = "app"}));
    EXPECT_LT(Bucket::attention, Bucket::inReview);
    EXPECT_LT(Bucket::inReview, Bucket::live);
    EXPECT_LT(Bucket::live, Bucket::notPulled);
}

using WorkspaceIndexTest = WorkspaceFixture;

TEST_F(WorkspaceIndexTest, readsEveryAppAndTakesUnreadableOnesAsNotPulled) {
    const ManagedApp pulled = addApp("pulled"), fresh = addApp("fresh"), damaged = addApp("damaged"),
                     empty = addApp("empty");
    ManagedApp moved = addApp("moved"), lost = addApp("lost");
    save(pulled, {contextIn("REJECTED"), contextIn("READY_FOR_SALE")});
    save(empty, {});
    save(damaged, {});
    writeFileAtomically(appFolderOf(damaged, home, apps).contextsFile(), "{\"contexts\": [");
    moved = chooseAppFolder(moved, {folder / "trees/old name"}, home, apps);
    save(moved, {contextIn("PREPARE_FOR_SUBMISSION")});
    std::filesystem::rename(folder / "trees/old name", folder / "trees/new name");
    lost = chooseAppFolder(lost, {folder / "gone/lost"}, home, apps);
    std::filesystem::remove_all(folder / "gone");

    const LogCapture log;
    WorkspaceIndex index(apps, home, clock, notifications);
    EXPECT_EQ(*index.state(), WorkspaceIndex::State());
    index.rebuild();
    const auto state = index.state();
    EXPECT_EQ(state->attentionCount, 2);
    ASSERT_EQ(state->summaries.size(), 6U);
    for (const ManagedApp& app : {fresh, damaged, lost})
        EXPECT_EQ(state->summaries.at(app.id), (Summary{.appID = app.id})) << app.slug;
    EXPECT_EQ(state->summaries.at(empty.id).bucket(), Bucket::notPulled);
    EXPECT_EQ(state->summaries.at(empty.id).lastUpdated, clock());
    EXPECT_EQ(state->summaries.at(pulled.id).headline, contextIn("REJECTED"));
    EXPECT_EQ(state->summaries.at(moved.id).headline, contextIn("PREPARE_FOR_SUBMISSION"));
    EXPECT_THAT(log.text(), HasSubstr("lost has no usable folder: "));
    EXPECT_THAT(log.text(), HasSubstr("Wrote fresh bookmark for moved → "));
    EXPECT_FALSE(std::filesystem::exists(appFolderOf(fresh, home, apps).rootURL)); // reading makes nothing
}

TEST_F(WorkspaceIndexTest, followsPullsOfOneAppAtATime) {
    const ManagedApp first = addApp("first"), second = addApp("second");
    WorkspaceIndex index(apps, home, clock, notifications);
    index.rebuild();
    int wakes = 0;
    const auto watching = index.observe(inlineExecutor(), [&] { ++wakes; });
    save(first, {contextIn("REJECTED")});
    save(second, {contextIn("REJECTED")});
    postPersisted(first.id);
    EXPECT_EQ(wakes, 1);
    EXPECT_EQ(index.state()->attentionCount, 1);
    EXPECT_EQ(index.state()->summaries.at(second.id).bucket(), Bucket::notPulled);
    postPersisted(second.id);
    EXPECT_EQ(index.state()->attentionCount, 2);

    const auto before = index.state();
    postPersisted("unknown");
    notifications->post({std::string(metadataContextsPersistedNotification), {}});
    notifications->post({std::string(selectAppRequestedNotification), {{"app", first.id}}});
    EXPECT_EQ(*index.state(), *before);
    ASSERT_TRUE(apps.remove(first.id));
    index.rebuild(first.id);
    EXPECT_EQ(index.state()->attentionCount, 1);
    EXPECT_FALSE(index.state()->summaries.contains(first.id));
}

TEST_F(WorkspaceIndexTest, endsWithTheNewestOfEachAppWhateverRaces) {
    constexpr int rounds = 25;
    std::vector<ManagedApp> all;
    for (int app = 0; app < 4; ++app)
        all.push_back(addApp("app" + std::to_string(app)));
    auto index = std::make_unique<WorkspaceIndex>(apps, home, clock, notifications);
    {
        std::vector<std::jthread> pulls;
        for (const ManagedApp& app : all)
            pulls.emplace_back([&, app] {
                for (int round = 1; round <= rounds; ++round) {
                    save(app, {contextIn("REJECTED", ASCPlatform::iOS, std::to_string(round))});
                    postPersisted(app.id);
                }
            });
        for (int round = 0; round < rounds; ++round)
            index->rebuild();
    }
    for (const ManagedApp& app : all)
        EXPECT_EQ(index->state()->summaries.at(app.id).headline->versionString, std::to_string(rounds));
    EXPECT_EQ(index->state()->attentionCount, 4);

    // A notification on its way does not reach into an index that is gone.
    std::jthread pull([&] {
        for (int round = 0; round < rounds; ++round)
            postPersisted(all.front().id);
    });
    index.reset();
}

} // namespace
} // namespace quorvel::test
