// Reading 2,000 customer reviews at 80 ms latency against what the network alone takes, and the requests of a
// daily refresh.
#include "Benchmarks/Ratio.h"
#include "Core/records/Records.h"
#include "Core/reviews/ReviewsService.h"
#include "Tests/support/SandboxFixture.h"

#include <stdexcept>

using namespace quorvel;

namespace {

constexpr double latency = 0.08;
constexpr int reviewCount = 2000;
constexpr int pageCount = reviewCount / 200; // each is known by the one before

struct Account {
    Account() {
        fixture.server.addReviews(test::tidesApp, reviewCount);
        fixture.server.setLatency(static_cast<int>(latency * 1e3));
    }
    /// Reads the reviews of a new app, so that each is new; then once more.
    std::pair<double, std::size_t> read(const std::string& name) {
        const ManagedApp app = AppRecords(container, systemClock())
                                   .add({.slug = name, .appStoreId = std::string(test::tidesApp)});
        const ReviewsContext context{ReviewRecords(container),
                                     ReviewNotesFile(fixture.folder / (name + ".json"))};
        const ReviewsService service(
            {.asc = std::shared_ptr<const ASCClientProtocol>(std::shared_ptr<void>(), &fixture.client)});
        const double seconds = benchmarks::secondsOf([&] {
            if (service.fetch(app, context).newRecords != reviewCount)
                throw std::runtime_error("not all reviews came");
        });
        fixture.server.forgetRequests();
        if (service.fetch(app, context).newRecords != 0) throw std::runtime_error("a review came twice");
        for (const CachedReview& review : context.records.all(app.id))
            context.records.remove(review.id); // an id belongs to one app
        return {seconds, fixture.server.requests().size()};
    }

    test::SandboxFixture fixture{{.hourlyQuota = 100'000'000}};
    SharedContainer container = ModelContainer::open(fixture.folder / "support", systemClock());
};

void refreshOf2000Reviews(benchmark::State& state) {
    Account account;
    std::vector<double> times;
    std::size_t daily = 0;
    for (auto _ : state) {
        const auto [seconds, requests] = account.read("app" + std::to_string(times.size()));
        times.push_back(seconds);
        state.SetIterationTime(seconds);
        daily = requests;
    }
    const double least = pageCount * latency;
    state.counters["ours_ms"] = benchmarks::median(times) * 1e3;
    state.counters["critical_path_ms"] = least * 1e3;
    state.counters["ratio"] = benchmarks::median(times) / least;
    state.counters["limit"] = 1.15;
    state.counters["daily_requests"] = static_cast<double>(daily);
}

} // namespace

BENCHMARK(refreshOf2000Reviews)->UseManualTime()->Iterations(5);
BENCHMARK_MAIN();
