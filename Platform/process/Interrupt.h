// Ctrl-C and a request to end become the cancellation of the current task.
#pragma once

#include "Platform/task/StopToken.h"

#include <signal.h>

namespace quorvel {

/// While it lives SIGINT, SIGTERM, SIGXFSZ and, unless it is ignored as under nohup, SIGHUP stop `token()`; a
/// second one ends the program at once. A write beyond the limit of a file's size fails and raises nothing.
/// Made before any other thread, as those inherit the signals' mask.
class Interrupt {
  public:
    /// `status` is the exit status of a program that is ended so.
    explicit Interrupt(int status);
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    [[nodiscard]] std::stop_token token() const { return source_.get_token(); }

  private:
    void awaitSignals();

    const int status_;
    sigset_t signals_; // that are awaited
    std::stop_source source_;
    std::thread waiter_;
};

} // namespace quorvel
