#include "Platform/http/URLSession.h"
#include "Platform/task/Task.h"
#include "Tests/support/ScriptedServer.h"

#include <gmock/gmock.h>

namespace quorvel::test {
namespace {

using testing::HasSubstr;

TEST(URLSession, returnsStatusHeadersAndBody) {
    ScriptedServer server({{Receive{}, Send{answer("200 OK", "hello", "X-Kind: greeting\r\n")}}});
    URLSession session;
    const HTTPResponse response = session.send({.url = server.url("/a?b=c")});
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body, "hello");
    EXPECT_EQ(response.header("x-kind"), "greeting");
    EXPECT_THAT(server.requests().at(0), HasSubstr("GET /a?b=c HTTP/1.1\r\n"));
}

} // namespace
} // namespace quorvel::test
