#include "Platform/text/Text.h"
#include "Quorvel/controllers/build/BuildController.h"
#include "Tests/support/ControllerSandbox.h"
#include "Tests/support/DeveloperTools.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvel {

namespace {

using namespace test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// The stand-in tools upload to a sandbox, whose clock moves while the controller waits.
struct BuildRuns : testing::Test {
    SandboxFixture sandbox;
    DeveloperTools tools{QUORVEL_XCRUN};
    Date now = dateFromSecondsSince1970(1772368200);
    std::string log;
    std::optional<AwaitedBuild> awaited;
    std::size_t waits = 0;
    BuildConfig config{.projectPath = tools.project().string(), .scheme = "Garden"};

    BuildRuns() { behave({}); }
    void behave(JSONValue::Object more) {
        more.insert(more.begin(),
                    {{"sandbox", sandbox.server.access().url}, {"bundleID", std::string(gardenApp)}});
        tools.behave(JSONValue::object(std::move(more)));
    }
    BuildController::Parts parts() {
        return {
            .client = borrowed(sandbox.client),
            .appStoreId = std::string(gardenApp),
            .key = {sandbox.server.access().keyID, sandbox.server.access().issuerID, {}},
            .privateKey = *readFile(sandbox.server.access().privateKeyFile),
            .xcrun = tools.xcrun(),
            .temporaryFolder = tools.folder(),
            .workdir = tools.workdir(),
            .clock = [this] { return now; },
            .sleep =
                [this](double seconds) {
                    ++waits;
                    now += std::chrono::seconds(static_cast<int>(seconds));
                    sandbox.server.advance(seconds);
                },
            .remember = [this](const std::optional<AwaitedBuild>& build) { awaited = build; },
            .onLog = [this](const std::string& line,
                            BuildStage stage) { log += std::string(rawValue(stage)) + ": " + line + "\n"; }};
    }
    BuildRunResult run() { return BuildController(parts()).run(config); }
    // The version of the app that is being prepared, of the platform iOS.
    ASCResource<AppStoreVersionAttributes> editable() {
        for (auto& version : sandbox.client.listAppStoreVersions(gardenApp, ASCPlatform::iOS))
            if (isEditableState(version.attributes.appStoreState.value_or(""))) return version;
        throw std::logic_error("no editable version");
    }
    std::size_t keysLeft() const {
        std::size_t count = 0;
        const auto entries = listFolder(tools.folder());
        for (const FolderEntry& entry : *entries)
            if (entry.name.starts_with("brevant-asc-key-")) ++count;
        return count;
    }
};

} // namespace

TEST_F(BuildRuns, bringTheProjectToAProcessedBuildOnItsVersion) {
    config.autoDeclareEncryptionExempt = true;
    const std::string wanted = *editable().attributes.versionString;
    const BuildRunResult result = run();
    ASSERT_TRUE(result.outcome.success) << *result.outcome.errorMessage;
    EXPECT_EQ(result.marketingVersion, wanted);
    EXPECT_THAT(result.remarks, IsEmpty()) << log;
    EXPECT_THAT(log, HasSubstr("Synced MARKETING_VERSION 1.2 → " + wanted));
    EXPECT_THAT(log, HasSubstr("skipped ahead past ASC's existing build #"));
    EXPECT_THAT(log, HasSubstr("attaching: Attached build " + *result.readyBuildVersion));
    EXPECT_THAT(log, HasSubstr("Declared `usesNonExemptEncryption: false`"));
    EXPECT_GT(waits, 0U) << "processing takes its time";
    EXPECT_FALSE(awaited) << "nothing is left to wait for";
    EXPECT_EQ(keysLeft(), 0U);
    const auto build = sandbox.client.getBuild(*result.readyBuildId);
    EXPECT_EQ(build.attributes.processingState, "VALID");
    EXPECT_EQ(build.attributes.usesNonExemptEncryption, false);
    EXPECT_THAT(tools.calls(), Not(HasSubstr("PRIVATE")));
}

TEST_F(BuildRuns, goOnWaitingAfterTheProgramEnded) {
    auto first = parts();
    first.maxProcessingWait = std::chrono::seconds(60);
    const BuildRunResult early = BuildController(first).run(config);
    EXPECT_EQ(early.outcome.errorMessage,
              "Apple processing took longer than expected (over 1 min). Check App Store "
              "Connect — the build may still finish.");
    ASSERT_TRUE(awaited);
    const auto calls = tools.calls();
    const BuildRunResult late = BuildController(parts()).resume(*awaited);
    EXPECT_TRUE(late.outcome.success) << log;
    EXPECT_EQ(late.readyBuildVersion, early.buildNumber);
    EXPECT_FALSE(awaited);
    EXPECT_EQ(tools.calls(), calls) << "nothing is built or uploaded again";
}

