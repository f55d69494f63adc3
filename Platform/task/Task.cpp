#include "Platform/task/Task.h"

#include <chrono>
#include <condition_variable>
#include <system_error>
#include <utility>

namespace quorvel {

namespace {

// A pointer, so that no thread pays for a destructor that it may never need.
thread_local const std::stop_token* currentToken = nullptr;

constexpr double longestSleepInSeconds = 1e9; // the clock's nanoseconds overflow beyond

} // namespace
