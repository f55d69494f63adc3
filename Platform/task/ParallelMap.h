// The templates of Task.h; include that one.
#pragma once

#include "Platform/task/Task.h"

#include <functional>
#include <optional>
#include <vector>

namespace quorvel {

namespace detail {

/// Calls `work` with 0 … count-1 on at most `width` threads, this one among them, as `parallelMap` promises.
void runInParallel(std::size_t count, std::size_t width, const std::function<void(std::size_t)>& work);

} // namespace detail

template <typename Item, typename Function>
auto parallelMap(const std::vector<Item>& items, std::size_t width, Function&& work)
    -> std::vector<std::invoke_result_t<Function&, const Item&>> {
    using Result = std::invoke_result_t<Function&, const Item&>;
    // One object per result: threads must not write to neighbouring bits, as in a vector<bool>.
    std::vector<std::optional<Result>> slots(items.size());
    detail::runInParallel(items.size(), width,
                          [&](std::size_t index) { slots[index].emplace(std::invoke(work, items[index])); });
    std::vector<Result> results;
    results.reserve(slots.size());
    for (auto& slot : slots)
        results.push_back(std::move(*slot));
    return results;
}

template <typename Item, typename Function>
void parallelForEach(const std::vector<Item>& items, std::size_t width, Function&& work) {
    detail::runInParallel(items.size(), width,
                          [&](std::size_t index) { static_cast<void>(std::invoke(work, items[index])); });
}

} // namespace quorvel
