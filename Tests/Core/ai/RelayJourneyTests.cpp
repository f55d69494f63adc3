#include "Core/ai/ASOClaudeStack.h"
#include "Core/ai/ClaudeError.h"
#include "Core/ai/translation/EnglishLocaleExpansion.h"
#include "Core/ai/translation/TranslationPipeline.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataStore.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"
#include "Sandbox/relay/PseudoLocale.h"
#include "Tests/support/SandboxFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

using namespace quorvel;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr FieldType fields[] = {FieldType::name, FieldType::subtitle, FieldType::description,
                                FieldType::promotionalText, FieldType::keywords};

// The sandbox's relay behind the usual client, with the settings that its endpoints file gives.
struct Relay {
    Relay()
        : stack(ASOClaudeStack::make(
              {.loader = {KeychainStore::inHome(home)},
               .home = home,
               .relay = PenwiseConfig::relayAccess(loadEndpoints(fixture.server.access().endpointsFile)),
               .http = fixture.http,
               .sleepFor = [](double) {}})) {}

    MetadataFolder addApp(int number) const {
        const MetadataFolder folder{fixture.folder / ("app" + std::to_string(number))};
        const MetadataStore store(folder);
        for (const FieldType field : fields)
            store.write("en-US", field,
                        field == FieldType::keywords
                            ? "tide,surf" + std::to_string(number)
                            : std::string(rawValue(field)) + " of app " + std::to_string(number));
        return folder;
    }
    [[nodiscard]] TranslationPipeline pipelineOf(const MetadataFolder& folder) const {
        return TranslationPipeline({.claude = stack.client,
                                    .cache = TranslationCache(container),
                                    .folder = folder,
                                    .model = stack.model});
    }

    test::SandboxFixture fixture{{.seed = sandbox::Seed::empty}};
    Home home{fixture.folder / "home"};
    SharedContainer container = ModelContainer::open(home.applicationSupport(), systemClock());
    ASOClaudeStack::Components stack;
};

std::vector<TranslationItem> itemsOf(std::size_t localeCount) {
    std::vector<TranslationItem> items;
    for (const std::string_view locale : appStoreLocales())
        if (locale != "en-US" && items.size() < localeCount * std::size(fields))
            for (const FieldType field : fields)
                items.push_back({"en-US", std::string(locale), field});
    return items;
}

void expectTheSameAccount(const Relay& relay) {
    const sandbox::RelayAccount account = relay.fixture.server.relayAccount();
    std::int64_t calls = 0, asked = 0, answered = 0;
    for (const auto& entry : relay.stack.costRecorder->entries())
        if (!entry.cached) {
            ++calls;
            asked += entry.inputTokens;
            answered += entry.outputTokens;
        }
    EXPECT_EQ(calls, account.calls);
    EXPECT_EQ(asked, account.promptTokens);
    EXPECT_EQ(answered, account.completionTokens);
    EXPECT_EQ(account.repeatedCalls, 0) << "a request that was answered was paid for again";
}

} // namespace

TEST(RelayJourney, translates1200TextsThroughAFifthOfFaultsAndPaysForNoneTwice) {
    const LogCapture log;
    Relay relay;
    relay.fixture.server.setFaults({sandbox::parseFault("POST /relay/**:503:0.08"),
                                    sandbox::parseFault("POST /relay/**:429:0.06"),
                                    sandbox::parseFault("POST /relay/**:reset:0.04"),
                                    sandbox::parseFault("POST /relay/**:resetAfter:0.02"),
                                    sandbox::parseFault("POST /relay/**:truncate:0.02")});
    const auto items = itemsOf(40);
    ASSERT_EQ(items.size(), 200u);
    std::size_t ended = 0, failed = 0;
    for (int app = 0; app < 6; ++app) {
        const MetadataFolder folder = relay.addApp(app);
        std::vector<TranslationItem> left = items;
        for (int run = 0; !left.empty(); ++run) {
            ASSERT_LT(run, 20);
            const auto outcomes = relay.pipelineOf(folder).translate(left, {});
            ASSERT_EQ(outcomes.size(), left.size());
            std::vector<TranslationItem> again;
            for (std::size_t index = 0; index < left.size(); ++index) {
                ASSERT_EQ(outcomes[index].item, left[index]);
                ASSERT_NE(outcomes[index].error.has_value(), !outcomes[index].translation.empty());
                if (outcomes[index].error) again.push_back(left[index]);
            }
            ended += run == 0 ? outcomes.size() : 0;
            failed += again.size();
            left = std::move(again);
        }
        for (const TranslationItem& item : items)
            if (item.field != FieldType::keywords) {
                ASSERT_EQ(sandbox::undoPseudoLocalisation(
                              MetadataStore(folder).read(item.targetLocale, item.field).value_or("")),
                          MetadataStore(folder).read("en-US", item.field));
            }
    }
    EXPECT_EQ(ended, 1200u);
    EXPECT_GT(failed, 0u) << "the faults did nothing";
    expectTheSameAccount(relay);
    EXPECT_THAT(log.text(), Not(HasSubstr("of app ")));
    EXPECT_THAT(log.text(), Not(HasSubstr(relay.fixture.server.access().relaySecret)));
}

