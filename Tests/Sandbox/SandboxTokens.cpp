#include "Tests/Sandbox/Rehearsal.h"

#include <gmock/gmock.h>

#include <functional>

namespace quorvel::sandbox::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

TEST(SandboxTokens, wrongTokensAreRefusedAsNotAuthorized) {
    Rehearsal rehearsal(Seed::empty);
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
        TokenParts parts = rehearsal.tokenParts();
        entry.change(parts);
        rehearsal.useToken(rehearsal.sign(parts));
        const Reply reply = rehearsal.get("/v1/apps");
        EXPECT_EQ(reply.status, entry.status) << entry.what;
        EXPECT_EQ(reply.codes(), entry.status == 200 ? "" : "NOT_AUTHORIZED") << entry.what;
    }
}

TEST(SandboxTokens, aSignatureMustBeTheAccountsOwn) {
    Rehearsal rehearsal(Seed::empty);
    const std::string good = rehearsal.sign(rehearsal.tokenParts());
    std::string forged = good;
    char& digit = forged[forged.size() - 20];
    digit = digit == 'A' ? 'B' : 'A';
    for (const std::string& token : {forged, good.substr(0, good.rfind('.') + 1), std::string("a.b.c"),
                                     std::string("none"), std::string()}) {
        rehearsal.useToken(token);
        EXPECT_EQ(rehearsal.get("/v1/apps").status, 401) << token.size();
    }
    rehearsal.useToken(good);
    EXPECT_EQ(rehearsal.get("/v1/apps").status, 200);
    rehearsal.server().revokeKey(true);
    EXPECT_EQ(rehearsal.get("/v1/apps").status, 401);
    rehearsal.server().revokeKey(false);
    EXPECT_EQ(rehearsal.get("/v1/apps").status, 200);
}

TEST(SandboxTokens, theVirtualClockAndTheRealOneBothSignButASkewedServerRefuses) {
    Rehearsal rehearsal(Seed::empty);
    rehearsal.server().advance(86'400);
    EXPECT_EQ(rehearsal.get("/v1/apps").status, 200) << "signed by the real clock";
    TokenParts parts = rehearsal.tokenParts();
    parts.issuedAt = 86'400;
    parts.expiry = 86'400 + 600;
    rehearsal.useToken(rehearsal.sign(parts));
    const Reply reply = rehearsal.get("/v1/apps");
    EXPECT_EQ(reply.status, 200) << "signed by the clock of the Date header";

    Rehearsal skewed(Seed::empty);
    skewed.server().skewClock(-90);
    TokenParts full = skewed.tokenParts();
    full.expiry = 1200;
    skewed.useToken(skewed.sign(full));
    const Reply refused = skewed.get("/v1/apps");
    EXPECT_EQ(refused.status, 401);
    EXPECT_TRUE(refused.response.header("Date").has_value()) << "what a client can learn the skew from";
}

TEST(SandboxTokens, rolesAllowWhatTheyAllowOnAppStoreConnect) {
    Rehearsal rehearsal(Seed::demo);
    const std::string app = rehearsal.app("studio.fernhollow.tides");
    const auto useRole = [&](std::string_view role) {
        return rehearsal.post("/__sandbox/keys", JSONValue::object({{"role", role}})).status;
    };
    EXPECT_EQ(useRole("DEVELOPER"), 200);
    EXPECT_EQ(rehearsal.get("/v1/apps").status, 200);
    const Reply refused = rehearsal.create("appStoreVersions",
                                           {{"platform", "MAC_OS"}, {"versionString", "1"}}, {{"app", app}});
    EXPECT_EQ(refused.status, 403);
    EXPECT_EQ(refused.codes(), "FORBIDDEN_ERROR");
    EXPECT_EQ(rehearsal.get("/v1/salesReports").status, 403);
    EXPECT_EQ(useRole("APP_MANAGER"), 200);
    EXPECT_EQ(
        rehearsal.create("appStoreVersions", {{"platform", "MAC_OS"}, {"versionString", "1"}}, {{"app", app}})
            .status,
        201);
    EXPECT_EQ(useRole("FINANCE"), 200);
    EXPECT_NE(rehearsal.get("/v1/salesReports").status, 403);
    EXPECT_EQ(useRole("INTERN"), 400);
}

TEST(SandboxTokens, noTokenIsEverRecorded) {
    Rehearsal rehearsal(Seed::empty);
    const std::string token = rehearsal.sign(rehearsal.tokenParts());
    rehearsal.useToken(token);
    (void)rehearsal.get("/v1/apps?limit=1");
    const auto requests = rehearsal.server().requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].authorization, "Bearer " + rehearsal.server().access().keyID);
    EXPECT_EQ(requests[0].target, "/v1/apps?limit=1");
    const std::string listed = rehearsal.get("/__sandbox/requests").response.body;
    EXPECT_THAT(listed, AllOf(HasSubstr("/v1/apps"), Not(HasSubstr(token.substr(token.rfind('.') + 1)))));
}

} // namespace
} // namespace quorvel::sandbox::test
