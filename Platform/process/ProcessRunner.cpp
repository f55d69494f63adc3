#include "Platform/process/ProcessRunner.h"

#include "Platform/process/LineAccumulator.h"
#include "Platform/process/SpawnedProcess.h"
#include "Platform/task/Task.h"

#include <poll.h>
#include <pthread.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <exception>

namespace quorvel {

namespace {

using Clock = std::chrono::steady_clock;

// A write to a pipe whose reader is gone must fail, not end this process; other threads keep their signals.
ssize_t writeWithoutSignal(int descriptor, std::string_view bytes) {
    sigset_t pipeSignal;
    sigset_t previous;
    ::sigemptyset(&pipeSignal);
    ::sigaddset(&pipeSignal, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    const int error = errno;
    if (written < 0 && error == EPIPE) {
        sigset_t waiting;
        ::sigpending(&waiting);
        int taken = 0;
        if (::sigismember(&waiting, SIGPIPE) == 1) ::sigwait(&pipeSignal, &taken);
    }
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    errno = error;
    return written;
}

bool mayTryAgain(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

// Reads and feeds one child until it has ended and its pipes are read.
class Conversation {
  public:
    Conversation(const ProcessRunner::Command& command, const ProcessRunner::LineHandler& onLine)
        : child_(command),
          grace_(command.grace),
          unsent_(command.input),
          output_(onLine, ProcessRunner::Stream::standardOutput),
          errors_(onLine, ProcessRunner::Stream::standardError) {
        if (unsent_.empty()) child_.input = FileDescriptor();
    }

    ProcessRunner::Result hold() {
        const std::stop_callback cancel(currentStopToken(), [this] {
            uninterrupted([&] { return ::write(child_.waking.number(), "c", 1); });
        });
        while (!isOver()) {
            escalate();
            waitForEvents();
            try {
                readFrom(child_.output, output_);
                readFrom(child_.errorOutput, errors_);
            } catch (...) { // a line handler that throws ends the child
                thrown_ = std::current_exception();
                child_.output = FileDescriptor();
                child_.errorOutput = FileDescriptor();
                stop(SIGKILL);
            }
            feed();
        }
        return end();
    }

  private:
    [[nodiscard]] bool isOver() const {
        if (!hasEnded_) return false;
        const bool isRead = !child_.output.isOpen() && !child_.errorOutput.isOpen();
        return isRead || (deadline_ && Clock::now() >= *deadline_);
    }

    void escalate() {
        if (!hasEnded_ && deadline_ && Clock::now() >= *deadline_) stop(SIGKILL);
    }

    void stop(int signal) {
        child_.signalGroup(signal);
        wasStopped_ = true;
        deadline_ = Clock::now() + grace_;
    }

    void waitForEvents() {
        std::array<pollfd, 4> wanted{{{child_.wake.number(), POLLIN, 0},
                                      {child_.output.number(), POLLIN, 0},
                                      {child_.errorOutput.number(), POLLIN, 0},
                                      {child_.input.number(), POLLOUT, 0}}};
        int milliseconds = -1;
        if (deadline_) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline_ - Clock::now());
            milliseconds = static_cast<int>(std::max<std::int64_t>(0, left.count()));
        }
        ::poll(wanted.data(), wanted.size(), milliseconds);
        if (wanted[0].revents != 0) wakeUp();
    }

    void wakeUp() {
        std::array<char, 8> reasons{};
        const ssize_t count = ::read(child_.wake.number(), reasons.data(), reasons.size());
        for (ssize_t index = 0; index < count; ++index) {
            if (reasons[static_cast<std::size_t>(index)] == 'e') {
                hasEnded_ = true;
                deadline_ = Clock::now() + grace_;
            } else if (!hasEnded_ && !wasStopped_) {
                stop(SIGTERM);
            }
        }
    }

    // Reads a few buffers only, so that one pipe cannot starve the other.
    void readFrom(FileDescriptor& pipe, LineAccumulator& lines) {
        for (int round = 0; round < 4 && pipe.isOpen(); ++round) {
            const ssize_t count = ::read(pipe.number(), buffer_.data(), buffer_.size());
            if (count > 0) {
                lines.append({buffer_.data(), static_cast<std::size_t>(count)});
            } else if (count == 0 || !mayTryAgain(errno)) {
                pipe = FileDescriptor();
            } else {
                return;
            }
        }
    }

    void feed() {
        if (!child_.input.isOpen()) return;
        const ssize_t count = writeWithoutSignal(child_.input.number(), unsent_);
        if (count > 0) unsent_.remove_prefix(static_cast<std::size_t>(count));
        if (unsent_.empty() || (count < 0 && !mayTryAgain(errno))) child_.input = FileDescriptor();
    }

    ProcessRunner::Result end() {
        if (wasStopped_) child_.signalGroup(SIGKILL); // what the child left running
        ProcessRunner::Result result = child_.reap();
        if (thrown_) std::rethrow_exception(thrown_);
        if (wasStopped_) throw CancellationError();
        output_.finish();
        errors_.finish();
        result.stdoutTail = output_.trail();
        result.stderrTail = errors_.trail();
        return result;
    }

    SpawnedProcess child_;
    const std::chrono::milliseconds grace_;
    std::string_view unsent_;
    LineAccumulator output_;
    LineAccumulator errors_;
    std::array<char, 64 << 10> buffer_{};
    std::optional<Clock::time_point> deadline_; // of SIGKILL, or of output after the end
    bool hasEnded_ = false;
    bool wasStopped_ = false;
    std::exception_ptr thrown_;
};

} // namespace

ProcessRunner::Result ProcessRunner::run(const Command& command, const LineHandler& onLine) {
    checkCancellation();
    return Conversation(command, onLine).hold();
}

} // namespace quorvel
