#include "Tests/Programs/QuorvelFixture.h"
#include "Tests/support/ScriptedServer.h"

#include "Platform/text/Text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

using StoreCommands = QuorvelAccountTest;

TEST_F(StoreCommands, showTablesAndDocumentsWithoutAKey) {
    forgetEnvironmentKey();
    const auto found = run({"store", "search", "garden", "--country", "us,xx", "--limit", "5"});
    EXPECT_EQ(found.status, 7) << found.all();
    EXPECT_THAT(found.out,
                AllOf(HasSubstr("us · garden · 5 apps"), HasSubstr("Tiny Acre"), Not(HasSubstr("▸"))));
    EXPECT_THAT(found.error, HasSubstr("xx: App Store endpoint returned HTTP 400"));
    const auto document =
        onlyDocument(run({"store", "charts", "--genre", "medical", "--kind", "paid", "--json"}).out);
    EXPECT_EQ(*document.at("genre")->text(), "Medical");
    EXPECT_THAT(run({"store", "hints", "gard"}).out, HasSubstr("garden game"));
    EXPECT_THAT(run({"store", "page", "6710000003"}).out, HasSubstr("Name any plant & leaf"));
    const auto missing = run({"store", "lookup", "6799999999", "--quiet"});
    EXPECT_EQ(missing.status, 4);
    EXPECT_THAT(missing.error, HasSubstr("App with id 6799999999 was not found on the App Store."));
    const auto allMissing = run({"store", "lookup", "6799999999", "6799999998"});
    EXPECT_EQ(allMissing.status, 4);
    EXPECT_THAT(allMissing.error, AllOf(HasSubstr("us, 6799999999: "), HasSubstr("us, 6799999998: ")));
    EXPECT_EQ(run({"store", "lookup", "no such thing"}).status, 2);
    EXPECT_EQ(run({"store", "search", "a", "--country", "germany"}).status, 2);
}

TEST_F(QuorvelTest, storeTextsDoNothingToATerminal) {
    const std::string hostile =
        "\\u001b[31mRed\\u001b]0;title\\u0007 \\u202egnp.exe <b>bold</b>\\nnext line of a name "
        "that goes on and on and on";
    const std::string body = R"({"resultCount":1,"results":[{"trackId":7,"trackName":")" + hostile +
                             R"(","sellerName":")" + hostile + R"(","formattedPrice":"\u001b[2J"}]})";
    ScriptedServer store(
        {{Receive{}, Send{answer("200 OK", body)}}, {Receive{}, Send{answer("200 OK", body)}}});
    writeFileAtomically(folder / "endpoints.json", R"({"storeSearch":")" + store.url("") + R"("})");
    environment["QUORVEL_ENDPOINTS"] = (folder / "endpoints.json").string();
    for (const auto* command : {"search", "lookup"}) {
        auto shown = call({"store", command, "7", "--no-color"});
        shown.streams = ProgramCall::Streams::terminal;
        const auto result = runProgram(shown);
        EXPECT_EQ(result.status, 0) << result.all();
        EXPECT_THAT(result.out,
                    AllOf(HasSubstr("\\x1B[31mRed"), Not(HasSubstr("\x1b[31m")), Not(HasSubstr("\x1b]0")),
                          Not(HasSubstr("\x1b[2J")), Not(HasSubstr("\u202e"))));
        std::istringstream lines(result.out);
        for (std::string line; std::getline(lines, line);) {
            const std::size_t progress = line.rfind("\x1b[K");
            EXPECT_LE(displayWidth(line.substr(progress == line.npos ? 0 : progress + 3)), 80U) << line;
        }
    }
}

} // namespace
} // namespace quorvel::test
