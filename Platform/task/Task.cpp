#include "Platform/task/Task.h"

#include <chrono>
#include <condition_variable>
#include <system_error>
#include <utility>

namespace quorvel {

namespace {

thread_local std::stop_token currentToken;

constexpr double longestSleep = 1e9; // seconds; the clock's nanoseconds overflow beyond

// The first real error of several threads: what a sibling throws because it was cancelled counts only when
// there is nothing else.
class FirstError {
  public:
    void keep(std::exception_ptr error, bool isCancellation) {
        const std::scoped_lock lock(mutex_);
        if (error_ && (isCancellation || !cancellationOnly_)) return;
        error_ = std::move(error);
        cancellationOnly_ = isCancellation;
    }

    void rethrow() {
        if (error_) std::rethrow_exception(std::move(error_));
    }

  private:
    std::mutex mutex_;
    std::exception_ptr error_;
    bool cancellationOnly_ = false;
};

// What the threads of one `runInParallel` share.
class ParallelRun {
  public:
    ParallelRun(std::size_t count, const std::function<void(std::size_t)>& work)
        : count_(count), work_(work) {}

    void drain() {
        const TaskScope scope(siblings_.get_token());
        try {
            for (std::size_t index = next_++; index < count_; index = next_++) {
                checkCancellation();
                work_(index);
            }
        } catch (const CancellationError&) {
            stop(std::current_exception(), true);
        } catch (...) {
            stop(std::current_exception(), false);
        }
    }

    void cancel() { siblings_.request_stop(); }
    void rethrow() { error_.rethrow(); }

  private:
    void stop(std::exception_ptr error, bool isCancellation) {
        error_.keep(std::move(error), isCancellation);
        siblings_.request_stop();
    }

    const std::size_t count_;
    const std::function<void(std::size_t)>& work_;
    std::atomic<std::size_t> next_ = 0;
    std::stop_source siblings_;
    FirstError error_;
};

} // namespace

TaskScope::TaskScope(std::stop_token token) : previous_(std::exchange(currentToken, std::move(token))) {}

TaskScope::~TaskScope() {
    currentToken = std::move(previous_);
}

std::stop_token currentStopToken() {
    return currentToken;
}

void checkCancellation() {
    if (currentToken.stop_requested()) throw CancellationError();
}

void sleepFor(double seconds) {
    checkCancellation();
    if (!(seconds > 0)) return;
    const auto duration = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(std::min(seconds, longestSleep)));
    std::mutex mutex;
    std::condition_variable_any neverNotified;
    std::unique_lock lock(mutex);
    neverNotified.wait_for(lock, currentToken, duration, [] { return false; });
    checkCancellation();
}

void detail::runInParallel(std::size_t count, std::size_t width,
                           const std::function<void(std::size_t)>& work) {
    checkCancellation();
    ParallelRun run(count, work);
    const std::stop_callback cancelWithParent(currentToken, [&run] { run.cancel(); });
    {
        std::vector<std::jthread> helpers;
        const std::size_t helperCount = std::max<std::size_t>(std::min(width, count), 1) - 1;
        helpers.reserve(helperCount);
        try {
            while (helpers.size() < helperCount)
                helpers.emplace_back([&run] { run.drain(); });
        } catch (const std::system_error&) { // no more threads to be had: fewer do the work
        }
        run.drain();
    }
    run.rethrow();
}

} // namespace quorvel
