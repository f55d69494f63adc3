#include "Core/ai/ClaudeClient.h"
#include "Core/ai/ClaudeError.h"
#include "Platform/log/Log.h"
#include "Platform/task/Task.h"
#include "Tests/support/ChildProgram.h"
#include "Tests/support/FakeHTTPClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace quorvel;
using test::FakeHTTPClient;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string secret = "a secret of 31 bytes for a test";
const std::string relayAnswer =
    R"({"id":"x1","model":"m2","choices":[{"message":{"content":"Hallo"},"finish_reason":"stop"}],)"
    R"("usage":{"prompt_tokens":12,"completion_tokens":3,"total_tokens":15}})";
constexpr double relayMoment = 1'772'368'200.75;

// A client over scripted answers that notes the sleeps it asks for; its back-off is the attempt in seconds.
struct RelayFixture {
    explicit RelayFixture(std::vector<FakeHTTPClient::Answer> answers)
        : http(std::make_shared<FakeHTTPClient>(std::move(answers))),
          client({.relay = {"https://relay.test/ai/", ObfuscatedString(secret)},
                  .http = http,
                  .backoff = [](int attempt) { return attempt * 10.0; },
                  .sleepFor = [this](double seconds) { sleeps.push_back(seconds); },
                  .clock = [this] { return dateFromSecondsSince1970(now++); }}) {}

    ClaudeError::Case failure() {
        try {
            (void)client.send(request);
        } catch (const ClaudeError& error) {
            return error.problem();
        }
        ADD_FAILURE() << "no error was thrown";
        return ClaudeError::Network{};
    }
    std::string sentBody() { return std::get<std::string>(http->requests().back().body); }

    ClaudeRequest request{"openai/gpt-4.1-mini", 100, "Be \"short\".", {{"user", "Grüße\n/"}}, {}, {}};
    double now = relayMoment;
    std::shared_ptr<FakeHTTPClient> http;
    std::vector<double> sleeps;
    PenwiseClient client;
};

std::string headerOf(const HTTPRequest& request, std::string_view name) {
    for (const HTTPHeader& header : request.headers)
        if (header.name == name) return header.value;
    return "(none)";
}

} // namespace

TEST(PenwiseClient, sendsTheseBytes) {
    RelayFixture fixture({FakeHTTPClient::status(200, relayAnswer)});
    const ClaudeResponse response = fixture.client.send(fixture.request);
    const HTTPRequest sent = fixture.http->requests().at(0);
    EXPECT_EQ(sent.method, "POST");
    EXPECT_EQ(sent.url, "https://relay.test/ai/v1/chat/completions");
    EXPECT_EQ(sent.timeout, std::chrono::seconds(60));
    EXPECT_EQ(std::get<std::string>(sent.body),
              R"({"model":"openai/gpt-4.1-mini","messages":[{"role":"system","content":"Be \"short\"."},)"
              R"({"role":"user","content":"Grüße\n/"}],"temperature":0.3,"max_tokens":256})");
    EXPECT_EQ(sent.headers.size(), 5u);
    EXPECT_EQ(headerOf(sent, "Content-Type"), "application/json");
    EXPECT_EQ(headerOf(sent, "Accept"), "application/json");
    EXPECT_EQ(headerOf(sent, "X-Bundle-ID"), "com.wendhal.quorvel");
    EXPECT_EQ(headerOf(sent, "X-Timestamp"), "1772368200");
    EXPECT_EQ(response, (ClaudeResponse{"x1", "message", "m2", "stop", {{"text", "Hallo"}}, {12, 3}}));
}

TEST(PenwiseClient, signsAsTheCommandLineOfOpenSSLDoes) {
    RelayFixture fixture({FakeHTTPClient::status(200, relayAnswer)});
    (void)fixture.client.send(fixture.request);
    const HTTPRequest sent = fixture.http->requests().at(0);
    const auto check =
        test::runProgram({.program = QUORVEL_SOURCE_DIR "/scripts/check-relay-token",
                          .arguments = {headerOf(sent, "X-Bundle-ID"), headerOf(sent, "X-Timestamp"),
                                        headerOf(sent, "X-App-Token")},
                          .environment = {{"PATH", "/usr/bin:/bin:/usr/local/bin"}},
                          .input = secret});
    EXPECT_EQ(check.status, 0) << check.all();
    EXPECT_EQ(
        test::runProgram({.program = QUORVEL_SOURCE_DIR "/scripts/check-relay-token",
                          .arguments = {"com.wendhal.quorvel", "1772368201", headerOf(sent, "X-App-Token")},
                          .environment = {{"PATH", "/usr/bin:/bin:/usr/local/bin"}},
                          .input = secret})
            .status,
        1)
        << "the token belongs to its second";
}

