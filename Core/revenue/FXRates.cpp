#include "Core/revenue/FXRates.h"

namespace quorvel {

std::optional<double> FXRates::convert(double amount, const std::string& from, const std::string& to) const {
    if (from == to) return amount;
    const auto source = rates.find(from);
    const auto target = rates.find(to);
    if (source == rates.end() || target == rates.end() || !(source->second > 0)) return std::nullopt;
    return amount / source->second * target->second;
}

std::vector<std::string> FXRates::currencies() const {
    std::vector<std::string> codes;
    for (const auto& [code, rate] : rates)
        codes.push_back(code);
    return codes;
}

} // namespace quorvel
