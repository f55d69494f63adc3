#include "Core/asc/ASCClient.h"
#include "Core/asc/ASCError.h"
#include "Platform/log/Log.h"
#include "Platform/task/Task.h"
#include "Tests/support/FakeHTTPClient.h"
#include "Tests/support/TestKey.h"

#include <gtest/gtest.h>

using namespace quorvel;
using test::FakeHTTPClient;

namespace {

// A client over scripted answers that notes the sleeps it asks for; its back-off is the attempt in seconds.
struct Fixture {
    explicit Fixture(std::vector<FakeHTTPClient::Answer> answers, std::function<bool(double)> mayWait = {})
        : http(std::make_shared<FakeHTTPClient>(std::move(answers))),
          tokens(std::make_shared<ASCTokenProvider>(test::auth())),
          client({.baseURL = "https://example.test/",
                  .http = http,
                  .tokens = tokens,
                  .backoff = [](int attempt) { return attempt * 1.0; },
                  .sleepFor = [this](double seconds) { sleeps.push_back(seconds); },
                  .mayWait = std::move(mayWait)}) {}

    ASCError::Case failure() {
        try {
            (void)client.exchange(ASCRequest::get("v1/apps"));
        } catch (const ASCError& error) {
            return error.problem();
        }
        ADD_FAILURE() << "no error was thrown";
        return ASCError::Cancelled{};
    }

    std::shared_ptr<FakeHTTPClient> http;
    std::shared_ptr<ASCTokenProvider> tokens;
    std::vector<double> sleeps;
    ASCClient client;
};

const auto ok = FakeHTTPClient::status(200, "{}");

} // namespace

TEST(ASCClient, buildsTheURLAndHeadersOfARequest) {
    Fixture fixture({ok});
    ASCRequest request = ASCRequest::get("v1/apps", {{"filter[bundleId]", "a.b&c d"}, {"limit", "200"}});
    (void)fixture.client.exchange(request);
    request = ASCRequest::patch(ascPath("apps", "../x?y", "rest"), JSONValue::object({{"a", 1}}));
    (void)fixture.client.exchange(request);
    const auto sent = fixture.http->requests();
    EXPECT_EQ(sent[0].url, "https://example.test/v1/apps?filter%5BbundleId%5D=a.b%26c%20d&limit=200");
    EXPECT_EQ(sent[0].headers,
              (std::vector<HTTPHeader>{{"Authorization", "Bearer " + fixture.tokens->token()},
                                       {"Accept", "application/json"}}));
    EXPECT_EQ(sent[0].timeout, std::chrono::seconds(60));
    EXPECT_EQ(sent[1].url, "https://example.test/v1/apps/..%2Fx%3Fy/rest");
    EXPECT_EQ(sent[1].headers.back(), (HTTPHeader{"Content-Type", "application/json"}));
    EXPECT_EQ(std::get<std::string>(sent[1].body), R"({"a":1})");
}

TEST(ASCClient, retriesServerTroubleThreeTimesAndThenGivesUp) {
    Fixture fixture({FakeHTTPClient::status(503, "down")});
    EXPECT_EQ(fixture.failure(), (ASCError::Case{ASCError::HTTPStatus{503, "down"}}));
    EXPECT_EQ(fixture.http->requests().size(), 4u);
    EXPECT_EQ(fixture.sleeps, (std::vector<double>{1, 2, 3}));
}

TEST(ASCClient, waitsForRetryAfterThenRetries) {
    const auto limited = [](std::string retryAfter) {
        return FakeHTTPClient::status(429, "", {{"retry-after", std::move(retryAfter)}});
    };
    Fixture fixture({limited(" 7 "), limited("soon"), limited("1.5"), ok});
    EXPECT_EQ(fixture.client.exchange(ASCRequest::get("v1/apps")), "{}");
    EXPECT_EQ(fixture.sleeps, (std::vector<double>{7, 2, 1.5}));

    Fixture fourth({limited("7")});
    EXPECT_EQ(fourth.failure(), (ASCError::Case{ASCError::RateLimited{7}}));
    Fixture without({FakeHTTPClient::status(429)});
    EXPECT_EQ(without.failure(), (ASCError::Case{ASCError::RateLimited{}}));
}

TEST(ASCClient, forgetsTheTokenOnA401AndDoesNotRetry) {
    Fixture fixture({FakeHTTPClient::status(401, R"({"errors":[{"status":"401","code":"NOT_AUTHORIZED"}]})"),
                     FakeHTTPClient::status(401, "<html>"), ok});
    const std::string first = fixture.tokens->token();
    EXPECT_EQ(fixture.failure(), (ASCError::Case{ASCError::APIErrors{{{"401", "NOT_AUTHORIZED", {}, {}}}}}));
    EXPECT_EQ(fixture.http->requests().size(), 1u);
    EXPECT_NE(fixture.tokens->token(), first);
    EXPECT_EQ(fixture.failure(), (ASCError::Case{ASCError::APIErrors{}}));
    EXPECT_TRUE(fixture.sleeps.empty());
}