TEST(PenwiseClient, buildsTheBodyFromWhatTheRequestHas) {
    RelayFixture fixture({FakeHTTPClient::status(200, relayAnswer)});
    const struct {
        ClaudeRequest request;
        std::string expected;
    } cases[] = {
        {{"m", 4096, "", {{"user", "a"}, {"assistant", "b"}}, 1.0, "json_object"},
         R"({"model":"m","messages":[{"role":"user","content":"a"},{"role":"assistant","content":"b"}],)"
         R"("temperature":1,"max_tokens":4096,"response_format":{"type":"json_object"}})"},
        {{"m", 256, {}, {}, 0.0, {}}, R"({"model":"m","messages":[],"temperature":0,"max_tokens":256})"},
    };
    for (const auto& each : cases) {
        (void)fixture.client.send(each.request);
        EXPECT_EQ(fixture.sentBody(), each.expected);
    }
}

TEST(PenwiseClient, readsAnswersThatLackWhatTheyMayLack) {
    const struct {
        std::string body;
        ClaudeResponse expected;
    } cases[] = {
        {R"({"choices":[{"message":{"content":"a"}}]})",
         {"penwise-1772368201", "message", "openai/gpt-4.1-mini", {}, {{"text", "a"}}, {0, 0}}},
        {R"({"id":null,"choices":[{"message":{"content":"a"},"finish_reason":null},{}],"usage":{"prompt_tokens":4}})",
         {"penwise-1772368201", "message", "openai/gpt-4.1-mini", {}, {{"text", "a"}}, {4, 0}}},
    };
    for (const auto& each : cases) {
        RelayFixture fixture({FakeHTTPClient::status(200, each.body)});
        EXPECT_EQ(fixture.client.send(fixture.request), each.expected) << each.body;
    }
}

TEST(PenwiseClient, turnsRefusalsIntoErrorsWithTheirTexts) {
    using E = ClaudeError;
    const std::string noSignature = "the relay did not accept the request's signature (403). "
                                    "Check the signing secret and this machine's clock.";
    const struct {
        int status;
        std::string body;
        E::Case expected;
        std::string text;
    } cases[] = {
        {401, R"({"error":{"message":"expired"},"message":"outer"})", E::Unauthorized{"expired"},
         "Penwise is not available: expired"},
        {403, "<html>", E::Unauthorized{noSignature}, "Penwise is not available: " + noSignature},
        {404, "", E::APIError{404, "Penwise proxy error"}, "Penwise 404: Penwise proxy error"},
        {404, R"({"error":{},"message":"no such model"})", E::APIError{404, "no such model"},
         "Penwise 404: no such model"},
        {302, R"({"error":{"message":" \u001b "}})", E::APIError{302, "\\x1B"}, "Penwise 302: \\x1B"},
        {200, R"({"choices":[]})", E::EmptyResponse{}, "Penwise returned an empty response."},
        {200, R"({"choices":[{"message":{"content":""}}]})", E::EmptyResponse{},
         "Penwise returned an empty response."},
        {200, R"({"choices":[{}]})", E::EmptyResponse{}, "Penwise returned an empty response."},
        {200, R"({"id":"x"})", E::Decoding{"$.choices: missing"},
         "Failed to decode Penwise response: $.choices: missing"},
    };
    for (const auto& each : cases) {
        RelayFixture fixture({FakeHTTPClient::status(each.status, each.body)});
        const E::Case failure = fixture.failure();
        EXPECT_EQ(failure, each.expected) << each.body;
        EXPECT_EQ(E(failure).description(), each.text);
        EXPECT_EQ(fixture.http->requests().size(), 1u);
    }
    EXPECT_EQ(E(E::RateLimited{}).description(), "Penwise rate-limited.");
    EXPECT_EQ(E(E::RateLimited{7.9}).description(), "Penwise rate-limited. Retry in 7s.");
    EXPECT_EQ(E(E::ServerError{503, {}}).description(), "Penwise 503");
    EXPECT_EQ(E(E::ServerError{503, "down"}).description(), "Penwise 503: down");
    EXPECT_EQ(E(E::Network{"no route"}).description(), "Network failure talking to Penwise: no route");
}

TEST(ClaudeError, tellsWhatTheUserCanDoAboutIt) {
    using E = ClaudeError;
    const std::pair<E::Case, E::Kind> cases[] = {
        {E::Unauthorized{"expired"}, E::Kind::noAccess},
        {E::MissingAPIKey{}, E::Kind::noAccess},
        {E::RateLimited{7}, E::Kind::serviceTrouble},
        {E::ServerError{503, {}}, E::Kind::serviceTrouble},
        {E::Network{"no route"}, E::Kind::serviceTrouble},
        {E::APIError{404, "no such model"}, E::Kind::failed},
        {E::Decoding{"no JSON"}, E::Kind::failed},
        {E::EmptyResponse{}, E::Kind::failed},
    };
    for (const auto& [problem, kind] : cases)
        EXPECT_EQ(E(problem).kind(), kind) << E(problem).description();
}

