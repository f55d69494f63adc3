// The chapter of the demo on what the apps earn.
#pragma once

#include "Programs/quorvel/commands/DemoStage.h"

#include <cstdint>

namespace quorvel {

/// What the chapter measured.
struct DemoRevenueRecord {
    std::int64_t daysShown = 0;         // of both windows
    std::int64_t reportsAsked = 0;      // by the first look at them
    std::int64_t reportsAskedAgain = 0; // by the second, of the days that Apple still changes
    bool wasCommentedOn = false;
    QUORVEL_RECORD(DemoRevenueRecord, daysShown, reportsAsked, reportsAskedAgain, wasCommentedOn)

    [[nodiscard]] bool held() const {
        return reportsAsked == daysShown && reportsAskedAgain == 3 && wasCommentedOn;
    }
};

/// Shows a week of proceeds and downloads twice, and has them commented on. The apps must be recorded.
[[nodiscard]] DemoRevenueRecord playRevenue(DemoStage& stage);

} // namespace quorvel
