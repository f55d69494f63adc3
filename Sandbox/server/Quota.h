// Requests of the rolling hour.
#pragma once

#include <cstdint>
#include <deque>
#include <utility>

namespace quorvel::sandbox {

class Quota {
  public:
    explicit Quota(int limit) : limit_(limit) {}

    void setLimit(int limit) { limit_ = limit; }
    [[nodiscard]] int limit() const { return limit_; }
    /// Requests left at `second`.
    [[nodiscard]] int remaining(std::int64_t second);
    /// Counts a request; false when none was left.
    bool take(std::int64_t second);
    /// Seconds until at least one request is left again.
    [[nodiscard]] std::int64_t wait(std::int64_t second) const;

  private:
    int limit_;
    int used_ = 0;
    std::deque<std::pair<std::int64_t, int>> seconds_; // those with requests, oldest first
};

} // namespace quorvel::sandbox
