#include "Quorvel/monitor/CheckTimer.h"

#include <algorithm>
#include <cmath>

namespace quorvel {

namespace {

constexpr double longestSlice = 20;     // seconds; a sleep of the machine is noticed at its end
constexpr double jump = 30;             // seconds between the clocks that are no chance
constexpr double networkComesBack = 10; // seconds after the machine woke

Date later(Date date, double seconds) {
    return date + std::chrono::duration_cast<Date::duration>(std::chrono::duration<double>(seconds));
}

} // namespace

double CheckTimer::Clocks::systemSteadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

CheckTimer::Due CheckTimer::wait(std::chrono::seconds period,
                                 const std::function<void(Date)>& isDueAt) const {
    double left = static_cast<double>(period.count());
    Date date = clocks_.date();
    double steady = clocks_.steadySeconds();
    isDueAt(later(date, left));
    while (left > 0) {
        clocks_.sleep(std::min(left, longestSlice));
        const double steadyPassed = clocks_.steadySeconds() - steady;
        const double datePassed = std::chrono::duration<double>(clocks_.date() - date).count();
        steady += steadyPassed;
        date = clocks_.date();
        left -= std::max(steadyPassed, datePassed);
        const bool hasJumped = std::abs(datePassed - steadyPassed) > jump;
        if (hasJumped && left <= 0) {
            clocks_.sleep(networkComesBack);
            return Due::afterSleep;
        }
        if (hasJumped) isDueAt(later(date, left));
    }
    return Due::asPlanned;
}

} // namespace quorvel
