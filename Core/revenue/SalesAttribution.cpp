#include "Core/revenue/SalesAttribution.h"

namespace quorvel {

namespace {

// A cell holds no tab. SKUs from an earlier run name no vendor.
std::string skuKey(std::string_view vendorNumber, std::string_view sku) {
    std::string key(vendorNumber);
    key += '\t';
    key += sku;
    return key;
}

} // namespace

SalesAttribution::SalesAttribution(const std::vector<WorkspaceRevenueSummary::AppRef>& apps,
                                   const std::vector<DayResult>& previous,
                                   const std::vector<DayResult>& current) {
    for (const auto& app : apps) {
        if (!app.appStoreId.empty()) byID_.emplace(app.appStoreId, apps_.size());
        for (const auto& sku : app.knownAppSKUs)
            bySKU_.emplace(skuKey("", sku), apps_.size());
        apps_.push_back({app.appStoreId, app.bundleId, app.knownAppSKUs});
    }
    learn(previous);
    learn(current);
}

void SalesAttribution::learn(const std::vector<DayResult>& days) {
    for (const auto& day : days)
        for (const auto& line : day.lines)
            if (const auto own = byID_.find(line.appleIdentifier); own != byID_.end() && !line.sku.empty()) {
                apps_[own->second].appSKUs.insert(line.sku);
                bySKU_.emplace(skuKey(line.vendorNumber, line.sku), own->second);
            }
}

std::optional<std::size_t> SalesAttribution::find(const SalesLine& line) const {
    if (const auto own = byID_.find(line.appleIdentifier); own != byID_.end()) return own->second;
    if (line.parentIdentifier.empty()) return std::nullopt;
    for (const std::string_view vendor : {std::string_view(line.vendorNumber), std::string_view()})
        if (const auto parent = bySKU_.find(skuKey(vendor, line.parentIdentifier)); parent != bySKU_.end())
            return parent->second;
    return std::nullopt;
}

} // namespace quorvel
