// Cuts a stream of bytes into lines and keeps the last ones; for the sources of this folder.
#pragma once

#include "Platform/process/ProcessRunner.h"

#include <deque>
#include <string>
#include <string_view>

namespace quorvel {

/// The lines of one pipe. Its memory is bounded, whatever is written.
class LineAccumulator {
  public:
    LineAccumulator(const ProcessRunner::LineHandler& onLine, ProcessRunner::Stream stream)
        : onLine_(onLine), stream_(stream) {}

    void append(std::string_view bytes);
    /// Delivers what came after the last line end.
    void finish();
    /// The last lines, joined with line feeds.
    [[nodiscard]] std::string trail() const;

  private:
    void deliver(std::string_view line);

    const ProcessRunner::LineHandler& onLine_;
    ProcessRunner::Stream stream_;
    std::string pending_;
    std::deque<std::string> trail_;
    std::size_t trailBytes_ = 0;
};

} // namespace quorvel
