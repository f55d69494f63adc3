#include "Platform/log/Log.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>
#include <vector>

namespace quorvel {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

TEST(Log, sendsLinesOfEnoughWeightToTheSinkInPlace) {
    std::vector<std::string> lines;
    const auto keep = [&](const LogLine& line) {
        lines.push_back(line.subsystem + "/" + line.category + "/" + line.text);
    };
    const Logger logger("ASCClient"), foreign("other.system", "Part");
    logger.error("nobody listens yet");
    setLogSink(LogLevel::warning, keep);
    logger.debug("a");
    logger.info("b");
    logger.warning("c");
    foreign.error("d");
    setLogSink(LogLevel::debug, keep);
    logger.debug("e");
    setLogSink(LogLevel::debug, nullptr);
    logger.error("f");
    EXPECT_THAT(lines, ElementsAre("com.halvorne.brevant/ASCClient/c", "other.system/Part/d",
                                   "com.halvorne.brevant/ASCClient/e"));
}

TEST(Log, capturesNestAndGiveTheSinkBack) {
    int outside = 0;
    setLogSink(LogLevel::error, [&](const LogLine&) { ++outside; });
    const Logger logger("Part");
    {
        const LogCapture outer;
        logger.debug("one");
        {
            const LogCapture inner;
            logger.warning("two\nlines \x1B[2J");
            EXPECT_EQ(inner.text(), "warning Part: two\\nlines \\x1B[2J\n");
        }
        logger.info("three");
        EXPECT_EQ(outer.text(), "debug Part: one\ninfo Part: three\n");
    }
    logger.warning("below the minimum again");
    logger.error("outside");
    setLogSink(LogLevel::debug, nullptr);
    EXPECT_EQ(outside, 1);
}

TEST(Log, tellsASinkOnceOfWhatLasts) {
    const Logger logger("Once");
    const LogCapture outer;
    logger.warningOnce("damaged");
    {
        const LogCapture inner;
        logger.warningOnce("damaged");
        logger.warningOnce("damaged");
        EXPECT_EQ(inner.text(), "warning Once: damaged\n");
    }
    logger.warningOnce("damaged");
    logger.warningOnce("gone");
    EXPECT_EQ(outer.text(), "warning Once: damaged\nwarning Once: gone\n");
}

TEST(Log, writesEscapedLinesToStandardError) {
    logToStandardError(LogLevel::info);
    testing::internal::CaptureStderr();
    Logger("Part").debug("hidden");
    Logger("Part").error("50 % of\t3 {}");
    const std::string text = testing::internal::GetCapturedStderr();
    setLogSink(LogLevel::debug, nullptr);
    EXPECT_THAT(text, MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9] error Part: 50 % of\\\\t3 \\{\\}\n"));
}

TEST(Log, losesNoLineOfManyThreads) {
    std::atomic<int> counted = 0;
    const auto count = [&](const LogLine&) { ++counted; };
    const LogCapture capture;
    const auto writeFromThreads = [](const std::string& text, const std::function<void()>& meanwhile) {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread)
            threads.emplace_back([&] {
                for (int round = 0; round < 500; ++round)
                    Logger("Part").info(text);
            });
        meanwhile();
        for (std::thread& thread : threads)
            thread.join();
    };
    const std::string text(100, 'x');
    writeFromThreads(text, [] {});
    std::string expected;
    for (int line = 0; line < 2000; ++line)
        expected += "info Part: " + text + "\n";
    EXPECT_EQ(capture.text(), expected);

    setLogSink(LogLevel::debug, count);
    writeFromThreads(text, [&] {
        for (int swap = 0; swap < 200; ++swap)
            setLogSink(LogLevel::info, count);
    });
    EXPECT_EQ(counted, 2000);
}

} // namespace
} // namespace quorvel
