// The function of one observer, and whether it may still be called.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace quorvel {

struct Notification;

/// Calls an observer until its subscription ends. Several threads may call at once. Shared by pointer, as a
/// queued call may outlive the subscription.
class ObserverCall {
  public:
    using Function = std::function<void(const Notification&)>;

    explicit ObserverCall(Function function);

    /// Calls the function unless the subscription has ended. What it throws is logged, not thrown.
    void run(const Notification& notification);

    /// Lets no further call begin, and waits for those that run on other threads. A call may end itself.
    void end();

  private:
    [[nodiscard]] std::shared_ptr<const Function> begin();
    void finish();

    mutable std::mutex mutex_;
    std::condition_variable finished_;
    std::shared_ptr<const Function> function_; // null once ended
    std::vector<std::thread::id> running_;     // one entry for each call
};

} // namespace quorvel
