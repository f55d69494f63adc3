// The AI layer: answers from the cache against reading their files, keys against hashing alone, and
// translations at a relay that takes 300 ms against what the waiting alone takes.
#include "Benchmarks/Ratio.h"
#include "Core/ai/ASOClaudeStack.h"
#include "Core/ai/translation/TranslationPipeline.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataStore.h"
#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"
#include "Tests/support/SandboxFixture.h"

#include <sys/resource.h>

#include <cmath>
#include <stdexcept>

using namespace quorvel;

namespace {

constexpr int latencyMilliseconds = 300;
constexpr std::size_t itemCount = 200;

void cacheHits(benchmark::State& state) {
    const test::TemporaryFolder folder;
    const ClaudeResponseCache cache(folder / "cache", 86'400);
    const ClaudeResponse response{"id",      "message", "model", "stop", {{"text", std::string(2000, 'x')}},
                                  {900, 500}};
    std::vector<std::string> keys;
    for (int entry = 0; entry < 1000; ++entry) {
        keys.push_back(sha256Hex(std::to_string(entry)));
        cache.store(keys.back(), response);
    }
    benchmarks::reportRatio(
        state, 2,
        [&] {
            for (const std::string& key : keys)
                if (!cache.lookup(key)) throw std::runtime_error("a miss");
        },
        [&] {
            for (const std::string& key : keys)
                benchmark::DoNotOptimize(readFile(folder / "cache" / (key + ".json")));
        });
    state.counters["us_per_hit"] = state.counters["ours_ms"]; // 1,000 hits
}

void keysOfLargeRequests(benchmark::State& state) {
    const ClaudeRequest request{"openai/gpt-4.1-mini", 8192, std::string(1 << 20, 's'), {}, 0.3, {}};
    benchmarks::reportRatio(
        state, 1.5, [&] { benchmark::DoNotOptimize(ClaudeResponseCache::key(request)); },
        [&] { benchmark::DoNotOptimize(sha256Hex(*request.system)); });
}

long peakKilobytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// 200 texts of a fresh app each time, so that nothing is in a cache.
void translationsAtARelayOf300Milliseconds(benchmark::State& state) {
    test::SandboxFixture fixture({.seed = sandbox::Seed::empty});
    const Home home{fixture.folder / "home"};
    const auto container = ModelContainer::open(home.applicationSupport(), systemClock());
    const auto stack = ASOClaudeStack::make(
        {.loader = {KeychainStore::inHome(home)},
         .home = home,
         .relay = PenwiseConfig::relayAccess(loadEndpoints(fixture.server.access().endpointsFile)),
         .http = fixture.http});
    fixture.server.setLatency(latencyMilliseconds);
    constexpr auto width = TranslationPipeline::defaultWidth;
    const double waiting =
        std::ceil(static_cast<double>(itemCount) / static_cast<double>(width)) * latencyMilliseconds / 1e3;
    std::vector<double> times;
    const long before = peakKilobytes();
    for (auto _ : state) {
        const MetadataFolder folder{fixture.folder / ("app" + std::to_string(times.size()))};
        const MetadataStore store(folder);
        std::vector<TranslationItem> items;
        for (const FieldType field : {FieldType::name, FieldType::subtitle, FieldType::description,
                                      FieldType::promotionalText, FieldType::releaseNotes}) {
            store.write("en-US", field, "Text of app " + std::to_string(times.size()));
            for (std::size_t locale = 0; locale < 41; ++locale)
                if (appStoreLocales()[locale] != "en-US")
                    items.push_back({"en-US", std::string(appStoreLocales()[locale]), field});
        }
        if (items.size() != itemCount) throw std::runtime_error("another number of items");
        const TranslationPipeline pipeline({.claude = stack.client,
                                            .cache = TranslationCache(container),
                                            .folder = folder,
                                            .model = stack.model});
        times.push_back(benchmarks::secondsOf([&] {
            for (const auto& outcome : pipeline.translate(items, {}))
                if (outcome.error) throw std::runtime_error(*outcome.error);
        }));
        state.SetIterationTime(times.back());
    }
    state.counters["ours_ms"] = benchmarks::median(times) * 1e3;
    state.counters["waiting_ms"] = waiting * 1e3;
    state.counters["ratio"] = benchmarks::median(times) / waiting;
    state.counters["limit"] = 1.1;
    state.counters["memory_mb"] = static_cast<double>(peakKilobytes() - before) / 1024;
}

} // namespace

BENCHMARK(cacheHits)->UseManualTime()->Iterations(15);
BENCHMARK(keysOfLargeRequests)->UseManualTime()->Iterations(101)->Unit(benchmark::kMicrosecond);
BENCHMARK(translationsAtARelayOf300Milliseconds)
    ->UseManualTime()
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
