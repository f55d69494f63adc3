#include "Core/asc/ASCError.h"
#include "Core/revenue/FXRateStore.h"
#include "Core/revenue/SalesReportService.h"
#include "Tests/support/FakeHTTPClient.h"
#include "Tests/support/FileMode.h"
#include "Tests/support/SandboxFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace quorvel::test {
namespace {

using testing::Each;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Status = DayResult::Status;

class SalesReports : public testing::Test {
  protected:
    /// Days before the sandbox's today, oldest first.
    static std::vector<std::string> days(int count, int last = 1) {
        std::vector<std::string> result;
        for (int back = count + last - 1; back >= last; --back)
            result.push_back(formatISO8601(systemClock()() - std::chrono::hours(24) * back).substr(0, 10));
        return result;
    }
    SalesReportService service(std::string vendor = {}) {
        return SalesReportService(
            {.client = {std::shared_ptr<void>(), &fixture.client},
             .vendorNumber = vendor.empty() ? fixture.server.access().vendorNumber : std::move(vendor),
             .folder = reports,
             .defaults = defaults});
    }
    std::size_t asked() {
        const auto requests = fixture.server.requests();
        fixture.server.forgetRequests();
        return static_cast<std::size_t>(std::ranges::count_if(
            requests, [](const auto& request) { return request.path == "/v1/salesReports"; }));
    }

