// The program `quorvel-mcp`, as an assistant starts it.
#include "Platform/json/JSON.h"
#include "Platform/text/Text.h"
#include "Tests/support/ChildProgram.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <signal.h>

#include <algorithm>
#include <string>

namespace quorvel {

namespace {

using test::ChildProgram;
using test::ProgramCall;
using testing::HasSubstr;

constexpr const char* greeting =
    R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-11-25","capabilities":{}}})"
    "\n";

struct ServeTest : testing::Test {
    test::TemporaryFolder folder;

    [[nodiscard]] ProgramCall callWith(std::string input) const {
        return {.program = QUORVEL_MCP_PROGRAM,
                .arguments = {},
                .environment = {{"QUORVEL_HOME", (folder / "home").string()}},
                .workingFolder = folder.path(),
                .input = std::move(input)};
    }
};

} // namespace

TEST_F(ServeTest, answersWhatCameBeforeTheEndOfItsInput) {
    const std::string huge = std::string(6u << 20, 'x') + "\n";
    ChildProgram program(callWith(greeting + huge + R"({"jsonrpc":"2.0","id":2,"method":"tools/list"})"));
    const auto ended = program.wait();
    EXPECT_EQ(ended.status, 0) << ended.error;
    EXPECT_EQ(std::ranges::count(ended.out, '\n'), 3);
    EXPECT_THAT(ended.out, HasSubstr("The message is longer than 4194304 bytes"));
    EXPECT_THAT(ended.out, HasSubstr(R"("id":2,"result":{"tools":[)"));
    EXPECT_EQ(ended.error, "");
    EXPECT_FALSE(std::filesystem::exists(folder / "home")) << "nothing needed a home";
}

TEST_F(ServeTest, answersTenThousandRequestsBehindAHugeLineInLittleMemory) {
    const char* const feeding =
        "{ printf '%s' \"$GREETING\"; head -c 100000000 /dev/zero | tr '\\0' x; echo; "
        "awk 'BEGIN { for (i = 2; i <= 10001; ++i) printf \"{\\\"jsonrpc\\\":\\\"2.0\\\",\\\"id\\\":%d,\\\"method\\\":"
        "\\\"ping\\\"}\\n\", i }'; } | { "
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // which take memory of their own
        "ulimit -d 200000; " // kB, of which the threads' stacks are half
#endif
        "exec \"$0\"; }";
    auto call = callWith("");
    call.program = "/bin/sh";
    call.arguments = {"-c", feeding, QUORVEL_MCP_PROGRAM};
    call.environment["PATH"] = "/usr/bin:/bin";
    call.environment["GREETING"] = greeting;
    const auto ended = ChildProgram(call).wait();
    EXPECT_EQ(ended.status, 0) << ended.error;
    EXPECT_EQ(std::ranges::count(ended.out, '\n'), 10'002);
    EXPECT_THAT(ended.out, HasSubstr("The message is longer than 4194304 bytes"));
    EXPECT_THAT(ended.out, HasSubstr(R"({"jsonrpc":"2.0","id":10001,"result":{}})"));
}

TEST_F(ServeTest, endsTheSubscriptionsWithItself) {
    const auto ended =
        ChildProgram(
            callWith(
                R"({"jsonrpc":"2.0","id":7,"method":"subscriptions/listen","params":{"notifications":{},"_meta":{"io.modelcontextprotocol/protocolVersion":"2026-07-28","io.modelcontextprotocol/clientCapabilities":{}}}})"
                "\n"))
            .wait();
    EXPECT_EQ(ended.status, 0) << ended.error;
    EXPECT_EQ(std::ranges::count(ended.out, '\n'), 3);
    EXPECT_THAT(ended.out, HasSubstr(R"("id":7,"result":{"resultType":"complete")"));
}

TEST_F(ServeTest, endsWhenNobodyReadsItAnyMore) {
    std::string requests = greeting;
    for (int id = 2; id < 1000; ++id)
        requests += R"({"jsonrpc":"2.0","id":)" + std::to_string(id) +
                    R"(,"method":"tools/list"})"
                    "\n";
    ChildProgram program(callWith(std::move(requests)));
    EXPECT_THAT(program.readLine(), HasSubstr(R"("protocolVersion":"2025-11-25")"));
    program.closeOutput();
    EXPECT_EQ(program.wait().status, 0);
}

TEST_F(ServeTest, takesNoArguments) {
    auto call = callWith("");
    call.arguments = {"serve"};
    const auto ended = ChildProgram(call).wait();
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.out, "");
    EXPECT_THAT(ended.error, HasSubstr("It takes no arguments."));
}

} // namespace quorvel
