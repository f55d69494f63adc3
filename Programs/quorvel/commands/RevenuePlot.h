// Sums of money in text, and the plot of a window of days.
#pragma once

#include "Programs/quorvel/Output.h"
#include "Quorvel/actions/RevenueActions.h"

#include <string>
#include <vector>

namespace quorvel {

/// "1,234.50 EUR".
[[nodiscard]] std::string moneyText(double amount, std::string_view currency);
/// "12.00 EUR · 3.50 USD".
[[nodiscard]] std::string reportedText(const std::vector<WorkspaceRevenueSummary::Reported>& sums);
/// Prints a bar per day, or per several days where the terminal is narrow; days that are not published are
/// marked.
void printRevenuePlot(Output& output, const ShowRevenue::Result& result);

} // namespace quorvel
