#include "Platform/notify/NotificationCenter.h"

#include "Platform/notify/ObserverCall.h"

#include <mutex>
#include <vector>

namespace quorvel {

namespace {

struct Observer {
    std::string name;
    std::shared_ptr<ObserverCall> call;
};

} // namespace

struct NotificationCenter::State {
    std::mutex mutex;
    std::vector<Observer> observers;
};

NotificationCenter::NotificationCenter() : state_(std::make_shared<State>()) {}
NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Subscription
NotificationCenter::observe(std::string_view name, std::function<void(const Notification&)> observer) {
    const auto call = std::make_shared<ObserverCall>(std::move(observer));
    {
        const std::lock_guard lock(state_->mutex);
        state_->observers.push_back({std::string(name), call});
    }
    // The handle may outlive the center.
    return Subscription([weak = std::weak_ptr(state_), call] {
        if (const auto state = weak.lock()) {
            const std::lock_guard lock(state->mutex);
            std::erase_if(state->observers, [&](const Observer& each) { return each.call == call; });
        }
        call->end();
    });
}

NotificationCenter::Subscription NotificationCenter::observe(std::string_view name, Executor executor,
                                                             std::function<void()> wake) {
    const auto inner =
        std::make_shared<ObserverCall>([wake = std::move(wake)](const Notification&) { wake(); });
    auto outer = observe(name, [executor = std::move(executor), inner](const Notification& notification) {
        executor([inner, notification] { inner->run(notification); });
    });
    return Subscription([inner, outer = std::make_shared<Subscription>(std::move(outer))] {
        *outer = {};
        inner->end();
    });
}

void NotificationCenter::post(const Notification& notification) const {
    std::vector<std::shared_ptr<ObserverCall>> called;
    {
        const std::lock_guard lock(state_->mutex);
        for (const Observer& observer : state_->observers)
            if (observer.name == notification.name) called.push_back(observer.call);
    }
    // Without the lock, as an observer may post, subscribe and unsubscribe.
    for (const auto& call : called)
        call->run(notification);
}

} // namespace quorvel
