// Building the index of 200 apps against merely reading their contexts.json files.
#include "Quorvel/workspace/WorkspaceIndex.h"
#include "Benchmarks/Ratio.h"
#include "Benchmarks/ReadFiles.h"
#include "Platform/files/Files.h"
#include "Quorvel/workspace/AppFolder.h"
#include "Tests/support/TemporaryFolder.h"

using namespace quorvel;

namespace {

constexpr int appCount = 200;

// Two platforms with both slots, as a grown app has them.
std::vector<PlatformContext> someContexts(int app) {
    std::vector<PlatformContext> contexts;
    for (const ASCPlatform platform : {ASCPlatform::iOS, ASCPlatform::macOS})
        for (const std::string state : {"PREPARE_FOR_SUBMISSION", "READY_FOR_SALE"})
            contexts.push_back({platform, stateClassOf(state), "2.4." + std::to_string(app), state,
                                "6855ce56-43ee-4108-82a2-f070383d2af0"});
    return contexts;
}

struct Apps {
    Apps() {
        for (int number = 0; number < appCount; ++number) {
            const std::string name = "app-" + std::to_string(number);
            const ManagedApp app = chooseAppFolder(
                records.add({.slug = name, .displayName = name, .bundleId = "com.example." + name}),
                defaultAppFolder(home, name), home, records);
            const MetadataFolder appFolder = appFolderOf(app, home, records);
            ContextsStore(appFolder, clock).save(someContexts(number), "ios/next");
            files.push_back(appFolder.contextsFile());
        }
    }

    test::TemporaryFolder folder;
    Home home{folder.path()};
    Clock clock = [] { return dateFromSecondsSince1970(1772368200); };
    SharedContainer container = ModelContainer::open(home.applicationSupport(), clock);
    AppRecords records{container, clock};
    std::vector<std::string> files;
};

void buildIndex(benchmark::State& state) {
    const Apps apps;
    WorkspaceIndex index(apps.records, apps.home, apps.clock, nullptr);
    benchmarks::reportRatio(
        state, 0, [&] { index.rebuild(); }, [&] { benchmarks::readOnly(apps.files); });
    if (index.state()->attentionCount != 2 * appCount) state.SkipWithError("the index is incomplete");
}

void rebuildOneApp(benchmark::State& state) {
    const Apps apps;
    WorkspaceIndex index(apps.records, apps.home, apps.clock, nullptr);
    index.rebuild();
    const std::string app = apps.records.all().back().id;
    benchmarks::reportRatio(
        state, 0, [&] { index.rebuild(app); }, [&] { benchmarks::readOnly({apps.files.back()}); });
}

} // namespace

BENCHMARK(buildIndex)->UseManualTime();
BENCHMARK(rebuildOneApp)->UseManualTime();
BENCHMARK_MAIN();