TEST(RelayJourney, getsTheTextOutOfAnyWrappingAndUnderTheLimitByRetrying) {
    Relay relay;
    const MetadataFolder folder = relay.addApp(1);
    const MetadataStore store(folder);
    store.write("en-US", FieldType::subtitle, "Thirty characters, no less: 30");
    std::size_t locale = 11; // behind en-US
    for (const std::string wrapping : {"none", "fence", "prose", "proseAndFence", "quotes"})
        for (const int tooLong : {0, 1, 2, 3}) {
            relay.fixture.server.setModelManner({.wrapping = wrapping, .tooLongAnswers = tooLong});
            const std::string target(appStoreLocales()[locale++]);
            const auto outcome =
                relay.pipelineOf(folder).translate({{"en-US", target, FieldType::subtitle}}, {}).at(0);
            EXPECT_EQ(outcome.error, std::nullopt);
            const std::string text = store.read(target, FieldType::subtitle).value_or("");
            EXPECT_EQ(sandbox::undoPseudoLocalisation(text), "Thirty characters, no less: 30")
                << wrapping << tooLong;
            EXPECT_EQ(outcome.isOverLimit, tooLong == 3);
        }
    EXPECT_EQ(relay.fixture.server.relayAccount().calls, 5 * (1 + 2 + 3 + 3));
    expectTheSameAccount(relay);
}

TEST(RelayJourney, answersRepeatedPromptsFromTheResponseCacheWhenTheRecordsAreGone) {
    Relay relay;
    const MetadataFolder folder = relay.addApp(1);
    const auto items = itemsOf(3);
    const auto first = relay.pipelineOf(folder).translate(items, {});
    EXPECT_EQ(TranslationRecords(relay.container).removeAll(), 15);
    const auto second = relay.pipelineOf(folder).translate(items, {});
    for (std::size_t index = 0; index < items.size(); ++index) {
        EXPECT_EQ(second[index].translation, first[index].translation);
        EXPECT_GT(first[index].costUSD, 0);
        EXPECT_EQ(second[index].costUSD, 0) << "the ledger says the same";
    }
    EXPECT_EQ(relay.fixture.server.relayAccount().calls, 15);
    EXPECT_EQ(relay.stack.costRecorder->entries().size(), 30u);
    expectTheSameAccount(relay);
}

TEST(RelayJourney, expandsKeywordsOverTheEnglishLocales) {
    Relay relay;
    relay.fixture.server.setModelManner({.wrapping = "proseAndFence"});
    const auto result = EnglishLocaleExpansion(relay.stack.client, relay.stack.model)
                            .expand({.baseKeywords = "tide,surf,moon,fishing", .appName = "Tide Pool"});
    ASSERT_EQ(result.entries.size(), 4u);
    std::set<std::string> different;
    for (const auto& entry : result.entries)
        different.insert(entry.keywordsField);
    EXPECT_EQ(different.size(), 4u);
    EXPECT_EQ(result.entries[0].locale, "en-US");
    EXPECT_FALSE(result.rationale.empty());
    expectTheSameAccount(relay);
}

TEST(RelayJourney, isToldThatItsSecretOrClockIsWrong) {
    Relay relay;
    PenwiseClient stranger({.relay = {relay.fixture.server.access().relayURL, ObfuscatedString("guess")},
                            .http = relay.fixture.http});
    const ClaudeRequest request{"m", 1, {}, {{"user", "Hi"}}, {}, {}};
    try {
        (void)stranger.send(request);
        FAIL() << "accepted";
    } catch (const ClaudeError& error) {
        EXPECT_EQ(error.description(), "Penwise is not available: The token does not fit.");
    }
    PenwiseClient late({.relay = {relay.fixture.server.access().relayURL,
                                  ObfuscatedString(relay.fixture.server.access().relaySecret)},
                        .http = relay.fixture.http,
                        .clock = [] { return dateFromSecondsSince1970(1'000'000'000); }});
    EXPECT_THROW((void)late.send(request), ClaudeError);
    EXPECT_EQ(relay.fixture.server.relayAccount().calls, 0);
}
