#include "Platform/http/URLSession.h"
#include "Platform/task/Task.h"
#include "Tests/support/ScriptedServer.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::size_t occurrences(std::string_view text, std::string_view part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != text.npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

// "hello" as gzip
const std::string
    gzippedHello("\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xcb\x48\xcd\xc9\xc9\x07\x00\x86\xa6\x10\x36"
                 "\x05\x00\x00\x00",
                 25);

TEST(URLSession, readsEveryFormOfAnswer) {
    struct Case {
        std::string method;
        std::string bytes;
        int status;
        std::string body;
    };
    const std::vector<Case> cases = {
        {"GET", answer("200 OK", "hello"), 200, "hello"},
        {"GET", "HTTP/1.1 200 OK\r\n\r\nuntil the end", 200, "until the end"},
        {"GET", "HTTP/1.1 204 No Content\r\n\r\n", 204, ""},
        {"GET", "HTTP/1.1 304 Not Modified\r\nContent-Length: 900\r\n\r\n", 304, ""},
        {"HEAD", "HTTP/1.1 200 OK\r\nContent-Length: 99999999999\r\n\r\n", 200, ""},
        {"GET", "HTTP/1.1 103 Early Hints\r\nX-Test: early\r\n\r\n" + answer("200 OK", "late"), 200, "late"},
        {"GET",
         "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nTrailer: X-Test\r\n\r\n"
         "3\r\nabc\r\n2\r\nde\r\n0\r\nX-Test: trailer\r\n\r\n",
         200, "abcde"},
        {"GET", answer("502 Bad Gateway", "<html>portal</html>", "Content-Type: text/html\r\n"), 502,
         "<html>portal</html>"},
        {"DELETE", answer("409 Conflict", "{}"), 409, "{}"},
        {"GET", answer("200 OK", gzippedHello, "Content-Encoding: gzip\r\n"), 200, "hello"},
        {"GET", answer("200 OK", gzippedHello, "Content-Type: application/a-gzip\r\n"), 200, gzippedHello},
    };
    URLSession session({.maximumBodyBytes = 100});
    for (const Case& each : cases) {
        ScriptedServer server({{Receive{}, Send{each.bytes}}});
        const HTTPResponse response = session.send({.method = each.method, .url = server.url()});
        EXPECT_EQ(response.status, each.status) << each.bytes;
        EXPECT_EQ(response.body, each.body) << each.bytes;
        EXPECT_FALSE(response.header("X-Test")) << each.bytes;
    }
}

TEST(URLSession, keepsHeadersInOrderWithTheirValuesTrimmed) {
    ScriptedServer server({{Receive{}, Send{answer("200 OK", "", "Set: 1\r\nX-Empty:\r\nset:\t a:b \r\n")}}});
    URLSession session;
    const HTTPResponse response = session.send({.url = server.url()});
    EXPECT_EQ(response.headers, (std::vector<HTTPHeader>{
                                    {"Set", "1"}, {"X-Empty", ""}, {"set", "a:b"}, {"Content-Length", "0"}}));
    EXPECT_EQ(response.header("SET"), "1");
}

TEST(URLSession, sendsExactlyTheBodyWithOneLengthAndNoExpectation) {
    ScriptedServer server({{Receive{}, Send{answer("201 Created", "")}, Receive{}, Send{answer("200 OK", "")},
                            Receive{}, Send{answer("200 OK", "")}, Receive{}, Send{answer("200 OK", "")}}});
    URLSession session;
    const std::string body(3 << 20, 'x');
    const std::vector<HTTPHeader> headers = {
        {"content-length", "7"}, {"Expect", "100-continue"}, {"X-Empty", ""}, {"X-Title", "a\tb"}};
    static_cast<void>(
        session.send({.method = "POST", .url = server.url("/p?q=1"), .headers = headers, .body = body}));
    static_cast<void>(session.send({.method = "PATCH", .url = server.url()}));
    static_cast<void>(session.send({.method = "DELETE", .url = server.url(), .body = "{}"}));
    static_cast<void>(session.send({.url = server.url()}));

    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 4U);
    EXPECT_EQ(server.connections(), 1U);
    const auto header = requests[0].substr(0, requests[0].find("\r\n\r\n"));
    EXPECT_THAT(header, AllOf(StartsWith("POST /p?q=1 HTTP/1.1\r\n"), HasSubstr("\r\nX-Empty:\r\n"),
                              HasSubstr("\r\nX-Title: a\tb"), HasSubstr("Content-Length: 3145728"),
                              Not(HasSubstr("Expect")), Not(HasSubstr("content-length"))));
    EXPECT_EQ(requests[0].substr(header.size() + 4), body);
    EXPECT_EQ(occurrences(requests[1], "Content-Length: 0\r\n"), 1U);
    EXPECT_THAT(requests[2], AllOf(HasSubstr("Content-Length: 2\r\n"), EndsWith("\r\n\r\n{}")));
    EXPECT_THAT(requests[3], AllOf(StartsWith("GET / "), Not(HasSubstr("Content-Length")),
                                   Not(HasSubstr("X-Title")), HasSubstr("Accept-Encoding: gzip, deflate")));
}

