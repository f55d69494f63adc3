// Pull, remote diff and push at 80 ms latency against what the network alone takes, and the requests against
// the least possible.
#include "Benchmarks/Ratio.h"
#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/MetadataPusher.h"
#include "Core/metadata/merge/RemoteComparison.h"
#include "Tests/support/PullContext.h"
#include "Tests/support/SandboxFixture.h"

#include <cmath>
#include <stdexcept>

using namespace quorvel;

namespace {

constexpr double latency = 0.08;
constexpr double width = ASCQuota::defaultWidth;

std::string appWithManyLocales(const ASCClient& client) {
    for (const auto& app : client.listApps())
        for (const auto& version : client.listAppStoreVersions(app.id, ASCPlatform::iOS))
            if (client.listVersionLocalizations(version.id).size() >= 40) return app.id;
    throw std::runtime_error("the sandbox has no app of 40 locales");
}

struct Pulled {
    Pulled() : appID(appWithManyLocales(fixture.client)) {
        pull(fixture.folder / "tree");
        fixture.server.setLatency(static_cast<int>(latency * 1e3));
    }
    PullResult pull(const std::filesystem::path& root) const {
        return test::pullContext(fixture.client, systemClock(), appID, MetadataFolder{root}, "ios/next");
    }
    test::SandboxFixture fixture{{.hourlyQuota = 100'000'000}};
    std::string appID;
};

void report(benchmark::State& state, double seconds, double criticalPath, double limit) {
    state.counters["ours_ms"] = seconds * 1e3;
    state.counters["critical_path_ms"] = criticalPath * 1e3;
    state.counters["ratio"] = seconds / criticalPath;
    state.counters["limit"] = limit;
}

void pullOf40Locales(benchmark::State& state) {
    const Pulled pulled;
    std::vector<double> times;
    for (auto _ : state) {
        const auto root = pulled.fixture.folder / ("tree" + std::to_string(times.size()));
        times.push_back(benchmarks::secondsOf([&] { (void)pulled.pull(root); }));
        state.SetIterationTime(times.back());
    }
    report(state, benchmarks::median(times), 2 * latency, 1.15);
}

// Two rounds, as of a pull: the versions with the app infos, then both lists of localizations.
void remoteDiffOf40Locales(benchmark::State& state) {
    Pulled pulled;
    const MetadataFolder root{pulled.fixture.folder / "tree"};
    std::vector<double> times;
    std::size_t requests = 0;
    for (auto _ : state) {
        pulled.fixture.server.forgetRequests();
        times.push_back(benchmarks::secondsOf([&] {
            const MetadataPuller puller(pulled.fixture.client, systemClock());
            const AppDiscovery found = puller.discover(pulled.appID);
            const auto context = chooseContext(found.contexts, "ios/next").value();
            AppInfoTexts texts(pulled.fixture.client, found);
            const ReadTexts remote = puller.look(texts, context);
            const MetadataStore store(root.contextFolder(context.contextID()));
            if (!compareWithRemote(store, {}, remote).differences.empty())
                throw std::runtime_error("nothing was changed");
        }));
        state.SetIterationTime(times.back());
        requests = pulled.fixture.server.requests().size();
    }
    report(state, benchmarks::median(times), 2 * latency, 1.2);
    state.counters["requests"] = static_cast<double>(requests);
}

void pushOf240Fields(benchmark::State& state) {
    Pulled pulled;
    const MetadataFolder root{pulled.fixture.folder / "tree"};
    const auto versions = pulled.fixture.client.listAppStoreVersions(pulled.appID);
    const auto context = chooseContext(contextsOf(versions), "ios/next").value();
    const MetadataStore store(root.contextFolder(context.contextID()));
    std::vector<double> times;
    std::size_t sent = 0, jobs = 0;
    for (auto _ : state) {
        for (const std::string& locale : store.localesOnDisk())
            for (const FieldType field : storeTexts)
                store.write(locale, field, "Edit " + std::to_string(times.size()) + " of " + locale);
        const auto changes = MetadataDiff::compare(store);
        if (changes.size() < 240) throw std::runtime_error("fewer than 240 changes");
        pulled.fixture.server.forgetRequests();
        times.push_back(benchmarks::secondsOf([&] {
            for (const auto& outcome :
                 MetadataPusher(pulled.fixture.client, store).push(pulled.appID, context, changes))
                if (!outcome.success) throw std::runtime_error(outcome.errorMessage.value_or("failed"));
        }));
        state.SetIterationTime(times.back());
        sent = pulled.fixture.server.requests().size();
        jobs = changes.size() / storeTexts.size() * 2;
    }
    // Least: one patch per localization, and the three lists that find them.
    const std::size_t least = jobs + 3;
    report(state, benchmarks::median(times), std::ceil(static_cast<double>(least) / width) * latency, 1.2);
    state.counters["requests"] = static_cast<double>(sent);
    state.counters["requests_ratio"] = static_cast<double>(sent) / static_cast<double>(least);
}

} // namespace

BENCHMARK(pullOf40Locales)->UseManualTime()->Iterations(7);
BENCHMARK(remoteDiffOf40Locales)->UseManualTime()->Iterations(7);
BENCHMARK(pushOf240Fields)->UseManualTime()->Iterations(3);
BENCHMARK_MAIN();
