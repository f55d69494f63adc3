#include "Platform/process/ProcessRunner.h"

#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>

#include <csignal>

namespace quorvel {

namespace {

using ProcessRunner::Command;
using ProcessRunner::Result;
using ProcessRunner::Stream;
using test::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;

struct Lines {
    std::vector<std::string> output;
    std::vector<std::string> errors;

    ProcessRunner::LineHandler handler() {
        return [this](std::string_view line, Stream stream) {
            (stream == Stream::standardOutput ? output : errors).emplace_back(line);
        };
    }
};

Command script(const std::string& text) {
    return {.executable = "/bin/sh", .arguments = {"-c", text}};
}

// Whether a process still runs; one that nobody has reaped yet does not.
bool isRunning(pid_t process) {
    if (::kill(process, 0) != 0) return false;
#ifdef __linux__
    const auto status = readFile("/proc/" + std::to_string(process) + "/stat");
    return status && status->find(") Z") == std::string::npos;
#else
    return true;
#endif
}

bool hasChildren() {
    return ::waitpid(-1, nullptr, WNOHANG) != -1;
}

std::size_t openDescriptors() {
    std::size_t count = 0;
    for (int number = 0; number < 256; ++number)
        if (::fcntl(number, F_GETFD) != -1) ++count;
    return count;
}

} // namespace

TEST(ProcessRunner, deliversEachLineOfBothPipesAndTheLastWithoutALineEnd) {
    const TemporaryFolder folder;
    Command command =
        script(R"(printf 'one\r\n\n'; echo two >&2; echo "$ADDED$HOME $PWD"; read line; printf "$line")");
    command.environment = {{"ADDED", "here"}, {"HOME", std::nullopt}};
    command.workingFolder = std::filesystem::canonical(folder.path());
    command.input = "typed\n";
    Lines lines;
    const Result result = ProcessRunner::run(command, lines.handler());
    EXPECT_TRUE(result.succeeded());
    const std::string place = "here " + command.workingFolder->string();
    EXPECT_THAT(lines.output, ElementsAre("one", "", place, "typed"));
    EXPECT_THAT(lines.errors, ElementsAre("two"));
    EXPECT_EQ(result.stdoutTail, "one\n\n" + place + "\ntyped");
    EXPECT_EQ(result.stderrTail, "two");
}

TEST(ProcessRunner, tellsHowAProcessEnded) {
    EXPECT_EQ(ProcessRunner::run(script("exit 3")).exitCode, 3);
    const Result killed = ProcessRunner::run(script("kill -KILL $$"));
    EXPECT_EQ(killed.exitCode, 137);
    EXPECT_EQ(killed.signal, SIGKILL);
    EXPECT_EQ(ProcessRunner::run(script("exec >&- 2>&-; sleep 0.05; exit 4")).exitCode, 4)
        << "a process outlives its pipes";
    EXPECT_FALSE(hasChildren());
}

TEST(ProcessRunner, namesAProgramOrFolderThatCannotBeUsed) {
    const auto messageOf = [](const Command& command) -> std::string {
        try {
            static_cast<void>(ProcessRunner::run(command));
        } catch (const ProcessError& error) {
            return error.what();
        }
        return {};
    };
    EXPECT_EQ(messageOf({.executable = "/no/such"}), "cannot start /no/such: No such file or directory");
    Command command = script("true");
    command.workingFolder = "/no/such/folder";
    EXPECT_EQ(messageOf(command), "cannot start /bin/sh in /no/such/folder: No such file or directory");
    EXPECT_THAT(messageOf({.executable = "/bin/sh", .arguments = {std::string("a\0b", 3)}}),
                HasSubstr("NUL"));
}

TEST(ProcessRunner, keepsItsMemoryBoundedWhateverIsPrinted) {
    std::size_t bytes = 0;
    std::size_t longest = 0;
    const auto count = [&](std::string_view line, Stream) {
        bytes += line.size();
        longest = std::max(longest, line.size());
    };
    const Result one = ProcessRunner::run(script("head -c 20000000 /dev/zero | tr '\\0' a"), count);
    EXPECT_EQ(bytes, 20'000'000U);
    EXPECT_EQ(longest, ProcessRunner::maxLineBytes);
    EXPECT_LE(one.stdoutTail.size(), ProcessRunner::maxTrailBytes + ProcessRunner::maxTrailLines);
    const Result many = ProcessRunner::run(script("seq 1 300000"));
    EXPECT_EQ(std::ranges::count(many.stdoutTail, '\n'), static_cast<long>(ProcessRunner::maxTrailLines) - 1);
    EXPECT_TRUE(many.stdoutTail.ends_with("\n299999\n300000"));
}

TEST(ProcessRunner, feedsAProcessThatReadsMuchLittleOrNothing) {
    Command command{.executable = "cat"};
    command.input = std::string(3'000'000, 'x') + "\nend\n";
    Lines lines;
    EXPECT_TRUE(ProcessRunner::run(command, lines.handler()).succeeded());
    EXPECT_EQ(lines.output.back(), "end");
    Command deaf = script("exit 0");
    deaf.input = command.input;
    EXPECT_TRUE(ProcessRunner::run(deaf).succeeded());
}

TEST(ProcessRunner, endsTheWholeGroupOfACancelledProcessThatIgnoresTheFirstSignal) {
    std::stop_source source;
    const TaskScope scope(source.get_token());
    pid_t child = 0;
    pid_t grandchild = 0;
    const auto cancelWhenReady = [&](std::string_view line, Stream) {
        (child == 0 ? child : grandchild) = static_cast<pid_t>(std::stol(std::string(line)));
        if (grandchild != 0) source.request_stop();
    };
    EXPECT_THROW(static_cast<void>(ProcessRunner::run(
                     script("trap '' TERM; echo $$; sleep 100 & echo $!; while :; do sleep 0.1; done"),
                     cancelWhenReady)),
                 CancellationError);
    ASSERT_NE(grandchild, 0);
    EXPECT_FALSE(isRunning(child));
    EXPECT_FALSE(isRunning(grandchild));
    EXPECT_FALSE(hasChildren());
    EXPECT_THROW(static_cast<void>(ProcessRunner::run(script("true"))), CancellationError);
}

TEST(ProcessRunner, doesNotWaitForAGrandchildThatKeepsThePipesOpen) {
    Lines lines;
    const Result result = ProcessRunner::run(script("sleep 30 & echo $!"), lines.handler());
    EXPECT_TRUE(result.succeeded());
    ASSERT_EQ(lines.output.size(), 1U);
    const auto grandchild = static_cast<pid_t>(std::stol(lines.output.front()));
    EXPECT_TRUE(isRunning(grandchild)) << "what a process leaves behind on purpose stays";
    ::kill(grandchild, SIGKILL);
}

TEST(ProcessRunner, endsTheProcessWhenItsReaderThrows) {
    pid_t child = 0;
    const auto refuse = [&](std::string_view line, Stream) {
        child = static_cast<pid_t>(std::stol(std::string(line)));
        throw std::runtime_error("the log is full");
    };
    EXPECT_THROW(static_cast<void>(ProcessRunner::run(script("echo $$; sleep 100"), refuse)),
                 std::runtime_error);
    EXPECT_FALSE(isRunning(child));
}

TEST(ProcessRunner, leaksNoDescriptorIntoAProcessOrOutOfIt) {
    const int inheritable =
        ::open("/dev/null", O_RDONLY); // without close-on-exec, as a library may leave one
    const std::size_t before = openDescriptors();
    Lines lines;
    static_cast<void>(ProcessRunner::run(
        script("for n in 3 4 5 6 7 8 9; do if { true <&$n; } 2>/dev/null; then echo $n; fi; done"),
        lines.handler()));
    EXPECT_THAT(lines.output, testing::IsEmpty());
    EXPECT_EQ(openDescriptors(), before);
    ::close(inheritable);
}

} // namespace quorvel
