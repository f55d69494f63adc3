#include "Quorvel/controllers/revenue/RevenueController.h"

#include "Platform/files/Files.h"
#include "Platform/log/Log.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace quorvel {

namespace {

constexpr std::string_view cacheKey = "WorkspaceRevenue.cache.v1";

// A day is as good as the worst of its accounts; what arrived counts.
void join(DayResult& day, DayResult&& other) {
    std::ranges::move(other.lines, std::back_inserter(day.lines));
    day.unreadableNumbers += other.unreadableNumbers;
    if (static_cast<int>(other.status) > static_cast<int>(day.status)) {
        day.status = other.status;
        day.reason = std::move(other.reason);
    }
}

std::vector<DayResult> linesOf(std::vector<DayResult> days,
                               const std::vector<SalesRowAttribution>& attributions) {
    for (DayResult& day : days)
        std::erase_if(day.lines, [&](const SalesLine& line) {
            return std::ranges::none_of(attributions, [&](const auto& app) { return app.owns(line); });
        });
    return days;
}

std::vector<DayResult> lastOf(const std::vector<DayResult>& days, std::size_t count, std::size_t before = 0) {
    const auto end = days.end() - static_cast<std::ptrdiff_t>(before);
    return {end - static_cast<std::ptrdiff_t>(count), end};
}

} // namespace

std::string RevenueController::displayCurrency(const UserDefaults& defaults) {
    return defaults.string(displayCurrencyKey).value_or("USD");
}

std::optional<RevenueCache> RevenueController::cached(const UserDefaults& defaults) {
    const auto text = defaults.string(cacheKey);
    if (!text) return std::nullopt;
    try {
        return decodeJSON<RevenueCache>(*text);
    } catch (const JSONError&) { // of another version of this program
        return std::nullopt;
    }
}

Revenue RevenueController::fetch(const Wish& wish, const SalesReportService::Progress& onProgress) {
    Revenue revenue{.window = ReportingWindow::lastDays(wish.days, parts_.clock())};
    std::vector<std::string> dates = revenue.window.previous;
    std::ranges::copy(revenue.window.current, std::back_inserter(dates));
    auto all = days(dates, onProgress);
    const auto middle = all.begin() + static_cast<std::ptrdiff_t>(revenue.window.previous.size());
    revenue.previous.assign(std::make_move_iterator(all.begin()), std::make_move_iterator(middle));
    revenue.current.assign(std::make_move_iterator(middle), std::make_move_iterator(all.end()));
    revenue.summary = WorkspaceRevenueSummary::of(revenue.previous, revenue.current, wish.apps);
    if (wish.onlyTheseApps) {
        std::vector<SalesRowAttribution> attributions;
        for (const auto& app : wish.apps) {
            attributions.push_back({app.appStoreId, app.bundleId, app.knownAppSKUs});
            for (const auto& sku : revenue.summary.appSKUs[app.key])
                attributions.back().appSKUs.insert(sku);
        }
        revenue.previous = linesOf(std::move(revenue.previous), attributions);
        revenue.current = linesOf(std::move(revenue.current), attributions);
        revenue.summary = WorkspaceRevenueSummary::of(revenue.previous, revenue.current, wish.apps);
    }
    revenue.rates = parts_.rates->current();
    revenue.ratesProblem = parts_.rates->lastError();
    const FXRates rates = revenue.rates.value_or(FXRates());
    revenue.converted = revenue.summary.converted(wish.currency, rates);
    revenue.summary.convertTo(wish.currency, rates);
    if (wish.workspace && !wish.onlyTheseApps && wish.days >= homeDays) keepForHome(wish, revenue);
    return revenue;
}

std::vector<DayResult> RevenueController::days(const std::vector<std::string>& dates,
                                               const SalesReportService::Progress& onProgress) const {
    std::vector<DayResult> joined;
    for (const Account& account : parts_.accounts) {
        SalesReportService service({account.client, account.vendorNumber, parts_.reports, parts_.defaults});
        auto results = service.fetch(dates, onProgress);
        if (joined.empty()) {
            joined = std::move(results);
            continue;
        }
        for (std::size_t i = 0; i < joined.size(); ++i)
            join(joined[i], std::move(results[i]));
    }
    return joined;
}

void RevenueController::keepForHome(const Wish& wish, const Revenue& revenue) const {
    const auto before = revenue.current.size() >= 2 * homeDays ? lastOf(revenue.current, homeDays, homeDays)
                                                               : lastOf(revenue.previous, homeDays);
    auto summary = WorkspaceRevenueSummary::of(before, lastOf(revenue.current, homeDays), wish.apps);
    summary.convertTo(wish.currency, revenue.rates.value_or(FXRates()));
    if (summary.failure) return; // what was kept says more
    const RevenueCache cache{wish.workspace, parts_.clock(), revenue.window.current.back(),
                             std::move(summary)};
    try {
        parts_.defaults->set(cacheKey, encodeJSON(cache));
    } catch (const FileError& error) {
        Logger("Revenue").warning(fmt::format("The summary cannot be kept: {}", error.what()));
    }
}

} // namespace quorvel
