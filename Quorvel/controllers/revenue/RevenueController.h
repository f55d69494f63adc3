// Proceeds and downloads of a workspace's apps, from the reports of all accounts that its keys reach.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/revenue/FXRateStore.h"
#include "Core/revenue/ReportingWindow.h"
#include "Core/revenue/SalesAttribution.h"
#include "Core/revenue/SalesReportService.h"
#include "Core/revenue/WorkspaceRevenueSummary.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// An account whose newer reports are not to be had; what is kept of it serves.
struct RefusedAccount {
    std::string vendorNumber;
    std::string reason;
    QUORVEL_RECORD(RefusedAccount, vendorNumber, reason)
    bool operator==(const RefusedAccount&) const = default;
};

/// What was sold in a window of days.
struct Revenue {
    ReportingWindow window;
    SalesAttribution attribution;    // to the apps of the wish
    std::vector<DayResult> previous; // the days before the window, as many
    std::vector<DayResult> current;
    WorkspaceRevenueSummary summary;
    WorkspaceRevenueSummary::Converted converted;
    std::optional<FXRates> rates;
    std::optional<std::string> ratesProblem; // why no newer rates are to be had
    std::vector<RefusedAccount> refusedAccounts;
    bool hasReports = false; // of any day and account; also of days without sales
};

/// The last summary, kept in the user's settings for the home.
struct RevenueCache {
    std::optional<std::string> workspace; // its id
    Date fetchedAt;
    std::string lastDay; // of the window
    WorkspaceRevenueSummary summary;
    QUORVEL_RECORD(RevenueCache, workspace, fetchedAt, lastDay, summary)
};

/// Stateless but for what it keeps on disk; one call at a time.
class RevenueController {
  public:
    static constexpr int homeDays = 7;
    static constexpr std::string_view displayCurrencyKey = "Revenue.displayCurrency";

    /// A vendor number with a key that reaches its reports.
    struct Account {
        std::string vendorNumber;
        std::function<std::shared_ptr<const ASCClientProtocol>()> connect; // throws when its key is missing
    };
    struct Parts {
        std::vector<Account> accounts; // each vendor number once
        std::filesystem::path reports; // where reports are kept
        std::shared_ptr<UserDefaults> defaults;
        FXRateStore* rates = nullptr; // outlives the controller
        Clock clock = systemClock();
    };
    struct Wish {
        int days = 30;
        std::string currency;
        std::vector<WorkspaceRevenueSummary::AppRef> apps;
        bool onlyTheseApps = false;           // leaves out what no app of these sold
        std::optional<std::string> workspace; // whose summary is kept for the home; nothing: none is
    };

    explicit RevenueController(Parts parts) : parts_(std::move(parts)) {}

    /// An account that is refused does not keep the others from being read. Throws `ReportingWindowError`,
    /// what `SalesReportService::fetch` throws where every account is refused, `CancellationError`.
    [[nodiscard]] Revenue fetch(const Wish& wish, const SalesReportService::Progress& onProgress = {});

    /// The currency that sums are shown in, as the user chose it last.
    [[nodiscard]] static std::string displayCurrency(const UserDefaults& defaults);
    [[nodiscard]] static std::optional<RevenueCache> cached(const UserDefaults& defaults);

  private:
    struct Days {
        std::vector<DayResult> days; // of all accounts together
        std::vector<RefusedAccount> refused;
        bool areAny = false; // that did not fail
    };
    [[nodiscard]] Days days(const std::vector<std::string>& dates,
                            const SalesReportService::Progress& onProgress) const;
    void keepForHome(const Wish& wish, const Revenue& revenue) const;

    const Parts parts_;
};

} // namespace quorvel
