#include "Platform/http/URLSession.h"
#include "Platform/task/Task.h"
#include "Tests/support/ScriptedServer.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <memory>

namespace quorvel::test {
namespace {

using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Kind = TransportError::Kind;

const Connection dropped = {Receive{}};
const Connection answered = {Receive{}, Send{answer("200 OK", "done")}};

// The kind and text of what sending throws.
std::pair<std::optional<Kind>, std::string> failureOf(URLSession& session, const HTTPRequest& request) {
    try {
        return {std::nullopt, "status " + std::to_string(session.send(request).status)};
    } catch (const TransportError& error) {
        return {error.kind(), error.what()};
    }
}

TEST(URLSession, saysWhatIsWrongWithABrokenAnswer) {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    struct Case {
        Action behaviour;
        Kind kind;
    };
    const std::vector<Case> cases = {
        {Send{ok + "Content-Length: 10\r\n\r\nhalf"}, Kind::interrupted},
        {Send{ok + "Transfer-Encoding: chunked\r\n\r\n5\r\nab"}, Kind::interrupted},
        {Send{ok + "X-Cut: "}, Kind::interrupted},
        {Send{"220 mail.example.com ESMTP ready, private\r\n"}, Kind::notHTTP},
        {Send{ok + "Content-Encoding: gzip\r\nContent-Length: 7\r\n\r\nprivate"}, Kind::notHTTP},
        {Send{ok + "Content-Length: private\r\n\r\n"}, Kind::notHTTP},
        {Send{ok + "Content-Length: 1001\r\n\r\n" + std::string(1001, 'x')}, Kind::notHTTP},
        {SendForever{"X-Private: private\r\n"}, Kind::notHTTP},
        {SendForever{"HTTP/1.1 102 Processing\r\n\r\n"}, Kind::notHTTP},
        {SendForever{std::string(4096, 'X')}, Kind::notHTTP},
    };
    for (const Case& each : cases) {
        const bool isEndless = std::holds_alternative<SendForever>(each.behaviour);
        const Action start = Send{isEndless ? ok : ""};
        ScriptedServer server({{Receive{}, start, each.behaviour}});
        URLSession session({.maximumBodyBytes = 1000});
        const auto [kind, text] = failureOf(session, {.method = "POST",
                                                      .url = server.url("/x?token=private"),
                                                      .headers = {{"Authorization", "private"}}});
        EXPECT_EQ(kind, each.kind) << text;
        EXPECT_THAT(text, StartsWith("POST " + server.url("/x") + ": "));
        EXPECT_THAT(text, Not(HasSubstr("rivate")));
        EXPECT_EQ(server.requests().size(), 1U) << text;
    }
}

TEST(URLSession, limitsABodyWhoseLengthIsNotKnown) {
    ScriptedServer server(
        {{Receive{}, Send{"HTTP/1.1 200 OK\r\n\r\n"}, SendForever{std::string(4096, 'x')}}});
    URLSession session({.maximumBodyBytes = 1 << 20});
    const auto [kind, text] = failureOf(session, {.url = server.url()});
    EXPECT_EQ(kind, Kind::notHTTP);
    EXPECT_THAT(text, HasSubstr("larger than 1048576 bytes"));
}

TEST(URLSession, sendsAnUnansweredIdempotentRequestAgainAtMostFourTimes) {
    for (const char* method : {"GET", "HEAD", "PUT", "DELETE"}) {
        URLSession session;
        const HTTPRequest request{.method = method,
                                  .body = std::string_view(method) == "PUT" ? "whole body" : ""};
        const auto to = [&](const ScriptedServer& server) {
            HTTPRequest copy = request;
            copy.url = server.url();
            return copy;
        };
        ScriptedServer recovering({dropped, {Receive{}, Reset{}}, answered});
        EXPECT_EQ(session.send(to(recovering)).status, 200);
        EXPECT_EQ(recovering.requests().size(), 3U);
        EXPECT_THAT(recovering.requests(), Each(EndsWith(std::get<std::string>(request.body))));

        ScriptedServer dead({dropped, dropped, dropped, dropped, dropped, answered});
        EXPECT_EQ(failureOf(session, to(dead)).first, Kind::interrupted);
        EXPECT_EQ(dead.requests().size(), 5U);
    }
}

TEST(URLSession, sendsARepeatableRequestAgainAfterABrokenOrUnreadableAnswer) {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    for (const std::string& broken :
         {ok + "Content-Length: 10\r\n\r\nhalf", ok + "Transfer-Encoding: chunked\r\n\r\n5\r\nab",
          ok + "X-Cut", std::string("220 mail.example.com ESMTP ready\r\n"),
          ok + "Content-Encoding: gzip\r\nContent-Length: 7\r\n\r\nno gzip",
          ok + "Content-Length: no\r\n\r\n"})
        for (const auto& [method, repetition] :
             {std::pair("GET", Repetition::ofIdempotentMethods), std::pair("PATCH", Repetition::allowed),
              std::pair("PATCH", Repetition::ofIdempotentMethods),
              std::pair("POST", Repetition::ofIdempotentMethods)}) {
            const bool isRepeated = repetition == Repetition::allowed || std::string_view(method) == "GET";
            ScriptedServer server({{Receive{}, Send{broken}}, {Receive{}, Send{broken}, Reset{}}, answered});
            URLSession session;
            const auto [kind, text] = failureOf(
                session, {.method = method, .url = server.url(), .body = "{}", .repetition = repetition});
            EXPECT_EQ(kind.has_value(), !isRepeated) << method << " " << text;
            EXPECT_EQ(server.requests().size(), isRepeated ? 3U : 1U) << broken;
            EXPECT_THAT(server.requests(), Each(EndsWith("{}")));
        }
}

// A connection that was used before is the trap: there the library below repeats every request by itself.
TEST(URLSession, repeatsWithinTheSameLimitsOnAConnectionThatWasUsedBefore) {
    struct Case {
        std::string method;
        std::string body;
        std::size_t sends;
    };
    const std::vector<Case> cases = {{"POST", "{}", 1}, {"POST", "", 1}, {"PATCH", "{}", 1},
                                     {"PATCH", "", 1},  {"GET", "", 5},  {"PUT", "{}", 5}};
    for (const Case& each : cases)
        for (const Action& ending : {Action(Reset{}), Action(Send{""})}) {
            const Connection broken = {Receive{}, ending};
            ScriptedServer server({{Receive{}, Send{answer("200 OK", "")}, Receive{}, ending},
                                   broken,
                                   broken,
                                   broken,
                                   broken,
                                   broken,
                                   broken});
            URLSession session;
            static_cast<void>(session.send({.url = server.url()}));
            const auto [kind, text] =
                failureOf(session, {.method = each.method, .url = server.url(), .body = each.body});
            EXPECT_EQ(kind, Kind::interrupted) << text;
            EXPECT_EQ(server.requests().size(), 1 + each.sends) << each.method;
        }
}

TEST(URLSession, tellsNoConnectionFromNoTrust) {
    std::string closedPort;
    {
        ScriptedServer gone({});
        closedPort = gone.url();
    }
    URLSession session;
    const auto [kind, text] = failureOf(session, {.url = closedPort});
    EXPECT_EQ(kind, Kind::couldNotConnect);
    EXPECT_THAT(text, HasSubstr("Connection refused"));

    ScriptedServer plain({{Send{answer("200 OK", "no TLS here")}, AwaitClose{}}});
    const auto encrypted = "https" + plain.url().substr(4);
    EXPECT_EQ(failureOf(session, {.method = "PUT", .url = encrypted}).first, Kind::untrusted);
}

TEST(URLSession, endsAfterItsTimeoutWhereverTheTransferStands) {
    constexpr std::chrono::milliseconds short_{40};
    URLSession session;
    for (const std::string& sent :
         {std::string(), std::string("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf")}) {
        ScriptedServer server({{Receive{}, Send{sent}, AwaitClose{}}});
        const auto [kind, text] = failureOf(session, {.url = server.url(), .timeout = short_});
        EXPECT_EQ(kind, Kind::timedOut);
        EXPECT_THAT(text, HasSubstr("within 0.04 seconds"));
    }
    // The second request waits until the server has done with the first.
    ScriptedServer busy({{Receive{}, AwaitRelease{}, Send{answer("200 OK", "")}}});
    auto first = std::async(std::launch::async, [&] { return session.send({.url = busy.url()}).status; });
    busy.awaitRequests(1);
    EXPECT_EQ(failureOf(session, {.url = busy.url(), .timeout = short_}).first, Kind::timedOut);
    busy.release();
    EXPECT_EQ(first.get(), 200);
    EXPECT_EQ(failureOf(session, {.url = busy.url(), .timeout = std::chrono::milliseconds(-1)}).first,
              Kind::timedOut);
}

TEST(URLSession, endsWhenItsTaskIsCancelled) {
    const std::vector<Connection> scripts = {
        {Receive{}, AwaitClose{}}, // no answer yet
        {Receive{}, Send{"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf"},
         AwaitClose{}},                    // half an answer
        {ReceiveHeader{}, AwaitRelease{}}, // half a request
    };
    for (const Connection& script : scripts) {
        ScriptedServer server({script});
        URLSession session;
        std::stop_source task;
        auto outcome = std::async(std::launch::async, [&] {
            const TaskScope scope(task.get_token());
            EXPECT_THROW(static_cast<void>(session.send(
                             {.method = "PUT", .url = server.url(), .body = std::string(32 << 20, 'x')})),
                         CancellationError);
        });
        server.awaitRequests(1);
        task.request_stop();
        outcome.get();
        server.release();
        const TaskScope scope(task.get_token());
        EXPECT_THROW(static_cast<void>(session.send({.url = server.url()})), CancellationError);
    }
}

TEST(URLSession, goesOnWithOtherTransfersWhereverOneEnds) {
    constexpr std::size_t callers = 4;
    for (std::size_t cancelled = 0; cancelled < callers; ++cancelled) {
        std::vector<std::unique_ptr<ScriptedServer>> servers;
        URLSession session;
        std::vector<std::stop_source> tasks(callers);
        std::vector<std::future<int>> outcomes;
        for (std::size_t index = 0; index < callers; ++index) {
            const Connection held = {Receive{}, AwaitRelease{}, Send{answer("200 OK", "done")}};
            servers.push_back(std::make_unique<ScriptedServer>(std::vector<Connection>{held}));
            outcomes.push_back(std::async(std::launch::async, [&session, url = servers[index]->url(),
                                                               token = tasks[index].get_token()] {
                const TaskScope scope(token);
                return session.send({.url = url}).status;
            }));
            servers.back()->awaitRequests(1);
        }
        tasks[cancelled].request_stop();
        EXPECT_THROW(static_cast<void>(outcomes[cancelled].get()), CancellationError);
        for (std::size_t index = 0; index < callers; ++index) {
            servers[index]->release();
            if (index == cancelled) continue;
            EXPECT_EQ(outcomes[index].get(), 200);
        }
    }
}

TEST(URLSession, endsManyWaitingTransfersOfACancelledTask) {
    constexpr std::size_t connections = 8;
    ScriptedServer server(std::vector<Connection>(connections, {Receive{}, AwaitClose{}}));
    URLSession session;
    const std::vector<int> calls(200);
    std::stop_source task;
    std::atomic<int> cancelled = 0;
    auto all = std::async(std::launch::async, [&] {
        parallelForEach(calls, calls.size(), [&](int) {
            const TaskScope scope(task.get_token());
            EXPECT_THROW(static_cast<void>(session.send({.url = server.url()})), CancellationError);
            ++cancelled;
        });
    });
    server.awaitRequests(1);
    task.request_stop();
    all.get();
    EXPECT_EQ(cancelled, 200);
}

TEST(URLSession, endsItsTransfersWhenItIsDestroyed) {
    ScriptedServer server({{Receive{}, AwaitClose{}}});
    auto session = std::make_unique<URLSession>();
    auto running = std::async(std::launch::async, [&server, raw = session.get()] {
        EXPECT_THROW(static_cast<void>(raw->send({.url = server.url()})), CancellationError);
    });
    server.awaitRequests(1);
    session.reset();
    running.get();
}

} // namespace
} // namespace quorvel::test
