#include "Platform/task/Patience.h"

#include <algorithm>

namespace quorvel {

bool Patience::grants(double seconds, TimePoint now) {
    using Seconds = std::chrono::duration<double>;
    const Seconds counted = std::max(Seconds(countedUntil_ - now), Seconds(0));
    const Seconds further = Seconds(seconds) - counted;
    if (further > left_) return false;
    if (further <= Seconds(0)) return true;
    left_ -= further;
    countedUntil_ = now + std::chrono::duration_cast<TimePoint::duration>(Seconds(seconds));
    return true;
}

} // namespace quorvel
