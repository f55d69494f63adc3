#include "Platform/task/StopToken.h"
#include "Platform/task/Task.h"
#include "Tests/support/SandboxFixture.h"

#include <gtest/gtest.h>

#include <numeric>

using namespace quorvel;

namespace {

constexpr std::size_t requests = 200;
constexpr std::size_t threads = 32;

} // namespace

TEST(ASCClientUnderLoad, sharesOneTokenAndSurvivesFaults) {
    test::SandboxFixture fixture(
        {.faults = {{.route = "GET /**", .status = 503, .probability = 0.08},
                    {.route = "GET /**", .status = 429, .probability = 0.08, .retryAfter = 1},
                    {.route = "GET /**", .action = "reset", .probability = 0.04}},
         .faultSeed = 7},
        20);
    const std::vector<int> calls(requests);
    const auto counts = parallelMap(calls, threads, [&](int) { return fixture.client.listApps().size(); });
    EXPECT_EQ(counts, std::vector<std::size_t>(requests, 3));
    EXPECT_EQ(fixture.client.tokens()->signatureCount(), 1u);
    const auto seen = fixture.server.requests();
    const auto failed =
        std::ranges::count_if(seen, [](const auto& request) { return request.status != 200; });
    EXPECT_GT(failed, 10) << "too few faults to tell anything";
    EXPECT_EQ(seen.size() - static_cast<std::size_t>(failed), requests);
}

TEST(ASCClientUnderLoad, isCancelledWhileTheServerHoldsItsAnswers) {
    test::SandboxFixture fixture;
    fixture.server.setLatency(60'000);
    std::stop_source source;
    std::atomic<int> waiting{0};
    std::exception_ptr thrown;
    std::thread caller([&] {
        const TaskScope scope(source.get_token());
        const std::vector<int> calls(requests);
        try {
            parallelForEach(calls, requests, [&](int) {
                ++waiting;
                (void)fixture.client.listApps();
            });
        } catch (...) {
            thrown = std::current_exception();
        }
    });
    while (waiting < static_cast<int>(requests))
        std::this_thread::yield();
    const auto start = std::chrono::steady_clock::now();
    source.request_stop();
    caller.join();
    RecordProperty("milliseconds", static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                                        std::chrono::steady_clock::now() - start)
                                                        .count()));
    ASSERT_TRUE(thrown);
    EXPECT_THROW(std::rethrow_exception(thrown), CancellationError);
    fixture.server.setLatency(0);
}
