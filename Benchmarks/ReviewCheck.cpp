// A check of 200 apps at 80 ms latency against what the network alone takes, and its requests.
#include "Benchmarks/Ratio.h"
#include "Quorvel/monitor/ReviewStateMonitor.h"
#include "Tests/support/ApplicationSandbox.h"

#include <cmath>
#include <stdexcept>

using namespace quorvel;

namespace {

constexpr double latency = 0.08;
constexpr int appCount = 200;

void checkOf200Apps(benchmark::State& state) {
    test::ApplicationSandbox account({.hourlyQuota = 100'000'000});
    for (int number = 0; number < appCount; ++number)
        account.application->apps().add({.slug = "app" + std::to_string(number),
                                         .displayName = "App " + std::to_string(number),
                                         .appStoreId = std::string(test::tidesApp)});
    ReviewStateMonitor monitor(*account.application, {});
    static_cast<void>(monitor.check("first")); // opens the connections
    account.server.setLatency(static_cast<int>(latency * 1e3));
    std::vector<double> times;
    std::size_t sent = 0;
    for (auto _ : state) {
        account.server.forgetRequests();
        times.push_back(benchmarks::secondsOf([&] {
            if (!monitor.check("benchmark").failures.empty()) throw std::runtime_error("an app failed");
        }));
        state.SetIterationTime(times.back());
        sent = account.server.requests().size();
    }
    const double least = std::ceil(static_cast<double>(appCount) / ASCQuota::defaultWidth) * latency;
    state.counters["ours_ms"] = benchmarks::median(times) * 1e3;
    state.counters["critical_path_ms"] = least * 1e3;
    state.counters["ratio"] = benchmarks::median(times) / least;
    state.counters["limit"] = 1.15;
    state.counters["requests"] = static_cast<double>(sent);
}

} // namespace

BENCHMARK(checkOf200Apps)->UseManualTime()->Iterations(5);
BENCHMARK_MAIN();
