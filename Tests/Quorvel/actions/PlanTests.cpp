// Plans that come back late, or over a folder that is not what it was.
#include "Quorvel/actions/AppActions.h"
#include "Quorvel/actions/AppSettingsActions.h"
#include "Quorvel/actions/HistoryActions.h"
#include "Quorvel/actions/PullActions.h"
#include "Quorvel/actions/PushActions.h"
#include "Quorvel/actions/ScreenshotActions.h"
#include "Quorvel/actions/TranslationActions.h"
#include "Quorvel/actions/VersionActions.h"
#include "Quorvel/application/Failure.h"
#include "Tests/support/ApplicationSandbox.h"
#include "Tests/support/ScreenshotTree.h"

#include <gmock/gmock.h>

#include <filesystem>

using namespace quorvel;
using test::ApplicationSandbox;
using test::gardenID;
using test::kindOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

// A folder with the texts of the garden journal, named for once.
MetadataStore pulledInto(const ApplicationSandbox& sandbox, const std::string& folder) {
    (void)PullTexts::perform(*sandbox.application, {.app = gardenID, .folder = folder});
    return MetadataStore(MetadataFolder{sandbox.folder / folder}.contextFolder(ContextID{}));
}

void edit(const MetadataStore& store, std::string_view text) {
    store.write("de-DE", FieldType::subtitle, text);
}

PlanPush::Request planOver(const std::string& folder) {
    return {.app = gardenID, .folder = folder, .withRequests = true};
}

} // namespace

TEST(Plans, areRefusedOnceTheTextsThatTheyShowedHaveChanged) {
    const ApplicationSandbox sandbox;
    Application& application = *sandbox.application;
    const MetadataStore store = pulledInto(sandbox, "texts");
    edit(store, "Ernten feiern");
    const auto planned = PlanPush::perform(application, planOver("texts"));
    EXPECT_THAT(planned.plan.requests, SizeIs(1));
    edit(store, "Ernten und feiern");
    EXPECT_EQ(kindOf([&] { (void)PushTexts::perform(application, {.plan = planned.plan}); }),
              FailureKind::stalePlan);
    edit(store, "Ernten feiern");
    const auto pushed = PushTexts::perform(application, {.plan = planned.plan});
    EXPECT_TRUE(pushed.report.outcomes.at(0).success);
    EXPECT_EQ(kindOf([&] { (void)PushTexts::perform(application, {.plan = planned.plan}); }),
              FailureKind::stalePlan)
        << "it was done already";
}

TEST(Plans, tellWhatSomebodyElseChangedInTheMeantime) {
    const ApplicationSandbox sandbox;
    Application& application = *sandbox.application;
    const MetadataStore mine = pulledInto(sandbox, "mine");
    const MetadataStore theirs = pulledInto(sandbox, "theirs");
    edit(theirs, "Von anderen");
    (void)PushTexts::perform(application, {.plan = PlanPush::perform(application, planOver("theirs")).plan});
    edit(mine, "Von mir");
    const auto planned = PlanPush::perform(application, planOver("mine"));
    EXPECT_THAT(planned.plan.requests, IsEmpty());
    ASSERT_THAT(planned.plan.conflicts, SizeIs(1));
    EXPECT_THAT(*planned.plan.conflicts[0].errorMessage, HasSubstr("changed on App Store Connect"));
}

TEST(Plans, workInTheFolderThatTheyNameThoughTheAppsOwnIsLost) {
    const ApplicationSandbox sandbox;
    Application& application = *sandbox.application;
    const MetadataStore store = pulledInto(sandbox, "texts");
    std::filesystem::create_directory(sandbox.folder / "own");
    const auto set = SetApp::perform(application, {.app = gardenID, .folder = "own"});
    EXPECT_EQ(set.folder, (sandbox.folder / "own").string());
    const auto imported = ImportApps::perform(application, {.apps = {gardenID}});
    EXPECT_EQ(imported.imported.at(0).folder, (sandbox.folder / "own").string());
    std::filesystem::remove(sandbox.folder / "own");
    edit(store, "Ernten feiern");
    const auto planned = PlanPush::perform(application, planOver("texts"));
    EXPECT_TRUE(PushTexts::perform(application, {.plan = planned.plan}).report.outcomes.at(0).success);
}

TEST(Plans, ofScreenshotsDeleteNothingOnceAnotherPushedFromTheSameFolder) {
    const ApplicationSandbox sandbox;
    const auto picture = sandbox.folder / "texts/screenshots/sv/iphone-65/1.png";
    test::put(picture, test::pictureFor("APP_IPHONE_65", 1));
    const PlanScreenshotPush::Request request = [&] {
        PlanScreenshotPush::Request replace;
        replace.app = gardenID;
        replace.folder = "texts";
        replace.mode = ScreenshotPushMode::replaceSet;
        return replace;
    }();
    const auto other = sandbox.made();
    const auto push = [&](Application& application, const ScreenshotPushPlan& plan) {
        return PushScreenshots::perform(application, {.plan = plan, .noWait = true}).report;
    };
    (void)pulledInto(sandbox, "texts");
    EXPECT_EQ(push(*other, PlanScreenshotPush::perform(*other, request).plan).uploaded, 1);

    test::put(picture, test::pictureFor("APP_IPHONE_65", 2));
    const auto first = PlanScreenshotPush::perform(*sandbox.application, request);
    const auto second = PlanScreenshotPush::perform(*other, request);
    ASSERT_EQ(second.plan.deletions, 1);
    EXPECT_EQ(push(*sandbox.application, first.plan).deleted, 1);
    EXPECT_EQ(kindOf([&] { (void)push(*other, second.plan); }), FailureKind::stalePlan);
    // As an assistant hands it back.
    const auto handedBack = decodeJSON<ScreenshotPushPlan>(encodeJSON(first.plan));
    EXPECT_EQ(kindOf([&] { (void)push(*other, handedBack); }), FailureKind::stalePlan);
    const auto now = PlanScreenshotPush::perform(*other, request).plan;
    EXPECT_EQ(now.uploads + now.deletions, 0);
}

TEST(Plans, leaveTheOpenAppAloneUnlessItsFolderChanges) {
    const ApplicationSandbox sandbox;
    Application& application = *sandbox.application;
    const auto pulled = PullTexts::perform(application, {.app = gardenID});
    const std::string id = *pulled.pulls.at(0).app.id;
    const auto open = application.session(id);
    (void)SetApp::perform(application, {.app = gardenID, .brandVoice = "Warm."});
    EXPECT_EQ(application.session(id), open);
    std::filesystem::create_directory(sandbox.folder / "own");
    (void)SetApp::perform(application, {.app = gardenID, .folder = "own"});
    EXPECT_NE(application.session(id), open);
}

TEST(Requests, refuseNumbersWithoutSense) {
    const ApplicationSandbox sandbox;
    Application& application = *sandbox.application;
    for (const std::int64_t number : {std::int64_t{0}, std::int64_t{-7}, std::int64_t{1} << 60}) {
        const std::function<void()> works[] = {
            [&] { (void)ListBuilds::perform(application, {.app = gardenID, .limit = number}); },
            [&] { (void)ListRuns::perform(application, {.app = gardenID, .limit = number}); },
            [&] { (void)ShowCosts::perform(application, {.days = number}); }};
        for (const auto& work : works)
            EXPECT_EQ(kindOf(work), FailureKind::badRequest) << number;
    }
    EXPECT_THAT(sandbox.server.requests(), IsEmpty());
}
