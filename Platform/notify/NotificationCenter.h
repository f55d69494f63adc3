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

/// Delivers a posted notification to every observer of its name on the posting thread. Thread-safe; an
/// observer may post, subscribe and unsubscribe. After a subscription's handle is gone no new call begins.
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

    Subscription observe(std::string_view name, std::function<void(const Notification&)> observer);
    void post(const Notification& notification) const;

  private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace quorvel
