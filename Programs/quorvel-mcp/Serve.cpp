#include "Programs/quorvel-mcp/Serve.h"

#include "Platform/files/FileDescriptor.h"
#include "Quorvel/protocol/LineSplitter.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace quorvel {

namespace {

constexpr std::size_t longestLine = 4u << 20;
constexpr std::size_t mostInput = 8u << 20;  // bytes of lines that wait
constexpr std::size_t mostOutput = 8u << 20; // bytes of messages that wait
constexpr std::size_t safeWrite = 4096;      // what a pipe that is ready takes without blocking
constexpr int stepInMilliseconds = 100;
constexpr int stepsUntilStuck = 10;
constexpr auto timeToEnd = std::chrono::seconds(2); // for all that was read and waits to be written

using Deadline = std::chrono::steady_clock::time_point;

// Ends a wait in poll().
class Alarm {
  public:
    Alarm() {
        int ends[2] = {-1, -1};
        if (::pipe(ends) != 0) return;
        reading_ = FileDescriptor(ends[0]);
        writing_ = FileDescriptor(ends[1]);
        for (const int end : ends)
            (void)::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    void ring() const { (void)!::write(writing_.number(), "", 1); }
    [[nodiscard]] int descriptor() const { return reading_.number(); }

  private:
    FileDescriptor reading_;
    FileDescriptor writing_;
};

// Lines between the thread that reads and the one that hands them on.
class WaitingLines {
  public:
    void push(std::optional<std::string> line) {
        const std::lock_guard lock(mutex_);
        bytes_ += line ? line->size() : 0;
        lines_.push_back(std::move(line));
        changed_.notify_all();
    }
    // Whether more may be read; waits a step for it.
    [[nodiscard]] bool awaitRoom() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::milliseconds(stepInMilliseconds),
                                 [&] { return bytes_ < mostInput && lines_.size() < mostLines; });
    }
    // Nothing at the end.
    [[nodiscard]] std::optional<std::optional<std::string>> take() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return isClosed_ || !lines_.empty(); });
        if (lines_.empty()) return std::nullopt;
        auto line = std::move(lines_.front());
        lines_.pop_front();
        bytes_ -= line ? line->size() : 0;
        changed_.notify_all();
        return line;
    }
    void close() {
        const std::lock_guard lock(mutex_);
        isClosed_ = true;
        changed_.notify_all();
    }
    void finish() {
        const std::lock_guard lock(mutex_);
        isFinished_ = true;
        changed_.notify_all();
    }
    // Until all lines were handed on, or there is no time left; the others are dropped.
    void awaitEnd(Deadline deadline) {
        std::unique_lock lock(mutex_);
        (void)changed_.wait_until(lock, deadline, [&] { return isFinished_; });
        lines_.clear();
    }

  private:
    static constexpr std::size_t mostLines = 4096;

    std::mutex mutex_; // guards all below
    std::condition_variable changed_;
    std::deque<std::optional<std::string>> lines_;
    std::size_t bytes_ = 0;
    bool isClosed_ = false;
    bool isFinished_ = false;
};

bool isReady(int descriptor, short event, int milliseconds) {
    pollfd entry{descriptor, event, 0};
    return ::poll(&entry, 1, milliseconds) > 0;
}

// Whether the other end of an input is gone, though what it sent may not be read yet.
bool isHungUp(int descriptor) {
    pollfd entry{descriptor, 0, 0};
    return ::poll(&entry, 1, 0) > 0 && (entry.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

// Whether all of it was taken before `deadline`.
bool writeMessage(int output, std::string_view bytes, const std::atomic<Deadline>& deadline) {
    while (!bytes.empty()) {
        if (std::chrono::steady_clock::now() >= deadline.load()) return false;
        if (!isReady(output, POLLOUT, stepInMilliseconds)) continue;
        const ssize_t written = ::write(output, bytes.data(), std::min(bytes.size(), safeWrite));
        if (written >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(written));
        else if (errno != EINTR && errno != EAGAIN)
            return false;
    }
    return true;
}

// Reads until the input ends or somebody rings.
void readLines(int input, const Alarm& alarm, WaitingLines& lines) {
    LineSplitter splitter(longestLine, [&](std::optional<std::string> line) { lines.push(std::move(line)); });
    std::string buffer(64u << 10, '\0');
    int stuckSteps = 0;
    while (true) {
        const bool hasRoom = lines.awaitRoom();
        if (!hasRoom) {
            if (isReady(alarm.descriptor(), POLLIN, 0)) return;
            // Nobody sends and nobody reads: what waits is for nobody.
            if (isHungUp(input) && ++stuckSteps >= stepsUntilStuck) return;
            continue;
        }
        stuckSteps = 0;
        pollfd entries[] = {{input, POLLIN, 0}, {alarm.descriptor(), POLLIN, 0}};
        if (::poll(entries, 2, -1) < 0 && errno != EINTR) return;
        if (entries[1].revents != 0) return;
        if (entries[0].revents == 0) continue;
        const ssize_t count = ::read(input, buffer.data(), buffer.size());
        if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN)) break;
        if (count > 0) splitter.append({buffer.data(), static_cast<std::size_t>(count)});
    }
    splitter.finish();
}

} // namespace

void serve(RequestHandler& handler, int input, int output, const std::stop_token& stop) {
    const Alarm alarm;
    const std::stop_callback onStop(stop, [&] { alarm.ring(); });
    Outbox outbox(mostOutput);
    Connection connection(handler, outbox);
    WaitingLines lines;
    std::atomic<Deadline> deadline = Deadline::max();
    std::jthread writing([&] {
        while (auto message = outbox.take())
            if (!writeMessage(output, *message + "\n", deadline)) break;
        outbox.close(); // who sends must not wait for a reader that is gone
        alarm.ring();
    });
    std::jthread handing([&] {
        while (const auto line = lines.take())
            if (*line)
                connection.receive(**line);
            else
                connection.refuseLongLine(longestLine);
        lines.finish();
    });
    readLines(input, alarm, lines);
    const Deadline end = std::chrono::steady_clock::now() + timeToEnd;
    deadline = end;
    connection.closeIntake();
    lines.close();
    lines.awaitEnd(stop.stop_requested() ? std::chrono::steady_clock::now() : end);
    outbox.close(connection.endSubscriptions());
    connection.end();
}

} // namespace quorvel
