// Times two ways of doing the same in turn and reports the ratio.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace quorvel::benchmarks {

inline double secondsOf(auto&& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values.empty() ? 0 : values[values.size() / 2];
}

/// Runs `ours` and `bare` alternately; reports the medians in milliseconds, the median of the pairwise ratios
/// ours / bare, and the `limit` that it is held against.
void reportRatio(benchmark::State& state, double limit, auto&& ours, auto&& bare) {
    std::vector<double> ourTimes, bareTimes, ratios;
    for (auto _ : state) {
        const double bareTime = secondsOf(bare);
        const double ourTime = secondsOf(ours);
        state.SetIterationTime(ourTime);
        bareTimes.push_back(bareTime * 1e3);
        ourTimes.push_back(ourTime * 1e3);
        ratios.push_back(ourTime / bareTime);
    }
    state.counters["ours_ms"] = median(ourTimes);
    state.counters["bare_ms"] = median(bareTimes);
    state.counters["ratio"] = median(ratios);
    state.counters["limit"] = limit;
}

} // namespace quorvel::benchmarks
