// The ledger of what AI calls cost.
#pragma once

#include "Core/ai/ClaudeMessages.h"
#include "Platform/log/Log.h"
#include "Platform/time/Date.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A file of JSON Lines that only grows, readable by its owner only. Lines are appended whole, also by
/// several processes at once. Thread-safe, shared by pointer.
class ClaudeCostRecorder {
  public:
    /// Whether an answer was paid for or came from the cache.
    enum class Origin { relay, cache };

    struct LogEntry {
        Date timestamp;
        std::string model;
        std::int64_t inputTokens = 0;
        std::int64_t outputTokens = 0;
        double costUSD = 0;
        bool cached = false;
        std::string feature = {}; // that asked; empty where it is not known
        bool operator==(const LogEntry&) const = default;
    };

    /// Makes the folder of the log. Throws `FileError`.
    explicit ClaudeCostRecorder(std::filesystem::path logURL, Clock clock = systemClock());

    /// Appends one line. A line that cannot be written is a warning in the log: the answer is in hand
    /// already.
    void record(std::string_view model, const ClaudeResponse& response, Origin origin,
                std::string_view feature = {}) const;
    /// All entries, oldest first; damaged lines are skipped. Throws `FileError`.
    [[nodiscard]] std::vector<LogEntry> entries() const;
    /// US dollars of the last `lastSeconds` seconds. Throws `FileError`.
    [[nodiscard]] double totalCost(double lastSeconds) const;

  private:
    std::filesystem::path logURL_;
    Clock clock_;
    Logger logger_{"ClaudeCostRecorder"};
};

} // namespace quorvel
