// Releases over a network that spoils a part of what passes: nothing is lost, made twice or left half done.
#include "Core/asc/ASCError.h"
#include "Core/asc/services/VersionService.h"
#include "Quorvel/controllers/screenshots/ScreenshotsController.h"
#include "Tests/support/ControllerSandbox.h"
#include "Tests/support/FaultyProxy.h"
#include "Tests/support/ScreenshotTree.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <array>
#include <map>
#include <set>

using namespace quorvel;

namespace {

constexpr int roundsOfOne = 10;
constexpr int mostRuns = 6; // until a user is done who runs again what failed

struct Network {
    double probability;
    std::uint64_t seed;
};

// An app whose controllers reach the sandbox through the proxy; `client` of the base looks past it.
struct HostileNetwork : test::ControllerSandbox {
    explicit HostileNetwork(const Network& network)
        : ControllerSandbox(test::gardenApp, {.hourlyQuota = 10'000'000}),
          proxy(server.access().url, network.probability, network.seed),
          through(
              {.baseURL = proxy.url(), .http = http, .tokens = client.tokens(), .sleepFor = [](double) {}}),
          gate(std::make_shared<OperationGate>()),
          texts(AppAccess(parts()), gate),
          screenshots(AppAccess(parts()), gate, AssetKind::screenshot) {}

    [[nodiscard]] AppAccess::Parts parts() const {
        AppAccess::Parts parts = partsOver(through);
        parts.http = [shared = http] { return shared; };
        return parts;
    }

    test::FaultyProxy proxy;
    ASCClient through;
    std::shared_ptr<OperationGate> gate;
    MetadataController texts;
    ScreenshotsController screenshots;
};

class HostileNetworkJourney : public testing::TestWithParam<Network> {
  protected:
    HostileNetworkJourney() {
        patience.backoff = [](int) { return 1.0; };
        patience.sleepFor = [this](double seconds) { network.server.advance(seconds); };
        untilDone([&] { return pullTexts(); });
        version = network.client.listAppStoreVersions(test::gardenApp, ASCPlatform::iOS, {}, {1}).at(0).id;
    }

    template <typename Run>
    void untilDone(Run&& run) {
        for (int count = 0; count < mostRuns; ++count)
            try {
                if (run()) return;
            } catch (const ASCError& error) {
                EXPECT_EQ(error.kind(), ASCError::Kind::serviceTrouble) << error.what();
            }
        ADD_FAILURE() << "not done after " << mostRuns << " runs";
    }
    bool pullTexts() {
        const auto result = network.texts.pull({}).at(0).result;
        EXPECT_TRUE(result && result->kept.empty());
        return result.has_value();
    }
    bool pushTexts() {
        const PushPlan plan = network.texts.planPush({{}, {}, Clearing::allow});
        if (!plan.nothing) (void)network.texts.push(plan);
        return plan.nothing.has_value();
    }
    bool pushScreenshots() {
        const auto plan = network.screenshots.planPush(
            "ios/next", {.mode = ScreenshotPushMode::replaceSet, .selection = {.locales = {"sv"}}});
        return network.screenshots.push(plan, {}, patience).notDone == 0;
    }
    bool pullScreenshots() {
        const auto pulled = network.screenshots.pull("ios/next");
        const std::filesystem::recursive_directory_iterator thumbnails(pulled.thumbnails);
        const auto count =
            std::ranges::count_if(thumbnails, [](const std::filesystem::directory_entry& entry) {
                return entry.is_regular_file();
            });
        return pulled.summary.failures.empty() && count == pulled.summary.totalScreenshots;
    }

    // What App Store Connect holds, each localization as often as it is there.
    [[nodiscard]] std::multimap<std::string, std::string> held() const {
        std::multimap<std::string, std::string> all;
        const auto add = [&](const std::string& locale,
                             std::initializer_list<std::optional<std::string>> texts) {
            std::string joined;
            for (const auto& text : texts)
                joined += text.value_or("") + '\n';
            all.emplace(locale, joined);
        };
        for (const auto& each : network.client.listVersionLocalizations(version))
            add("version " + each.attributes.locale,
                {each.attributes.description, each.attributes.keywords, each.attributes.promotionalText,
                 each.attributes.whatsNew});
        for (const auto& info : network.client.listAppInfos(test::gardenApp))
            for (const auto& each : network.client.listAppInfoLocalizations(info.id))
                add(info.id + " " + each.attributes.locale, {each.attributes.name, each.attributes.subtitle});
        return all;
    }
    void expectEachOnce() const {
        const auto all = held();
        for (auto each = all.begin(); each != all.end(); ++each)
            EXPECT_EQ(all.count(each->first), 1u) << each->first;
    }

    [[nodiscard]] std::set<std::string> runs() const {
        std::set<std::string> ids;
        for (const PushRun& run : PushHistory(network.container).runs(network.app.id))
            ids.insert(run.sessionId);
        return ids;
    }

