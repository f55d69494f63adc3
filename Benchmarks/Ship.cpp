// The plan of a whole release at 80 ms latency against the requests that wait for each other.
#include "Benchmarks/Ratio.h"
#include "Quorvel/actions/PullActions.h"
#include "Quorvel/actions/ScreenshotActions.h"
#include "Quorvel/actions/ShipActions.h"
#include "Tests/support/ApplicationSandbox.h"
#include "Tests/support/ScreenshotTree.h"

#include <cmath>
#include <stdexcept>

using namespace quorvel;

namespace {

constexpr double latency = 0.08;
constexpr double requestsAtOnce = ASCQuota::defaultWidth;

/// The garden journal with a set of local pictures, all pushed, and edited release notes in each locale.
struct Prepared {
    Prepared() {
        (void)PullTexts::perform(*sandbox.application, {.app = test::gardenID});
        const MetadataFolder folder = sandbox.contextFolder("mosswick-garden-journal");
        const MetadataStore store(folder);
        const auto pictures = folder.rootURL.parent_path().parent_path() / "screenshots";
        test::Drawings drawings;
        for (const std::string& locale : store.localesOnDisk()) {
            store.write(locale, FieldType::releaseNotes, "Edited in " + locale);
            for (unsigned number = 1; number <= 2; ++number)
                test::put(pictures / locale / "iphone-65" / (std::to_string(number) + ".png"),
                          drawings.picture("APP_IPHONE_65", number));
            ++locales;
        }
        const auto plan = PlanScreenshotPush::perform(*sandbox.application, {.app = test::gardenID});
        (void)PushScreenshots::perform(*sandbox.application, {.plan = plan.plan, .noWait = true});
        (void)sandbox.server.addBuild(test::gardenID, "IOS", "3.5", "350");
        sandbox.server.advance(600);
        sandbox.server.setLatency(static_cast<int>(latency * 1e3));
    }
    test::ApplicationSandbox sandbox{{.hourlyQuota = 100'000'000}};
    int locales = 0;
};

void planOf40Locales(benchmark::State& state) {
    const Prepared prepared;
    if (prepared.locales < 40) throw std::runtime_error("fewer than 40 locales");
    std::vector<double> times;
    for (auto _ : state) {
        times.push_back(benchmarks::secondsOf([&] {
            const auto planned = PlanShip::perform(*prepared.sandbox.application,
                                                   {.version = "3.5", .app = test::gardenID, .dryRun = true});
            if (planned.plan.texts->requests.size() < 40) throw std::runtime_error("fewer than 40 requests");
        }));
        state.SetIterationTime(times.back());
    }
    // Versions; localizations; the sets of each locale; the screenshots of each set, two of them in six
    // locales.
    const double batches = std::ceil(prepared.locales / requestsAtOnce);
    const double criticalPath = (2 + 2 * batches) * latency;
    state.counters["ours_ms"] = benchmarks::median(times) * 1e3;
    state.counters["critical_path_ms"] = criticalPath * 1e3;
    state.counters["ratio"] = benchmarks::median(times) / criticalPath;
    state.counters["limit"] = 1.2;
}

} // namespace

BENCHMARK(planOf40Locales)->UseManualTime()->Iterations(5);
BENCHMARK_MAIN();
