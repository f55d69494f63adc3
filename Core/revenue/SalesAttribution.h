// Which app a line of a sales report belongs to.
#pragma once

#include "Core/revenue/SalesDay.h"
#include "Core/revenue/WorkspaceRevenueSummary.h"

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quorvel {

/// Finds the app of a line: its own lines by the App Store ID, those of its in-app purchases by its SKU,
/// which are unique within a vendor's account only. One look-up per line, however many apps there are.
class SalesAttribution {
  public:
    SalesAttribution() = default; // of no apps
    /// An app's SKUs are those that were known and those that its own lines show.
    SalesAttribution(const std::vector<WorkspaceRevenueSummary::AppRef>& apps,
                     const std::vector<DayResult>& previous, const std::vector<DayResult>& current);

    /// The index of the line's app among the apps.
    [[nodiscard]] std::optional<std::size_t> find(const SalesLine& line) const;
    [[nodiscard]] const SalesRowAttribution& attribution(std::size_t app) const { return apps_[app]; }

  private:
    void learn(const std::vector<DayResult>& days);

    std::vector<SalesRowAttribution> apps_;
    std::unordered_map<std::string, std::size_t> byID_;
    std::unordered_map<std::string, std::size_t> bySKU_; // behind the vendor number and a tab
};

} // namespace quorvel
