#include "Tests/Sandbox/RawSandbox.h"

#include <gmock/gmock.h>

#include <functional>

namespace quorvel::sandbox::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

TEST(SandboxTokens, wrongTokensAreRefusedAsNotAuthorized) {
    RawSandbox fixture(Seed::empty);
    struct Case {
        std::string what;
        std::function<void(TokenParts&)> change;
        int status;
    };
    const Case cases[] = {
        {"a good one", [](TokenParts&) {}, 200},
        {"the longest life", [](TokenParts& parts) { parts.expiry = 1200; }, 200},
        {"issued a little ahead", [](TokenParts& parts) { parts.issuedAt = 30; }, 200},
        {"too long a life", [](TokenParts& parts) { parts.expiry = 1300; }, 401},
        {"long life, issued earlier",
         [](TokenParts& parts) {
             parts.issuedAt = -900;
             parts.expiry = 900;
         },
         401},
        {"expired", [](TokenParts& parts) { parts.issuedAt = -700, parts.expiry = -5; }, 401},
        {"issued in the future", [](TokenParts& parts) { parts.issuedAt = 300; }, 401},
        {"another audience", [](TokenParts& parts) { parts.audience = "appstoreconnect-v2"; }, 401},
        {"another issuer", [](TokenParts& parts) { parts.issuerID = "7e4a1a0e-0000-4000-8000-000000000000"; },
         401},
        {"another key", [](TokenParts& parts) { parts.keyID = "ABCDEFGHIJ"; }, 401},
        {"another algorithm", [](TokenParts& parts) { parts.algorithm = "HS256"; }, 401},
    };
    for (const Case& entry : cases) {
        TokenParts parts = fixture.tokenParts();
        entry.change(parts);
        fixture.useToken(fixture.sign(parts));
        const Reply reply = fixture.get("/v1/apps");
        EXPECT_EQ(reply.status, entry.status) << entry.what;
        EXPECT_EQ(reply.codes(), entry.status == 200 ? "" : "NOT_AUTHORIZED") << entry.what;
    }
}

TEST(SandboxTokens, aSignatureMustBeTheAccountsOwn) {
    RawSandbox fixture(Seed::empty);
    const std::string good = fixture.sign(fixture.tokenParts());
    std::string forged = good;
    char& digit = forged[forged.size() - 20];
    digit = digit == 'A' ? 'B' : 'A';
    for (const std::string& token : {forged, good.substr(0, good.rfind('.') + 1), std::string("a.b.c"),
                                     std::string("none"), std::string()}) {
        fixture.useToken(token);
        EXPECT_EQ(fixture.get("/v1/apps").status, 401) << token.size();
    }
    fixture.useToken(good);
    EXPECT_EQ(fixture.get("/v1/apps").status, 200);
    fixture.server().revokeKey(true);
    EXPECT_EQ(fixture.get("/v1/apps").status, 401);
    fixture.server().revokeKey(false);
    EXPECT_EQ(fixture.get("/v1/apps").status, 200);
}

TEST(SandboxTokens, theVirtualClockAndTheRealOneBothSignButASkewedServerRefuses) {
    RawSandbox fixture(Seed::empty);
    fixture.server().advance(86'400);
    EXPECT_EQ(fixture.get("/v1/apps").status, 200) << "signed by the real clock";
    TokenParts parts = fixture.tokenParts();
    parts.issuedAt = 86'400;
    parts.expiry = 86'400 + 600;
    fixture.useToken(fixture.sign(parts));
    const Reply reply = fixture.get("/v1/apps");
    EXPECT_EQ(reply.status, 200) << "signed by the clock of the Date header";

    RawSandbox skewed(Seed::empty);
    skewed.server().skewClock(-90);
    TokenParts full = skewed.tokenParts();
    full.expiry = 1200;
    skewed.useToken(skewed.sign(full));
    const Reply refused = skewed.get("/v1/apps");
    EXPECT_EQ(refused.status, 401);
    EXPECT_TRUE(refused.response.header("Date").has_value()) << "what a client can learn the skew from";
}

TEST(SandboxTokens, rolesAllowWhatTheyAllowOnAppStoreConnect) {
    RawSandbox fixture(Seed::demo);
    const std::string app = fixture.app("studio.fernhollow.tides");
    const auto useRole = [&](std::string_view role) {
        return fixture.post("/__sandbox/keys", JSONValue::object({{"role", role}})).status;
    };
    EXPECT_EQ(useRole("DEVELOPER"), 200);
    EXPECT_EQ(fixture.get("/v1/apps").status, 200);
    const Reply refused =
        fixture.create("appStoreVersions", {{"platform", "MAC_OS"}, {"versionString", "1"}}, {{"app", app}});
    EXPECT_EQ(refused.status, 403);
    EXPECT_EQ(refused.codes(), "FORBIDDEN_ERROR");
    EXPECT_EQ(fixture.get("/v1/salesReports").status, 403);
    EXPECT_EQ(useRole("APP_MANAGER"), 200);
    EXPECT_EQ(
        fixture.create("appStoreVersions", {{"platform", "MAC_OS"}, {"versionString", "1"}}, {{"app", app}})
            .status,
        201);
    EXPECT_EQ(useRole("FINANCE"), 200);
    EXPECT_NE(fixture.get("/v1/salesReports").status, 403);
    EXPECT_EQ(useRole("INTERN"), 400);
}

TEST(SandboxTokens, noTokenIsEverRecorded) {
    RawSandbox fixture(Seed::empty);
    const std::string token = fixture.sign(fixture.tokenParts());
    fixture.useToken(token);
    (void)fixture.get("/v1/apps?limit=1");
    const auto requests = fixture.server().requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].authorization, "Bearer " + fixture.server().access().keyID);
    EXPECT_EQ(requests[0].target, "/v1/apps?limit=1");
    const std::string listed = fixture.get("/__sandbox/requests").response.body;
    EXPECT_THAT(listed, AllOf(HasSubstr("/v1/apps"), Not(HasSubstr(token.substr(token.rfind('.') + 1)))));
}

} // namespace
} // namespace quorvel::sandbox::test
