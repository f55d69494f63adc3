// Ctrl-C and a request to end become the cancellation of the current task.
#pragma once

#include "Platform/task/StopToken.h"

namespace quorvel {

/// While it lives SIGINT and SIGTERM stop `token()`; a second one ends the program at once. Made before any
/// other thread, as those inherit the signals' mask.
class Interrupt {
  public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    [[nodiscard]] std::stop_token token() const { return source_.get_token(); }

  private:
    std::stop_source source_;
    std::thread waiter_;
};

} // namespace quorvel
