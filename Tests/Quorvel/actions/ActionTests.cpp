#include "Platform/files/FileLock.h"
#include "Platform/task/StopToken.h"
#include "Platform/task/Task.h"
#include "Quorvel/actions/ActionCatalogue.h"
#include "Quorvel/actions/KeyActions.h"
#include "Quorvel/actions/PullActions.h"
#include "Quorvel/actions/PushActions.h"
#include "Quorvel/application/Failure.h"
#include "Tests/support/ApplicationSandbox.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <latch>
#include <set>
#include <thread>

using namespace quorvel;
using test::ApplicationSandbox;
using test::gardenID;
using test::kindOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr std::string_view gardenSlug = "mosswick-garden-journal";

std::string performJSON(Application& application, std::string_view action, const std::string& request) {
    return findAction(action)->perform(application, request, {});
}

} // namespace

TEST(Actions, haveNamesOfTheirOwnAndDescribeWhatTheyTake) {
    std::set<std::string_view> names;
    for (const ActionDescription& action : allActions()) {
        const std::string name(action.info.name);
        EXPECT_TRUE(names.insert(action.info.name).second) << name;
        EXPECT_FALSE(action.info.title.empty()) << name;
        const JSONValue request = action.requestSchema();
        EXPECT_EQ(*request.at("type")->text(), "object") << name;
        ASSERT_NE(request.find("properties"), nullptr) << name;
        for (const auto& [member, schema] : *request.find("properties")->members())
            EXPECT_NE(schema.find("description"), nullptr) << name << "." << member;
        EXPECT_EQ(*action.resultSchema().at("type")->text(), "object") << name;
        // What changes something outside this machine takes a plan.
        if (action.info.effect == Effect::remote) {
            const JSONValue& members = *request.find("properties");
            EXPECT_TRUE(members.find("plan") || name.ends_with("_of_all_apps")) << name;
        }
    }
    EXPECT_EQ(findAction("no_such_action"), nullptr);
}

TEST(Actions, refuseARequestThatTheyDoNotUnderstand) {
    const ApplicationSandbox sandbox;
    for (const std::string request : {R"({"allContext":true})", R"({"folder":7})", "[]", "nonsense"})
        EXPECT_EQ(kindOf([&] { (void)performJSON(*sandbox.application, "pull_texts", request); }),
                  FailureKind::badRequest)
            << request;
    EXPECT_THAT(sandbox.server.requests(), IsEmpty());
}

TEST(Actions, carryAPushFromTextToTextWithoutATerminal) {
    const ApplicationSandbox sandbox;
    Application& application = *sandbox.application;
    const auto pulled = performJSON(application, "pull_texts", R"({"app":")" + gardenID + R"("})");
    EXPECT_THAT(pulled, HasSubstr(R"("context":"ios/next")"));
    EXPECT_THAT(pulled, HasSubstr(R"("workspaceName":"My apps")")) << "it was imported, and told";

    const MetadataStore store(sandbox.contextFolder(gardenSlug));
    store.write("de-DE", FieldType::subtitle, "Ernten feiern");
    store.write("de-DE", FieldType::name, std::string(31, 'x'));
    const std::size_t before = sandbox.server.requests().size();
    const JSONValue planned = decodeJSON<JSONValue>(performJSON(application, "plan_push", "{}"));
    EXPECT_EQ(sandbox.server.requests().size(), before + 1) << "one request tells the versions";
    const JSONValue& plan = *planned.find("plan");
    ASSERT_THAT(*plan.find("changes")->items(), SizeIs(1));
    EXPECT_EQ(*plan.find("leftOut")->items()->at(0).find("reason")->text(), "overLimit");
    EXPECT_TRUE(*planned.find("leavesWaiting")->boolean());

    // The plan comes back as JSON, as an assistant hands it back.
    const JSONValue pushed =
        decodeJSON<JSONValue>(performJSON(application, "push_texts", R"({"plan":)" + encodeJSON(plan) + "}"));
    const JSONValue& outcome = pushed.at("report", "outcomes")->items()->at(0);
    EXPECT_TRUE(*outcome.find("success")->boolean()) << encodeJSON(pushed);
    EXPECT_EQ(*pushed.at("report", "report")->text(), "Pushed 1 field · 1 locale");

    const JSONValue runs = decodeJSON<JSONValue>(performJSON(application, "list_runs", "{}"));
    EXPECT_EQ(*runs.find("runs")->items()->at(0).find("context")->text(), "ios/next");
    const JSONValue run = decodeJSON<JSONValue>(performJSON(application, "show_run", R"({"run":"last"})"));
    EXPECT_EQ(*run.find("entries")->items()->at(0).find("field")->text(), "subtitle");
    EXPECT_EQ(*run.find("entries")->items()->at(0).find("sent")->text(), "Ernten feiern");
}

