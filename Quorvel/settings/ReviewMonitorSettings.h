// What the user chose for the review state monitor, and what it remembers between runs.
#pragma once

#include "Platform/defaults/UserDefaults.h"
#include "Platform/time/Date.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// Values over the user defaults; each writer throws `FileError`.
class ReviewMonitorSettings {
  public:
    static constexpr std::size_t mostTransitions = 500;
    static constexpr std::int64_t leastMinutes = 5;

    explicit ReviewMonitorSettings(std::shared_ptr<UserDefaults> defaults) : defaults_(std::move(defaults)) {}

    /// Whether the monitor runs in a face that starts it by itself; true until somebody switches it off.
    [[nodiscard]] bool isEnabled() const;
    /// The time between checks: what is stored, at least five minutes, and half an hour where nothing of use
    /// is stored.
    [[nodiscard]] std::chrono::minutes interval() const;
    void setIntervalMinutes(std::int64_t minutes) const;

    [[nodiscard]] std::optional<Date> lastCheckAt() const;
    void setLastCheckAt(Date date) const;

    /// The keys of the transitions that were notified, the newest last.
    [[nodiscard]] std::vector<std::string> notifiedTransitions() const;
    /// Adds keys and keeps the newest 500.
    void addNotifiedTransitions(const std::vector<std::string>& keys) const;

  private:
    std::shared_ptr<UserDefaults> defaults_;
};

/// The time between checks for a stored number of minutes.
[[nodiscard]] std::chrono::minutes reviewCheckInterval(std::optional<std::int64_t> storedMinutes);

} // namespace quorvel
