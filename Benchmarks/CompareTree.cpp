// Comparing a tree of 40 locales × 6 fields against only opening and reading the same files.
#include "Benchmarks/Ratio.h"
#include "Benchmarks/ReadFiles.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataDiff.h"
#include "Tests/support/TemporaryFolder.h"

using namespace quorvel;

namespace {

void compareTree(benchmark::State& state) {
    const test::TemporaryFolder folder;
    const MetadataStore store(MetadataFolder{folder.path()});
    std::vector<std::string> files;
    for (std::size_t i = 0; i < 40; ++i) {
        const std::string locale(appStoreLocales()[i]);
        for (const FieldType field : storeTexts) {
            const std::string text(limitOf(field) / 2, 'x');
            store.write(locale, field, i % 8 == 0 ? text + "!" : text);
            store.write(locale, field, text, TextSide::pulled);
            files.push_back(folder / locale / fileNameOf(field));
            files.push_back(folder / ".brevant" / "asc" / locale / fileNameOf(field));
        }
    }
    benchmarks::reportRatio(
        state, 1.3, [&] { benchmark::DoNotOptimize(MetadataDiff::compare(store)); },
        [&] { benchmarks::readOnly(files); });
}

} // namespace

BENCHMARK(compareTree)->UseManualTime();
BENCHMARK_MAIN();
