#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Platform/text/Text.h"
#include "Sandbox/relay/PseudoLocale.h"
#include "Tests/Sandbox/RawSandbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvel::sandbox::test {
namespace {

using ::testing::HasSubstr;
using namespace std::string_literals;

constexpr const char* relayPath = "/relay/v1/chat/completions";
constexpr std::string_view body =
    R"({"model":"m","messages":[{"role":"user","content":"Hi"}],"temperature":0.3,"max_tokens":256})";

struct Signing {
    std::string bundleID = "com.wendhal.quorvel";
    std::int64_t age = 0; // seconds
    std::string secret = {};
    std::string accept = "application/json";
};

Reply ask(RawSandbox& fixture, std::string text, const Signing& signing = {}) {
    const auto now = static_cast<std::int64_t>(secondsSince1970(systemClock()()));
    const std::string stamp = std::to_string(now - signing.age);
    const SHA256Digest token =
        hmacSHA256(signing.secret.empty() ? fixture.server().access().relaySecret : signing.secret,
                   signing.bundleID + ":" + stamp);
    return fixture.send("POST", relayPath, std::move(text),
                        {{"Content-Type", "application/json"},
                         {"Accept", signing.accept},
                         {"X-Bundle-ID", signing.bundleID},
                         {"X-Timestamp", stamp},
                         {"X-App-Token", hex({reinterpret_cast<const char*>(token.data()), token.size()})}});
}

std::string contentOf(const Reply& reply) {
    return *reply.body.find("choices")->items()->front().at("message", "content")->text();
}

std::string prompt(std::string_view text) {
    return encodeJSON(JSONValue::object(
        {{"model", "m"},
         {"messages",
          JSONValue::array({JSONValue::object({{"role", "system"},
                                               {"content", "Protected terms (keep verbatim, "
                                                           "do not translate):\nTide Pool\n\nGlossary"}}),
                            JSONValue::object({{"role", "user"}, {"content", text}})})},
         {"temperature", 0.3},
         {"max_tokens", 256}}));
}

const std::string translation =
    "Translate the following subtitle from en-US to de-DE:\n\n---\nTide Pool at a glance\n---\n\n"
    "Output ONLY the translated text.\nReminder: ≤ 30 characters. Count before you respond.";

TEST(SandboxRelay, takesOnlySignedRequestsOfTheKnownForm) {
    RawSandbox fixture(Seed::empty);
    EXPECT_EQ(ask(fixture, std::string(body)).status, 200);
    EXPECT_EQ(ask(fixture, std::string(body), {.bundleID = "com.other"}).status, 401);
    EXPECT_EQ(ask(fixture, std::string(body), {.secret = "guess"}).status, 401);
    EXPECT_EQ(ask(fixture, std::string(body), {.age = 290}).status, 200);
    EXPECT_EQ(ask(fixture, std::string(body), {.age = 400}).status, 401);
    EXPECT_EQ(ask(fixture, std::string(body), {.accept = "*/*"}).status, 415);
    EXPECT_EQ(fixture.send("POST", relayPath, std::string(body)).status, 401);
    for (const char* other :
         {R"({"messages":[],"model":"m","temperature":0,"max_tokens":256})",
          R"({"model":"m","messages":[],"temperature":0,"max_tokens":255})",
          R"({"model":"m","messages":[],"max_tokens":256})",
          R"({"model":"m","messages":[{"role":"tool","content":""}],"temperature":0,"max_tokens":256})",
          R"({"model":"m","messages":[],"temperature":0,"max_tokens":256,"system":"x"})",
          R"({"model":"m","messages":[{"content":"","role":"user"}],"temperature":0,"max_tokens":256})",
          R"({"model":"m","messages":[],"temperature":0,"max_tokens":256,"response_format":"json_object"})",
          R"({"messages":[{"role":"user","content":"Hi"}],"temperature":0,"max_tokens":256})", "[]", "{"})
        EXPECT_EQ(ask(fixture, other).status, 400) << other;
    EXPECT_EQ(fixture.server().relayAccount().calls, 2);
    EXPECT_EQ(fixture.server().relayAccount().repeatedCalls, 1);
}

TEST(SandboxRelay, translatesReversiblyWithinTheLimitOrOverItOnRequest) {
    RawSandbox fixture(Seed::empty);
    const std::string plain = contentOf(ask(fixture, prompt(translation)));
    EXPECT_EQ(plain, "Tide Pool ạṭ ạ ġḷạṇċẹ");
    EXPECT_EQ(undoPseudoLocalisation(plain), "Tide Pool at a glance");
    EXPECT_EQ(undoPseudoLocalisation(pseudoLocalise("Zebra, quick!", "ja")), "Zebra, quick!");

    fixture.server().setModelManner({.wrapping = "proseAndFence", .tooLongAnswers = 1});
    const std::string first = contentOf(ask(fixture, prompt(translation)));
    EXPECT_THAT(first, HasSubstr("```\nTide Pool"));
    EXPECT_GT(graphemeCount(first), 42u);
    const std::string second =
        contentOf(ask(fixture, prompt(translation + "\nThe previous attempt was 45 characters — 15 over")));
    EXPECT_THAT(second, HasSubstr("```\n" + plain + "\n```"));
    EXPECT_EQ(fixture.post("/__sandbox/relay", JSONValue::object({{"wrapping", "ribbon"}})).status, 400);
}

TEST(SandboxRelay, leavesAddressesPlaceholdersAndRenderingsAlone) {
    const std::string source = "Ask %@ at help@tide.example, https://a.dev/x?b=1 or {name}. Log tide.app";
    const std::string german = pseudoLocalise(source, "de-DE", {{"Log", "Logbuch"}});
    for (const char* part : {"%@", "help@tide.example", "https://a.dev/x?b=1", "{name}", "Logbuch tide.app"})
        EXPECT_THAT(german, HasSubstr(part));
    EXPECT_EQ(undoPseudoLocalisation(pseudoLocalise(source, "de-DE")), source);
    EXPECT_EQ(undoPseudoLocalisation(pseudoLocalise("Zebra, Äpfel", "he")), "Zebra, Äpfel");
    EXPECT_EQ(graphemeCount(pseudoLocalise("ABC abc", "he")), 7u);
    EXPECT_EQ(withoutFixedParts("See 24 of {name}: a.dev/1"), "See  of : ");
}

TEST(SandboxRelay, playsTheScriptOfEachPromptAndThenAnswersAsUsual) {
    RawSandbox fixture(Seed::empty);
    const std::string usual = contentOf(ask(fixture, prompt(translation)));
    const auto script = JSONValue::array(
        {"brokenOff", "filtered", "badJSON", "rightToLeft", "remark", "refusal", "echo", "careless"});
    ASSERT_EQ(
        fixture.post("/__sandbox/relay", JSONValue::object({{"script", script}, {"only", "de-DE"}})).status,
        200);
    const auto next = [&] {
        const Reply reply = ask(fixture, prompt(translation));
        const JSONValue& choice = reply.body.find("choices")->items()->front();
        return std::pair(*choice.at("message", "content")->text(), *choice.find("finish_reason")->text());
    };
    std::vector<std::pair<std::string, std::string>> played;
    for (int answer = 0; answer < 9; ++answer)
        played.push_back(next());
    EXPECT_EQ(played[0], std::pair("Tide Pool "s, "length"s));
    EXPECT_EQ(played[1], std::pair("Tide P"s, "content_filter"s));
    EXPECT_THROW((void)decodeJSON<JSONValue>(played[2].first), JSONError);
    EXPECT_EQ(played[3].first, "\u200F" + usual);
    EXPECT_THAT(played[4].first, testing::StartsWith(usual + "\n\nNote: "));
    EXPECT_THAT(played[5].first, HasSubstr("I can't help"));
    EXPECT_EQ(played[6].first, "Tide Pool at a glance");
    EXPECT_EQ(played[7].first, usual) << "nothing to lose here";
    EXPECT_EQ(played[8], std::pair(usual, "stop"s));
    fixture.server().setModelManner({.script = {"refusal"}, .only = "to ja:"});
    EXPECT_EQ(next().first, usual);
    EXPECT_EQ(fixture.post("/__sandbox/relay", JSONValue::object({{"script", JSONValue::array({"mumble"})}}))
                  .status,
              400);
}

TEST(SandboxRelay, countsTheTokensOfWhatItDelivered) {
    RawSandbox fixture(Seed::empty);
    (void)ask(fixture, std::string(body));
    fixture.server().setFaults({parseFault("POST /relay/v1/chat/completions:503After:1:1"),
                                parseFault("POST /relay/v1/chat/completions:429:1:1")});
    const Reply lost = ask(fixture, std::string(body));
    EXPECT_EQ(lost.status, 503);
    EXPECT_EQ(*lost.body.at("error", "message")->text(), "This went wrong on purpose.");
    EXPECT_EQ(ask(fixture, std::string(body)).status, 429);
    const RelayAccount account = fixture.server().relayAccount();
    EXPECT_EQ(account, (RelayAccount{.calls = 1, .promptTokens = 1, .completionTokens = 7, .lostCalls = 1}));
    EXPECT_EQ(*fixture.get("/__sandbox/relay").body.find("completionTokens")->integer(), 7);
}

TEST(SandboxRelay, namesItsAddressAndSecretInTheEndpointsFileAndKeepsThem) {
    RawSandbox fixture(Seed::empty);
    const std::string secret = fixture.server().access().relaySecret;
    const auto file = fixture.server().access().endpointsFile;
    EXPECT_THAT(readFile(file).value(), HasSubstr(secret));
    EXPECT_EQ(std::filesystem::status(file).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_EQ(fixture.server().readyLine().find(secret), std::string::npos);
    fixture.restart();
    EXPECT_EQ(fixture.server().access().relaySecret, secret);
}

TEST(SandboxRelay, servesTheRatesOfTheLastWorkingDay) {
    RawSandbox fixture(Seed::empty);
    const Reply reply = fixture.get("/relay/fx");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(*reply.body.find("base")->text(), "EUR");
    EXPECT_EQ(reply.body.find("date")->text()->size(), 10u);
    EXPECT_TRUE(reply.body.at("rates", "USD"));
    EXPECT_FALSE(reply.body.at("rates", "EUR")) << "the base is not among its own rates";
}

} // namespace
} // namespace quorvel::sandbox::test