TEST(Actions, runOnceAtATimePerAppAndSideBySideForOthers) {
    const ApplicationSandbox sandbox;
    Application& application = *sandbox.application;
    (void)PullTexts::perform(application, {.app = gardenID});
    (void)PullTexts::perform(application, {.app = std::string(test::sketchApp)});
    std::latch running(1);
    std::latch goOn(1);
    std::atomic<bool> told = false;
    std::thread first([&] {
        const ActionProgress progress{.step = [&](const ActionProgress::Step&) {
            if (told.exchange(true)) return;
            running.count_down();
            goOn.wait();
        }};
        EXPECT_NO_THROW((void)PullTexts::perform(application, {.app = gardenID}, progress));
    });
    running.wait();
    EXPECT_EQ(kindOf([&] { (void)PullTexts::perform(application, {.app = gardenID}); }),
              FailureKind::operationRunning);
    EXPECT_EQ(kindOf([&] { (void)PlanPush::perform(application, {.app = gardenID}); }),
              FailureKind::operationRunning);
    EXPECT_NO_THROW((void)PullTexts::perform(application, {.app = std::string(test::sketchApp)}));
    goOn.count_down();
    first.join();
    EXPECT_NO_THROW((void)PullTexts::perform(application, {.app = gardenID}));
}

TEST(Actions, endWhenTheirTaskIsCancelledAndLeaveTheAppUsable) {
    const ApplicationSandbox sandbox;
    Application& application = *sandbox.application;
    std::stop_source source;
    const ActionProgress progress{.step = [&](const ActionProgress::Step&) { source.request_stop(); }};
    {
        const TaskScope task(source.get_token());
        EXPECT_EQ(kindOf([&] { (void)PullTexts::perform(application, {.app = gardenID}, progress); }),
                  FailureKind::cancelled);
    }
    EXPECT_FALSE(std::filesystem::exists(sandbox.contextFolder(gardenSlug).rootURL));
    EXPECT_THAT(PullTexts::perform(application, {.app = gardenID}).pulls, SizeIs(1));
}

TEST(Actions, waitForAnotherProcessThatWorksInTheFolderAndSaySo) {
    const ApplicationSandbox sandbox;
    (void)PullTexts::perform(*sandbox.application, {.app = gardenID});
    const auto lockFile =
        sandbox.contextFolder(gardenSlug).rootURL.parent_path().parent_path() / ".brevant/lock";
    std::optional<FileLock> held(lockFile);
    held->noteHolder("a push");
    std::vector<std::string> steps;
    const ActionProgress progress{.step = [&](const ActionProgress::Step& step) {
        steps.push_back(step.text);
        held.reset(); // the other one is done
    }};
    EXPECT_NO_THROW((void)PullTexts::perform(*sandbox.application, {.app = gardenID}, progress));
    EXPECT_THAT(steps, Contains(HasSubstr("Waiting for a push (process ")));
    EXPECT_THAT(steps, Contains(HasSubstr("Pulling ios/next")));
}

TEST(Actions, shareAHomeWithAnotherProcess) {
    const ApplicationSandbox sandbox;
    const auto other = sandbox.made();
    (void)PullTexts::perform(*sandbox.application, {.app = gardenID});
    MetadataStore(sandbox.contextFolder(gardenSlug)).write("ja", FieldType::keywords, "園芸,日記");
    const auto plan = PlanPush::perform(*other, {}).plan; // the app that the first one imported
    EXPECT_THAT(plan.changes, SizeIs(1));
    EXPECT_TRUE(PushTexts::perform(*other, {plan, {}}).report.outcomes.at(0).success);
    EXPECT_TRUE(PlanPush::perform(*sandbox.application, {}).plan.nothing.has_value());
}

TEST(Actions, useANewKeyAsSoonAsItIsStored) {
    const ApplicationSandbox sandbox;
    const sandbox::Access& access = sandbox.server.access();
    Application application({.home = {sandbox.folder / "other home"},
                             .workingFolder = sandbox.folder.path(),
                             .endpointsFile = access.endpointsFile});
    EXPECT_EQ(kindOf([&] { (void)CheckKey::perform(application, {}); }), FailureKind::missingKey);
    (void)SetKey::perform(application,
                          {.issuerID = access.issuerID, .privateKeyFile = access.privateKeyFile.string()});
    EXPECT_EQ(CheckKey::perform(application, {}).keyID, access.keyID);
    const auto client = application.client();
    (void)ForgetKey::perform(application, {});
    EXPECT_EQ(kindOf([&] { (void)CheckKey::perform(application, {}); }), FailureKind::missingKey);
    EXPECT_NO_THROW((void)client->listApps()) << "who holds a client keeps it";
}

TEST(Actions, planAnUnrecordedAppWithoutRecordingIt) {
    const ApplicationSandbox sandbox;
    EXPECT_EQ(
        kindOf([&] { (void)PlanPush::perform(*sandbox.application, {.app = gardenID, .dryRun = true}); }),
        FailureKind::notPulled);
    EXPECT_FALSE(sandbox.application->hasRecords());
    EXPECT_FALSE(std::filesystem::exists(sandbox.folder / "home/Library/Application Support/default.store"));
}
