// Daily summary reports of sales.
#pragma once

#include "Sandbox/rules/Operation.h"
#include "Sandbox/server/HTTPServer.h"

#include <filesystem>
#include <string>

namespace quorvel::sandbox {

/// Answers GET /v1/salesReports. Throws `Refusal`.
[[nodiscard]] Answer salesReport(const World& world, const Request& request);

/// The table of one day, tab-separated, in 28 columns.
[[nodiscard]] std::string salesTable(const World& world, int day);

/// Throws `std::runtime_error` that says what is wrong when the folder holds no reports named YYYY-MM-DD.tsv,
/// or one whose name is no day.
void requireSalesFolder(const std::filesystem::path& folder);

} // namespace quorvel::sandbox
