// Daily summary reports of sales.
#pragma once

#include "Sandbox/rules/Operation.h"
#include "Sandbox/server/HTTPServer.h"

namespace quorvel::sandbox {

/// Answers GET /v1/salesReports. Throws `Refusal`.
[[nodiscard]] Answer salesReport(const World& world, const Request& request);

/// The table of one day, tab-separated, in 28 columns.
[[nodiscard]] std::string salesTable(const World& world, int day);

} // namespace quorvel::sandbox