    SandboxFixture fixture;
    std::filesystem::path reports = fixture.folder / "reports";
    std::shared_ptr<UserDefaults> defaults = std::make_shared<UserDefaults>(fixture.folder / "defaults.json");
};

TEST_F(SalesReports, areKeptAndOnlyTheNewestAskedForAgain) {
    const auto window = days(12);
    const auto first = service().fetch(window);
    EXPECT_EQ(asked(), 12U);
    EXPECT_THAT(first, Each(Field(&DayResult::status, Status::ok)));
    EXPECT_THAT(first, Each(Field(&DayResult::lines, Not(IsEmpty()))));
    EXPECT_EQ(service().fetch(window), first);
    EXPECT_EQ(asked(), SalesReportService::daysThatChange);
    const auto file = reports / fixture.server.access().vendorNumber / (window[0] + ".tsv.gz");
    EXPECT_EQ(modeOf(file), 0600U);

    writeFileAtomically(file, "damaged");
    EXPECT_EQ(service().fetch(window)[0], first[0]);
    EXPECT_EQ(asked(), SalesReportService::daysThatChange + 1);

    // Without the network the kept reports serve; the day that is new fails alone.
    fixture.server.setFaults({{.route = "/v1/salesReports", .status = 503}});
    const auto broken = service().fetch(days(13));
    EXPECT_EQ(broken[0].status, Status::failed);
    EXPECT_EQ(std::vector(broken.begin() + 1, broken.end()), first);
}

TEST_F(SalesReports, goOnPastADayThatFailsAndAskOnceWithoutANetwork) {
    const auto few = service().fetch(days(6));
    ASSERT_THAT(few, Each(Field(&DayResult::status, Status::ok)));
    // The first request and its retries fail as those with a foreign vendor number do.
    fixture.server.setFaults({{.route = "/v1/salesReports", .status = 500, .count = 4}});
    EXPECT_THAT(service().fetch(days(9)), Each(Field(&DayResult::status, Status::ok)));
    // A report of a while ago that was fetched the day after, when Apple still changed it.
    const auto early = days(9).front();
    std::filesystem::last_write_time(reports / fixture.server.access().vendorNumber / (early + ".tsv.gz"),
                                     std::filesystem::file_time_type::clock::now() -
                                         std::chrono::hours(24) * 8);
    asked();
    EXPECT_THAT(service().fetch(days(9)), Each(Field(&DayResult::status, Status::ok)));
    EXPECT_EQ(asked(), SalesReportService::daysThatChange + 1);

    fixture.server.setFaults({{.route = "/v1/salesReports", .action = "reset"}});
    const auto apart = service().fetch(days(20, 30));
    EXPECT_THAT(apart, Each(Field(&DayResult::isUnreachable, true)));
    EXPECT_LE(asked(), 8U) << "one request with its retries";
}

TEST_F(SalesReports, knowADayWithoutSalesFromOneThatIsNotPublishedYet) {
    const std::string quiet = days(1, 200).front(); // before the account's first sale
    const std::string today = days(1, 0).front();
    auto result = service().fetch({quiet, today});
    EXPECT_EQ(result[0], (DayResult{.date = quiet}));
    EXPECT_EQ(result[1].status, Status::notYetPublished);
    EXPECT_TRUE(
        std::filesystem::exists(reports / fixture.server.access().vendorNumber / (quiet + ".tsv.gz")));
    fixture.server.advance(86'400);
    result = service().fetch({quiet, today});
    EXPECT_EQ(result[1].status, Status::ok);
    EXPECT_THAT(result[1].lines, Not(IsEmpty()));
}

TEST_F(SalesReports, areAskedForInTheVersionThatAppleWants) {
    defaults->set("SalesReport.version", "0_9");
    const auto window = days(4);
    EXPECT_THAT(service().fetch(window), Each(Field(&DayResult::status, Status::ok)));
    EXPECT_EQ(defaults->string("SalesReport.version"), "1_0");
    EXPECT_EQ(asked(), 5U) << "learnt from the first answer";
    EXPECT_EQ(salesReportVersionIn("The latest version for this report is 1_12."), "1_12");
    for (const auto* text : {"", "The latest version for this report is new.", "report is 1_0",
                             "latest version for this report is 1_"})
        EXPECT_EQ(salesReportVersionIn(text), std::nullopt) << text;
}

TEST_F(SalesReports, askOnceWithAVendorNumberOrAKeyThatIsRefused) {
    const auto foreign = service("99999999").fetch(days(20));
    EXPECT_THAT(foreign, Each(Field(&DayResult::status, Status::failed)));
    EXPECT_THAT(foreign, Each(Field(&DayResult::reason, HasSubstr("Vendor # doesn't belong"))));
    EXPECT_LE(asked(), 4U) << "one request with its retries";
    EXPECT_THROW(service("../../etc"), std::invalid_argument);
    fixture.server.revokeKey(true);
    EXPECT_THROW((void)service().fetch(days(20)), ASCError);
    EXPECT_LE(asked(), 4U);
}

TEST(FXRateStore, keepsRatesWhileTheServiceFails) {
    const TemporaryFolder folder;
    const auto defaults = std::make_shared<UserDefaults>(folder / "defaults.json");
    auto http = std::make_shared<FakeHTTPClient>(std::vector{
        FakeHTTPClient::status(200, R"({"base":"EUR","date":"2026-03-02","rates":{"USD":1.25}})"),
        FakeHTTPClient::status(503), FakeHTTPClient::status(200, "<html>"),
        FakeHTTPClient::status(200, R"({"base":"EUR","date":"2026-03-03","rates":{"USD":1.5}})")});
    Date now = dateFromSecondsSince1970(1'772'000'000);
    FXRateStore store({defaults, http, "https://relay.example/api", [&] { return now; }});
    EXPECT_EQ(store.rates(), std::nullopt);
    EXPECT_EQ(store.current().value().rates.at("USD"), 1.25);
    EXPECT_EQ(http->requests().at(0).url, "https://relay.example/api/fx");
    now += std::chrono::hours(12);
    EXPECT_EQ(store.current().value().date, "2026-03-02");
    EXPECT_EQ(http->requests().size(), 1U);
    for (const auto* problem : {"the service answered 503", "JSON"}) {
        now += std::chrono::minutes(1);
        EXPECT_EQ(store.current().value().date, "2026-03-02");
        EXPECT_THAT(store.lastError().value_or(""), HasSubstr(problem));
    }
    EXPECT_EQ(store.current().value().date, "2026-03-03");
    EXPECT_EQ(store.lastError(), std::nullopt);
    now -= std::chrono::hours(24 * 365); // the clock was wrong before
    EXPECT_EQ(store.current().value().date, "2026-03-03");
    EXPECT_EQ(http->requests().size(), 5U);
}

} // namespace
} // namespace quorvel::test