TEST(ASCClient, turnsRefusalsIntoErrors) {
    const struct {
        int status;
        std::string body;
        ASCError::Case expected;
    } cases[] = {
        {400, R"({"errors":[{"title":"T","detail":"D","id":"9"}]})",
         ASCError::APIErrors{{{{}, {}, "T", "D"}}}},
        {400, "", ASCError::HTTPStatus{400, ""}},
        {400, R"({"errors":[]})", ASCError::HTTPStatus{400, R"({"errors":[]})"}},
        {404, "<html>", ASCError::HTTPStatus{404, "<html>"}},
        {302, "\xff", ASCError::HTTPStatus{302, {}}},
    };
    for (const auto& each : cases) {
        Fixture fixture({FakeHTTPClient::status(each.status, each.body)});
        EXPECT_EQ(fixture.failure(), each.expected);
        EXPECT_EQ(fixture.http->requests().size(), 1u);
    }
}

TEST(ASCClient, saysWhatCameInsteadOfJSON) {
    const auto problemOf = [](std::string body) {
        Fixture fixture({FakeHTTPClient::status(200, std::move(body))});
        try {
            (void)fixture.client.listApps();
        } catch (const ASCError& error) {
            return error.as<ASCError::DecodingFailed>() ? error.as<ASCError::DecodingFailed>()->problem
                                                        : "other error";
        }
        return std::string("no error");
    };
    EXPECT_EQ(problemOf(R"({"data":[{"id":"1","type":"apps"}]})"), "$.data[0].attributes: missing");
    EXPECT_EQ(problemOf(R"({"data":{}})"), "$.data: expected an array");
    EXPECT_NE(problemOf(" <!DOCTYPE html><p>Sign in</p>").find("web page"), std::string::npos);
    EXPECT_NE(problemOf("").find("$"), std::string::npos);
}

TEST(ASCClient, keepsTransportErrorsApart) {
    Fixture network({[](const HTTPRequest&) -> HTTPResponse {
        throw TransportError(TransportError::Kind::couldNotConnect, "refused");
    }});
    EXPECT_EQ(network.failure(), (ASCError::Case{ASCError::NetworkFailure{"refused"}}));
    EXPECT_EQ(network.http->requests().size(), 1u);
    Fixture other({[](const HTTPRequest&) -> HTTPResponse {
        throw TransportError(TransportError::Kind::notHTTP, "no HTTP");
    }});
    EXPECT_EQ(other.failure(), (ASCError::Case{ASCError::InvalidResponse{}}));
}

TEST(ASCClient, stopsWithTheTask) {
    std::stop_source source;
    const TaskScope scope(source.get_token());
    Fixture fixture({FakeHTTPClient::status(503), [&](const HTTPRequest&) {
                         source.request_stop();
                         return HTTPResponse{503, {}, ""};
                     }});
    EXPECT_THROW((void)fixture.client.exchange(ASCRequest::get("v1/apps")), CancellationError);
    EXPECT_EQ(fixture.http->requests().size(), 2u);
}

namespace {

FakeHTTPClient::Answer page(std::string data, std::string next, std::string total = "null") {
    if (!data.empty()) data = R"({"id":")" + data + R"(","type":"apps","attributes":{}})";
    return FakeHTTPClient::status(200, R"({"data":[)" + data + R"(],"links":{"next":)" + next +
                                           R"(},"meta":{"paging":{"total":)" + total + "}}}");
}

} // namespace

