// A clock that only goes forward, for what is shown of running work.
#pragma once

#include <chrono>
#include <functional>

namespace quorvel {

using Seconds = std::function<double()>;

[[nodiscard]] inline double steadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace quorvel
