#include "Quorvel/actions/RevenueActions.h"
#include "Quorvel/controllers/revenue/RevenueController.h"
#include "Tests/support/ApplicationSandbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace quorvel::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::string_view salesColumns = "SKU\tProduct Type Identifier\tUnits\tDeveloper Proceeds\t"
                                          "Currency of Proceeds\tApple Identifier\tParent Identifier\n";

std::string dayBefore(int days) {
    return formatISO8601(systemClock()() - std::chrono::hours(24) * days).substr(0, 10);
}

/// A sandbox that serves what a test writes for it, as one account.
struct AccountOfReports {
    AccountOfReports(const std::filesystem::path& folder, const std::string& vendorNumber,
                     std::string_view rows)
        : fixture(optionsOf(folder / vendorNumber, vendorNumber, rows)) {}

    static sandbox::Options optionsOf(const std::filesystem::path& folder, const std::string& vendorNumber,
                                      std::string_view rows) {
        createFolders(folder);
        for (int day = 1; day <= 8; ++day)
            writeFileAtomically(folder / (dayBefore(day) + ".tsv"),
                                std::string(salesColumns) + std::string(rows));
        return {.salesFolder = folder, .vendorNumber = vendorNumber};
    }
    RevenueController::Account account() {
        return {fixture.server.access().vendorNumber, [this] {
                    return std::shared_ptr<const ASCClientProtocol>(std::shared_ptr<void>(), &fixture.client);
                }};
    }
    SandboxFixture fixture;
};

// Both accounts name their app and their purchase alike.
TEST(RevenueController, joinsTheReportsOfSeveralAccounts) {
    const TemporaryFolder folder;
    AccountOfReports first(folder.path(), "1001",
                           "app\t1F\t3\t0\t \t670\t \npro\tIA1\t1\t2\tEUR\t671\tapp\n");
    AccountOfReports second(folder.path(), "1002",
                            "app\t1F\t5\t0\t \t680\t \npro\tIA1\t1\t4\tEUR\t681\tapp\n");
    const auto defaults = std::make_shared<UserDefaults>(folder / "defaults.json");
    FXRateStore rates({.defaults = defaults, .http = first.fixture.http, .relayURL = ""});
    RevenueController controller({.accounts = {first.account(), second.account()},
                                  .reports = folder / "reports",
                                  .defaults = defaults,
                                  .rates = &rates});
    const RevenueController::Wish wish{
        .days = 2, .currency = "EUR", .apps = {{"one", "670", "", {}}, {"two", "680", "", {}}}};
    std::size_t total = 0;
    auto revenue = controller.fetch(wish, [&](std::size_t, std::size_t all) { total = all; });
    EXPECT_EQ(total, 8U) << "two accounts of four days";
    const double days = static_cast<double>(revenue.summary.publishedDays); // today's may be missing
    ASSERT_GT(days, 0);
    EXPECT_EQ(revenue.converted.proceedsByApp,
              (std::map<std::string, double>{{"one", 2 * days}, {"two", 4 * days}}));
    EXPECT_EQ(revenue.summary.downloads, 8 * revenue.summary.publishedDays);
    EXPECT_THAT(revenue.refusedAccounts, IsEmpty());

    second.fixture.server.revokeKey(true);
    revenue = controller.fetch({.days = 3, .currency = "EUR", .apps = wish.apps});
    ASSERT_EQ(revenue.refusedAccounts.size(), 1U);
    EXPECT_EQ(revenue.refusedAccounts[0].vendorNumber, "1002");
    EXPECT_EQ(revenue.current.front().status, DayResult::Status::ok) << "kept of both";
    EXPECT_EQ(revenue.previous.front().status, DayResult::Status::failed) << "new, and of one account only";
    EXPECT_THAT(revenue.previous.front().reason, HasSubstr("Vendor number 1002: "));
    EXPECT_THAT(revenue.previous.front().lines, testing::Not(IsEmpty())) << "what the other account sold";
    first.fixture.server.revokeKey(true);
    EXPECT_THROW((void)controller.fetch(wish), ASCError);
}

TEST(ShowRevenue, asksWithTheKeyOfThePlaceThatHoldsTheVendorNumber) {
    using Key = KeychainStore::AccountKey;
    ApplicationSandbox fixture;
    const sandbox::Access& access = fixture.server.access();
    Application application({.home = {fixture.folder / "home"},
                             .workingFolder = fixture.folder.path(),
                             .endpointsFile = access.endpointsFile});
    AppRecords apps = application.apps();
    const auto garden = apps.add(
        {.slug = "garden", .displayName = "Garden", .bundleId = "g", .appStoreId = std::string(gardenApp)});
    const auto tides = apps.add(
        {.slug = "tides", .displayName = "Tides", .bundleId = "t", .appStoreId = std::string(tidesApp)});
    const auto key = readFile(access.privateKeyFile);
    EXPECT_EQ(kindOf([&] { (void)ShowRevenue::perform(application, {.days = 2}); }),
              FailureKind::vendorNumberMissing);
    // The garden's team; the key of the tides is another team's.
    application.keychain().write({{accountName(Key::keyID, garden.id), access.keyID},
                                  {accountName(Key::issuerID, garden.id), access.issuerID},
                                  {accountName(Key::privateKeyPEM, garden.id), key},
                                  {accountName(Key::vendorNumber, garden.id), access.vendorNumber}});
    auto result = ShowRevenue::perform(application, {.days = 2});
    EXPECT_THAT(result.appsWithoutVendorNumber, ElementsAre("Tides"));
    const auto downloads = result.downloads;
    EXPECT_GT(downloads, 0);
    application.keychain().write({{accountName(Key::keyID, tides.id), "FOREIGNKEY"},
                                  {accountName(Key::issuerID, tides.id), access.issuerID},
                                  {accountName(Key::privateKeyPEM, tides.id), key},
                                  {accountName(Key::vendorNumber, tides.id), "11111111"}});
    application.beginJob();
    fixture.server.forgetRequests();
    result = ShowRevenue::perform(application, {.days = 2});
    EXPECT_EQ(result.downloads, downloads);
    ASSERT_EQ(result.refusedAccounts.size(), 1U);
    EXPECT_EQ(result.refusedAccounts[0].vendorNumber, "11111111");
    EXPECT_THAT(result.failure.value_or(""), HasSubstr("Vendor number 11111111: "));
    for (const auto& request : fixture.server.requests()) {
        if (request.path != "/v1/salesReports") continue;
        EXPECT_EQ(request.target.find("11111111") != std::string::npos,
                  request.authorization.find("FOREIGNKEY") != std::string::npos)
            << request.target << " " << request.authorization;
    }
    // A number that is given goes with the key of the place that holds it.
    EXPECT_THAT(
        ShowRevenue::perform(application, {.days = 2, .vendorNumber = access.vendorNumber}).refusedAccounts,
        IsEmpty());
}

} // namespace
} // namespace quorvel::test
