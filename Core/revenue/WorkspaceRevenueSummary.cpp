#include "Core/revenue/WorkspaceRevenueSummary.h"

#include "Core/revenue/SalesAttribution.h"

#include <algorithm>
#include <numeric>
#include <unordered_map>

namespace quorvel {

namespace {

using Summary = WorkspaceRevenueSummary;

/// Converts and notes what has no rate.
class Conversion {
  public:
    Conversion(std::string target, const FXRates& rates) : target_(std::move(target)), rates_(rates) {}

    double operator()(double amount, const std::string& currency) {
        if (currency != target_) usesRates_ = true;
        if (const auto result = rates_.convert(amount, currency, target_)) return *result;
        unconverted_.insert(currency);
        return 0;
    }
    double sum(const Summary::Amounts& amounts) {
        double total = 0;
        for (const auto& [currency, amount] : amounts)
            total += (*this)(amount, currency);
        return total;
    }
    [[nodiscard]] std::vector<std::string> unconverted() const {
        return {unconverted_.begin(), unconverted_.end()};
    }
    [[nodiscard]] bool usesRates() const { return usesRates_; }

  private:
    std::string target_;
    const FXRates& rates_;
    std::set<std::string> unconverted_;
    bool usesRates_ = false;
};

/// Sums the lines of the current window by number: a look-up per line instead of one in each of five maps.
class CurrentSums {
  public:
    CurrentSums(std::size_t apps, std::size_t days) : days_(days), downloads_(apps + 1) {}

    void add(const SalesLine& line, std::size_t day, std::optional<std::size_t> app) {
        const std::size_t column = app.value_or(downloads_.size() - 1); // the last is of no app
        downloads_[column] += line.downloads;
        if (line.currency.empty()) return;
        Currency& sums = currencies_.try_emplace(line.currency, days_, downloads_.size()).first->second;
        sums.daily[day] += line.proceeds;
        sums.byApp[column] += line.proceeds;
        sums.isOfApp[column] = true;
    }
    void writeTo(Summary& summary, const std::vector<Summary::AppRef>& apps) const {
        for (std::size_t column = 0; column < downloads_.size(); ++column) {
            summary.downloads += downloads_[column];
            if (column < apps.size() && downloads_[column] != 0)
                summary.downloadsByApp[apps[column].key] += downloads_[column];
        }
        for (const auto& [code, sums] : currencies_) {
            summary.dailyByCurrency[code] = sums.daily;
            summary.proceedsByCurrency[code] = std::accumulate(sums.byApp.begin(), sums.byApp.end(), 0.0);
            for (std::size_t column = 0; column < sums.byApp.size(); ++column)
                if (sums.isOfApp[column])
                    summary.proceedsByAppByCurrency[column < apps.size() ? apps[column].key : Summary::noApp]
                                                   [code] += sums.byApp[column];
        }
    }

  private:
    struct Currency {
        Currency(std::size_t days, std::size_t columns) : daily(days), byApp(columns), isOfApp(columns) {}
        std::vector<double> daily, byApp;
        std::vector<bool> isOfApp; // whether anything was paid, also where it adds up to nothing
    };
    std::size_t days_;
    std::vector<std::int64_t> downloads_;
    std::unordered_map<std::string, Currency> currencies_;
};

} // namespace

WorkspaceRevenueSummary WorkspaceRevenueSummary::of(const std::vector<DayResult>& previous,
                                                    const std::vector<DayResult>& current,
                                                    const std::vector<AppRef>& apps,
                                                    const SalesAttribution& attribution) {
    WorkspaceRevenueSummary sums;
    sums.windowDays = static_cast<std::int64_t>(current.size());
    for (const auto& day : previous)
        for (const auto& line : day.lines) {
            sums.previousDownloads += line.downloads;
            if (!line.currency.empty()) sums.previousByCurrency[line.currency] += line.proceeds;
        }
    CurrentSums window(apps.size(), current.size());
    for (std::size_t i = 0; i < current.size(); ++i) {
        const DayResult& day = current[i];
        if (day.status == DayResult::Status::failed) sums.failure = day.reason;
        if (day.status == DayResult::Status::ok) ++sums.publishedDays;
        for (const auto& line : day.lines)
            window.add(line, i, attribution.find(line));
    }
    window.writeTo(sums, apps);
    sums.latestDayPublished = !current.empty() && current.back().status == DayResult::Status::ok;
    for (std::size_t i = 0; i < apps.size(); ++i)
        if (const auto& skus = attribution.attribution(i).appSKUs; !skus.empty())
            sums.appSKUs[apps[i].key] = {skus.begin(), skus.end()};
    return sums;
}

WorkspaceRevenueSummary::Converted WorkspaceRevenueSummary::converted(const std::string& target,
                                                                      const FXRates& rates) const {
    Conversion convert(target, rates);
    Converted result{.currency = target};
    result.proceeds = convert.sum(proceedsByCurrency);
    result.previousProceeds = convert.sum(previousByCurrency);
    result.daily.assign(static_cast<std::size_t>(windowDays), 0);
    for (const auto& [code, amounts] : dailyByCurrency)
        for (std::size_t day = 0; day < amounts.size() && day < result.daily.size(); ++day)
            result.daily[day] += convert(amounts[day], code);
    for (const auto& [app, amounts] : proceedsByAppByCurrency)
        if (app != noApp) result.proceedsByApp[app] = convert.sum(amounts);
    for (const auto& [code, amount] : proceedsByCurrency)
        result.reported.push_back({code, amount});
    const auto worth = [&](const Reported& sum) { return rates.convert(sum.amount, sum.currency, target); };
    std::ranges::stable_sort(result.reported, [&](const Reported& left, const Reported& right) {
        return worth(left).value_or(0) > worth(right).value_or(0);
    });
    result.unconverted = convert.unconverted();
    if (convert.usesRates() && !rates.date.empty()) result.rateDate = rates.date;
    return result;
}

void WorkspaceRevenueSummary::convertTo(const std::string& target, const FXRates& rates) {
    Converted result = converted(target, rates);
    currency = target;
    proceeds = result.proceeds;
    previousProceeds = result.previousProceeds;
    daily = std::move(result.daily);
    proceedsByApp = std::move(result.proceedsByApp);
    otherCurrencies.clear();
    for (const auto& sum : result.reported)
        if (std::ranges::binary_search(result.unconverted, sum.currency))
            otherCurrencies[sum.currency] = sum.amount;
    const auto foreign = proceedsByAppByCurrency.find(noApp);
    unattributedProceeds = 0;
    if (foreign != proceedsByAppByCurrency.end())
        unattributedProceeds = Conversion(target, rates).sum(foreign->second);
}

} // namespace quorvel
