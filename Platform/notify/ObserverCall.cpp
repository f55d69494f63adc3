#include "Platform/notify/ObserverCall.h"

#include "Platform/log/Log.h"
#include "Platform/notify/NotificationCenter.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

namespace quorvel {

namespace {

void logFailure(const Notification& notification, std::string_view problem) {
    Logger("NotificationCenter")
        .warningOnce("An observer of \"" + notification.name + "\" failed: " + std::string(problem));
}

} // namespace

ObserverCall::ObserverCall(Function function)
    : function_(std::make_shared<const Function>(std::move(function))) {}

void ObserverCall::run(const Notification& notification) {
    std::shared_ptr<const Function> function = begin();
    if (!function) return;
    try {
        (*function)(notification);
    } catch (const std::exception& error) {
        logFailure(notification, error.what());
    } catch (...) {
        logFailure(notification, "unknown exception");
    }
    function.reset(); // before `end` returns: its captures may refer to what the ender destroys next
    finish();
}

void ObserverCall::end() {
    std::shared_ptr<const Function> function;
    std::unique_lock lock(mutex_);
    function.swap(function_);
    finished_.wait(lock, [this] {
        return std::ranges::all_of(running_,
                                   [](auto thread) { return thread == std::this_thread::get_id(); });
    });
    lock.unlock(); // the captures of the function are destroyed without the lock
}

std::shared_ptr<const ObserverCall::Function> ObserverCall::begin() {
    const std::lock_guard lock(mutex_);
    if (function_) running_.push_back(std::this_thread::get_id());
    return function_;
}

void ObserverCall::finish() {
    const std::lock_guard lock(mutex_);
    running_.erase(std::ranges::find(running_, std::this_thread::get_id()));
    finished_.notify_all();
}

} // namespace quorvel
