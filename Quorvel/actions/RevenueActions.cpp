#include "Quorvel/actions/RevenueActions.h"

#include "Quorvel/actions/SalesAccounts.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/controllers/revenue/RevenueController.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <tuple>

namespace quorvel {

namespace {

/// The apps that a request is about, and what was sold of them.
struct FetchedRevenue {
    std::optional<ManagedWorkspace> workspace;
    std::vector<ManagedApp> apps;
    Revenue revenue;
    std::vector<std::string> appsWithoutVendorNumber;

    /// The app that a line belongs to; nullptr for none of these.
    [[nodiscard]] const ManagedApp* appOf(const SalesLine& line) const {
        const auto index = revenue.attribution.find(line);
        return index ? &apps[*index] : nullptr;
    }
};

// In-app purchases of an app that itself was not sold in the window are told by what an earlier one showed.
std::set<std::string, std::less<>> knownSKUs(const std::optional<RevenueCache>& cache,
                                             const ManagedApp& app) {
    if (!cache) return {};
    const auto known = cache->summary.appSKUs.find(app.slug);
    if (known == cache->summary.appSKUs.end()) return {};
    return {known->second.begin(), known->second.end()};
}

std::string currencyOf(Application& application, const ShowRevenue::Request& request) {
    if (!request.currency) return RevenueController::displayCurrency(*application.userDefaults());
    std::string code = *request.currency;
    std::ranges::transform(code, code.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    if (code.size() != 3 || !std::ranges::all_of(code, [](char c) { return c >= 'A' && c <= 'Z'; }))
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("{} is no currency", quotedWord(*request.currency)),
                               "Currencies are named by three letters, such as EUR.");
    // Nothing could be shown in it, now and at home.
    if (const auto rates = application.exchangeRates().current(); rates && !rates->knows(code))
        throw ApplicationError(FailureKind::badRequest, fmt::format("there is no exchange rate of {}", code),
                               fmt::format("There are rates of {}.", fmt::join(rates->currencies(), ", ")));
    application.userDefaults()->set(RevenueController::displayCurrencyKey, code);
    return code;
}

FetchedRevenue fetchRevenue(Application& application, const ShowRevenue::Request& request,
                            const ActionProgress& progress) {
    requireNumber("days", request.days, 1, ShowRevenue::mostDays);
    const AppDirectory directory(application, targetOf(request).choice);
    FetchedRevenue fetched{.workspace = directory.workspace()};
    for (const std::string& name : request.apps)
        fetched.apps.push_back(directory.require(name));
    if (request.apps.empty()) fetched.apps = directory.appsInView();
    RevenueController::Wish wish{.days = static_cast<int>(request.days),
                                 .currency = currencyOf(application, request),
                                 .onlyTheseApps = !request.apps.empty(),
                                 .workspace = fetched.workspace ? fetched.workspace->id : ""};
    const auto cache = RevenueController::cached(*application.userDefaults());
    for (const ManagedApp& app : fetched.apps)
        wish.apps.push_back({app.slug, app.appStoreId, app.bundleId, knownSKUs(cache, app)});
    auto [accounts, appsWithout] =
        salesAccountsOf(application, fetched.apps, directory.keyOwner(), request.vendorNumber);
    fetched.appsWithoutVendorNumber = std::move(appsWithout);
    RevenueController controller(
        {.accounts = std::move(accounts),
         .reports = application.home().applicationSupport() / "Brevant" / "Sales Reports",
         .defaults = application.userDefaults(),
         .rates = &application.exchangeRates(),
         .clock = application.clock()});
    fetched.revenue = controller.fetch(wish, [&](std::size_t done, std::size_t total) {
        progress.step({"Reading sales reports", done, total});
    });
    if (!fetched.revenue.hasReports)
        throw ApplicationError(fetched.revenue.current.back().isUnreachable ? FailureKind::serviceTrouble
                                                                            : FailureKind::failed,
                               fetched.revenue.current.back().reason);
    return fetched;
}

std::vector<ShowRevenue::Day> daysOf(const Revenue& revenue) {
    std::vector<ShowRevenue::Day> days;
    for (std::size_t i = 0; i < revenue.current.size(); ++i) {
        const DayResult& source = revenue.current[i];
        ShowRevenue::Day day{
            .date = source.date, .status = source.status, .proceeds = revenue.converted.daily[i]};
        for (const SalesLine& line : source.lines)
            day.downloads += line.downloads;
        if (source.status == DayResult::Status::failed) day.reason = source.reason;
        days.push_back(std::move(day));
    }
    return days;
}

std::vector<ShowRevenue::AppShare> sharesOf(const FetchedRevenue& fetched) {
    const auto& revenue = fetched.revenue;
    std::vector<ShowRevenue::AppShare> shares;
    for (const ManagedApp& app : fetched.apps) {
        ShowRevenue::AppShare share{.app = app.slug, .displayName = app.displayName};
        if (const auto sum = revenue.converted.proceedsByApp.find(app.slug);
            sum != revenue.converted.proceedsByApp.end())
            share.proceeds = sum->second;
        if (const auto sum = revenue.summary.downloadsByApp.find(app.slug);
            sum != revenue.summary.downloadsByApp.end())
            share.downloads = sum->second;
        if (const auto sums = revenue.summary.proceedsByAppByCurrency.find(app.slug);
            sums != revenue.summary.proceedsByAppByCurrency.end())
            for (const auto& [currency, amount] : sums->second)
                share.reported.push_back({currency, amount});
        shares.push_back(std::move(share));
    }
    std::ranges::stable_sort(shares, std::greater(), &ShowRevenue::AppShare::proceeds);
    return shares;
}

std::vector<ShowRevenue::UnknownProduct> unknownProductsOf(const FetchedRevenue& fetched) {
    std::map<std::string, ShowRevenue::UnknownProduct> products;
    const FXRates rates = fetched.revenue.rates.value_or(FXRates());
    for (const DayResult& day : fetched.revenue.current)
        for (const SalesLine& line : day.lines) {
            if (fetched.appOf(line)) continue;
            auto& product = products[line.appleIdentifier];
            product.appleIdentifier = line.appleIdentifier;
            product.sku = line.sku;
            product.downloads += line.downloads;
            if (!line.currency.empty())
                product.proceeds +=
                    rates.convert(line.proceeds, line.currency, fetched.revenue.converted.currency)
                        .value_or(0);
        }
    std::vector<ShowRevenue::UnknownProduct> list;
    for (auto& [id, product] : products)
        list.push_back(std::move(product));
    std::ranges::stable_sort(list, std::greater(), &ShowRevenue::UnknownProduct::proceeds);
    return list;
}

} // namespace

ShowRevenue::Result ShowRevenue::perform(Application& application, const Request& request,
                                         const ActionProgress& progress) {
    const FetchedRevenue fetched = fetchRevenue(application, request, progress);
    const Revenue& revenue = fetched.revenue;
    Result result{.workspace = fetched.workspace,
                  .firstDay = revenue.window.current.front(),
                  .lastDay = revenue.window.current.back(),
                  .currency = revenue.converted.currency,
                  .proceeds = revenue.converted.proceeds,
                  .previousProceeds = revenue.converted.previousProceeds,
                  .downloads = revenue.summary.downloads,
                  .previousDownloads = revenue.summary.previousDownloads,
                  .days = daysOf(revenue),
                  .apps = sharesOf(fetched),
                  .reported = revenue.converted.reported,
                  .unconverted = revenue.converted.unconverted,
                  .unattributedProceeds = revenue.summary.unattributedProceeds,
                  .unknownProducts = unknownProductsOf(fetched),
                  .rateDate = revenue.converted.rateDate,
                  .publishedDays = revenue.summary.publishedDays,
                  .latestDayPublished = revenue.summary.latestDayPublished,
                  .failure = revenue.summary.failure,
                  .refusedAccounts = revenue.refusedAccounts,
                  .appsWithoutVendorNumber = fetched.appsWithoutVendorNumber};
    // Nobody misses rates that nothing would have been converted with.
    if (result.rateDate || !result.unconverted.empty()) result.ratesProblem = revenue.ratesProblem;
    for (const auto* days : {&revenue.previous, &revenue.current})
        for (const DayResult& day : *days) {
            result.unreadableNumbers += day.unreadableNumbers;
            if (day.status != DayResult::Status::failed) continue;
            ++result.failedDays;
            if (!result.failure) result.failure = day.reason;
        }
    return result;
}

ExportRevenue::Result ExportRevenue::perform(Application& application, const Request& request,
                                             const ActionProgress& progress) {
    const FetchedRevenue fetched = fetchRevenue(application, request, progress);
    Result result{.refusedAccounts = fetched.revenue.refusedAccounts,
                  .appsWithoutVendorNumber = fetched.appsWithoutVendorNumber};
    for (const DayResult& day : fetched.revenue.current) {
        if (day.status == DayResult::Status::notYetPublished) result.unpublishedDays.push_back(day.date);
        if (day.status == DayResult::Status::failed) result.failedDays.push_back(day.date);
        std::map<std::tuple<std::string, std::string>, Row> rows;
        for (const SalesLine& line : day.lines) {
            const ManagedApp* app = fetched.appOf(line);
            Row& row = rows[{app ? app->slug : "", line.currency}];
            row.date = day.date;
            row.app = app ? app->slug : "";
            row.displayName = app ? app->displayName : "";
            row.currency = line.currency;
            row.proceeds += line.proceeds;
            row.units += line.units;
            row.downloads += line.downloads;
        }
        for (auto& [key, row] : rows)
            result.rows.push_back(std::move(row));
    }
    return result;
}

} // namespace quorvel
