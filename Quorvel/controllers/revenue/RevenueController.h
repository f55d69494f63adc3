// Proceeds and downloads of a workspace's apps, from the reports of all accounts that its keys reach.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/revenue/FXRateStore.h"
#include "Core/revenue/ReportingWindow.h"
#include "Core/revenue/SalesReportService.h"
#include "Core/revenue/WorkspaceRevenueSummary.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// What was sold in a window of days.
struct Revenue {
    ReportingWindow window;
    std::vector<DayResult> previous; // the days before the window, as many
    std::vector<DayResult> current;
    WorkspaceRevenueSummary summary;
    WorkspaceRevenueSummary::Converted converted;
    std::optional<FXRates> rates;
    std::optional<std::string> ratesProblem; // why no newer rates are to be had
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
        std::shared_ptr<const ASCClientProtocol> client;
        std::string vendorNumber;
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

    /// Throws `ReportingWindowError`, and what `SalesReportService::fetch` throws.
    [[nodiscard]] Revenue fetch(const Wish& wish, const SalesReportService::Progress& onProgress = {});

    /// The currency that sums are shown in, as the user chose it last.
    [[nodiscard]] static std::string displayCurrency(const UserDefaults& defaults);
    [[nodiscard]] static std::optional<RevenueCache> cached(const UserDefaults& defaults);

  private:
    [[nodiscard]] std::vector<DayResult> days(const std::vector<std::string>& dates,
                                              const SalesReportService::Progress& onProgress) const;
    void keepForHome(const Wish& wish, const Revenue& revenue) const;

    const Parts parts_;
};

} // namespace quorvel
