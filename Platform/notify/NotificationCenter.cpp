#include "Platform/notify/NotificationCenter.h"

#include <atomic>
#include <mutex>
#include <vector>

namespace quorvel {

namespace {

struct Observer {
    std::string name;
    std::function<void(const Notification&)> call;
    std::atomic<bool> ended = false;
};

} // namespace

struct NotificationCenter::State {
    std::mutex mutex;
    std::vector<std::shared_ptr<Observer>> observers;
};

NotificationCenter::NotificationCenter() : state_(std::make_shared<State>()) {}
NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Subscription
NotificationCenter::observe(std::string_view name, std::function<void(const Notification&)> observer) {
    auto entry = std::make_shared<Observer>();
    entry->name = name;
    entry->call = std::move(observer);
    {
        const std::lock_guard lock(state_->mutex);
        state_->observers.push_back(entry);
    }
    // The handle may outlive the center.
    return Subscription([weak = std::weak_ptr(state_), entry = std::move(entry)] {
        entry->ended = true;
        if (const auto state = weak.lock()) {
            const std::lock_guard lock(state->mutex);
            std::erase(state->observers, entry);
        }
    });
}

void NotificationCenter::post(const Notification& notification) const {
    std::vector<std::shared_ptr<Observer>> called;
    {
        const std::lock_guard lock(state_->mutex);
        for (const auto& observer : state_->observers)
            if (observer->name == notification.name) called.push_back(observer);
    }
    // Outside of the lock, as an observer may post, subscribe and unsubscribe.
    for (const auto& observer : called)
        if (!observer->ended) observer->call(notification);
}

} // namespace quorvel
