// When the next check is due.
#pragma once

#include "Platform/task/Task.h"
#include "Platform/time/Date.h"

#include <chrono>
#include <functional>

namespace quorvel {

/// Waits out the time between two checks, by whichever of the two clocks went further: the steady one stands
/// still while the machine sleeps, and the other one may be set.
class CheckTimer {
  public:
    struct Clocks {
        Clock date = systemClock();
        std::function<double()> steadySeconds = systemSteadySeconds; // only goes forward
        std::function<void(double seconds)> sleep = sleepFor;
        static double systemSteadySeconds();
    };
    enum class Due { asPlanned, afterSleep };

    explicit CheckTimer(Clocks clocks) : clocks_(std::move(clocks)) {}

    /// Sleeps until `period` is over. `isDueAt` is told the date when that will be, and again when it has
    /// moved. After the machine slept past it, a few seconds more are left for the network to come back.
    /// Throws what the sleep throws.
    [[nodiscard]] Due wait(std::chrono::seconds period, const std::function<void(Date)>& isDueAt) const;

  private:
    Clocks clocks_;
};

} // namespace quorvel
