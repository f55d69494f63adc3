// Shows on the terminal what controllers are doing.
#pragma once

#include "Programs/quorvel/Output.h"
#include "Quorvel/controllers/MetadataController.h"

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// While it lives the status of the controllers that it follows stands on the terminal's progress line, the
/// newest one of several. Thread-safe; nothing else is to be printed from other threads meanwhile.
class OperationProgress {
  public:
    explicit OperationProgress(Output& output) : output_(output) {}
    OperationProgress(Output& output, MetadataController& controller) : output_(output) {
        follow(controller);
    }
    OperationProgress(const OperationProgress&) = delete;
    OperationProgress& operator=(const OperationProgress&) = delete;

    void follow(MetadataController& controller);
    /// Shows a text of the caller's own.
    void step(std::string_view text);

  private:
    Output& output_;
    std::mutex mutex_;
    std::string shown_; // guarded by mutex_
    std::vector<NotificationCenter::Subscription> subscriptions_;
};

} // namespace quorvel
