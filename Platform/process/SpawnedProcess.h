// A started child process with its pipes; for the sources of this folder.
#pragma once

#include "Platform/files/FileDescriptor.h"
#include "Platform/process/ProcessRunner.h"
#include "Platform/task/StopToken.h"

#include <sys/types.h>

namespace quorvel {

/// The two ends of a pipe, closed in children.
struct Pipe {
    FileDescriptor reading;
    FileDescriptor writing;
};
/// Throws `ProcessError`.
[[nodiscard]] Pipe makePipe();

/// A running child in a process group of its own. The child stays a zombie until `reap`, so that a signal to
/// its group never meets a stranger that got its number.
class SpawnedProcess {
  public:
    /// Starts `command`. Throws `ProcessError`.
    explicit SpawnedProcess(const ProcessRunner::Command& command);
    ~SpawnedProcess();
    SpawnedProcess(const SpawnedProcess&) = delete;
    SpawnedProcess& operator=(const SpawnedProcess&) = delete;

    /// Sends `signal` to the whole group, and wakes what is stopped so that it can obey.
    void signalGroup(int signal) const;
    /// Waits for the end of the child: its exit code, or the signal that ended it.
    [[nodiscard]] ProcessRunner::Result reap();

    FileDescriptor input;
    FileDescriptor output;
    FileDescriptor errorOutput;
    FileDescriptor wake;   // gets an "e" when the child has ended
    FileDescriptor waking; // the other end, for whoever wants to wake the reader

  private:
    pid_t process_ = -1;
    std::jthread waiter_;
};

} // namespace quorvel