TEST(ASCClient, followsPagingLinksAsGivenButNeverToAnotherServer) {
    Fixture fixture(
        {page("1", R"("https://example.test/v1/apps?cursor=a%20b")"), page("2", R"("relative")")});
    EXPECT_EQ(fixture.client.listApps().size(), 2u);
    EXPECT_EQ(fixture.http->requests()[1].url, "https://example.test/v1/apps?cursor=a%20b");

    Fixture bounded({page("1", R"("https://example.test/2")")});
    EXPECT_EQ(bounded.client.listApps({}, {1}).size(), 1u);
    EXPECT_EQ(bounded.http->requests().size(), 1u);

    for (const char* foreign :
         {R"("https://elsewhere.test/v1/apps")", R"("http://example.test/v1/apps")",
          R"("https://example.test.evil.test/")", R"("https://example.test@evil.test/")"}) {
        Fixture other({page("1", foreign)});
        EXPECT_THROW((void)other.client.listApps(), ASCError) << foreign;
        EXPECT_EQ(other.http->requests().size(), 1u) << foreign;
    }
}

TEST(ASCClient, endsAListThatBringsNothingNewUnlessItIsKnownToHaveMore) {
    const auto next = [](int number) { return R"("https://example.test/)" + std::to_string(number) + '"'; };
    for (const std::string last : {"1", ""})
        for (const std::string total : {"1", "2", "null"}) {
            // Each page has another link, for ever.
            Fixture fixture(
                {page("1", next(1), total), page(last, next(2), total), page(last, next(3), total)});
            if (total == "2")
                EXPECT_THROW((void)fixture.client.listApps(), ASCError);
            else
                EXPECT_EQ(fixture.client.listApps().size(), 1u);
            EXPECT_EQ(fixture.http->requests().size(), 2u) << last << total;
        }
    Fixture broken({page("1", R"("relative")", "5")});
    try {
        (void)broken.client.listApps();
        ADD_FAILURE() << "a part was taken for the whole list";
    } catch (const ASCError& error) {
        EXPECT_NE(error.description().find("the list of 5 breaks off after 1"), std::string::npos);
    }
}

TEST(ASCClient, allowsTheRepetitionOfWhatDoesNoHarmTwice) {
    Fixture fixture(
        {FakeHTTPClient::status(200, R"({"data":{"id":"1","type":"x","attributes":{"locale":"ja"}}})")});
    const ASCClient& client = fixture.client;
    (void)client.updateVersionLocalization("1", {.whatsNew = "a"});
    client.attachBuild("1", "2");
    (void)client.submitReviewSubmission("1");
    (void)client.updatePhasedRelease("1", {"PAUSE"});
    (void)client.createReviewResponse("1", "Thanks");
    (void)client.downloadSalesReport({});
    std::string allowed;
    for (const HTTPRequest& request : fixture.http->requests())
        allowed += request.repetition == Repetition::allowed ? '+' : '-';
    EXPECT_EQ(allowed, "++----");
    EXPECT_EQ(fixture.http->requests().front().maximumBodyBytes, std::nullopt);
    EXPECT_EQ(fixture.http->requests().back().maximumBodyBytes, 512u << 20);
}

TEST(ASCClient, beginsNoWaitForTheQuotaThatIsNotAllowed) {
    const auto upToAMinute = [](double seconds) { return seconds <= 60; };
    Fixture limited({FakeHTTPClient::status(429, "", {{"Retry-After", "60"}}),
                     FakeHTTPClient::status(429, "", {{"Retry-After", "61"}})},
                    upToAMinute);
    EXPECT_EQ(limited.failure(), (ASCError::Case{ASCError::RateLimited{61}}));
    EXPECT_EQ(limited.sleeps, (std::vector<double>{60}));

    Fixture paced(
        {FakeHTTPClient::status(200, "{}", {{"X-Rate-Limit", "user-hour-lim:100;user-hour-rem:5"}})},
        upToAMinute);
    (void)paced.client.exchange(ASCRequest::get("v1/apps"));
    EXPECT_EQ(paced.failure(), (ASCError::Case{ASCError::RateLimited{180}})) << "a tenth is there again then";
    EXPECT_EQ(paced.http->requests().size(), 1u);

    Fixture trouble({FakeHTTPClient::status(503), ok}, [](double) { return false; });
    EXPECT_EQ(trouble.client.exchange(ASCRequest::get("v1/apps")), "{}")
        << "back-off is no wait for the quota";
}

TEST(ASCQuota, spreadsRequestsWithoutCountingTheirOwnTime) {
    ASCQuota quota;
    const std::chrono::steady_clock::time_point start(std::chrono::hours(1));
    const auto after = [&](double seconds) {
        return quota.reserveDelay(start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                              std::chrono::duration<double>(seconds)));
    };
    EXPECT_EQ(after(0), 0);
    quota.note({3600, 180, {}, {}}); // one request in two seconds
    EXPECT_NEAR(after(0.5), 1.5, 1e-6);
    EXPECT_NEAR(after(5), 0, 1e-6) << "three seconds since the one before";
    EXPECT_NEAR(after(5), 2, 1e-6);
    EXPECT_NEAR(after(5), 4, 1e-6);
}

TEST(ASCClient, readsNoneWhereThereIsNoSuchResource) {
    for (const auto& answer :
         {FakeHTTPClient::status(200, R"({"data":null})"), FakeHTTPClient::status(200, "{}")}) {
        Fixture fixture({answer});
        EXPECT_EQ(fixture.client.getPhasedRelease("1"), std::nullopt);
    }
    const auto version = FakeHTTPClient::status(200, R"({"data":{"id":"1","type":"x","attributes":{}}})");
    Fixture none({FakeHTTPClient::status(404, ""), version});
    EXPECT_EQ(none.client.getReviewDetail("1"), std::nullopt);
    EXPECT_EQ(none.http->requests()[1].url, "https://example.test/v1/appStoreVersions/1");
    Fixture wrongID({FakeHTTPClient::status(404, "")});
    EXPECT_THROW((void)wrongID.client.getReviewDetail("1"), ASCError);
    EXPECT_THROW((void)wrongID.client.getPhasedRelease("1"), ASCError);
    Fixture other({FakeHTTPClient::status(403, "")});
    EXPECT_THROW((void)other.client.getReviewDetail("1"), ASCError);
}

TEST(ASCClient, showsTheQuotaAndSlowsDownBeforeItIsEmpty) {
    const auto left = [](int remaining) {
        return FakeHTTPClient::status(
            200, "{}",
            {{"X-Rate-Limit", "user-hour-lim:3600;user-hour-rem:" + std::to_string(remaining) + ";"}});
    };
    Fixture fixture({left(3599), left(180), left(180), left(0), left(0)});
    EXPECT_EQ(fixture.client.rateLimit(), std::nullopt);
    for (int i = 0; i < 2; ++i)
        (void)fixture.client.exchange(ASCRequest::get("v1/apps"));
    EXPECT_EQ(fixture.client.rateLimit()->hourRemaining, 180);
    EXPECT_TRUE(fixture.sleeps.empty());
    const LogCapture log;
    for (int i = 0; i < 3; ++i)
        (void)fixture.client.exchange(ASCRequest::get("v1/apps"));
    EXPECT_NE(log.text().find("warning ASCClient: The key's quota runs low: waiting 2.0s"),
              std::string::npos);
    ASSERT_EQ(fixture.sleeps.size(), 3u);
    EXPECT_NEAR(fixture.sleeps[0], 2, 0.1);
    EXPECT_GT(fixture.sleeps[2], 10);
}

TEST(ASCClient, correctsItsIdeaOfTheClockWithOneRefusal) {
    const Date server = parseHTTPDate("Sun, 06 Nov 1994 08:49:37 GMT").value();
    Date local = server - std::chrono::hours(1); // behind at first, then put right
    const auto http = std::make_shared<FakeHTTPClient>(
        std::vector{FakeHTTPClient::status(401, "", {{"Date", "Sun, 06 Nov 1994 08:49:37 GMT"}})});
    const auto tokens = std::make_shared<ASCTokenProvider>(test::auth(), [&] { return local; });
    const ASCClient client({.baseURL = "https://example.test", .http = http, .tokens = tokens});
    EXPECT_THROW((void)client.listApps(), ASCError);
    EXPECT_EQ(tokens->clockCorrection(), std::chrono::hours(1));
    local = server;
    EXPECT_THROW((void)client.listApps(), ASCError);
    EXPECT_EQ(tokens->clockCorrection(), std::chrono::hours(0));
}

TEST(ASCClient, learnsTheServersClockFromAnswers) {
    Fixture fixture({FakeHTTPClient::status(200, "{}", {{"Date", "Sun, 06 Nov 1994 08:49:37 GMT"}})});
    (void)fixture.client.exchange(ASCRequest::get("v1/apps"));
    EXPECT_LT(fixture.tokens->clockCorrection(), std::chrono::hours(-24));
}

TEST(ASCRateLimit, readsItsHeaders) {
    EXPECT_EQ(parseRateLimit("user-hour-lim:3500;user-hour-rem:500;"), (ASCRateLimit{3500, 500, {}, {}}));
    EXPECT_EQ(parseRateLimit(" user-minute-rem : 3 ; x:1;user-hour-lim:-1"), (ASCRateLimit{{}, {}, {}, 3}));
    for (const char* text : {"", ";;;", "nonsense", "user-hour-lim:", "user-hour-lim:9999999999999999999999"})
        EXPECT_EQ(parseRateLimit(text), std::nullopt) << text;

    const std::pair<const char*, std::optional<double>> cases[] = {
        {"7", 7},
        {" 0.25 ", 0.25},
        {"3.", 3},
        {"", std::nullopt},
        {"-1", std::nullopt},
        {"1e9", {}},
        {"nan", {}},
        {".5", {}},
        {"7 s", {}},
        {"+7", {}},
        {"1.2.3", {}},
        {"99999999999999999999", {}},
        {"Wed, 21 Oct 2015 07:28:00 GMT", {}},
    };
    for (const auto& [text, seconds] : cases)
        EXPECT_EQ(parseRetryAfter(text), seconds) << text;
}
