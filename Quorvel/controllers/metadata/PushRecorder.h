// Keeps the history of a push.
#pragma once

#include "Core/metadata/MetadataPusher.h"
#include "Core/records/Records.h"
#include "Platform/log/Log.h"
#include "Platform/time/Date.h"
#include "Quorvel/controllers/metadata/PushPlan.h"

#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// Writes each change into the history before it is sent, and its outcome once that is known, so that a push
/// which is killed can be taken back. Thread-safe. A history that cannot be written stops nothing.
class PushRecorder {
  public:
    /// `plan` outlives the recorder.
    PushRecorder(PushHistory history, Clock clock, const PushPlan& plan, std::string run);

    /// For a pusher, which the recorder outlives.
    [[nodiscard]] PushRecording recording();
    /// What the user is told when not all of it is in the history; nothing when it is.
    [[nodiscard]] std::optional<std::string> problem() const;

  private:
    [[nodiscard]] PushHistoryEntry entryOf(const PushOutcome& outcome) const;
    void begin(const std::vector<PushOutcome>& changes);
    void end(const std::vector<PushOutcome>& outcomes);
    template <typename Work>
    void save(Work&& work);

    PushHistory history_;
    Clock clock_;
    const PushPlan& plan_;
    std::string run_;
    Logger logger_{"MetadataController"};
    mutable std::mutex mutex_;
    std::optional<std::string> problem_;
};

} // namespace quorvel
