// Exchange rates and the conversion between currencies.
#pragma once

#include "Platform/json/JSON.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct FXRates {
    std::string base;                    // "EUR" for the rates of the European Central Bank
    std::string date;                    // of publication
    std::map<std::string, double> rates; // units of a currency for one unit of the base
    QUORVEL_RECORD(FXRates, base, date, rates)
    bool operator==(const FXRates&) const = default;

    /// `amount` of one currency in another; the amount itself for equal codes, nothing when a rate is missing
    /// or not greater than 0. The base has no rate of its own unless `rates` lists it.
    [[nodiscard]] std::optional<double> convert(double amount, const std::string& from,
                                                const std::string& to) const;
    [[nodiscard]] bool knows(const std::string& currency) const { return rates.contains(currency); }
    /// Sorted.
    [[nodiscard]] std::vector<std::string> currencies() const;
};

} // namespace quorvel
