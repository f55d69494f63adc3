#include "Platform/http/TransferLoop.h"

#include "Platform/task/Task.h"

#include <algorithm>
#include <csignal>
#include <new>
#include <utility>

namespace quorvel {

namespace {

constexpr std::chrono::milliseconds longestSleep{60'000}; // orders wake the driver, libcurl's own timers too
constexpr long idleConnections = 32;

MultiHandle makeMulti(long maximumHostConnections) {
    static const CURLcode initialized = curl_global_init(CURL_GLOBAL_DEFAULT);
    MultiHandle multi(initialized == CURLE_OK ? curl_multi_init() : nullptr);
    if (!multi) throw std::bad_alloc();
    curl_multi_setopt(multi.get(), CURLMOPT_PIPELINING, long(CURLPIPE_MULTIPLEX));
    curl_multi_setopt(multi.get(), CURLMOPT_MAX_HOST_CONNECTIONS, maximumHostConnections);
    curl_multi_setopt(multi.get(), CURLMOPT_MAXCONNECTS, idleConnections);
    return multi;
}

// A connection that breaks while TLS writes to it must not end the program; how the program itself treats the
// signal elsewhere is its own affair.
class BrokenPipesIgnored {
  public:
    BrokenPipesIgnored() {
        sigemptyset(&signal_);
        sigaddset(&signal_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &signal_, &previous_);
    }
    ~BrokenPipesIgnored() {
        if (sigismember(&previous_, SIGPIPE) == 1) return;
        sigset_t pending;
        sigemptyset(&pending);
        sigpending(&pending);
        int received = 0;
        if (sigismember(&pending, SIGPIPE) == 1) sigwait(&signal_, &received);
        pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    }
    BrokenPipesIgnored(const BrokenPipesIgnored&) = delete;
    BrokenPipesIgnored& operator=(const BrokenPipesIgnored&) = delete;

  private:
    sigset_t signal_{};
    sigset_t previous_{};
};

} // namespace

TransferLoop::TransferLoop(long maximumHostConnections) : multi_(makeMulti(maximumHostConnections)) {}

void TransferLoop::run(Transfer& transfer, Deadline deadline, const std::stop_token& token) {
    Caller caller{transfer, deadline};
    post({&caller, std::nullopt});
    const std::stop_callback onStop(token, [&] { post({&caller, Transfer::Ending::cancelled}); });
    Lock lock(mutex_);
    while (!caller.hasEnded) {
        if (isDriven_)
            wait(caller, lock);
        else
            drive(caller, lock);
    }
}

void TransferLoop::close() {
    Lock lock(mutex_);
    isClosed_ = true;
    wake(lock);
}

void TransferLoop::post(Order order) {
    Lock lock(mutex_);
    if (order.caller->hasEnded) return;
    orders_.push_back(order);
    wake(lock);
}

// Unlocks: the driver needs the lock at once.
void TransferLoop::wake(Lock& lock) {
    const bool wasAsleep = std::exchange(isAsleep_, false);
    lock.unlock();
    if (wasAsleep) curl_multi_wakeup(multi_.get());
}

void TransferLoop::wait(Caller& caller, Lock& lock) {
    if (caller.isTimedOut) {
        caller.changed->wait(lock);
    } else if (caller.changed->wait_until(lock, caller.deadline) == std::cv_status::timeout &&
               !caller.hasEnded) {
        caller.isTimedOut = true;
        orders_.push_back({&caller, Transfer::Ending::timedOut});
        wake(lock);
        lock.lock();
    }
}

// A transfer must not be left to libcurl when its caller has gone: nothing may leave here, not even for want
// of memory.
void TransferLoop::drive(Caller& caller, Lock& lock) noexcept {
    const TaskScope ofNobody{std::stop_token()}; // callbacks of others must not see this caller's task
    const BrokenPipesIgnored ignored;
    isDriven_ = true;
    while (true) {
        advance(lock);
        if (caller.hasEnded) break;
        if (orders_.empty() && !isClosed_) sleepUntil(caller.deadline, lock);
        if (!caller.isTimedOut && std::chrono::steady_clock::now() >= caller.deadline) {
            caller.isTimedOut = true;
            orders_.push_back({&caller, Transfer::Ending::timedOut});
        }
    }
    isDriven_ = false;
    passOn();
}

// Unlocked while libcurl works: it calls functions that may in turn stop a transfer.
void TransferLoop::advance(Lock& lock) {
    taken_.clear();
    taken_.swap(orders_);
    const bool isClosed = isClosed_;
    lock.unlock();
    for (const Order& order : taken_)
        carryOut(order);
    while (isClosed && !active_.empty())
        end(*active_.back(), Transfer::Ending::cancelled, CURLE_OK);
    int running = 0;
    curl_multi_perform(multi_.get(), &running);
    collectFinished();
    lock.lock();
    releaseEnded(lock);
}

void TransferLoop::carryOut(const Order& order) {
    Caller& caller = *order.caller;
    if (order.ending) {
        const bool isActive = std::ranges::find(active_, &caller) != active_.end();
        if (isActive) end(caller, *order.ending, CURLE_OK);
    } else if (curl_multi_add_handle(multi_.get(), caller.transfer.handle()) == CURLM_OK) {
        active_.push_back(&caller);
    } else {
        caller.transfer.end(Transfer::Ending::finished, CURLE_FAILED_INIT);
        ended_.push_back(&caller);
    }
}

void TransferLoop::collectFinished() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        const CURLcode code = message->data.result; // the message dies with the handle's removal
        const auto caller = std::ranges::find_if(active_, [message](const Caller* each) {
            return each->transfer.handle() == message->easy_handle;
        });
        end(**caller, Transfer::Ending::finished, code);
    }
}

void TransferLoop::end(Caller& caller, Transfer::Ending ending, CURLcode code) {
    std::erase(active_, &caller);
    curl_multi_remove_handle(multi_.get(), caller.transfer.handle());
    caller.transfer.end(ending, code);
    ended_.push_back(&caller);
}

// From here on the callers' own threads may end their lives, which orders must not outlive. They are notified
// without the lock, for which they would only have to wait.
void TransferLoop::releaseEnded(Lock& lock) {
    if (ended_.empty()) return;
    for (Caller* caller : ended_) {
        std::erase_if(orders_, [caller](const Order& order) { return order.caller == caller; });
        caller->hasEnded = true;
        toNotify_.push_back(caller->changed);
    }
    ended_.clear();
    lock.unlock();
    for (const auto& changed : toNotify_)
        changed->notify_one();
    toNotify_.clear();
    lock.lock();
}

void TransferLoop::sleepUntil(Deadline deadline, Lock& lock) {
    isAsleep_ = true;
    lock.unlock();
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    const auto timeout = std::clamp(left, std::chrono::milliseconds(0), longestSleep);
    curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(timeout.count()), nullptr);
    lock.lock();
    isAsleep_ = false;
}

// The caller who came last: its answer probably comes last too, so that it drives the longest.
void TransferLoop::passOn() {
    if (!orders_.empty())
        orders_.back().caller->changed->notify_one();
    else if (!active_.empty())
        active_.back()->changed->notify_one();
}

} // namespace quorvel
