#include "Core/revenue/SalesDay.h"
#include "Core/revenue/SalesReportParser.h"
#include "Platform/gzip/Gzip.h"
#include "Sandbox/rules/Gzip.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace quorvel {
namespace {

using testing::HasSubstr;

constexpr std::string_view newestColumns =
    "Provider\tSKU\tProduct Type Identifier\tUnits\tDeveloper Proceeds\tCustomer Currency\t"
    "Currency of Proceeds\tApple Identifier\tParent Identifier\tOrder Type\n";

std::string packed(std::string_view text) {
    return sandbox::gzip(text);
}

std::string problemOf(std::string_view compressed) {
    try {
        (void)SalesReportParser::totals(compressed);
    } catch (const SalesReportParserError& error) {
        return error.description();
    }
    return "read";
}

TEST(SalesReportParser, readsTheFormsOfReports) {
    const std::string rows = std::string(newestColumns) +
                             "APPLE\tgarden\t1F\t12\t0\tUSD\t \t670\t \t \n"
                             "APPLE\tgarden.pro\tIA1\t3\t209.30\tRUB\tRUB\t671\tgarden\t \n"
                             "APPLE\tgarden.pro\tIA1\t-1\t209.30\tRUB\tRUB\t671\tgarden\t \n";
    const SalesReportParser::Totals wanted{14, {{"RUB", 418.6}}};
    const auto half = rows.find("APPLE\tgarden.pro");
    struct Case {
        std::string name, bytes;
    };
    std::string withReturns = rows;
    for (std::size_t at = 0; (at = withReturns.find('\n', at)) != std::string::npos; at += 2)
        withReturns.insert(at, "\r");
    const Case cases[] = {
        {"as it is", packed(rows)},
        {"CR LF", packed(withReturns)},
        {"a byte order mark", packed("\xEF\xBB\xBF" + rows)},
        {"no last line break", packed(rows.substr(0, rows.size() - 1))},
        {"empty lines", packed(rows + "\n\n")},
        {"two members", packed(rows.substr(0, half)) + packed(rows.substr(half))},
        {"padding", packed(rows) + std::string(7, '\0')},
    };
    for (const auto& [name, bytes] : cases) {
        SalesReportParser::Totals totals;
        EXPECT_NO_THROW(totals = SalesReportParser::totals(bytes)) << name;
        EXPECT_EQ(totals.units, wanted.units) << name;
        ASSERT_EQ(totals.proceedsByCurrency.size(), 1U) << name;
        EXPECT_NEAR(totals.proceedsByCurrency["RUB"], 418.6, 1e-9) << name;
    }
    for (const std::string_view name : {"Proceeds Currency", "Partner Share Currency"}) {
        const std::string older =
            fmt::format("Quantity\tDeveloper Proceeds\t{}\tApple Identifier\tProduct Type Identifier\n"
                        "2\t1.5\tEUR\t670\t1\n",
                        name);
        EXPECT_EQ(SalesReportParser::totals(packed(older)), (SalesReportParser::Totals{2, {{"EUR", 3.0}}}));
    }
}

TEST(SalesReportParser, tellsWhatItCannotRead) {
    const std::string whole = packed(std::string(newestColumns) + "APPLE\tgarden\t1F\t12\t0\n");
    std::string lying = whole;
    lying[lying.size() - 4] = '\x7F';
    std::string flipped = whole;
    flipped[40] = static_cast<char>(flipped[40] ^ 4);
    EXPECT_THAT(problemOf(whole.substr(0, whole.size() - 9)), HasSubstr("gunzip failed (status -5): "));
    EXPECT_THAT(problemOf(lying), HasSubstr("incorrect length check"));
    EXPECT_THAT(problemOf(flipped), HasSubstr("incorrect data check"));
    EXPECT_THAT(problemOf(whole + "trailing"), HasSubstr("gunzip failed (status -3): "));
    EXPECT_THAT(problemOf(""), HasSubstr("gunzip failed (status -5): the file is empty"));
    EXPECT_THAT(problemOf("<html>busy</html>"), HasSubstr("gunzip failed (status -3): "));
    EXPECT_THAT(problemOf(packed("<html>\x1b[31mbusy</html>\n")), HasSubstr(R"(begins with "<html>)"));
    EXPECT_THAT(problemOf(packed("<html>\x1b[31mbusy</html>\n")), testing::Not(HasSubstr("\x1b")));
    EXPECT_THAT(problemOf(packed("")), HasSubstr("no sales report"));
    EXPECT_EQ(problemOf(packed("Provider\tUnits\tApple Identifier\n")),
              "This is no daily summary of sales: it lacks the columns Developer Proceeds, "
              "Currency of Proceeds, Product Type Identifier.");
    EXPECT_THAT(problemOf(packed(std::string(3 << 20, 'x'))), HasSubstr("no sales report"));
}

TEST(SalesReportParser, boundsWhatItInflates) {
    const std::string bytes = packed(std::string(200'000, 'x'));
    std::size_t got = 0, largest = 0;
    const auto count = [&](std::string_view piece) {
        got += piece.size();
        largest = std::max(largest, piece.size());
    };
    inflateGzip(bytes, 200'000, count);
    EXPECT_EQ(got, 200'000U);
    EXPECT_LE(largest, 65'536U);
    EXPECT_THROW(inflateGzip(bytes, 199'999, count), GzipError);
}

TEST(SalesDay, sumsRowsOfOneProductAndCountsDownloadsBeforeItSkips) {
    const DayResult day =
        salesDayOf("2026-03-01", packed(std::string(newestColumns) +
                                        "APPLE\tgarden\t1F\t12\t0\tUSD\t \t670\t \t \n" // without a currency
                                        "APPLE\tgarden\t7\t90\t0\tUSD\t \t670\t \t \n"  // updates
                                        "APPLE\tgarden\t1\t2\t3.5\tEUR\tEUR\t670\t \t \n"
                                        "APPLE\tgarden\t1\t1\t3.5\tEUR\tEUR\t670\t \t \n"
                                        "APPLE\tgarden\t1\t5\t1,299.00\tEUR\tEUR\t670\t \t \n"
                                        "APPLE\tgarden\tF1-B\tmany\t1\tEUR\tEUR\t670\t \t \n"
                                        "APPLE\tgarden.pro\tIA1\t4\t2\tEUR\tEUR\t671\tgarden\t \n"));
    EXPECT_EQ(day.lines, (std::vector<SalesLine>{{"670", "", "garden", "", 107, 17, 0},
                                                 {"670", "", "garden", "EUR", 3, 3, 10.5},
                                                 {"671", "garden", "garden.pro", "EUR", 4, 0, 8}}));
    EXPECT_EQ(day.unreadableNumbers, 2);
}

// Their column names as Apple writes them.
TEST(SalesReportParser, readsAnOldSummaryAndRefusesOtherReports) {
    constexpr std::string_view oldColumns =
        "Provider\tProvider Country\tSKU\tDeveloper\tTitle\tVersion\tProduct Type Identifier\tUnits\t"
        "Developer Proceeds\tBegin Date\tEnd Date\tCustomer Currency\tCountry Code\tCurrency of Proceeds\t"
        "Apple Identifier\tCustomer Price\tPromo Code\tParent Identifier\tSubscription\tPeriod\n";
    const std::string old =
        std::string(oldColumns) +
        "APPLE\tUS\tgarden\tStudio\tGarden\t1.5\t1F\t3\t0\t12/29/2014\t12/29/2014\tTWD\tTW"
        "\tTWD\t670\t0\t \t \t\t\n"
        "APPLE\tUS\tgarden.pro\tStudio\tPro\t \tIA1\t2\t0.7\t12/29/2014\t12/29/2014\tUSD\tUS"
        "\tUSD\t671\t0.99\t \tgarden\n"; // the last cells are left out
    const auto day = salesDayOf("2014-12-29", packed(old));
    ASSERT_EQ(day.lines.size(), 2U);
    EXPECT_EQ(day.lines[0].downloads, 3);
    EXPECT_EQ(day.lines[1].parentIdentifier, "garden");
    EXPECT_NEAR(day.lines[1].proceeds, 1.4, 1e-9);
    const struct {
        std::string_view columns, missing;
    } others[] = {
        {"Start Date\tEnd Date\tVendor Identifier\tQuantity\tPartner Share\tExtended Partner Share\t"
         "Partner Share Currency\tApple Identifier\tTitle\tProduct Type Identifier\n",
         "lacks the column Developer Proceeds."},
        {"App Name\tApp Apple ID\tSubscription Name\tDeveloper Proceeds\tProceeds Currency\tDevice\n",
         "lacks the columns Apple Identifier, Product Type Identifier, Units."},
        {"Event Date\tApp Name\tDeveloper Proceeds\tProceeds Currency\tRefund\tUnits\n",
         "lacks the columns Apple Identifier, Product Type Identifier."},
        {"Provider\tTitle\tOrdered\tCanceled\tApple Identifier\n", "lacks the columns Developer Proceeds, "}};
    for (const auto& [columns, missing] : others)
        EXPECT_THAT(problemOf(packed(std::string(columns) + "a\tb\tc\n")), HasSubstr(missing));
}

TEST(SalesDay, boundsWhatAReportMakesItRemember) {
    std::string many(newestColumns);
    for (int currency = 0; currency < 5000; ++currency)
        many += fmt::format("APPLE\tgarden\tIA1\t1\t2\tUSD\tC{}\t670\t \t \n", currency);
    const auto day = salesDayOf("2026-03-01", packed(many));
    EXPECT_EQ(day.lines.size(), 5000U);
    for (int product = 0; product < 130'000; ++product)
        many += fmt::format("APPLE\tgarden.{}\tIA1\t1\t2\tUSD\tUSD\t{}\tgarden\t \n", product, product);
    EXPECT_THROW((void)salesDayOf("2026-03-01", packed(many)), SalesReportParserError);
}

} // namespace
} // namespace quorvel
