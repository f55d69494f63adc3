// Counting user-perceived characters against a plain pass over the same memory.
#include "Benchmarks/Ratio.h"
#include "Platform/text/Text.h"

#include <cstdint>
#include <cstring>
#include <numeric>

using namespace quorvel;

namespace {

constexpr std::size_t megabyte = 1 << 20;

const char* const samples[] = {
    "Plan the week in the garden: what to sow, when to water, what is ripe. Works without a network.\n",
    "週末の庭しごとを計画しましょう。種まき、水やり、収穫の時期がひと目でわかります。オフラインでも使えます。"
    "\n",
    "🌱🌻👨‍👩‍👧‍👦🧑🏽‍🌾🏳️‍🌈🇯🇵🇩🇪👍🏿🥕🍅❤️\n",
    "बगीचे का सप्ताह तय करें: क्या बोना है, कब पानी देना है, क्या पक गया है। बिना नेटवर्क के भी चलता है।\n",
};

std::string repeated(const char* sample) {
    std::string text;
    while (text.size() < megabyte)
        text += sample;
    return text;
}

std::uint64_t sumOfWords(const std::string& text) {
    std::uint64_t sum = 0, word = 0;
    for (std::size_t at = 0; at + sizeof word <= text.size(); at += sizeof word) {
        std::memcpy(&word, text.data() + at, sizeof word);
        sum += word;
    }
    return sum;
}

void count(benchmark::State& state) {
    const std::string text = repeated(samples[state.range(0)]);
    benchmarks::reportRatio(
        state, 0, [&] { benchmark::DoNotOptimize(graphemeCount(text)); },
        [&] { benchmark::DoNotOptimize(sumOfWords(text)); });
    state.counters["MB_per_s"] = 1e3 * static_cast<double>(text.size()) / 1e6 / state.counters["ours_ms"];
}

} // namespace

BENCHMARK(count)->ArgName("ascii_japanese_emoji_hindi")->DenseRange(0, 3)->UseManualTime();
BENCHMARK_MAIN();