TEST(URLSession, carriesNothingFromOneRequestToTheNext) {
    const Connection answering = {Receive{}, Send{answer("200 OK", "", "Connection: close\r\n")}};
    ScriptedServer server(std::vector<Connection>(4, answering));
    URLSession session;
    const HTTPRequest plain = {.url = server.url("/plain"), .headers = {{"Accept", "text/plain"}}};
    EXPECT_EQ(session.send(plain).status, 200);
    int steps = 0;
    EXPECT_EQ(session
                  .send({.method = "PUT",
                         .url = server.url("/other"),
                         .headers = {{"X-Other", "1"}, {"Accept-Encoding", "br"}},
                         .body = "some bytes",
                         .uploadProgress = [&](std::uint64_t, std::uint64_t) { ++steps; }})
                  .status,
              200);
    EXPECT_EQ(session.send({.method = "HEAD", .url = server.url("/other")}).status, 200);
    const int stepsOfUpload = steps;
    EXPECT_EQ(session.send(plain).status, 200);
    EXPECT_EQ(steps, stepsOfUpload);
    EXPECT_EQ(server.requests().front(), server.requests().back());
}

TEST(URLSession, leavesTheEncodingToACallerWhoNamesOne) {
    ScriptedServer server({{Receive{}, Send{answer("200 OK", gzippedHello, "Content-Encoding: gzip\r\n")}}});
    URLSession session;
    const auto response = session.send({.url = server.url(), .headers = {{"accept-encoding", "gzip;q=1"}}});
    EXPECT_EQ(response.body, gzippedHello);
    EXPECT_EQ(occurrences(server.requests().at(0), "ncoding:"), 1U);
    EXPECT_THAT(server.requests().at(0), HasSubstr("accept-encoding: gzip;q=1\r\n"));
}

TEST(URLSession, refusesWhatWouldBreakTheRequestAndSendsNothing) {
    ScriptedServer server({{Receive{}, Send{answer("200 OK", "")}}});
    URLSession session;
    const auto refuses = [&](HTTPRequest request, std::string_view named) {
        if (request.url.empty()) request.url = server.url();
        try {
            static_cast<void>(session.send(request));
            ADD_FAILURE() << "sent: " << named;
        } catch (const TransportError& error) {
            EXPECT_EQ(error.kind(), TransportError::Kind::refusedURL);
            EXPECT_THAT(error.what(), AllOf(HasSubstr(std::string(named)), Not(HasSubstr("secret"))));
        }
    };
    for (const std::string& end : {std::string("\r\nX: 1"), std::string("\n"), std::string(1, '\0')}) {
        refuses({.method = "GET" + end}, "method");
        refuses({.url = server.url("/" + end)}, "is not a URL");
        refuses({.headers = {{"X-Key", "secret" + end}}}, "X-Key");
        refuses({.headers = {{"X" + end, "1"}}}, "name");
    }
    refuses({.method = ""}, "method");
    refuses({.headers = {{"", "1"}}}, "name");
    refuses({.headers = {{"X:Y", "1"}}}, "name");
    refuses({.url = "ftp://127.0.0.1/?secret"}, "ftp");
    EXPECT_EQ(server.connections(), 0U);
}

TEST(URLSession, servesManyThreadsAtOnce) {
    constexpr std::size_t requests = 64;
    const std::string reply = answer("200 OK", std::string(70'000, 'y'), "Connection: close\r\n");
    ScriptedServer server(std::vector<Connection>(requests, {Receive{}, Send{reply}}));
    URLSession session;
    std::vector<std::string> bodies(requests);
    for (std::size_t index = 0; index < requests; ++index)
        bodies[index] = fmt::format("{:z>{}}", index, 20'000 + index);
    parallelForEach(bodies, 16, [&](const std::string& body) {
        const auto response = session.send({.method = "POST", .url = server.url(), .body = body});
        EXPECT_EQ(response.body.size(), 70'000U);
    });
    std::vector<std::string> received;
    for (const std::string& request : server.requests())
        received.push_back(request.substr(request.find("\r\n\r\n") + 4));
    EXPECT_THAT(received, testing::UnorderedElementsAreArray(bodies));
}

} // namespace
} // namespace quorvel::test
