// Shows on the terminal what an action is doing.
#pragma once

#include "Programs/quorvel/Output.h"
#include "Quorvel/actions/Action.h"

#include <mutex>
#include <string>
#include <string_view>

namespace quorvel {

/// While it lives the steps of an action stand on the terminal's progress line, the newest one of several.
/// Thread-safe; nothing else is to be printed from other threads meanwhile.
class OperationProgress {
  public:
    explicit OperationProgress(Output& output) : output_(output) {}
    OperationProgress(const OperationProgress&) = delete;
    OperationProgress& operator=(const OperationProgress&) = delete;

    /// What hands an action's steps to this line, for as long as this lives.
    [[nodiscard]] ActionProgress actionProgress();

  private:
    void show(const ActionProgress::Step& step);

    Output& output_;
    std::mutex mutex_;
    std::string shown_; // guarded by mutex_
};

} // namespace quorvel
