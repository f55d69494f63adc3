// Checking a tree of 40 locales × 6 fields, as a pipeline does, against finding and reading its files, and
// against opening and reading files whose names are known into one place.
#include "Benchmarks/Ratio.h"
#include "Benchmarks/ReadFiles.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/check/TreeCheck.h"
#include "Tests/support/TemporaryFolder.h"

using namespace quorvel;

namespace {

// As long as texts of real trees are, without anything to find.
std::string textOf(FieldType field) {
    if (field == FieldType::keywords)
        return "garden,beds,compost,harvest,seeds,trowel,weeds,soil,season,journal";
    const std::string sentence = field == FieldType::name ? "Mosswick" : "Plan what grows next to what.\n\n";
    std::string text = sentence;
    while (text.size() + sentence.size() < limitOf(field) / 2)
        text += sentence;
    while (text.ends_with('\n'))
        text.pop_back();
    return text;
}

struct Tree {
    Tree() {
        for (std::size_t i = 0; i < 40; ++i) {
            const std::string locale(appStoreLocales()[i]);
            for (const FieldType field : storeTexts) {
                store.write(locale, field, textOf(field));
                files.push_back(folder / locale / fileNameOf(field));
            }
        }
    }
    void check() const { benchmark::DoNotOptimize(quorvel::checkTree(store, {})); }

    test::TemporaryFolder folder;
    MetadataStore store{MetadataFolder{folder.path()}};
    std::vector<std::string> files;
};

void checkTree(benchmark::State& state) {
    const Tree tree;
    benchmarks::reportRatio(
        state, 2, [&] { tree.check(); }, [&] { benchmarks::findAndRead(tree.folder.path()); });
}

void checkTreeOfKnownFiles(benchmark::State& state) {
    const Tree tree;
    benchmarks::reportRatio(
        state, 3, [&] { tree.check(); }, [&] { benchmarks::readOnly(tree.files); });
}

} // namespace

BENCHMARK(checkTreeOfKnownFiles)->UseManualTime();
BENCHMARK(checkTree)->UseManualTime();
BENCHMARK_MAIN();
