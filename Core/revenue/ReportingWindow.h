// The days of sales reports: counted where Apple counts them.
#pragma once

#include "Platform/time/Date.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace quorvel {

/// "Couldn't compute the reporting window."
class ReportingWindowError : public std::runtime_error {
  public:
    ReportingWindowError() : std::runtime_error("Couldn't compute the reporting window.") {}
};

/// The last whole days and as many before them, oldest first, each as "2026-03-01".
struct ReportingWindow {
    std::vector<std::string> previous;
    std::vector<std::string> current;

    /// Days end at midnight in Los Angeles. Throws `ReportingWindowError` for less than one day, more than a
    /// year, or when the time zone is not known.
    [[nodiscard]] static ReportingWindow lastDays(int count, Date now);
};

} // namespace quorvel
