// What moves the bytes of all transfers of a session.
#pragma once

#include "Platform/http/CurlHandles.h"
#include "Platform/http/Transfer.h"

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <vector>

namespace quorvel {

/// The threads that wait for their transfers drive libcurl's multi handle themselves: one of them does it for
/// all until its own transfer has ended, then another one takes over. With a thread of its own for that every
/// request would be handed over twice between threads, which costs more than libcurl's work for a small
/// answer. Each transfer has a caller who waits for it, so none is ever left without anyone to drive it.
class TransferLoop {
  public:
    using Deadline = std::chrono::steady_clock::time_point;

    explicit TransferLoop(long maximumHostConnections);
    TransferLoop(const TransferLoop&) = delete;
    TransferLoop& operator=(const TransferLoop&) = delete;

    /// Runs `transfer` until it ends: by itself, at `deadline`, when `token` is stopped, or as cancelled
    /// after `close`. The callbacks of other callers' transfers may run on this thread meanwhile.
    void run(Transfer& transfer, Deadline deadline, const std::stop_token& token);

    /// Ends all transfers as cancelled, now and from now on.
    void close();

  private:
    using Lock = std::unique_lock<std::mutex>;

    struct Caller {
        Transfer& transfer;
        Deadline deadline;
        bool isTimedOut = false;
        bool hasEnded = false;
        // Notified when the transfer has ended or this caller shall drive; shared, because who notifies it
        // without the lock may do so after the caller has left.
        std::shared_ptr<std::condition_variable> changed = std::make_shared<std::condition_variable>();
    };
    struct Order {
        Caller* caller = nullptr;
        std::optional<Transfer::Ending> ending; // nothing: start it
    };

    void post(Order order);
    void wake(Lock& lock);
    void wait(Caller& caller, Lock& lock);
    void drive(Caller& caller, Lock& lock) noexcept;
    void advance(Lock& lock);
    void carryOut(const Order& order);
    void collectFinished();
    void end(Caller& caller, Transfer::Ending ending, CURLcode code);
    void releaseEnded(Lock& lock);
    void sleepUntil(Deadline deadline, Lock& lock);
    void passOn();

    MultiHandle multi_;
    std::mutex mutex_;
    std::vector<Order> orders_;
    bool isDriven_ = false;
    bool isAsleep_ = false; // the driver, until its next wake-up
    bool isClosed_ = false;

    // Of the driver alone.
    std::vector<Order> taken_;
    std::vector<Caller*> active_; // libcurl has their transfers
    std::vector<Caller*> ended_;  // and do not know it yet
    std::vector<std::shared_ptr<std::condition_variable>> toNotify_;
};

} // namespace quorvel
