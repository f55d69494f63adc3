// How long somebody waits.
#pragma once

#include <chrono>

namespace quorvel {

/// What is left of the time that one job may spend waiting. Waits at the same time, on several threads,
/// count once. Guarded by its owner.
class Patience {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit Patience(std::chrono::seconds total) : left_(total) {}

    /// Whether a wait of so many seconds, which counts then, may begin.
    [[nodiscard]] bool grants(double seconds, TimePoint now = std::chrono::steady_clock::now());

  private:
    std::chrono::duration<double> left_;
    TimePoint countedUntil_;
};

} // namespace quorvel