TEST(PenwiseClient, retriesThreeTimesWithAFreshSignatureEachTime) {
    const LogCapture log;
    const auto limited = [](std::string retryAfter) {
        return FakeHTTPClient::status(429, "", {{"Retry-After", std::move(retryAfter)}});
    };
    RelayFixture passing({limited(" 7 "), limited("soon"), FakeHTTPClient::status(503),
                          FakeHTTPClient::status(200, relayAnswer)});
    EXPECT_EQ(passing.client.send(passing.request).text(), "Hallo");
    EXPECT_EQ(passing.sleeps, (std::vector<double>{7, 20, 30}));
    const auto sent = passing.http->requests();
    EXPECT_EQ(headerOf(sent[3], "X-Timestamp"), "1772368203");
    EXPECT_NE(headerOf(sent[0], "X-App-Token"), headerOf(sent[3], "X-App-Token"));
    EXPECT_EQ(log.text(), "warning PenwiseClient: Penwise 429 — retrying in 7.0s (attempt 1 of 3)\n"
                          "warning PenwiseClient: Penwise 429 — retrying in 20.0s (attempt 2 of 3)\n"
                          "warning PenwiseClient: Penwise 503 — retrying in 30.0s (attempt 3 of 3)\n");

    RelayFixture spent({limited("7")});
    EXPECT_EQ(spent.failure(), (ClaudeError::Case{ClaudeError::RateLimited{7}}));
    EXPECT_EQ(spent.http->requests().size(), 4u);
    RelayFixture down({FakeHTTPClient::status(500, R"({"message":"down"})")});
    EXPECT_EQ(down.failure(), (ClaudeError::Case{ClaudeError::ServerError{500, "down"}}));
    EXPECT_EQ(down.sleeps, (std::vector<double>{10, 20, 30}));
}

TEST(PenwiseClient, reportsTransportFailuresAtOnceAndPassesCancellationOn) {
    RelayFixture lost({[](const HTTPRequest&) -> HTTPResponse {
        throw TransportError(TransportError::Kind::interrupted, "the connection was lost");
    }});
    EXPECT_EQ(lost.failure(), (ClaudeError::Case{ClaudeError::Network{"the connection was lost"}}));
    EXPECT_EQ(lost.http->requests().size(), 1u);
    RelayFixture portal({[](const HTTPRequest&) -> HTTPResponse {
        throw TransportError(TransportError::Kind::notHTTP, "no HTTP");
    }});
    EXPECT_EQ(portal.failure(),
              (ClaudeError::Case{ClaudeError::Network{"something answered that is no HTTP server"}}));

    auto http =
        std::make_shared<FakeHTTPClient>(std::vector<FakeHTTPClient::Answer>{FakeHTTPClient::status(503)});
    const PenwiseClient cancelled({.relay = {"https://relay.test", ObfuscatedString(secret)},
                                   .http = http,
                                   .sleepFor = [](double) { throw CancellationError(); }});
    EXPECT_THROW((void)cancelled.send({}), CancellationError);
    EXPECT_EQ(http->requests().size(), 1u);
}

TEST(PenwiseClient, saysWhatToSetWhenNoRelayIsConfigured) {
    for (const RelayAccess& relay :
         {RelayAccess{}, RelayAccess{"https://relay.test", {}}, RelayAccess{"", ObfuscatedString("s")}}) {
        auto http = std::make_shared<FakeHTTPClient>(std::vector<FakeHTTPClient::Answer>{});
        try {
            (void)ClaudeClient(relay, http).send({});
            FAIL() << "sent without a relay";
        } catch (const ClaudeError& error) {
            EXPECT_TRUE(error.as<ClaudeError::MissingAPIKey>());
            EXPECT_THAT(error.description(), HasSubstr("\"relaySecret\" in the endpoints file"));
        }
    }
    EXPECT_EQ(PenwiseConfig::relayAccess(Endpoints{.relay = "https://other.test"}),
              (RelayAccess{"https://other.test", {}}))
        << "the build's own secret is for the build's own relay";
    EXPECT_EQ(PenwiseConfig::relayAccess(Endpoints{.relay = "https://other.test", .relaySecret = "s"}),
              (RelayAccess{"https://other.test", ObfuscatedString("s")}));
}

TEST(ObfuscatedString, givesItsTextBackAndHoldsItNowhereReadable) {
    static_assert(sizeof(ObfuscatedString) == 171);
    for (const std::string& text : {std::string(), secret, std::string("a\0b", 3), std::string(170, 'x')}) {
        const ObfuscatedString hidden(text);
        EXPECT_EQ(hidden.reveal(), text);
        EXPECT_EQ(hidden.isEmpty(), text.empty());
        if (text.size() < 4) continue;
        EXPECT_THAT(std::string(reinterpret_cast<const char*>(&hidden), sizeof hidden),
                    Not(HasSubstr(text.substr(0, 4))));
    }
    EXPECT_THROW(ObfuscatedString(std::string(171, 'x')), std::length_error);
}
