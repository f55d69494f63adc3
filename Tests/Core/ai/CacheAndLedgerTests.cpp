#include "Core/ai/ASOClaudeStack.h"
#include "Core/ai/ClaudeError.h"
#include "Core/ai/ClaudePricing.h"
#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/task/StopToken.h"
#include "Tests/Core/ai/FakeClaude.h"
#include "Tests/support/FakeHTTPClient.h"
#include "Tests/support/FileMode.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

using namespace quorvel;
using test::FakeClaude;
using test::modeOf;
using testing::HasSubstr;
using testing::Not;

namespace {

using Origin = ClaudeCostRecorder::Origin;

const ClaudeRequest cachedRequest{
    "openai/gpt-4.1-mini", 300, "Be brief.", {{"user", "Hi"}, {"assistant", "Yo"}}, {}, {}};
constexpr double moment = 1'772'368'200; // 794,061,000 seconds since 2001

struct CacheFixture {
    double now = moment;
    test::TemporaryFolder folder;
    Clock clock = [this] { return dateFromSecondsSince1970(now); };
    std::shared_ptr<ClaudeResponseCache> cache =
        std::make_shared<ClaudeResponseCache>(folder / "aso" / "cache", 86'400, clock);
    std::shared_ptr<ClaudeCostRecorder> recorder =
        std::make_shared<ClaudeCostRecorder>(folder / "aso" / "costs.jsonl", clock);
    std::string key = ClaudeResponseCache::key(cachedRequest);
    std::filesystem::path entry = folder / "aso" / "cache" / (key + ".json");
    std::filesystem::path ledger = folder / "aso" / "costs.jsonl";
};

// No file can grow beyond `bytes` while it lives, as when a disk runs full in the middle of a write.
class FullDisk {
  public:
    explicit FullDisk(rlim_t bytes) : handler_(::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        ::signal(SIGXFSZ, handler_);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    void (*handler_)(int);
    rlimit before_{};
};

} // namespace

TEST(ClaudeResponseCache, keysCoverEveryPartOfARequestButItsResponseFormat) {
    EXPECT_EQ(ClaudeResponseCache::key(cachedRequest),
              sha256Hex("model:openai/gpt-4.1-mini\n---\nmax:300\n---\ntemp:nil\n---\nsystem:Be brief.\n---\n"
                        "m0/user:Hi\n---\nm1/assistant:Yo"));
    EXPECT_EQ(ClaudeResponseCache::key({"m", 1, {}, {}, 0.3, {}}),
              sha256Hex("model:m\n---\nmax:1\n---\ntemp:0.3\n---\nsystem:"));
    EXPECT_EQ(ClaudeResponseCache::key({"m", 1, "", {}, 1, {}}),
              sha256Hex("model:m\n---\nmax:1\n---\ntemp:1.0\n---\nsystem:"));
    EXPECT_EQ(ClaudeResponseCache::key({"m", 1, "", {}, 0.00001, {}}),
              sha256Hex("model:m\n---\nmax:1\n---\ntemp:1e-05\n---\nsystem:"));
    const std::string large(1 << 20, 'x');
    EXPECT_EQ(ClaudeResponseCache::key({"m", 1, {}, {{"user", large}}, {}, {}}),
              sha256Hex("model:m\n---\nmax:1\n---\ntemp:nil\n---\nsystem:\n---\nm0/user:" + large));
    ClaudeRequest other = cachedRequest;
    other.responseFormat = "json_object";
    other.keptAnswers = KeptAnswers::renewed;
    EXPECT_EQ(ClaudeResponseCache::key(other), ClaudeResponseCache::key(cachedRequest));
}

TEST(ClaudeResponseCache, storesOneFileForItsOwnerOnly) {
    const CacheFixture fixture;
    fixture.cache->store(fixture.key, FakeClaude::response("Hallo"));
    EXPECT_EQ(
        readFile(fixture.entry),
        R"({"storedAt":794061000,"response":{"id":"r1","type":"message","model":"m","stopReason":"stop",)"
        R"("content":[{"type":"text","text":"Hallo"}],"usage":{"inputTokens":10,"outputTokens":5}}})");
    EXPECT_EQ(modeOf(fixture.entry), 0600u);
    EXPECT_EQ(modeOf(fixture.entry.parent_path()), 0700u);
    EXPECT_EQ(fixture.cache->lookup(fixture.key), FakeClaude::response("Hallo"));
    writeFileAtomically(fixture.entry.parent_path() / "notes.json", "mine");
    EXPECT_EQ(fixture.cache->clear(), 1u);
    EXPECT_EQ(fixture.cache->lookup(fixture.key), std::nullopt);
    EXPECT_EQ(readFile(fixture.entry.parent_path() / "notes.json"), "mine");
    EXPECT_EQ(fixture.cache->lookup("../../etc/passwd"), std::nullopt);
}

TEST(ClaudeResponseCache, servesAnEntryUntilItIsOlderThanItsTime) {
    CacheFixture fixture;
    fixture.cache->store(fixture.key, FakeClaude::response("Hallo"));
    fixture.now = moment + 86'400;
    EXPECT_TRUE(fixture.cache->lookup(fixture.key));
    fixture.now = moment + 86'400.001;
    EXPECT_FALSE(fixture.cache->lookup(fixture.key));
    EXPECT_FALSE(std::filesystem::exists(fixture.entry));
}

TEST(ClaudeResponseCache, takesAnEntryThatCannotBeUsedForAMissAndSaysSo) {
    const CacheFixture fixture;
    for (const std::string& damaged :
         {std::string(), std::string("{"), std::string(R"({"storedAt":"yesterday","response":{}})"),
          std::string(R"({"version":2,"entries":[]})"),
          std::string(R"({"storedAt":794061001,"response":{"id":"","type":"","model":"","content":[],)"
                      R"("usage":{"inputTokens":0,"outputTokens":0}}})")}) { // a second ahead
        const LogCapture log;
        writeFileAtomically(fixture.entry, damaged);
        EXPECT_EQ(fixture.cache->lookup(fixture.key), std::nullopt) << damaged;
        EXPECT_FALSE(std::filesystem::exists(fixture.entry)) << damaged;
        EXPECT_THAT(log.text(), HasSubstr("warning ClaudeResponseCache: A cached answer is not used"));
        EXPECT_THAT(log.text(), Not(HasSubstr("yesterday"))) << "an entry's content stays out of the log";
    }
    createFolders(fixture.entry); // what cannot be read, replaced or removed
    const LogCapture log;
    EXPECT_EQ(fixture.cache->lookup(fixture.key), std::nullopt);
    fixture.cache->store(fixture.key, FakeClaude::response("Hallo"));
    EXPECT_THAT(log.text(), HasSubstr("An answer is not kept"));
}

TEST(ClaudePricing, countsUnknownModelsAtTheHighestPrice) {
    using Tier = ClaudePricing::Tier;
    EXPECT_EQ(ClaudePricing::tier("claude-haiku-4"), (Tier{1, 5}));
    EXPECT_EQ(ClaudePricing::tier("Claude-SONNET-x"), (Tier{3, 15}));
    EXPECT_EQ(ClaudePricing::tier("claude-opus"), (Tier{15, 75}));
    EXPECT_EQ(ClaudePricing::tier("openai/gpt-4.1-mini"), (Tier{15, 75}));
    EXPECT_EQ(ClaudePricing::tier("anthropic/claude-haiku-4.5"), (Tier{15, 75}));
    EXPECT_TRUE(ClaudePricing::isKnown("claude-opus-4") && !ClaudePricing::isKnown("openai/gpt-4.1-mini"));
    EXPECT_DOUBLE_EQ(ClaudePricing::cost("claude-sonnet", 2'000'000, 100'000), 7.5);
}

TEST(ClaudeCostRecorder, writesOneLineACallAndAddsUpTheRecentOnes) {
    CacheFixture fixture;
    fixture.recorder->record("claude-sonnet", FakeClaude::response("a", {1000, 200}), Origin::relay);
    fixture.now += 100;
    fixture.recorder->record("m", FakeClaude::response("b", {1000, 200}), Origin::cache);
    EXPECT_EQ(
        readFile(fixture.ledger),
        R"({"timestamp":794061000,"model":"claude-sonnet","inputTokens":1000,"outputTokens":200,)"
        R"("costUSD":0.006,"cached":false})"
        "\n"
        R"({"timestamp":794061100,"model":"m","inputTokens":1000,"outputTokens":200,"costUSD":0,"cached":true})"
        "\n");
    EXPECT_EQ(modeOf(fixture.ledger), 0600u);
    EXPECT_DOUBLE_EQ(fixture.recorder->totalCost(100), 0.006);
    EXPECT_DOUBLE_EQ(fixture.recorder->totalCost(99), 0);
    EXPECT_TRUE(ClaudeCostRecorder(fixture.folder / "none" / "x", fixture.clock).entries().empty());
}

TEST(ClaudeCostRecorder, passesOverDamagedLinesAndBeginsANewOneBehindATornOne) {
    const CacheFixture fixture;
    const std::string line =
        R"({"timestamp":1.5,"model":"m","inputTokens":1,"outputTokens":2,"costUSD":0.5,"cached":false})";
    writeFileAtomically(fixture.ledger, line + "\n\nnonsense\n{\"timestamp\":1}\n" + line + "\n{\"time");
    fixture.recorder->record("m", FakeClaude::response("a"), Origin::cache);
    const auto entries = fixture.recorder->entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[1],
              (ClaudeCostRecorder::LogEntry{dateFromSecondsSince1970(978'307'201.5), "m", 1, 2, 0.5, false}));
    EXPECT_TRUE(entries[2].cached);
    EXPECT_EQ(modeOf(fixture.ledger), 0600u) << "an older file that others could read";
}

TEST(ClaudeCostRecorder, keepsTheLinesOfTwoProcessesApart) {
    const CacheFixture fixture;
    constexpr int calls = 500;
    const auto recordMany = [&](std::int64_t tokens) {
        const ClaudeCostRecorder own(fixture.ledger);
        for (int call = 0; call < calls; ++call)
            own.record("m", FakeClaude::response("a", {tokens, call}), Origin::relay);
    };
    const pid_t child = fork();
    if (child == 0) {
        recordMany(1);
        _exit(0);
    }
    std::jthread thread(recordMany, 2);
    recordMany(3);
    thread.join();
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    std::map<std::int64_t, std::int64_t> sums;
    for (const auto& entry : fixture.recorder->entries())
        sums[entry.inputTokens] += entry.outputTokens;
    const std::int64_t sum = calls * (calls - 1) / 2;
    EXPECT_EQ(sums, (std::map<std::int64_t, std::int64_t>{{1, sum}, {2, sum}, {3, sum}}));
    EXPECT_EQ(std::ranges::count(readFile(fixture.ledger).value(), '\n'), 3 * calls);
}

TEST(CachedClaudeClient, paysOnceAndRecordsEveryAnswer) {
    CacheFixture fixture;
    const auto inner =
        std::make_shared<FakeClaude>(std::vector<FakeClaude::Answer>{FakeClaude::says("Hallo")});
    const CachedClaudeClient client(inner, fixture.cache, fixture.recorder);
    EXPECT_FALSE(client.send(cachedRequest).fromCache);
    ClaudeRequest again = cachedRequest;
    again.responseFormat = "json_object";
    EXPECT_EQ(client.send(again).text(), "Hallo");
    EXPECT_TRUE(client.send(again).fromCache);
    EXPECT_EQ(inner->requests().size(), 1u);
    const auto entries = fixture.recorder->entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].model, cachedRequest.model) << "the cachedRequest's model, not the answer's";
    EXPECT_GT(entries[0].costUSD, 0);
    EXPECT_EQ(entries[1].costUSD, 0);
    EXPECT_EQ(entries[1].inputTokens, 10);
    again.keptAnswers = KeptAnswers::renewed;
    EXPECT_FALSE(client.send(again).fromCache) << "the request wants another answer";
    EXPECT_TRUE(client.send(cachedRequest).fromCache) << "which takes the place of the kept one";
    EXPECT_EQ(encodeJSON(again).find("kept"), std::string::npos);
    fixture.now += 86'401;
    (void)client.send(cachedRequest);
    EXPECT_EQ(inner->requests().size(), 3u);
}

TEST(CachedClaudeClient, leavesNothingBehindWhenACallFails) {
    const CacheFixture fixture;
    const auto inner = std::make_shared<FakeClaude>(std::vector<FakeClaude::Answer>{
        [](const ClaudeRequest&) -> ClaudeResponse { throw ClaudeError(ClaudeError::EmptyResponse{}); }});
    const CachedClaudeClient client(inner, fixture.cache, fixture.recorder);
    EXPECT_THROW((void)client.send(cachedRequest), ClaudeError);
    EXPECT_FALSE(std::filesystem::exists(fixture.entry));
    EXPECT_TRUE(fixture.recorder->entries().empty());
}

TEST(CachedClaudeClient, deliversTheAnswerThoughNothingCanBeWritten) {
    const CacheFixture fixture;
    std::filesystem::remove_all(fixture.folder / "aso");
    writeFileAtomically(fixture.folder / "aso", "a file where the folder was");
    const auto inner =
        std::make_shared<FakeClaude>(std::vector<FakeClaude::Answer>{FakeClaude::says("Hallo")});
    const LogCapture log;
    EXPECT_EQ(CachedClaudeClient(inner, fixture.cache, fixture.recorder).send(cachedRequest).text(), "Hallo");
    EXPECT_THAT(log.text(), HasSubstr("An answer is not kept"));
    EXPECT_THAT(log.text(), HasSubstr("The cost of a call is not recorded"));
    EXPECT_THAT(log.text(), Not(HasSubstr("Hallo")));
}

TEST(CachedClaudeClient, deliversTheAnswerOnAFullDiskAndLeavesWholeFiles) {
    const CacheFixture fixture;
    fixture.recorder->record("m", FakeClaude::response("a"), Origin::relay);
    const std::string before = readFile(fixture.ledger).value();
    const auto inner =
        std::make_shared<FakeClaude>(std::vector<FakeClaude::Answer>{FakeClaude::says("Hallo")});
    const LogCapture log;
    {
        const FullDisk disk(before.size() + 20);
        EXPECT_EQ(CachedClaudeClient(inner, fixture.cache, fixture.recorder).send(cachedRequest).text(),
                  "Hallo");
    }
    EXPECT_EQ(readFile(fixture.ledger), before);
    EXPECT_FALSE(std::filesystem::exists(fixture.entry));
    EXPECT_THAT(log.text(), HasSubstr("An answer is not kept"));
    EXPECT_THAT(log.text(), HasSubstr("The cost of a call is not recorded"));
}

TEST(ASOClaudeStack, assemblesTheClientInItsFolder) {
    const test::TemporaryFolder folder;
    const Home home{folder.path()};
    const KeychainStore keychain = KeychainStore::inHome(home);
    keychain.write({{"anthropic-api-key", " sk-1 \n"}, {"anthropic-model", ""}});
    const AnthropicCredentialsLoader loader{keychain};
    EXPECT_EQ(loader.apiKey(), "sk-1");
    EXPECT_EQ(loader.model(), std::nullopt);
    const auto http = std::make_shared<test::FakeHTTPClient>(std::vector<test::FakeHTTPClient::Answer>{
        test::FakeHTTPClient::status(200, R"({"choices":[{"message":{"content":"a"}}]})")});
    const auto stack = ASOClaudeStack::make({.loader = loader,
                                             .home = home,
                                             .relay = {"https://relay.test", ObfuscatedString("s")},
                                             .http = http});
    EXPECT_EQ(stack.model, "openai/gpt-4.1-mini");
    EXPECT_EQ(stack.client->send(cachedRequest).text(), "a");
    const auto base = folder / "Library/Application Support/Brevant/aso";
    EXPECT_TRUE(
        std::filesystem::exists(base / "cache" / (ClaudeResponseCache::key(cachedRequest) + ".json")));
    EXPECT_EQ(stack.costRecorder->entries().size(), 1u);
    const HTTPRequest sent = http->requests().at(0);
    for (const HTTPHeader& header : sent.headers)
        EXPECT_EQ(header.value.find("sk-1"), std::string::npos) << "the user's key plays no part";

    writeFileAtomically(folder / "file", "");
    EXPECT_THROW(
        (void)ASOClaudeStack::make({.loader = loader, .home = home, .baseDirectory = folder / "file"}),
        FileError);
}
