// What the assistants' server must not do, and whom it serves.
#include "Core/assistants/MCPHandoff.h"
#include "Core/build/BuildConfigStore.h"
#include "Core/screenshots/ScreenshotsCatalog.h"
#include "Platform/json/JSON.h"
#include "Quorvel/actions/AppActions.h"
#include "Quorvel/actions/WorkspaceActions.h"
#include "Quorvel/application/AppDirectory.h"
#include "Quorvel/application/BuildRuns.h"
#include "Quorvel/assistants/Prompts.h"
#include "Tests/support/AssistantServerFixture.h"
#include "Tests/support/DeveloperTools.h"
#include "Tests/support/GitRepository.h"
#include "Tests/support/ScreenshotTree.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <functional>

namespace quorvel {

namespace {

using test::AssistantClient;
using test::AssistantServerTest;
using test::object;
using test::sketchID;
using test::textOf;
using testing::HasSubstr;
using testing::Not;

} // namespace

TEST_F(AssistantServerTest, permissionDecidesAndIsReadAnew) {
    AssistantClient client(server, Revision::r20251125);
    editSketch(client, "Skizzen");
    const auto handle = preparedPush(client);
    EXPECT_THAT(textOf(client.call("push", handle)), HasSubstr("allowed: edits"));
    const auto text = object({{"locale", "de-DE"}, {"field", "subtitle"}, {"text", "Zeichnen"}});
    const auto texts = object({{"app", sketchID}, {"texts", JSONValue::array({text})}});
    allow(AssistantPermission::readOnly);
    EXPECT_THAT(textOf(client.call("write_texts", texts)), HasSubstr("quorvel assistants allow edits"));
    EXPECT_EQ(changesSent(), 0);
    allow(AssistantPermission::all);
    (void)client.ask("push", handle);
    EXPECT_GT(changesSent(), 0);
}

TEST_F(AssistantServerTest, handlesEndWithUseChangeAndTime) {
    allow(AssistantPermission::all);
    AssistantClient client(server, Revision::r20260728);
    const auto refusal = [&](const JSONValue& handle) { return textOf(client.call("push", handle)); };
    editSketch(client, "Skizzen");
    const auto changed = preparedPush(client);
    editSketch(client, "Skizzenblock");
    EXPECT_THAT(refusal(changed), HasSubstr("has changed; nothing was sent"));
    EXPECT_THAT(refusal(changed), HasSubstr("there is no plan with this handle"));
    const auto late = preparedPush(client);
    later += std::chrono::minutes(10);
    EXPECT_THAT(refusal(late), HasSubstr("has expired"));
    const auto wrong = preparedPush(client);
    EXPECT_THAT(textOf(client.call("submit", wrong)), HasSubstr("is for push and not for submit"));
    EXPECT_EQ(changesSent(), 0);
    // Of two calls at the same time one gets it.
    const auto arguments = object({{"name", "push"}, {"arguments", wrong}});
    const auto first = client.begin("tools/call", arguments);
    const auto second = client.begin("tools/call", arguments);
    const auto failed = [&](const JSONValue& id) {
        return *client.sink.awaitAnswer(id).at("result", "isError") == JSONValue(true);
    };
    EXPECT_NE(failed(first), failed(second));
    const auto sent = changesSent();
    EXPECT_THAT(refusal(wrong), HasSubstr("it was used"));
    EXPECT_EQ(changesSent(), sent);
    const auto runs = client.ask("history", object({{"app", sketchID}}));
    EXPECT_EQ(*runs.find("total"), JSONValue(1));
    const auto run = client.ask("history", object({{"app", sketchID}, {"run", "last"}}));
    EXPECT_EQ(*run.find("entries")->items()->front().find("field"), JSONValue("name"));
    EXPECT_EQ(encodeJSON(*run.find("runs")), encodeJSON(*runs.find("runs")));
}

TEST_F(AssistantServerTest, asksTheUserWhereTheClientCan) {
    allow(AssistantPermission::all);
    AssistantClient modern(server, Revision::r20260728, true);
    editSketch(modern, "Skizzen");
    const auto handle = preparedPush(modern);
    const auto push = [&](JSONValue more) {
        JSONValue params = object({{"name", "push"}, {"arguments", handle}});
        for (auto& [name, value] : *more.members())
            params.set(name, std::move(value));
        return modern.request("tools/call", std::move(params));
    };
    const auto answered = [&](const char* action, const JSONValue& state) {
        return push(object({{"inputResponses", object({{"consent", object({{"action", action}})}})},
                            {"requestState", state}}));
    };
    const auto asked = *push(object({})).find("result");
    EXPECT_EQ(*asked.find("resultType"), JSONValue("input_required"));
    EXPECT_FALSE(asked.find("ttlMs"));
    const auto& question = *asked.at("inputRequests", "consent");
    EXPECT_EQ(*question.find("method"), JSONValue("elicitation/create"));
    EXPECT_THAT(*question.at("params", "message")->text(), HasSubstr("de-DE name: Skizzen"));
    EXPECT_EQ(*answered("accept", "guessed").at("error", "code"), JSONValue(-32602));
    EXPECT_EQ(changesSent(), 0);
    const auto again = *push(object({{"requestState", *asked.find("requestState")}})).find("result");
    EXPECT_EQ(*again.find("resultType"), JSONValue("input_required"))
        << "an answer that is missing is asked for again";
    EXPECT_EQ(*answered("accept", *again.find("requestState")).at("result", "isError"), JSONValue(false));
    EXPECT_GT(changesSent(), 0);

    sandbox.server.forgetRequests();
    AssistantClient legacy(server, Revision::r20250618, true);
    editSketch(legacy, "Skizzenheft");
    std::string action = "decline";
    std::function<void()> onQuestion = [] {};
    legacy.sink.onMessage = [&](const JSONValue& message) {
        if (!message.find("method") || *message.find("method")->text() != "elicitation/create") return;
        EXPECT_FALSE(message.at("params", "mode")) << "which came later";
        const RequestID id = *requestIDOf(*message.find("id"));
        onQuestion();
        legacy.connection.receive(resultMessage(id, object({{"action", action}})));
    };
    const auto declined = preparedPush(legacy);
    EXPECT_THAT(textOf(legacy.call("push", declined)), HasSubstr("the user did not agree; nothing was sent"));
    EXPECT_THAT(textOf(legacy.call("push", declined)), HasSubstr("no plan with this handle"));
    EXPECT_EQ(changesSent(), 0);
    action = "accept";
    onQuestion = [&] { allow(AssistantPermission::edits); };
    EXPECT_THAT(textOf(legacy.call("push", preparedPush(legacy))), HasSubstr("allowed: edits"))
        << "taken back while the question was open";
    EXPECT_EQ(changesSent(), 0);
    onQuestion = [] {};
    allow(AssistantPermission::all);
    (void)legacy.ask("push", preparedPush(legacy));
    EXPECT_GT(changesSent(), 0);
}

TEST_F(AssistantServerTest, noAppOfAnotherWorkspaceIsReached) {
    AssistantClient client(server, Revision::r20260728);
    (void)client.ask("pull", object({{"app", sketchID}}));
    (void)CreateWorkspace::perform(*sandbox.application, {.name = "Other"});
    (void)MoveApp::perform(*sandbox.application, {.app = sketchID, .toWorkspace = "Other"});
    EXPECT_EQ(client.ask("overview").find("apps")->items()->size(), 0u);
    for (const char* tool : {"read_texts", "pull", "history"})
        EXPECT_THAT(textOf(client.call(tool, object({{"app", sketchID}}))),
                    HasSubstr("works in one workspace"))
            << tool;
    EXPECT_EQ(client.request("resources/list").at("result", "resources")->items()->size(), 0u);
}

TEST_F(AssistantServerTest, refusesToWorkInNoneOfSeveralWorkspaces) {
    AssistantClient client(server, Revision::r20260728);
    (void)client.ask("pull", object({{"app", sketchID}}));
    (void)CreateWorkspace::perform(*sandbox.application, {.name = "Other"});
    ASSERT_TRUE(sandbox.application->activeWorkspace().choose(std::nullopt));
    ASSERT_TRUE(std::filesystem::remove(mcpFolder(sandbox.application->home()) / "mcp-handoff.json"));
    constexpr const char* advice = "'quorvel workspaces use NAME'";
    for (const char* tool : {"overview", "read_texts", "pull"})
        EXPECT_THAT(textOf(client.call(tool)), HasSubstr(advice)) << tool;
    const auto reference = object({{"type", "ref/prompt"}, {"name", allPrompts().front().name}});
    const auto argument = object({{"name", "app"}, {"value", ""}});
    const std::vector<std::pair<const char*, JSONValue>> requests = {
        {"resources/list", object({})},
        {"resources/read", object({{"uri", "quorvel://texts/mosswick-skizzenbuch/ios/next/de-DE"}})},
        {"completion/complete", object({{"ref", reference}, {"argument", argument}})}};
    for (const auto& [method, params] : requests) {
        const auto error = *client.request(method, params).find("error");
        EXPECT_EQ(*error.find("code"), JSONValue(-32603)) << method;
        EXPECT_THAT(*error.find("message")->text(), HasSubstr(advice)) << method;
    }
}

TEST_F(AssistantServerTest, looksMoveNoTextsOfAnOlderLayout) {
    AssistantClient client(server, Revision::r20260728);
    (void)client.ask("pull", object({{"app", sketchID}}));
    const auto next = sandbox.contextFolder("mosswick-skizzenbuch").rootURL;
    const auto root = next.parent_path().parent_path();
    std::filesystem::create_directories(root / ".brevant/asc");
    std::filesystem::rename(next / "de-DE", root / "de-DE");
    std::filesystem::rename(next / ".brevant/asc/de-DE", root / ".brevant/asc/de-DE");
    for (const char* tool : {"read_texts", "pending_changes", "screenshots_status", "app_status"})
        EXPECT_THAT(textOf(client.call(tool, object({{"app", sketchID}}))), HasSubstr("older layout"))
            << tool;
    EXPECT_THAT(textOf(client.call("prepare_push", object({{"what", "texts"}, {"app", sketchID}}))),
                HasSubstr("older layout"));
    (void)client.request("resources/list");
    const auto read = client.request(
        "resources/read", object({{"uri", "quorvel://texts/mosswick-skizzenbuch/ios/next/de-DE"}}));
    EXPECT_EQ(*read.at("error", "code"), JSONValue(-32603)) << "it is there, but cannot be read";
    EXPECT_TRUE(std::filesystem::exists(root / "de-DE"));
}

TEST_F(AssistantServerTest, draftsFromTheRepositoryOfTheAppAlone) {
    const test::GitRepository around(sandbox.folder.path()); // as a home that is kept in one
    AssistantClient client(server, Revision::r20260728);
    (void)client.ask("pull", object({{"app", sketchID}}));
    const auto draft = [&] {
        return textOf(client.call("draft_release_notes", object({{"app", sketchID}})));
    };
    EXPECT_THAT(draft(), HasSubstr("No git repository found"));
    const test::TemporaryFolder elsewhere;
    const test::GitRepository repository(elsewhere / "project");
    const auto app = AppDirectory(*sandbox.application, {}).require(sketchID);
    (void)saveBuildConfig(*sandbox.application, app,
                          {.projectPath = (repository.root() / "Sketch.xcodeproj").string()});
    EXPECT_THAT(draft(), Not(HasSubstr("No git repository found")));
}

TEST_F(AssistantServerTest, buildsOnlyAsItWasHandedOver) {
    const test::DeveloperTools tools(QUORVEL_XCRUN);
    tools.behave(object({{"sandbox", sandbox.server.access().url},
                         {"bundleID", std::string(test::gardenApp)},
                         {"processingSeconds", 0}}));
    auto options = sandbox.options();
    options.xcrun = tools.xcrun();
    // A project that nobody handed over, where the server's requests start.
    options.workingFolder = options.home.applicationSupport();
    std::filesystem::create_directories(options.workingFolder / "Stray.xcodeproj");
    AssistantServer building([&] { return std::make_unique<Application>(options); }, "1", systemClock());
    allow(AssistantPermission::all);
    AssistantClient client(building, Revision::r20260728);
    (void)client.ask("pull", object({{"app", test::gardenID}}));
    const auto app = AppDirectory(*sandbox.application, {}).require(test::gardenID);
    const BuildConfigStore settings(sandbox.application->userDefaults());
    const BuildConfig saved{.projectPath = tools.project().string(), .scheme = "Saved"};
    (void)settings.save(app.id, saved);
    const auto prepare = [&] { return client.call("prepare_build", object({{"app", test::gardenID}})); };
    EXPECT_THAT(textOf(prepare()), AllOf(HasSubstr("was handed over"), HasSubstr("quorvel build config"),
                                         Not(HasSubstr("Stray"))));

    // The files' changes take effect at once, and end what was prepared before.
    const MCPBuildConfigStore handedOver(mcpFolder(sandbox.application->home()));
    MCPBuildConfigsBlob blob;
    BuildConfig& config = blob.configs[MCPBuildConfigsBlob::keyOf(app.slug, TargetPlatform::iOS)];
    config = {.projectPath = tools.project().string(), .scheme = "Garden"};
    handedOver.save(blob);
    const auto prepared = [&] {
        const auto plan = client.ask("prepare_build", object({{"app", test::gardenID}}));
        return object({{"handle", plan.find("handle") ? *plan.find("handle") : JSONValue("")}});
    };
    const auto stale = prepared();
    config.configuration = "Beta";
    handedOver.save(blob);
    EXPECT_THAT(textOf(client.call("run_build", stale)), HasSubstr("has changed; nothing was sent"));
    EXPECT_EQ(tools.calls().find("archive"), std::string::npos);
    (void)client.call("run_build", prepared());
    EXPECT_THAT(tools.calls(), AllOf(HasSubstr("\tGarden"), HasSubstr("\tBeta"), Not(HasSubstr("Saved"))));
    EXPECT_EQ(settings.load(app.id, TargetPlatform::iOS), saved) << "the settings are the user's";

    // Saving a configuration once more hands it over where its file was lost.
    ASSERT_TRUE(removeFile(handedOver.file()));
    (void)saveBuildConfig(*sandbox.application, app, saved);
    EXPECT_EQ(handedOver.load()->configs.begin()->second, saved);
}

TEST_F(AssistantServerTest, aHandleEndsWithThePicturesAndTheWorkspaceThatItIsOf) {
    allow(AssistantPermission::all);
    AssistantClient client(server, Revision::r20260728);
    editSketch(client, "Skizzen");
    const auto refusal = [&](const JSONValue& plan) {
        return textOf(client.call("push", object({{"handle", *plan.find("handle")}})));
    };
    const auto pictures =
        screenshotPaths(defaultAppFolder({sandbox.folder / "home"}, "mosswick-skizzenbuch"), {}).pictures;
    const auto picture = pictures / "de-DE/APP_IPHONE_67/1.png";
    const auto draw = [&, drawn = test::pictureFor("APP_IPHONE_67", 1)](char last) {
        test::put(picture, drawn + last);
    };
    draw('1');
    const auto prepared = [&] {
        return client.ask("prepare_push", object({{"what", "screenshots"}, {"app", sketchID}}));
    };
    const auto plan = prepared();
    draw('2'); // of the same name and size
    EXPECT_THAT(refusal(plan), HasSubstr("has changed; nothing was sent"));
    EXPECT_EQ(changesSent(), 0);

    const auto texts = client.ask("prepare_push", object({{"what", "texts"}, {"app", sketchID}}));
    const auto other = CreateWorkspace::perform(*sandbox.application, {.name = "Other"}).workspace;
    const MCPHandoffStore handoff(mcpFolder(sandbox.application->home()));
    handoff.save(MCPHandoff{.workspaceNamespace = other.id, .workspaceName = "Other"});
    EXPECT_THAT(refusal(texts), HasSubstr("has changed; nothing was sent"));
    EXPECT_EQ(changesSent(), 0);
}

TEST_F(AssistantServerTest, servesTheWorkspaceThatWasHandedOver) {
    AssistantClient client(server, Revision::r20251125);
    (void)client.ask("pull", object({{"app", sketchID}}));
    const auto other = CreateWorkspace::perform(*sandbox.application, {.name = "Other"}).workspace;
    (void)MoveApp::perform(*sandbox.application, {.app = sketchID, .toWorkspace = "Other"});
    const MCPHandoffStore handoff(mcpFolder(sandbox.application->home()));
    const auto served = [&] {
        return client.ask("overview").find("apps")->items()->size() == 1 ? "Other" : "active";
    };
    EXPECT_STREQ(served(), "active");
    handoff.save(MCPHandoff{.workspaceNamespace = other.id, .workspaceName = "Other"});
    EXPECT_STREQ(served(), "Other");
    EXPECT_EQ(*client.call("read_texts", object({{"app", sketchID}})).find("isError"), JSONValue(false));
    handoff.save(MCPHandoff{.workspaceNamespace = "deleted since", .workspaceName = "Gone"});
    EXPECT_STREQ(served(), "active");
    handoff.save(MCPHandoff{.version = 2, .workspaceNamespace = other.id, .workspaceName = "Other"});
    EXPECT_STREQ(served(), "active") << "a newer version's file";
}

TEST_F(AssistantServerTest, noSecretAppearsInAnyMessage) {
    allow(AssistantPermission::all);
    AssistantClient client(server, Revision::r20260728);
    const std::string key = readFile(sandbox.server.access().privateKeyFile).value();
    const std::string secret = key.substr(key.find('\n') + 1, 40);
    (void)client.call("overview");
    (void)client.call("pull", object({{"app", sketchID}}));
    sandbox.server.setFaults({{.route = "GET /v1/apps", .status = 401, .count = 5}});
    (void)client.call("builds", object({{"app", sketchID}}));
    (void)client.call("read_texts", object({{"app", key}}));
    for (const JSONValue& message : client.sink.messages())
        EXPECT_THAT(encodeJSON(message), Not(HasSubstr(secret)));
}

} // namespace quorvel
