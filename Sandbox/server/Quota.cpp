#include "Sandbox/server/Quota.h"

#include <algorithm>

namespace quorvel::sandbox {
namespace {

constexpr std::int64_t hour = 3600;

} // namespace

int Quota::remaining(std::int64_t second) {
    while (!seconds_.empty() && seconds_.front().first <= second - hour) {
        used_ -= seconds_.front().second;
        seconds_.pop_front();
    }
    return std::max(limit_ - used_, 0);
}

bool Quota::take(std::int64_t second) {
    if (remaining(second) == 0) return false;
    if (seconds_.empty() || seconds_.back().first != second) seconds_.emplace_back(second, 0);
    ++seconds_.back().second;
    ++used_;
    return true;
}

std::int64_t Quota::wait(std::int64_t second) const {
    return seconds_.empty() ? hour : std::max<std::int64_t>(seconds_.front().first + hour - second, 1);
}

} // namespace quorvel::sandbox
