#include "Platform/log/Log.h"

#include "Platform/text/Text.h"
#include "Platform/time/Date.h"

#include <fmt/format.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <set>
#include <utility>

namespace quorvel {

namespace {

using Sink = std::function<void(const LogLine&)>;

struct Destination {
    LogLevel minimum = LogLevel::debug;
    std::shared_ptr<const Sink> sink;
    std::set<std::string, std::less<>> told; // once
};

std::mutex destinationMutex;
Destination destination; // guarded by destinationMutex
constexpr int nowhere = static_cast<int>(LogLevel::error) + 1;
// The same minimum again, so that a line which nobody wants costs no lock.
std::atomic<int> wantedLevel = nowhere;

Destination exchangeDestination(Destination next) {
    const std::lock_guard lock(destinationMutex);
    wantedLevel = next.sink ? static_cast<int>(next.minimum) : nowhere;
    return std::exchange(destination, std::move(next));
}

std::string format(const LogLine& line) {
    constexpr std::array<std::string_view, 4> names = {"debug", "info", "warning", "error"};
    return fmt::format("{} {}: {}\n", names[static_cast<std::size_t>(line.level)],
                       escapeControls(line.category), escapeControls(line.text));
}

void writeToStandardError(const LogLine& line) {
    const std::time_t now = std::chrono::system_clock::to_time_t(systemClock()());
    std::tm local{};
    localtime_r(&now, &local);
    // One call per line: the stream's lock keeps lines of several threads apart.
    const std::string text =
        fmt::format("{:02}:{:02}:{:02} {}", local.tm_hour, local.tm_min, local.tm_sec, format(line));
    std::fwrite(text.data(), 1, text.size(), stderr);
}

} // namespace

Logger::Logger(std::string_view category) : Logger("com.halvorne.brevant", category) {}

Logger::Logger(std::string_view subsystem, std::string_view category)
    : subsystem_(subsystem), category_(category) {}

void Logger::write(LogLevel level, std::string_view text) const {
    if (static_cast<int>(level) < wantedLevel.load(std::memory_order_relaxed)) return;
    std::shared_ptr<const Sink> sink;
    {
        const std::lock_guard lock(destinationMutex);
        if (level >= destination.minimum) sink = destination.sink;
    }
    if (sink) (*sink)({level, subsystem_, category_, std::string(text)});
}

void Logger::warningOnce(std::string_view text) const {
    if (static_cast<int>(LogLevel::warning) < wantedLevel.load(std::memory_order_relaxed)) return;
    {
        const std::lock_guard lock(destinationMutex);
        if (!destination.told.insert(std::string(text)).second) return;
    }
    warning(text);
}

void setLogSink(LogLevel minimum, std::function<void(const LogLine&)> sink) {
    exchangeDestination({minimum, sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr, {}});
}

void logToStandardError(LogLevel minimum) {
    setLogSink(minimum, writeToStandardError);
}

struct LogCapture::State {
    std::mutex mutex;
    std::string text;
    Destination previous;
};

LogCapture::LogCapture() : state_(std::make_shared<State>()) {
    auto sink = [state = state_](const LogLine& line) {
        const std::string text = format(line);
        const std::lock_guard lock(state->mutex);
        state->text += text;
    };
    state_->previous =
        exchangeDestination({LogLevel::debug, std::make_shared<const Sink>(std::move(sink)), {}});
}

LogCapture::~LogCapture() {
    exchangeDestination(std::move(state_->previous));
}

std::string LogCapture::text() const {
    const std::lock_guard lock(state_->mutex);
    return state_->text;
}

} // namespace quorvel
