// The turns that the programs of one home take at the public store.
#include "Core/aso/StorePacing.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Tests/support/FakeHTTPClient.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvel::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Programs of one home, whose clock stands still but for their waits.
struct StoreTurns {
    TemporaryFolder folder;
    double now = 1'772'368'200;
    std::vector<double> waits;
    std::vector<std::string> told;
    std::function<void()> whileWaiting = [] {};
    std::filesystem::path file = folder / "support" / "Store Searches.json";

    StorePacing::Parts parts(std::shared_ptr<HTTPClient> http) {
        return {.http = std::move(http),
                .searchURL = "https://store.example/base/",
                .file = file,
                .clock = [this] { return dateFromSecondsSince1970(now); },
                .sleep =
                    [this](double seconds) {
                        waits.push_back(seconds);
                        whileWaiting();
                        now += seconds;
                    },
                .tell = [this](const std::string& text) { told.push_back(text); }};
    }
    static std::shared_ptr<FakeHTTPClient> answering(std::vector<FakeHTTPClient::Answer> answers) {
        return std::make_shared<FakeHTTPClient>(std::move(answers));
    }
    static std::shared_ptr<FakeHTTPClient> good() { return answering({FakeHTTPClient::status(200)}); }
};

HTTPRequest searchRequest() {
    return {.url = "https://store.example/base/search?term=a"};
}

void searchTimes(StorePacing& pacing, int count) {
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(pacing.send(searchRequest()).status, 200);
}

TEST(StorePacing, letsTwentySearchesOfAllProgramsThroughInAnyMinute) {
    StoreTurns turns;
    StorePacing first(turns.parts(StoreTurns::good())), second(turns.parts(StoreTurns::good()));
    searchTimes(first, 12);
    turns.now += 40;
    searchTimes(second, 8);
    EXPECT_THAT(turns.waits, IsEmpty());
    searchTimes(first, 1); // waits until the first twelve are a minute old
    EXPECT_THAT(turns.waits, ElementsAre(20));
    EXPECT_THAT(turns.told, ElementsAre("The App Store allows about 20 searches a minute: waiting 20 s."));
    searchTimes(second, 11);
    EXPECT_EQ(turns.waits.size(), 1U);
    searchTimes(second, 1);
    EXPECT_THAT(turns.waits, ElementsAre(20, 40));
    for (const auto* other : {"https://store.example/base/us/rss/x", "https://other.example/search?term=a"})
        (void)first.send({.url = other});
    EXPECT_EQ(turns.waits.size(), 2U);
}

TEST(StorePacing, givesTheTurnOfACancelledSearchBack) {
    StoreTurns turns;
    StorePacing pacing(turns.parts(StoreTurns::good()));
    searchTimes(pacing, 20);
    turns.whileWaiting = [] { throw CancellationError(); };
    for (int i = 0; i < 40; ++i)
        EXPECT_THROW((void)pacing.send(searchRequest()), CancellationError);
    EXPECT_THAT(turns.waits, Each(60)); // none has to wait behind those that were never sent
}

TEST(StorePacing, waitsForAStoreThatTurnsItAwayAndThenAnswersAsItDid) {
    const auto refused = FakeHTTPClient::status(403),
               busy = FakeHTTPClient::status(429, "", {{"Retry-After", "7"}}),
               good = FakeHTTPClient::status(200);
    struct Case {
        std::vector<FakeHTTPClient::Answer> answers;
        std::string url;
        int status;
        std::vector<double> waits;
    };
    const std::string search = "https://store.example/base/lookup?id=1",
                      chart = "https://store.example/chart";
    for (const Case& one :
         {Case{{refused, good}, search, 200, {60}}, Case{{busy, busy, good}, search, 200, {7, 7}},
          Case{{refused}, search, 403, {60, 60}}, Case{{refused, good}, chart, 403, {}},
          Case{{busy, good}, chart, 200, {7}},
          Case{{FakeHTTPClient::status(429, "", {{"Retry-After", "86400"}})}, chart, 429, {}}}) {
        StoreTurns turns;
        StorePacing pacing(turns.parts(StoreTurns::answering(one.answers)));
        EXPECT_EQ(pacing.send({.url = one.url}).status, one.status);
        EXPECT_EQ(turns.waits, one.waits);
        EXPECT_EQ(turns.told.size(), one.waits.size());
    }
    StoreTurns turns;
    auto parts = turns.parts(StoreTurns::answering({refused}));
    parts.mayWait = [](double) { return false; };
    EXPECT_EQ(StorePacing(std::move(parts)).send(searchRequest()).status, 403);
    EXPECT_THAT(turns.waits, IsEmpty());
}

TEST(StorePacing, goesOnWithoutAUsableFile) {
    for (const std::string content : {"not JSON", "{\"a\":1}", "[99999999999, -5, 1e300]"}) {
        StoreTurns turns;
        createFolders(turns.file.parent_path());
        writeFileAtomically(turns.file, content);
        StorePacing pacing(turns.parts(StoreTurns::good()));
        searchTimes(pacing, 21);
        EXPECT_THAT(turns.waits, ElementsAre(60)) << content;
        EXPECT_THAT(readFile(turns.file).value(), testing::Not(HasSubstr("99999999999")));
    }
    StoreTurns turns;
    turns.file = "/proc/nowhere/Store Searches.json";
    StorePacing pacing(turns.parts(StoreTurns::good()));
    searchTimes(pacing, 21);
    EXPECT_THAT(turns.waits, ElementsAre(60));
    auto unbounded = turns.parts(StoreTurns::good());
    unbounded.searchesPerMinute = 0;
    StorePacing free(std::move(unbounded));
    searchTimes(free, 50);
    EXPECT_EQ(turns.waits.size(), 1U);
}

} // namespace
} // namespace quorvel::test
