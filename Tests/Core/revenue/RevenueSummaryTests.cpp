#include "Core/revenue/ReportingWindow.h"
#include "Core/revenue/SalesAttribution.h"
#include "Core/revenue/WorkspaceRevenueSummary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iterator>

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
        // Auckland is a day ahead of Los Angeles all morning; in Honolulu the day ends two or three hours
        // later.
        {"2026-05-01T11:00:00+12:00", 1, {"2026-04-28"}, {"2026-04-29"}},
        {"2026-04-30T21:30:00-10:00", 1, {"2026-04-29"}, {"2026-04-30"}},
        {"2026-12-31T22:30:00-10:00", 1, {"2026-12-30"}, {"2026-12-31"}},
        {"2027-03-01T12:00:00Z", 1, {"2027-02-27"}, {"2027-02-28"}},
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

WorkspaceRevenueSummary summaryOf(const std::vector<DayResult>& previous,
                                  const std::vector<DayResult>& current,
                                  const std::vector<WorkspaceRevenueSummary::AppRef>& apps) {
    return WorkspaceRevenueSummary::of(previous, current, apps, SalesAttribution(apps, previous, current));
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
    auto summary = summaryOf(previous, current, apps);
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
    EXPECT_THAT(summaryOf({}, {}, {}).converted("EUR", {}).unconverted, IsEmpty());
}

// A window of any length holds each day once, also where a day has 23 or 25 hours.
TEST(ReportingWindow, isWithoutGapsThroughWholeYears) {
    for (const std::string_view now :
         {"2026-03-10T12:00:00Z", "2026-11-03T12:00:00Z", "2028-03-05T03:00:00Z"}) {
        const auto window = ReportingWindow::lastDays(180, parseISO8601(now).value());
        std::vector<std::string> all = window.previous;
        std::ranges::copy(window.current, std::back_inserter(all));
        ASSERT_EQ(all.size(), 360U);
        for (std::size_t i = 1; i < all.size(); ++i) {
            const auto before = parseISO8601(all[i - 1] + "T00:00:00Z").value();
            EXPECT_EQ(formatISO8601(before + std::chrono::hours(24)).substr(0, 10), all[i]);
        }
    }
}

// SKUs are chosen by each account.
TEST(SalesAttribution, tellsEqualSKUsOfTwoAccountsApart) {
    const std::vector<WorkspaceRevenueSummary::AppRef> apps = {
        {"one", "670", "", {}}, {"two", "680", "", {}}, {"three", "690", "", {"pro"}}};
    const auto lineOf = [](std::string id, std::string parent, std::string sku, std::string vendor) {
        SalesLine line = sale(std::move(id), std::move(parent), std::move(sku), "EUR", 1);
        line.vendorNumber = std::move(vendor);
        return line;
    };
    const std::vector<DayResult> days = {
        {.date = "a", .lines = {lineOf("670", "", "app", "1"), lineOf("680", "", "app", "2")}}};
    const SalesAttribution attribution(apps, days, {});
    EXPECT_EQ(attribution.find(lineOf("671", "app", "a", "1")), 0U);
    EXPECT_EQ(attribution.find(lineOf("681", "app", "a", "2")), 1U);
    EXPECT_EQ(attribution.find(lineOf("691", "pro", "a", "2")), 2U) << "known from an earlier run";
    EXPECT_EQ(attribution.find(lineOf("999", "app", "a", "3")), std::nullopt);
    EXPECT_EQ(attribution.find(lineOf("999", "", "app", "1")), std::nullopt);
}

} // namespace
} // namespace quorvel
