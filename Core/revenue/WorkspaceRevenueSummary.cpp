#include "Core/revenue/WorkspaceRevenueSummary.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

namespace quorvel {

namespace {

using Summary = WorkspaceRevenueSummary;

/// Finds the app of a line: a look-up per line, however many apps there are.
class AppFinder {
  public:
    AppFinder(const std::vector<Summary::AppRef>& apps, const std::vector<DayResult>& previous,
              const std::vector<DayResult>& current) {
        for (const auto& app : apps)
            attributions_.push_back({app.appStoreId, app.bundleId, app.knownAppSKUs});
        for (std::size_t i = 0; i < attributions_.size(); ++i)
            if (!attributions_[i].appStoreId.empty()) byID_.emplace(attributions_[i].appStoreId, i);
        learn(previous);
        learn(current);
        for (std::size_t i = 0; i < attributions_.size(); ++i)
            for (const auto& sku : attributions_[i].appSKUs)
                bySKU_.emplace(sku, i);
    }

    [[nodiscard]] std::optional<std::size_t> find(const SalesLine& line) const {
        if (const auto own = byID_.find(line.appleIdentifier); own != byID_.end()) return own->second;
        const auto parent = line.parentIdentifier.empty() ? bySKU_.end() : bySKU_.find(line.parentIdentifier);
        if (parent != bySKU_.end()) return parent->second;
        return std::nullopt;
    }
    [[nodiscard]] const SalesRowAttribution& attribution(std::size_t app) const { return attributions_[app]; }

  private:
    void learn(const std::vector<DayResult>& days) {
        for (const auto& day : days)
            for (const auto& line : day.lines)
                if (const auto own = byID_.find(line.appleIdentifier);
                    own != byID_.end() && !line.sku.empty())
                    attributions_[own->second].appSKUs.insert(line.sku);
    }

    std::vector<SalesRowAttribution> attributions_;
    std::unordered_map<std::string, std::size_t> byID_, bySKU_;
};

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

} // namespace

WorkspaceRevenueSummary WorkspaceRevenueSummary::of(const std::vector<DayResult>& previous,
                                                    const std::vector<DayResult>& current,
                                                    const std::vector<AppRef>& apps) {
    const AppFinder finder(apps, previous, current);
    WorkspaceRevenueSummary sums;
    sums.windowDays = static_cast<std::int64_t>(current.size());
    for (const auto& day : previous)
        for (const auto& line : day.lines) {
            sums.previousDownloads += line.downloads;
            if (!line.currency.empty()) sums.previousByCurrency[line.currency] += line.proceeds;
        }
    for (std::size_t i = 0; i < current.size(); ++i) {
        const DayResult& day = current[i];
        if (day.status == DayResult::Status::failed) sums.failure = day.reason;
        if (day.status == DayResult::Status::ok) ++sums.publishedDays;
        for (const auto& line : day.lines) {
            const auto app = finder.find(line);
            const std::string key = app ? apps[*app].key : noApp;
            sums.downloads += line.downloads;
            if (app && line.downloads != 0) sums.downloadsByApp[key] += line.downloads;
            if (line.currency.empty()) continue;
            sums.proceedsByCurrency[line.currency] += line.proceeds;
            sums.proceedsByAppByCurrency[key][line.currency] += line.proceeds;
            auto& perDay = sums.dailyByCurrency[line.currency];
            perDay.resize(current.size());
            perDay[i] += line.proceeds;
        }
    }
    sums.latestDayPublished = !current.empty() && current.back().status == DayResult::Status::ok;
    for (std::size_t i = 0; i < apps.size(); ++i)
        if (const auto& skus = finder.attribution(i).appSKUs; !skus.empty())
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
