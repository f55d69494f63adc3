// Answers that are no report: each day gets its own error, and the others go on.
#include "Core/asc/ASCClientProtocol.h"
#include "Core/asc/ASCError.h"
#include "Core/revenue/SalesReportService.h"
#include "Sandbox/rules/Gzip.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace quorvel::test {
namespace {

using testing::HasSubstr;

/// Answers each day with the bytes that a test wrote down; no service can be made to send them.
class ScriptedReports : public ASCClientProtocol {
  public:
    [[nodiscard]] std::string exchange(const ASCRequest& request) const override {
        for (const auto& [name, value] : request.query)
            if (name == "filter[reportDate]") return bodies.at(value);
        throw ASCError(ASCError::HTTPStatus{400});
    }
    std::map<std::string, std::string> bodies;
};

TEST(SalesReportFaults, failOneDayAndNoOther) {
    const std::string columns =
        "SKU\tProduct Type Identifier\tUnits\tDeveloper Proceeds\tCurrency of Proceeds\t"
        "Apple Identifier\tParent Identifier";
    const std::string rows = "\ngarden\t1F\t12\t0\t \t670\t \ngarden.pro\tIA1\t2\t1.5\tEUR\t671\tgarden\n";
    const auto packed = [](std::string_view text) { return sandbox::gzip(text); };
    const std::string good = packed(columns + rows);
    std::string withReturns = columns + rows;
    for (std::size_t at = 0; (at = withReturns.find('\n', at)) != std::string::npos; at += 2)
        withReturns.insert(at, "\r");
    std::string currencies = columns + "\n";
    for (int i = 0; i < 3000; ++i)
        currencies += "garden.pro\tIA1\t1\t1\tC" + std::to_string(i) + "\t671\tgarden\n";
    std::string extra = columns + "\tInvented\tInvented Too\n" + "garden\t1F\t12\t0\t \t670\t \tx\ty\n";
    const struct {
        std::string body;
        std::string reason; // empty: the day is read
        std::int64_t downloads = 0;
        std::size_t lines = 0;
        std::int64_t unreadable = 0;
    } cases[] = {
        {good, "", 12, 2},
        {good.substr(0, good.size() / 2), "gunzip failed (status -5)"},
        {"PK\x03\x04" + good, "gunzip failed (status -3)"},
        {good + "more", "gunzip failed (status -3)"},
        {"", "gunzip failed (status -5): the file is empty"},
        {"<html><body>We'll be back.</body></html>", "gunzip failed (status -3)"},
        {packed("<html><body>We'll be back.</body></html>"),
         "This is no sales report. It begins with \"<html>"},
        {packed(""), "This is no sales report."},
        {packed("SKU\tUnits\tApple Identifier\ngarden\t1\t670\n"), "This is no daily summary of sales"},
        {packed(extra), "", 12, 1},
        {packed(withReturns), "", 12, 2},
        {packed(currencies), "", 0, 3000},
        {packed(columns + "\ngarden\t1F\t1,200\t0\t \t670\t \n"), "", 0, 1, 1},
        {packed(columns + "\n"), "", 0, 0},
    };
    const TemporaryFolder folder;
    const auto client = std::make_shared<ScriptedReports>();
    std::vector<std::string> days;
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        days.push_back("2026-01-" + std::to_string(10 + i));
        client->bodies[days.back()] = cases[i].body;
    }
    SalesReportService service({.client = client,
                                .vendorNumber = "80457216",
                                .folder = folder / "reports",
                                .defaults = std::make_shared<UserDefaults>(folder / "defaults.json")});
    const auto results = service.fetch(days);
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const DayResult& day = results[i];
        SCOPED_TRACE(cases[i].reason + " " + day.date + ": " + day.reason);
        EXPECT_EQ(day.status, cases[i].reason.empty() ? DayResult::Status::ok : DayResult::Status::failed);
        EXPECT_THAT(day.reason, HasSubstr(cases[i].reason));
        EXPECT_EQ(day.lines.size(), cases[i].lines);
        EXPECT_EQ(day.unreadableNumbers, cases[i].unreadable);
        std::int64_t downloads = 0;
        for (const auto& line : day.lines)
            downloads += line.downloads;
        EXPECT_EQ(downloads, cases[i].downloads);
        EXPECT_EQ(std::filesystem::exists(folder / "reports/80457216" / (day.date + ".tsv.gz")),
                  cases[i].reason.empty())
            << "what cannot be read is not kept";
    }
}

} // namespace
} // namespace quorvel::test
