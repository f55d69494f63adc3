// Proceeds and first-time downloads of a workspace's apps over a window of days, compared with the window
// before it.
#pragma once

#include "Core/revenue/FXRates.h"
#include "Core/revenue/SalesDay.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace quorvel {

class SalesAttribution;

/// Sums as Apple reports them, per currency, and those in one currency once they are converted. Kept between
/// runs.
struct WorkspaceRevenueSummary {
    using Amounts = std::map<std::string, double>; // currency → sum

    struct AppRef {
        std::string key; // of the maps below
        std::string appStoreId;
        std::string bundleId;
        std::set<std::string, std::less<>> knownAppSKUs;
    };
    /// A sum as it was reported.
    struct Reported {
        std::string currency;
        double amount = 0;
        QUORVEL_RECORD(Reported, currency, amount)
        bool operator==(const Reported&) const = default;
    };
    /// Everything in one currency.
    struct Converted {
        std::string currency;
        double proceeds = 0;
        double previousProceeds = 0;
        std::vector<double> daily;
        std::map<std::string, double> proceedsByApp;
        std::vector<Reported> reported;       // the current window's, greatest first
        std::vector<std::string> unconverted; // codes without a rate, of both windows; sorted
        std::optional<std::string> rateDate;  // nothing where no rates were needed
        QUORVEL_RECORD(Converted, currency, proceeds, previousProceeds, daily, proceedsByApp, reported,
                       unconverted, rateDate)
        bool operator==(const Converted&) const = default;
    };

    std::optional<std::string> currency; // of the sums in one currency
    double proceeds = 0;
    double previousProceeds = 0;
    std::vector<double> daily; // one per day of the window, oldest first
    std::int64_t downloads = 0;
    std::int64_t previousDownloads = 0;
    std::map<std::string, double> proceedsByApp;
    Amounts proceedsByCurrency;
    Amounts previousByCurrency;
    std::map<std::string, std::vector<double>> dailyByCurrency;
    std::map<std::string, Amounts> proceedsByAppByCurrency;
    std::map<std::string, std::int64_t> downloadsByApp;
    double unattributedProceeds = 0; // of rows that match no app, in `currency`
    std::map<std::string, std::vector<std::string>> appSKUs;
    Amounts otherCurrencies; // sums of the current window that could not be converted
    std::int64_t publishedDays = 0;
    bool latestDayPublished = false;
    std::int64_t windowDays = 0;
    std::optional<std::string> failure; // why days are missing
    QUORVEL_RECORD(WorkspaceRevenueSummary, currency, proceeds, previousProceeds, daily, downloads,
                   previousDownloads, proceedsByApp, proceedsByCurrency, previousByCurrency, dailyByCurrency,
                   proceedsByAppByCurrency, downloadsByApp, unattributedProceeds, appSKUs, otherCurrencies,
                   publishedDays, latestDayPublished, windowDays, failure)
    bool operator==(const WorkspaceRevenueSummary&) const = default;

    /// The key under which proceeds of no app stand in `proceedsByAppByCurrency`.
    static constexpr const char* noApp = "";

    /// Sums the days of both windows, oldest first; `attribution` is that of the same apps.
    [[nodiscard]] static WorkspaceRevenueSummary of(const std::vector<DayResult>& previous,
                                                    const std::vector<DayResult>& current,
                                                    const std::vector<AppRef>& apps,
                                                    const SalesAttribution& attribution);

    /// The sums in `target`; a currency without a rate is left out and named.
    [[nodiscard]] Converted converted(const std::string& target, const FXRates& rates) const;
    /// Fills in the sums in one currency.
    void convertTo(const std::string& target, const FXRates& rates);
};

} // namespace quorvel
