#include "Platform/files/Files.h"
#include "Tests/Programs/QuorvelFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class RevenueCommands : public QuorvelAccountTest {
  protected:
    void SetUp() override { ASSERT_EQ(run({"apps", "import", "6700000101", "6700000102"}).status, 0); }
    std::string vendor() const { return server.access().vendorNumber; }
};

TEST_F(RevenueCommands, showWhatWasSoldAndAskOnlyForNewDaysAgain) {
    const auto unknown = run({"revenue"});
    EXPECT_EQ(unknown.status, 3);
    EXPECT_THAT(unknown.error, HasSubstr("'quorvel auth set --vendor-number NUMBER'"));

    const auto first = run({"revenue", "--days", "7", "--currency", "EUR", "--vendor-number", vendor()});
    EXPECT_EQ(first.status, 0) << first.all();
    EXPECT_THAT(first.out, AllOf(HasSubstr("PROCEEDS · LAST 7 DAYS"), HasSubstr("EUR"), HasSubstr("█"),
                                 HasSubstr("Mosswick: Garden Journal"), HasSubstr("JPY"),
                                 HasSubstr("Converted with the rates of")));
    EXPECT_THAT(first.error, HasSubstr("No app here for SKETCH01 (6700000103)"));
    const auto reports = [&] {
        const auto requests = server.requests();
        server.forgetRequests();
        return std::ranges::count_if(requests,
                                     [](const auto& request) { return request.path == "/v1/salesReports"; });
    };
    EXPECT_EQ(reports(), 14);
    const auto again = run({"revenue", "--days", "7", "--vendor-number", vendor()});
    EXPECT_EQ(again.out, first.out) << "the currency is kept";
    EXPECT_EQ(reports(), 3);
    EXPECT_THAT(run({}).out, ContainsRegex("last 7 days to [0-9-]+: [0-9,.]+ EUR"));

    const auto one = run({"revenue", "--days", "7", "--app", "6700000102", "--vendor-number", vendor()});
    EXPECT_THAT(one.out, AllOf(HasSubstr("0.00 EUR"), Not(HasSubstr("Mosswick"))));
    EXPECT_THAT(one.error, Not(HasSubstr("SKETCH01")));
}

TEST_F(RevenueCommands, exportRowsAndTellWhatIsMissing) {
    const auto rows = run({"revenue", "export", "--days", "2", "--vendor-number", vendor()});
    EXPECT_EQ(rows.status, 0) << rows.all();
    EXPECT_TRUE(rows.out.starts_with("date,app,name,currency,proceeds,units,downloads\n")) << rows.out;
    EXPECT_THAT(rows.out,
                ContainsRegex(",mosswick-garden-journal,Mosswick: Garden Journal,JPY,[0-9]+\\.00,"));

    server.setFaults({{.route = "/v1/salesReports", .action = "truncate", .probability = 1, .count = 1}});
    const auto partly = run({"revenue", "--days", "2", "--vendor-number", vendor()});
    EXPECT_EQ(partly.status, 0) << partly.all() << "a kept report serves";
    EXPECT_EQ(run({"revenue", "--currency", "euro"}).status, 2);
    const auto unknown = run({"revenue", "--currency", "xxx", "--vendor-number", vendor()});
    EXPECT_EQ(unknown.status, 2) << unknown.all();
    EXPECT_THAT(unknown.error, HasSubstr("there is no exchange rate of XXX"));
    EXPECT_EQ(run({"revenue", "--vendor-number", "../x"}).status, 2);
}

TEST_F(RevenueCommands, analyseSendsSumsOnlyAfterItWasAgreedTo) {
    const auto analyse = [&](std::vector<std::string> more) {
        std::vector<std::string> words = {"revenue", "analyse", "--days", "7", "--vendor-number", vendor()};
        words.insert(words.end(), more.begin(), more.end());
        return run(words);
    };
    const auto asked = [&] {
        std::vector<std::string> bodies;
        for (const auto& request : server.requests())
            if (request.path.ends_with("/completions")) bodies.push_back(request.body);
        return bodies;
    };
    const auto refused = analyse({});
    EXPECT_EQ(refused.status, 2) << refused.all();
    EXPECT_THAT(refused.error, HasSubstr("needs --yes where nobody can be asked"));
    const auto dry = analyse({"--dry-run", "--verbose", "--language", "pt-BR"});
    EXPECT_EQ(dry.status, 0) << dry.all();
    EXPECT_THAT(dry.out,
                AllOf(HasSubstr("Write in Portuguese (Brazil)"), HasSubstr("Mosswick: Garden Journal")));
    EXPECT_THAT(dry.error, HasSubstr("at an estimated cost of at most $0.0"));
    EXPECT_THAT(asked(), testing::IsEmpty());

    server.setModelManner({.script = {"badJSON"}});
    environment["LC_ALL"] = "de_DE.UTF-8";
    const auto done = analyse({"--yes"});
    EXPECT_EQ(done.status, 0) << done.all();
    EXPECT_THAT(done.out, AllOf(ContainsRegex("From [0-9-]+ to [0-9-]+ you were paid [0-9.]+ USD"),
                                HasSubstr("• Proceeds were"), HasSubstr("Written by an AI model")));
    EXPECT_THAT(done.error, HasSubstr("The estimated cost is at most $0.0"));
    ASSERT_EQ(asked().size(), 2U) << "an answer that is no comment is asked for once more";
    EXPECT_THAT(asked()[0], HasSubstr("Write in German"));
    for (const std::string& secret : {vendor(), std::string("6700000101"), std::string("SKETCH01")})
        EXPECT_THAT(asked()[0], Not(HasSubstr(secret)));

    const JSONValue again = onlyDocument(analyse({"--yes", "--json"}).out);
    EXPECT_NE(again.at("comment", "headline"), nullptr);
    ASSERT_NE(again.find("costUSD")->integer(), nullptr);
    EXPECT_EQ(*again.find("costUSD")->integer(), 0) << "kept for a day";
    EXPECT_THAT(run({"costs"}).out, ContainsRegex("revenue analysis +2 +1 +at most"));
    EXPECT_EQ(analyse({"--yes", "--language", "xx"}).status, 2);
    server.setModelManner({.script = {"refusal", "refusal"}});
    const auto useless = analyse({"--yes", "--fresh"});
    EXPECT_NE(useless.status, 0);
    EXPECT_THAT(useless.error, HasSubstr("the answer holds no JSON object"));
}

} // namespace
} // namespace quorvel::test
