// A value that changes as a whole, and those who watch it.
#pragma once

#include "Platform/notify/NotificationCenter.h"

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace quorvel {

/// Keeps an immutable snapshot of a state. Observers are only woken, on the executor that they name; they
/// fetch the newest snapshot themselves, so that a slow one skips what was replaced meanwhile. Thread-safe.
template <typename State>
class Published {
  public:
    explicit Published(State state = {}) : state_(std::make_shared<const State>(std::move(state))) {}

    [[nodiscard]] std::shared_ptr<const State> current() const {
        const std::lock_guard lock(mutex_);
        return state_;
    }
    void publish(State state) {
        {
            const std::lock_guard lock(updating_);
            replace(std::move(state));
        }
        changed_.post({"changed", {}});
    }
    /// Publishes a copy of the current state that `change` was applied to. One change is made at a time, also
    /// if it takes long; one that throws changes nothing. `change` must not publish here itself; observers
    /// may, as they are woken afterwards.
    template <typename Change>
    void update(Change&& change) {
        {
            const std::lock_guard lock(updating_); // two must not each start from the same state
            State copy = *current();
            std::forward<Change>(change)(copy);
            replace(std::move(copy));
        }
        changed_.post({"changed", {}});
    }
    /// Once the handle is destroyed, no wake-up runs or begins, not even one that the executor still queues.
    NotificationCenter::Subscription observe(Executor executor, std::function<void()> wake) {
        return changed_.observe("changed", std::move(executor), std::move(wake));
    }

  private:
    void replace(State state) {
        auto next = std::make_shared<const State>(std::move(state));
        const std::lock_guard lock(mutex_);
        state_.swap(next);
    }

    mutable std::mutex mutex_; // of state_
    std::mutex updating_;
    std::shared_ptr<const State> state_;
    NotificationCenter changed_;
};

} // namespace quorvel
