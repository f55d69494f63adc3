#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Platform/task/StopToken.h"
#include "Tests/Sandbox/RawSandbox.h"
#include "Tests/support/FileMode.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <sys/stat.h>

namespace quorvel::sandbox::test {
namespace {

using quorvel::test::modeOf;

TEST(SandboxState, aRestartContinuesWithTheSameAccount) {
    RawSandbox fixture;
    const Access before = fixture.server().access();
    const std::string app = fixture.app("studio.fernhollow.mosswick");
    const std::string version = fixture.version(app, "IOS", "3.5");
    const std::string english = fixture.localization(version, "en-US");
    ASSERT_EQ(fixture.update("appStoreVersionLocalizations", english, {{"whatsNew", "Kept."}}).status, 200);
    const std::string build = fixture.server().addBuild(app, "IOS", "3.5", "360");
    fixture.server().advance(200);
    const JSONValue state = fixture.server().state();
    fixture.restart();
    const Access after = fixture.server().access();
    EXPECT_EQ(after.keyID, before.keyID);
    EXPECT_EQ(after.issuerID, before.issuerID);
    EXPECT_EQ(after.privateKeyFile, before.privateKeyFile);
    const std::string types[] = {"appStoreVersionLocalizations", "customerReviews", "apps", "builds"};
    for (const std::string& type : types)
        EXPECT_EQ(*fixture.server().state().find(type), *state.find(type)) << type;
    fixture.server().advance(101);
    EXPECT_EQ(fixture.get("/v1/builds/" + build).text("processingState"), "VALID")
        << "the clock and what lies ahead are kept";
    const std::string fresh =
        fixture.create("betaBuildLocalizations", {{"locale", "ja"}}, {{"build", build}}).id();
    for (const auto& [type, resources] : *state.members())
        EXPECT_EQ(resources.find(fresh), nullptr) << "ids are not made twice";
}

TEST(SandboxState, belongsToOneSandboxAtATime) {
    RawSandbox fixture;
    const std::filesystem::path folder = fixture.server().access().endpointsFile.parent_path();
    try {
        const SandboxServer second({.stateFolder = folder});
        ADD_FAILURE() << "a second sandbox runs over the same folder";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("another sandbox"));
    }
    fixture.restart();
}

TEST(SandboxState, addressesFollowTheNewPort) {
    RawSandbox fixture;
    const std::string url = fixture.server().access().url;
    fixture.restart();
    const std::string now = fixture.server().access().url;
    const std::string state = encodeJSON(fixture.server().state());
    EXPECT_THAT(state, testing::HasSubstr(now + "/image/"));
    if (now != url) {
        EXPECT_THAT(state, testing::Not(testing::HasSubstr(url + "/")));
    }
}

TEST(SandboxState, filesTellHowToReachItAndKeepTheKeyToTheOwner) {
    RawSandbox fixture(Seed::empty);
    const Access access = fixture.server().access();
    const auto ready = decodeJSON<JSONValue>(fixture.server().readyLine());
    EXPECT_EQ(*ready.find("url")->text(), access.url);
    EXPECT_EQ(*ready.find("keyID")->text(), access.keyID);
    EXPECT_EQ(*ready.find("privateKey")->text(), access.privateKeyFile.string());
    EXPECT_EQ(access.privateKeyFile.filename(), "AuthKey_" + access.keyID + ".p8");
    EXPECT_EQ(modeOf(access.privateKeyFile), 0600U);
    EXPECT_EQ(modeOf(fixture.folder() / "state"), 0700U);
    const auto endpoints = decodeJSON<JSONValue>(*readFile(access.endpointsFile));
    EXPECT_EQ(*endpoints.find("appStoreConnect")->text(), access.url);
    for (const auto* service : {"storeSearch", "searchHints", "marketingFeeds", "legacyFeeds", "productSite"})
        EXPECT_TRUE(endpoints.find(service)->text()->starts_with(access.url + "/store/")) << service;
    EXPECT_EQ(*endpoints.find("storeSearchesPerMinute")->integer(), 0);
    EXPECT_EQ(endpoints.members()->size(), 9U) << "only what is served";
}

TEST(SandboxState, aTakenPortAndASpoiltStateAreSaid) {
    RawSandbox fixture(Seed::empty);
    const std::string url = fixture.server().access().url;
    Options options;
    options.stateFolder = fixture.folder() / "second";
    options.port = static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1)));
    EXPECT_THROW(SandboxServer second(options), std::runtime_error);
    options.port = 0;
    createFolders(options.stateFolder);
    for (const char* spoilt : {"", "{", "[]", R"({"account":{}})",
                               R"({"account":{"keyID":"A","issuerID":"B","vendorNumber":"C"},"format":2})"}) {
        writeFileAtomically(options.stateFolder / "state.json", spoilt);
        EXPECT_THROW(SandboxServer second(options), std::runtime_error) << spoilt;
    }
}

TEST(SandboxState, manyConnectionsAreServedAtOnce) {
    RawSandbox fixture;
    const std::string app = fixture.app("studio.fernhollow.mosswick");
    fixture.server().setLatency(20);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 48; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 3; ++round)
                EXPECT_EQ(fixture.get("/v1/apps/" + app + "/customerReviews?limit=5").status, 200);
        });
    threads.clear();
    EXPECT_EQ(fixture.server().requests().size(), 1U + 48 * 3);
}

} // namespace
} // namespace quorvel::sandbox::test
