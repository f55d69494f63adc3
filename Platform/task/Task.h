// Blocking work that is cancelled implicitly: every thread knows the stop token of the task that it works
// for.
#pragma once

#include "Platform/task/StopToken.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <optional>
#include <type_traits>
#include <vector>

namespace quorvel {

/// Thrown by every blocking operation of a task that was cancelled.
class CancellationError : public std::exception {
  public:
    [[nodiscard]] const char* what() const noexcept override { return "Cancelled."; }
};

/// Makes `token` the current task's stop token on this thread until the scope ends.
class TaskScope {
  public:
    explicit TaskScope(std::stop_token token);
    ~TaskScope();
    TaskScope(const TaskScope&) = delete;
    TaskScope& operator=(const TaskScope&) = delete;

  private:
    std::stop_token previous_;
};

/// The stop token of the task that this thread works for; one that never stops outside of any `TaskScope`.
[[nodiscard]] std::stop_token currentStopToken();

/// Throws `CancellationError` when the current task was cancelled.
void checkCancellation();

/// Sleeps for `seconds` (none when negative); throws `CancellationError` as soon as the current task is
/// cancelled.
void sleepFor(double seconds);

/// Calls `work` for each item on at most `width` threads and returns the results in the order of the items.
/// The threads belong to the current task. The first throw cancels the siblings, waits for them and is
/// rethrown; a cancelled task throws `CancellationError`. All threads are joined on return.
template <typename Item, typename Function>
[[nodiscard]] auto parallelMap(const std::vector<Item>& items, std::size_t width, Function&& work)
    -> std::vector<std::invoke_result_t<Function&, const Item&>>;

/// Like `parallelMap` for work without a result.
template <typename Item, typename Function>
void parallelForEach(const std::vector<Item>& items, std::size_t width, Function&& work);

} // namespace quorvel

#include "Platform/task/ParallelMap.h"
