#include "Sandbox/faults/FaultTable.h"
#include "Tests/Sandbox/RawSandbox.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>

namespace quorvel::sandbox::test {
namespace {

using testing::HasSubstr;

TransportError::Kind kindOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const TransportError& error) {
        return error.kind();
    }
    throw std::runtime_error("an answer came");
}

/// A localization of the demo account to write to, and the notes that it holds.
struct Target {
    explicit Target(RawSandbox& fixture) : sandbox_(fixture) {
        const std::string app = fixture.app("studio.fernhollow.mosswick");
        version = fixture.version(app, "IOS", "3.5");
        id = fixture.localization(version, "en-US");
    }
    Reply write(std::string_view notes) const {
        return sandbox_.update("appStoreVersionLocalizations", id, {{"whatsNew", notes}});
    }
    [[nodiscard]] std::string notes() const {
        for (const JSONValue& entry :
             sandbox_.get("/v1/appStoreVersions/" + version + "/appStoreVersionLocalizations?limit=200")
                 .list())
            if (*entry.find("id")->text() == id)
                if (const JSONValue* value = entry.at("attributes", "whatsNew")) return *value->text();
        return "";
    }
    std::string version;
    std::string id;

  private:
    RawSandbox& sandbox_;
};

TEST(SandboxFaults, textsOfTheCommandLineBecomeFaults) {
    const Fault simple = parseFault("GET /v1/apps:503:0.2");
    EXPECT_EQ(simple.route, "GET /v1/apps");
    EXPECT_EQ(simple.status, 503);
    EXPECT_EQ(simple.probability, 0.2);
    EXPECT_FALSE(simple.count);
    const Fault counted = parseFault("*:resetAfter:1:2");
    EXPECT_EQ(counted.action, "resetAfter");
    EXPECT_EQ(counted.count, 2);
    const Fault after = parseFault("POST /v1/appScreenshots:502After");
    EXPECT_EQ(after.action, "statusAfter");
    EXPECT_EQ(after.status, 502);
    const std::pair<const char*, const char*> wrong[] = {{"", "ROUTE:STATUS_OR_ACTION"},
                                                         {"GET /v1/apps", "ROUTE:STATUS_OR_ACTION"},
                                                         {"GET /v1/apps:200", "from 400 to 599"},
                                                         {"GET /v1/apps:explode", "explode"},
                                                         {"GET /v1/apps:503:2", "from 0 to 1"},
                                                         {"GET /v1/apps:503:0.1:x", "count"},
                                                         {"apps:503", "route"}};
    for (const auto& [text, problem] : wrong)
        try {
            (void)parseFault(text);
            ADD_FAILURE() << text;
        } catch (const std::invalid_argument& error) {
            EXPECT_THAT(error.what(), HasSubstr(problem)) << text;
        }
}

TEST(SandboxFaults, routesMatchSegmentBySegment) {
    EXPECT_TRUE(routeMatches("*", "PUT", "/upload/x.1"));
    EXPECT_TRUE(routeMatches("PATCH /v1/apps/*", "PATCH", "/v1/apps/12"));
    EXPECT_FALSE(routeMatches("PATCH /v1/apps/*", "GET", "/v1/apps/12"));
    EXPECT_FALSE(routeMatches("GET /v1/apps/*", "GET", "/v1/apps/12/builds"));
    EXPECT_TRUE(routeMatches("GET /v1/apps/**", "GET", "/v1/apps/12/builds"));
    EXPECT_TRUE(routeMatches("/v1/apps/*/builds", "GET", "/v1/apps/12/builds"));
    EXPECT_TRUE(routeMatches("* /v1/apps", "GET", "/v1/apps"));
}

TEST(SandboxFaults, aStatusIsAnsweredAsAnErrorDocumentWithoutDoingTheWork) {
    RawSandbox fixture;
    const Target target(fixture);
    fixture.server().setFaults(
        {{.route = "PATCH /v1/appStoreVersionLocalizations/*", .status = 429, .count = 1, .retryAfter = 7}});
    const Reply refused = target.write("Faster.");
    EXPECT_EQ(refused.status, 429);
    EXPECT_EQ(refused.codes(), "RATE_LIMIT_EXCEEDED");
    EXPECT_EQ(refused.response.header("Retry-After"), "7");
    EXPECT_EQ(target.notes(), "");
    EXPECT_EQ(target.write("Faster.").status, 200) << "the fault strikes once";
    EXPECT_EQ(target.notes(), "Faster.");
}

TEST(SandboxFaults, theWorkOfAnAnswerThatFailedAfterwardsWasDone) {
    RawSandbox fixture;
    const Target target(fixture);
    const std::string route = "PATCH /v1/appStoreVersionLocalizations/*";
    fixture.server().setFaults({{.route = route, .status = 500, .action = "statusAfter", .count = 1}});
    EXPECT_EQ(target.write("One.").status, 500);
    EXPECT_EQ(target.notes(), "One.");
    fixture.server().setFaults({{.route = route, .action = "resetAfter", .count = 1}});
    EXPECT_EQ(kindOf([&] { (void)target.write("Two."); }), TransportError::Kind::interrupted);
    EXPECT_EQ(target.notes(), "Two.");
    fixture.server().setFaults({{.route = route, .action = "reset", .count = 1}});
    fixture.server().forgetRequests();
    EXPECT_EQ(kindOf([&] { (void)target.write("Three."); }), TransportError::Kind::interrupted);
    EXPECT_EQ(fixture.server().requests().at(0).status, 0);
    EXPECT_EQ(target.notes(), "Two.");
}