    void editTexts(int round) const {
        const MetadataStore store = network.store();
        const std::string mark = "round " + std::to_string(round);
        for (const char* locale : {"de-DE", "fr-FR", "ja", "sv", "it"}) {
            store.write(locale, FieldType::promotionalText, mark + " in " + locale);
            store.write(locale, FieldType::subtitle, mark);
        }
        store.write("ko", FieldType::description, mark);
    }
    // Made anew, so that one round's locale is not there in the next.
    void addLocale(const std::string& locale) {
        (void)network.texts.addLocale(locale);
        network.store().write(locale, FieldType::name, "Name " + locale);
        network.store().write(locale, FieldType::description, "Text " + locale);
    }

    void releaseTexts(int round) {
        const auto before = held();
        const LocaleTexts previous = network.store().readAll();
        const std::set<std::string> earlierRuns = runs();
        constexpr std::array newLocales = {"ta-IN", "te-IN", "ur-PK"};
        const bool addsLocale = round < static_cast<int>(newLocales.size());
        editTexts(round);
        if (addsLocale) addLocale(newLocales[static_cast<std::size_t>(round)]);
        const LocaleTexts wanted = network.store().readAll();
        untilDone([&] { return pushTexts(); });
        expectEachOnce();
        untilDone([&] { return pullTexts(); });
        EXPECT_EQ(network.store().readAll(), wanted);
        if (addsLocale) return; // a localization stays

        const auto all = PushHistory(network.container).runs(network.app.id); // the newest first
        for (const PushRun& run : all)
            if (!earlierRuns.contains(run.sessionId)) (void)network.texts.revert(run.sessionId);
        EXPECT_EQ(network.store().readAll(), previous);
        untilDone([&] { return pushTexts(); });
        EXPECT_EQ(held(), before);
    }

    static std::map<std::string, std::vector<std::string>> checksumsOf(const test::HeldSets& sets) {
        std::map<std::string, std::vector<std::string>> checksums;
        for (const auto& [name, shots] : sets)
            for (const auto& shot : shots)
                checksums[name].push_back(shot.checksum);
        return checksums;
    }

    void releaseScreenshots(int round) {
        const auto pictures = screenshotPaths(network.appFolder(), ContextID{}).pictures;
        for (int number = 0; number < 3; ++number)
            test::put(pictures / "sv" / "APP_IPHONE_65" / (std::to_string(number) + ".png"),
                      drawings.picture("APP_IPHONE_65", static_cast<unsigned>(round * 2 + number + 1)));
        // A picture that is there under the name of an earlier round stays.
        const auto withoutNames = [](test::HeldSets sets) {
            for (auto& [name, shots] : sets)
                for (test::HeldScreenshot& shot : shots)
                    shot.fileName.clear();
            return sets;
        };
        const auto wanted = withoutNames(test::expectedSets(ScreenshotPushScanner(pictures).scan().items));
        untilDone([&] { return pushScreenshots(); });
        auto sets = withoutNames(test::namesAndChecksums(test::heldSets(network.server, version)));
        std::erase_if(sets, [&](const auto& set) { return !wanted.contains(set.first); });
        EXPECT_EQ(checksumsOf(sets), checksumsOf(wanted)); // a picture that was renamed is not sent again
        untilDone([&] { return pullScreenshots(); });
    }

    void makeVersion(int round) const {
        const std::array apps = {test::gardenApp, test::tidesApp, test::sketchApp};
        const std::string_view app = apps[static_cast<std::size_t>(round) % apps.size()];
        const ASCPlatform platform = round < 3 ? ASCPlatform::visionOS : ASCPlatform::tvOS;
        const auto made = [&] { return network.client.listAppStoreVersions(app, platform).size(); };
        for (int run = 0; run < mostRuns && made() == 0; ++run)
            try {
                (void)VersionService(network.through)
                    .create(app, {std::string(rawValue(platform)), "1.0", {}});
            } catch (const ASCError& error) {
                EXPECT_EQ(made(), 0u) << "it was made: " << error.what();
            }
        EXPECT_EQ(made(), 1u);
    }

    HostileNetwork network{GetParam()};
    ScreenshotPushOptions patience;
    test::Drawings drawings;
    std::string version;
};

} // namespace

TEST_P(HostileNetworkJourney, losesNothingMakesNothingTwiceAndIsUndone) {
    for (int round = 0; round < roundsOfOne && !HasFailure(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        releaseTexts(round);
        releaseScreenshots(round);
        if (round < 6) makeVersion(round);
    }
    EXPECT_GT(network.proxy.faults(), 50u);
}

INSTANTIATE_TEST_SUITE_P(Rates, HostileNetworkJourney,
                         testing::Values(Network{0.06, 1}, Network{0.06, 2}, Network{0.06, 3},
                                         Network{0.12, 4}, Network{0.12, 5}, Network{0.12, 6}),
                         [](const testing::TestParamInfo<Network>& each) {
                             return fmt::format("at{:.0f}PercentWithSeed{}", each.param.probability * 100,
                                                each.param.seed);
                         });
