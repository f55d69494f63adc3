#include "Quorvel/controllers/revenue/RevenueController.h"

#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
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
        day.isUnreachable = other.isUnreachable;
    }
}

void leaveOutOthers(std::vector<DayResult>& days, const SalesAttribution& attribution) {
    for (DayResult& day : days)
        std::erase_if(day.lines, [&](const SalesLine& line) { return !attribution.find(line); });
}

// Among several accounts a failure says whose it is, and why nothing newer came.
void nameAccount(std::vector<DayResult>& days, const std::vector<RefusedAccount>& refused,
                 const std::string& vendorNumber) {
    const auto refusal = std::ranges::find(refused, vendorNumber, &RefusedAccount::vendorNumber);
    for (DayResult& day : days)
        if (day.status == DayResult::Status::failed)
            day.reason = fmt::format("Vendor number {}: {}", vendorNumber,
                                     refusal == refused.end() ? day.reason : refusal->reason);
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
    auto [all, refused, hasReports] = days(dates, onProgress);
    revenue.hasReports = hasReports;
    revenue.refusedAccounts = std::move(refused);
    const auto middle = all.begin() + static_cast<std::ptrdiff_t>(revenue.window.previous.size());
    revenue.previous.assign(std::make_move_iterator(all.begin()), std::make_move_iterator(middle));
    revenue.current.assign(std::make_move_iterator(middle), std::make_move_iterator(all.end()));
    revenue.attribution = SalesAttribution(wish.apps, revenue.previous, revenue.current);
    if (wish.onlyTheseApps) {
        leaveOutOthers(revenue.previous, revenue.attribution);
        leaveOutOthers(revenue.current, revenue.attribution);
    }
    revenue.summary =
        WorkspaceRevenueSummary::of(revenue.previous, revenue.current, wish.apps, revenue.attribution);
    revenue.rates = parts_.rates->current();
    revenue.ratesProblem = parts_.rates->lastError();
    const FXRates rates = revenue.rates.value_or(FXRates());
    revenue.converted = revenue.summary.converted(wish.currency, rates);
    revenue.summary.convertTo(wish.currency, rates);
    if (wish.workspace && !wish.onlyTheseApps && wish.days >= homeDays) keepForHome(wish, revenue);
    return revenue;
}

RevenueController::Days RevenueController::days(const std::vector<std::string>& dates,
                                                const SalesReportService::Progress& onProgress) const {
    Days joined;
    for (const std::string& date : dates)
        joined.days.push_back({.date = date});
    std::exception_ptr firstRefusal;
    for (std::size_t at = 0; at < parts_.accounts.size(); ++at) {
        const Account& account = parts_.accounts[at];
        const auto fetch = [&](std::shared_ptr<const ASCClientProtocol> client) {
            SalesReportService service(
                {std::move(client), account.vendorNumber, parts_.reports, parts_.defaults});
            return service.fetch(dates, [&](std::size_t done, std::size_t total) {
                if (onProgress) onProgress(at * total + done, parts_.accounts.size() * total);
            });
        };
        std::vector<DayResult> results;
        try {
            results = fetch(account.connect());
        } catch (const CancellationError&) {
            throw;
        } catch (const std::exception& error) {
            if (parts_.accounts.size() == 1) throw;
            if (!firstRefusal) firstRefusal = std::current_exception();
            joined.refused.push_back({account.vendorNumber, error.what()});
            results = fetch(nullptr);
        }
        if (parts_.accounts.size() > 1) nameAccount(results, joined.refused, account.vendorNumber);
        joined.areAny = joined.areAny || std::ranges::any_of(results, [](const DayResult& day) {
                            return day.status != DayResult::Status::failed;
                        });
        for (std::size_t i = 0; i < dates.size(); ++i)
            join(joined.days[i], std::move(results[i]));
    }
    if (firstRefusal && joined.refused.size() == parts_.accounts.size()) std::rethrow_exception(firstRefusal);
    return joined;
}

void RevenueController::keepForHome(const Wish& wish, const Revenue& revenue) const {
    const auto before = revenue.current.size() >= 2 * homeDays ? lastOf(revenue.current, homeDays, homeDays)
                                                               : lastOf(revenue.previous, homeDays);
    auto summary = WorkspaceRevenueSummary::of(before, lastOf(revenue.current, homeDays), wish.apps,
                                               revenue.attribution);
    summary.convertTo(wish.currency, revenue.rates.value_or(FXRates()));
    const bool isPartial = std::ranges::any_of(
        before, [](const DayResult& day) { return day.status == DayResult::Status::failed; });
    // What was kept says more.
    if (summary.failure || isPartial || !revenue.refusedAccounts.empty()) return;
    const RevenueCache cache{wish.workspace, parts_.clock(), revenue.window.current.back(),
                             std::move(summary)};
    try {
        parts_.defaults->set(cacheKey, encodeJSON(cache));
    } catch (const FileError& error) {
        Logger("Revenue").warning(fmt::format("The summary cannot be kept: {}", error.what()));
    }
}

} // namespace quorvel
