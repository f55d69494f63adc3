// Proceeds and first-time downloads of the recorded apps.
#pragma once

#include "Core/revenue/WorkspaceRevenueSummary.h"
#include "Quorvel/actions/Target.h"
#include "Quorvel/controllers/revenue/RevenueController.h"

namespace quorvel {

struct ShowRevenue {
    static constexpr ActionInfo info{"show_revenue", "Show proceeds and first-time downloads of the apps"};
    static constexpr std::int64_t mostDays = 180;

    struct Request {
        std::int64_t days = 30;
        std::optional<std::string> currency;
        std::vector<std::string> apps;
        std::optional<std::string> workspace;
        std::optional<std::string> vendorNumber;
        QUORVEL_RECORD(Request, days, currency, apps, workspace, vendorNumber)
        static constexpr JSONMember members[] = {
            {"days", "How many whole days, up to yesterday in Los Angeles."},
            {"currency", "The currency of the sums, such as EUR; kept as the user's choice."},
            {"apps", "Only these apps; all of the workspace when empty."},
            workspaceMember,
            {"vendorNumber", "The vendor number instead of the stored one."}};
    };
    struct Day {
        std::string date;
        DayResult::Status status = DayResult::Status::ok;
        double proceeds = 0;
        std::int64_t downloads = 0;
        std::optional<std::string> reason; // of a failure
        QUORVEL_RECORD(Day, date, status, proceeds, downloads, reason)
    };
    struct AppShare {
        std::string app; // its short name
        std::string displayName;
        double proceeds = 0;
        std::int64_t downloads = 0;
        std::vector<WorkspaceRevenueSummary::Reported> reported; // as Apple reports it
        QUORVEL_RECORD(AppShare, app, displayName, proceeds, downloads, reported)
    };
    /// Something that was sold and belongs to no app of the workspace.
    struct UnknownProduct {
        std::string appleIdentifier;
        std::string sku;
        double proceeds = 0;
        std::int64_t downloads = 0;
        QUORVEL_RECORD(UnknownProduct, appleIdentifier, sku, proceeds, downloads)
    };
    struct Result {
        std::optional<ManagedWorkspace> workspace;
        std::string firstDay;
        std::string lastDay;
        std::string currency;
        double proceeds = 0;
        double previousProceeds = 0;
        std::int64_t downloads = 0;
        std::int64_t previousDownloads = 0;
        std::vector<Day> days;
        std::vector<AppShare> apps; // the greatest proceeds first
        std::vector<WorkspaceRevenueSummary::Reported> reported;
        std::vector<std::string> unconverted;
        double unattributedProceeds = 0;
        std::vector<UnknownProduct> unknownProducts;
        std::optional<std::string> rateDate;
        std::optional<std::string> ratesProblem;
        std::int64_t publishedDays = 0;
        bool latestDayPublished = false;
        std::int64_t failedDays = 0; // of both windows
        std::optional<std::string> failure;
        std::int64_t unreadableNumbers = 0;
        std::vector<RefusedAccount> refusedAccounts; // what is kept of their reports is in the sums
        std::vector<std::string> appsWithoutVendorNumber;
        QUORVEL_RECORD(Result, workspace, firstDay, lastDay, currency, proceeds, previousProceeds, downloads,
                       previousDownloads, days, apps, reported, unconverted, unattributedProceeds,
                       unknownProducts, rateDate, ratesProblem, publishedDays, latestDayPublished, failedDays,
                       failure, unreadableNumbers, refusedAccounts, appsWithoutVendorNumber)
    };
    /// Throws `ApplicationError` when no vendor number is known.
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// One row per day, app and currency, as Apple reports it.
struct ExportRevenue {
    static constexpr ActionInfo info{"export_revenue",
                                     "List proceeds and downloads per day, app and currency"};
    using Request = ShowRevenue::Request;
    struct Row {
        std::string date;
        std::string app;         // its short name; empty for what belongs to no recorded app
        std::string displayName; // empty likewise
        std::string currency;    // empty where nothing was paid
        double proceeds = 0;
        std::int64_t units = 0;
        std::int64_t downloads = 0;
        QUORVEL_RECORD(Row, date, app, displayName, currency, proceeds, units, downloads)
        bool operator==(const Row&) const = default;
    };
    struct Result {
        std::vector<Row> rows;
        std::vector<std::string> unpublishedDays;
        std::vector<std::string> failedDays;
        std::vector<RefusedAccount> refusedAccounts;
        std::vector<std::string> appsWithoutVendorNumber;
        QUORVEL_RECORD(Result, rows, unpublishedDays, failedDays, refusedAccounts, appsWithoutVendorNumber)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