TEST_F(BuildRuns, findAnUploadWhoseEndNobodySaw) {
    std::vector<bool> noted;
    auto cutOff = parts();
    cutOff.remember = [&](const std::optional<AwaitedBuild>& build) {
        noted.push_back(build && build->isUploaded);
        if (noted.size() == 1) awaited = build; // the program is gone from here on
    };
    ASSERT_TRUE(BuildController(cutOff).run(config).outcome.success);
    EXPECT_THAT(noted, testing::ElementsAre(false, true, false));
    ASSERT_TRUE(awaited);
    AwaitedBuild lost = *awaited; // a run forgets what it no longer waits for
    EXPECT_TRUE(BuildController(parts()).resume(AwaitedBuild(lost)).outcome.success) << log;

    lost.buildNumber = "9999";
    lost.isUploaded = false;
    awaited = lost;
    waits = 0;
    const auto result = BuildController(parts()).resume(lost);
    EXPECT_THAT(*result.outcome.errorMessage, HasSubstr("was cut off, and App Store Connect does not show"));
    EXPECT_EQ(waits, 20U) << "ten minutes, not an hour";
    EXPECT_FALSE(awaited) << "it would keep all later runs from building";
}

TEST_F(BuildRuns, goOnWaitingWhileTheNetworkIsGone) {
    sandbox.server.setFaults({{.route = "GET /v1/builds/*", .status = 503, .count = 9}});
    const BuildRunResult result = run();
    EXPECT_TRUE(result.outcome.success) << log;
    EXPECT_THAT(log, HasSubstr("App Store Connect could not be asked, trying again: "));
    sandbox.server.revokeKey(true);
    EXPECT_FALSE(
        BuildController(parts()).resume({std::string(gardenApp), config, "3.5", "1", now}).outcome.success)
        << "what no waiting helps against ends it";
}

TEST_F(BuildRuns, keepToTheVersionThatWasAgreedTo) {
    BuildController controller(parts());
    const BuildNumbers agreed = controller.plan(config);
    EXPECT_EQ(agreed.projectNumber, "7");
    EXPECT_EQ(agreed.marketingVersion, editable().attributes.versionString);
    EXPECT_TRUE(naturalLess(*agreed.highestNumber, *agreed.buildNumber));
    EXPECT_THAT(tools.calls(), Not(HasSubstr("archive"))) << "a plan changes nothing";
    sandbox.server.setVersionState(editable().id, "WAITING_FOR_REVIEW");
    tools.setProject("9.0", "7");
    EXPECT_THAT(*controller.run(config, agreed).outcome.errorMessage,
                HasSubstr("would become version 9.0 instead of"));
    EXPECT_THAT(tools.calls(), Not(HasSubstr("archive")));
}

TEST_F(BuildRuns, stopWithWhatToDo) {
    const auto errorOf = [&] { return run().outcome.errorMessage.value_or("no error"); };
    behave({{"archive",
             JSONValue::object({{"errors", JSONValue::array({"error: No profiles for 'x' were found"})},
                                {"exitCode", 65}})}});
    EXPECT_THAT(errorOf(), HasSubstr("archiving (exit code 65).\nerror: No profiles"));
    behave({{"upload",
             JSONValue::object({{"lines", JSONValue::array({R"({"product-errors":[{"message":"Taken."}]})"})},
                                {"exitCode", 0}})}});
    auto refused = parts();
    refused.awaitedBefore = AwaitedBuild{.buildNumber = "6"};
    EXPECT_EQ(BuildController(refused).run(config).outcome.errorMessage, "Taken.");
    EXPECT_EQ(awaited, refused.awaitedBefore) << "it is awaited as before";
    EXPECT_EQ(keysLeft(), 0U);
    config.scheme.clear();
    EXPECT_EQ(errorOf(), "Build config incomplete — pick project and scheme.");
    config.scheme = "Garden";
    sandbox.server.setVersionState(editable().id, "WAITING_FOR_REVIEW");
    const auto versions = sandbox.client.listAppStoreVersions(gardenApp, ASCPlatform::iOS);
    tools.setProject(*versions.front().attributes.versionString, "7");
    EXPECT_THAT(errorOf(), HasSubstr("is locked on App Store Connect (state: "));
    EXPECT_THAT(tools.calls(), Not(HasSubstr("altool\t--upload-app\t-f\t-")));
    auto withoutTools = parts();
    withoutTools.xcrun = "/nowhere/xcrun";
    EXPECT_EQ(BuildController(withoutTools).run(config).outcome.errorMessage,
              "xcrun not found at /nowhere/xcrun — install Xcode command-line tools.");
}

TEST_F(BuildRuns, tellOfAnInvalidBuildAndOfAnAttachThatFailed) {
    sandbox.server.setFaults({{.route = "PATCH /v1/appStoreVersions/*/relationships/build", .status = 409}});
    const BuildRunResult result = run();
    EXPECT_TRUE(result.outcome.success) << "what comes after the upload does not fail the run";
    ASSERT_EQ(result.remarks.size(), 1U);
    EXPECT_THAT(result.remarks.front(), HasSubstr("Auto-attach to AppStoreVersion failed: "));
    sandbox.server.setFaults({});
    auto cancelled = parts();
    std::stop_source source;
    const TaskScope scope(source.get_token());
    cancelled.sleep = [&](double) {
        source.request_stop();
        checkCancellation();
    };
    EXPECT_THROW(static_cast<void>(BuildController(cancelled).run(config)), CancellationError);
    EXPECT_TRUE(awaited) << "the next start can go on waiting";
    EXPECT_THAT(log, HasSubstr("Cancelled while waiting for App Store processing."));
}

} // namespace quorvel