TEST(SandboxFaults, anUploadPartThatIsCutInItsMiddleIsNotTaken) {
    RawSandbox fixture;
    const std::string version = fixture.version(fixture.app("studio.fernhollow.mosswick"), "IOS", "3.5");
    const std::string set =
        fixture
            .create("appScreenshotSets", {{"screenshotDisplayType", "APP_IPHONE_55"}},
                    {{"appStoreVersionLocalization", fixture.localization(version, "it")}})
            .id();
    const std::string bytes(900'000, 'b');
    fixture.server().setFaults({{.route = "PUT /upload/**", .action = "resetDuring", .count = 3}});
    fixture.server().forgetRequests();
    const Reply committed = fixture.upload(set, "one.png", bytes); // PUT is sent again
    EXPECT_EQ(*committed.body.at("data", "attributes", "assetDeliveryState", "state")->text(),
              "UPLOAD_COMPLETE");
    const auto requests = fixture.server().requests();
    EXPECT_EQ(std::ranges::count(requests, 0, &RecordedRequest::status), 3);
    // Anything else meets it before its work.
    fixture.server().setFaults({{.route = "POST /v1/appScreenshots", .action = "resetDuring", .count = 1}});
    EXPECT_EQ(kindOf([&] {
                  (void)fixture.create("appScreenshots", {{"fileName", "two.png"}, {"fileSize", 9}},
                                       {{"appScreenshotSet", set}});
              }),
              TransportError::Kind::interrupted);
    EXPECT_EQ(fixture.get("/v1/appScreenshotSets/" + set + "/appScreenshots").list().size(), 1U);
}

TEST(SandboxFaults, aTruncatedAnswerBreaksOffAndASlowOneArrivesWhole) {
    RawSandbox fixture(Seed::empty);
    fixture.server().setFaults({{.route = "*", .action = "truncate", .count = 1}});
    EXPECT_EQ(kindOf([&] {
                  (void)fixture.send("POST", "/v1/apps", "{}", {{"Content-Type", "application/json"}});
              }),
              TransportError::Kind::interrupted);
    fixture.server().setFaults({{.route = "*", .action = "slow", .count = 1}});
    EXPECT_EQ(fixture.get("/v1/apps").list().size(), 1U);
    fixture.server().setFaults({{.route = "*", .action = "expireToken", .count = 1}});
    EXPECT_EQ(fixture.get("/v1/apps").codes(), "NOT_AUTHORIZED");
    EXPECT_EQ(fixture.get("/v1/apps").status, 200);
}

TEST(SandboxFaults, aSeedPlaysTheSameFaultsAgain) {
    const auto play = [](std::uint64_t seed) {
        Options options;
        options.faults = {parseFault("GET /v1/apps:503:0.5")};
        options.faultSeed = seed;
        RawSandbox fixture(Seed::empty, options);
        std::string outcome;
        for (int i = 0; i < 24; ++i)
            outcome += fixture.get("/v1/apps").status == 200 ? '.' : 'x';
        return outcome;
    };
    const std::string first = play(7);
    EXPECT_EQ(play(7), first);
    EXPECT_NE(play(8), first);
    EXPECT_THAT(first, HasSubstr("x"));
    EXPECT_THAT(first, HasSubstr("."));
}

TEST(SandboxFaults, aRouteOfControlSetsThemAndIsItselfSafeFromThem) {
    RawSandbox fixture(Seed::empty);
    const auto set = [&](JSONValue faults) { return fixture.post("/__sandbox/faults", faults).status; };
    EXPECT_EQ(set(JSONValue::array({JSONValue::object({{"route", "*"}, {"status", 500}})})), 200);
    EXPECT_EQ(fixture.get("/v1/apps").status, 500);
    EXPECT_EQ(set(JSONValue::array({JSONValue::object({{"route", "*"}, {"status", 200}})})), 400);
    EXPECT_EQ(fixture.get("/v1/apps").status, 500) << "the faults before stay";
    EXPECT_EQ(set(JSONValue::object({{"faults", JSONValue::array()}})), 200);
    EXPECT_EQ(fixture.get("/v1/apps").status, 200);
}

TEST(SandboxFaults, theQuotaOfTheRollingHourRunsOut) {
    Options options;
    options.hourlyQuota = 3;
    RawSandbox fixture(Seed::empty, options);
    for (const char* remaining : {"2", "1", "0"})
        EXPECT_EQ(fixture.get("/v1/apps").response.header("X-Rate-Limit"),
                  std::string("user-hour-lim:3;user-hour-rem:") + remaining + ";");
    const Reply refused = fixture.get("/v1/apps");
    EXPECT_EQ(refused.status, 429);
    EXPECT_EQ(refused.codes(), "RATE_LIMIT_EXCEEDED");
    const std::string wait(refused.response.header("Retry-After").value_or("0"));
    EXPECT_GT(std::stoi(wait), 3500);
    fixture.server().advance(std::stod(wait) + 1);
    EXPECT_EQ(fixture.get("/v1/apps").status, 200);
}

} // namespace
} // namespace quorvel::sandbox::test
