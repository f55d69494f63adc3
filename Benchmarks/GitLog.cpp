// Reading and classifying a history of 100,000 commits against "git log" alone, whose output nobody reads.
#include "Benchmarks/Ratio.h"
#include "Core/build/notes/CommitFilter.h"
#include "Core/build/notes/GitLogParser.h"
#include "Tests/support/GitRepository.h"
#include "Tests/support/TemporaryFolder.h"

#include <sys/resource.h>

#include <cstdlib>

using namespace quorvel;

namespace {

constexpr std::size_t commitCount = 100'000;

double peakMegabytes() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

void gitLog(benchmark::State& state) {
    const test::TemporaryFolder folder;
    const test::GitRepository repository(folder.path());
    const std::size_t batch = commitCount / 10; // the history is never in memory here either
    for (std::size_t made = 0; made < commitCount; made += batch)
        repository.commitMany(batch, "Why this was done, in a sentence or two as people write them.\n\n"
                                     "Co-authored-by: B <b@example.org>\n");
    const std::string bare =
        "git -C '" + folder.path().string() + "' log '" + std::string(gitLogFormat) + "' > /dev/null";
    std::size_t read = 0;
    const double before = peakMegabytes();
    benchmarks::reportRatio(
        state, 1.3,
        [&] {
            read = 0;
            GitRepoReader().readCommits(
                folder.path(), {},
                [&](GitCommit commit) {
                    benchmark::DoNotOptimize(CommitFilter::classify(std::move(commit)));
                    ++read;
                },
                commitCount + 1);
        },
        [&] {
            if (std::system(bare.c_str()) != 0) std::abort();
        });
    if (read != commitCount) std::abort();
    state.counters["peak_more_MB"] = peakMegabytes() - before;
}

} // namespace

BENCHMARK(gitLog)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
