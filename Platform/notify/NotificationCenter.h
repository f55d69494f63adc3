// Named notifications between parts of one process that do not know each other.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace quorvel {

struct Notification {
    std::string name;
    std::map<std::string, std::string> payload;
};

/// Runs a piece of work where its owner wants it: at once, in an event loop, in a queue that a test drains.
using Executor = std::function<void(std::function<void()>)>;

/// Runs the work at once on the calling thread.
[[nodiscard]] inline Executor inlineExecutor() {
    return [](const std::function<void()>& work) { work(); };
}

/// Delivers a posted notification to every observer of its name. Thread-safe; an observer may post, subscribe
/// and unsubscribe. One that throws is logged and disturbs nobody else.
///
/// Once a subscription's handle is destroyed, no call of its observer or executor runs or begins: queued
/// wake-ups are dropped, and the destructor waits for calls on other threads. Two rules follow. Do not
/// destroy a handle while holding a lock that its observer acquires. An executor must not wait for its work
/// to run.
class NotificationCenter {
  public:
    class [[nodiscard]] Subscription {
      public:
        Subscription() = default;
        explicit Subscription(std::function<void()> end) : end_(std::move(end)) {}
        Subscription(Subscription&& other) noexcept : end_(std::exchange(other.end_, nullptr)) {}
        Subscription& operator=(Subscription&& other) noexcept {
            if (this != &other) {
                if (end_) end_();
                end_ = std::exchange(other.end_, nullptr);
            }
            return *this;
        }
        ~Subscription() {
            if (end_) end_();
        }

      private:
        std::function<void()> end_;
    };

    NotificationCenter();
    ~NotificationCenter();

    /// Calls `observer` on the posting thread.
    Subscription observe(std::string_view name, std::function<void(const Notification&)> observer);
    /// Hands a call of `wake` to `executor` for each notification.
    Subscription observe(std::string_view name, Executor executor, std::function<void()> wake);
    void post(const Notification& notification) const;

  private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace quorvel
