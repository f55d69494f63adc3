#include "Quorvel/controllers/AutoPullLimiter.h"

#include "Platform/task/Task.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>

namespace quorvel {

namespace {

// One suspended caller; lives on its stack, and leaves the queue before it goes.
struct Waiter {
    std::condition_variable_any wake;
    bool hasSlot = false;
};

} // namespace

struct AutoPullLimiter::Slot::State {
    explicit State(std::size_t most) : limit(most) {}

    // Returns when the caller counts among `running`, or throws and has left no trace.
    void enter() {
        std::unique_lock lock(mutex);
        if (running < limit) { // nobody waits then
            ++running;
            return;
        }
        Waiter waiter;
        waiters.push_back(&waiter);
        if (waiter.wake.wait(lock, currentStopToken(), [&] { return waiter.hasSlot; })) return;
        std::erase(waiters, &waiter);
        throw CancellationError();
    }

    void leave() {
        const std::lock_guard lock(mutex);
        if (waiters.empty()) {
            --running;
            return;
        }
        Waiter& first = *waiters.front();
        waiters.pop_front();
        first.hasSlot = true;
        first.wake.notify_one(); // under the lock: the waiter is gone as soon as it may look
    }

    const std::size_t limit;
    mutable std::mutex mutex;
    std::size_t running = 0;
    std::deque<Waiter*> waiters;
};

AutoPullLimiter::Slot::Slot(std::shared_ptr<State> state) : state_(std::move(state)) {}

AutoPullLimiter::Slot& AutoPullLimiter::Slot::operator=(Slot&& other) noexcept {
    std::swap(state_, other.state_);
    return *this;
}

AutoPullLimiter::Slot::~Slot() {
    if (state_) state_->leave();
}

AutoPullLimiter::AutoPullLimiter(std::size_t limit)
    : state_(std::make_shared<Slot::State>(std::max<std::size_t>(limit, 1))) {}

AutoPullLimiter::Slot AutoPullLimiter::acquire() {
    checkCancellation();
    state_->enter();
    Slot slot(state_);
    checkCancellation(); // the slot may have come together with the cancellation; then it goes to the next
    return slot;
}

std::size_t AutoPullLimiter::limit() const {
    return state_->limit;
}

std::size_t AutoPullLimiter::running() const {
    const std::lock_guard lock(state_->mutex);
    return state_->running;
}

std::size_t AutoPullLimiter::waiters() const {
    const std::lock_guard lock(state_->mutex);
    return state_->waiters.size();
}

} // namespace quorvel
