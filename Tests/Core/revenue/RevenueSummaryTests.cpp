#include "Core/revenue/ReportingWindow.h"
#include "Core/revenue/WorkspaceRevenueSummary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ReportingWindow, countsDaysInLosAngeles) {
    struct Case {
        std::string_view now;
        int days;
        std::vector<std::string> previous, current;
    };
    const Case cases[] = {
        // One moment, whatever the user's clock shows: Auckland is a day ahead of Honolulu.
        {"2026-03-02T06:59:59Z", 1, {"2026-02-27"}, {"2026-02-28"}},
        {"2026-03-02T19:59:59+13:00", 1, {"2026-02-27"}, {"2026-02-28"}},
        {"2026-03-01T20:59:59-10:00", 1, {"2026-02-27"}, {"2026-02-28"}},
        {"2026-03-02T08:00:00Z", 1, {"2026-02-28"}, {"2026-03-01"}},
        // Clocks went forward on 8 March and back on 1 November: midnight moves by an hour.
        {"2026-03-09T06:59:59Z", 2, {"2026-03-04", "2026-03-05"}, {"2026-03-06", "2026-03-07"}},
        {"2026-03-09T07:00:00Z", 2, {"2026-03-05", "2026-03-06"}, {"2026-03-07", "2026-03-08"}},
        {"2026-11-02T07:59:59Z", 1, {"2026-10-30"}, {"2026-10-31"}},
        {"2026-11-02T08:00:00Z", 1, {"2026-10-31"}, {"2026-11-01"}},
        {"2028-03-01T12:00:00Z", 2, {"2028-02-26", "2028-02-27"}, {"2028-02-28", "2028-02-29"}},
    };
    for (const auto& [now, days, previous, current] : cases) {
        const auto window = ReportingWindow::lastDays(days, parseISO8601(now).value());
        EXPECT_EQ(window.previous, previous) << now;
        EXPECT_EQ(window.current, current) << now;
    }
    EXPECT_THROW((void)ReportingWindow::lastDays(0, Date()), ReportingWindowError);
}

TEST(FXRates, convertThroughTheBase) {
    const FXRates rates{"EUR", "2026-03-02", {{"USD", 1.25}, {"JPY", 150}, {"XTS", 0}}};
    EXPECT_EQ(rates.convert(10, "USD", "JPY"), 1200);
    EXPECT_EQ(rates.convert(10, "XTS", "USD"), std::nullopt);
    EXPECT_EQ(rates.convert(10, "EUR", "USD"), std::nullopt) << "the base is not listed";
    EXPECT_EQ(FXRates().convert(10, "ABC", "ABC"), 10);
    EXPECT_THAT(rates.currencies(), ElementsAre("JPY", "USD", "XTS"));
}

SalesLine sale(std::string app, std::string parent, std::string sku, std::string currency, double proceeds,
               std::int64_t downloads = 0) {
    return {std::move(app), std::move(parent), std::move(sku), std::move(currency), 1, downloads, proceeds};
}

TEST(WorkspaceRevenueSummary, attributesComparesAndConverts) {
    using Status = DayResult::Status;
    const std::vector<DayResult> previous = {
        {.date = "a", .lines = {sale("670", "", "garden", "USD", 5, 2)}}, // the app's SKU is seen here only
        {.date = "b", .status = Status::failed, .reason = "the line broke"}};
    const std::vector<DayResult> current = {
        {.date = "c",
         .lines = {sale("671", "garden", "garden.pro", "USD", 10), sale("670", "", "garden", "", 0, 7),
                   sale("999", "", "other", "EUR", 3), sale("671", "garden", "garden.pro", "XYZ", 4)}},
        {.date = "d", .lines = {sale("680", "tides", "tides.pro", "EUR", 8), sale("670", "", "", "EUR", -2)}},
        {.date = "e", .status = Status::notYetPublished}};
    const std::vector<WorkspaceRevenueSummary::AppRef> apps = {
        {"g", "670", "com.garden", {}}, {"t", "681", "com.tides", {"tides"}}, {"n", "", "com.new", {}}};
    auto summary = WorkspaceRevenueSummary::of(previous, current, apps);
    EXPECT_EQ(summary.windowDays, 3);
    EXPECT_EQ(summary.publishedDays, 2);
    EXPECT_FALSE(summary.latestDayPublished);
    EXPECT_EQ(summary.failure, std::nullopt) << "a day of the window before is not shown";
    EXPECT_EQ(summary.downloads, 7);
    EXPECT_EQ(summary.previousDownloads, 2);
    EXPECT_EQ(summary.downloadsByApp, (std::map<std::string, std::int64_t>{{"g", 7}}));
    EXPECT_EQ(summary.proceedsByAppByCurrency.at("g"),
              (WorkspaceRevenueSummary::Amounts{{"EUR", -2}, {"USD", 10}, {"XYZ", 4}}));
    EXPECT_EQ(summary.proceedsByAppByCurrency.at("t"), (WorkspaceRevenueSummary::Amounts{{"EUR", 8}}));
    EXPECT_THAT(summary.appSKUs.at("g"), ElementsAre("garden"));

    const FXRates rates{"EUR", "2026-03-02", {{"EUR", 1}, {"USD", 1.25}}};
    const auto converted = summary.converted("EUR", rates);
    EXPECT_EQ(converted.proceeds, 3 + 8 - 2 + 8);
    EXPECT_EQ(converted.previousProceeds, 4);
    EXPECT_THAT(converted.daily, ElementsAre(8 + 3, 8 - 2, 0));
    EXPECT_EQ(converted.proceedsByApp, (std::map<std::string, double>{{"g", 6}, {"t", 8}}));
    EXPECT_THAT(converted.unconverted, ElementsAre("XYZ"));
    EXPECT_EQ(converted.rateDate, "2026-03-02");
    EXPECT_EQ(converted.reported.front().currency, "EUR") << "9 euros are more than 8";

    summary.convertTo("EUR", rates);
    EXPECT_EQ(summary.unattributedProceeds, 3);
    EXPECT_EQ(summary.otherCurrencies, (WorkspaceRevenueSummary::Amounts{{"XYZ", 4}}));
    EXPECT_EQ(decodeJSON<WorkspaceRevenueSummary>(encodeJSON(summary)), summary);
    EXPECT_THAT(summary.converted("XYZ", {}).unconverted, ElementsAre("EUR", "USD"));
    EXPECT_THAT(WorkspaceRevenueSummary::of({}, {}, {}).converted("EUR", {}).unconverted, IsEmpty());
}

} // namespace
} // namespace quorvel
