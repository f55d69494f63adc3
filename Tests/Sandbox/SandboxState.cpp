#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Tests/Sandbox/Rehearsal.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <sys/stat.h>
#include <thread>

namespace quorvel::sandbox::test {
namespace {

unsigned modeOf(const std::filesystem::path& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777U : 0;
}

TEST(SandboxState, aRestartContinuesWithTheSameAccount) {
    Rehearsal rehearsal;
    const Access before = rehearsal.server().access();
    const std::string app = rehearsal.app("studio.fernhollow.mosswick");
    const std::string version = rehearsal.version(app, "IOS", "3.5");
    const std::string english = rehearsal.localization(version, "en-US");
    ASSERT_EQ(rehearsal.update("appStoreVersionLocalizations", english, {{"whatsNew", "Kept."}}).status, 200);
    const std::string build = rehearsal.server().addBuild(app, "IOS", "3.5", "360");
    rehearsal.server().advance(200);
    const JSONValue state = rehearsal.server().state();
    rehearsal.restart();
    const Access after = rehearsal.server().access();
    EXPECT_EQ(after.keyID, before.keyID);
    EXPECT_EQ(after.issuerID, before.issuerID);
    EXPECT_EQ(after.privateKeyFile, before.privateKeyFile);
    const std::string types[] = {"appStoreVersionLocalizations", "customerReviews", "apps", "builds"};
    for (const std::string& type : types)
        EXPECT_EQ(*rehearsal.server().state().find(type), *state.find(type)) << type;
    rehearsal.server().advance(101);
    EXPECT_EQ(rehearsal.get("/v1/builds/" + build).text("processingState"), "VALID")
        << "the clock and what lies ahead are kept";
    const std::string fresh =
        rehearsal.create("betaBuildLocalizations", {{"locale", "ja"}}, {{"build", build}}).id();
    for (const auto& [type, resources] : *state.members())
        EXPECT_EQ(resources.find(fresh), nullptr) << "ids are not made twice";
}

TEST(SandboxState, belongsToOneSandboxAtATime) {
    Rehearsal rehearsal;
    const std::filesystem::path folder = rehearsal.server().access().endpointsFile.parent_path();
    try {
        const SandboxServer second({.stateFolder = folder});
        ADD_FAILURE() << "a second sandbox runs over the same folder";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("another sandbox"));
    }
    rehearsal.restart();
}

TEST(SandboxState, addressesFollowTheNewPort) {
    Rehearsal rehearsal;
    const std::string url = rehearsal.server().access().url;
    rehearsal.restart();
    const std::string now = rehearsal.server().access().url;
    const std::string state = encodeJSON(rehearsal.server().state());
    EXPECT_THAT(state, testing::HasSubstr(now + "/image/"));
    if (now != url) {
        EXPECT_THAT(state, testing::Not(testing::HasSubstr(url + "/")));
    }
}

TEST(SandboxState, filesTellHowToReachItAndKeepTheKeyToTheOwner) {
    Rehearsal rehearsal(Seed::empty);
    const Access access = rehearsal.server().access();
    const auto ready = decodeJSON<JSONValue>(rehearsal.server().readyLine());
    EXPECT_EQ(*ready.find("url")->text(), access.url);
    EXPECT_EQ(*ready.find("keyID")->text(), access.keyID);
    EXPECT_EQ(*ready.find("privateKey")->text(), access.privateKeyFile.string());
    EXPECT_EQ(access.privateKeyFile.filename(), "AuthKey_" + access.keyID + ".p8");
    EXPECT_EQ(modeOf(access.privateKeyFile), 0600U);
    EXPECT_EQ(modeOf(rehearsal.folder() / "state"), 0700U);
    const auto endpoints = decodeJSON<JSONValue>(*readFile(access.endpointsFile));
    EXPECT_EQ(*endpoints.find("appStoreConnect")->text(), access.url);
    EXPECT_EQ(endpoints.members()->size(), 3U) << "only what is served";
}

TEST(SandboxState, aTakenPortAndASpoiltStateAreSaid) {
    Rehearsal rehearsal(Seed::empty);
    const std::string url = rehearsal.server().access().url;
    Options options;
    options.stateFolder = rehearsal.folder() / "second";
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
    Rehearsal rehearsal;
    const std::string app = rehearsal.app("studio.fernhollow.mosswick");
    rehearsal.server().setLatency(20);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 48; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 3; ++round)
                EXPECT_EQ(rehearsal.get("/v1/apps/" + app + "/customerReviews?limit=5").status, 200);
        });
    threads.clear();
    EXPECT_EQ(rehearsal.server().requests().size(), 1U + 48 * 3);
}

} // namespace
} // namespace quorvel::sandbox::test
