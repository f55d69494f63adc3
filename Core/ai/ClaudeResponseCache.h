// Answers of the AI service kept on disk, so that the same question is not paid for twice.
#pragma once

#include "Core/ai/ClaudeMessages.h"
#include "Platform/log/Log.h"
#include "Platform/time/Date.h"

#include <cstddef>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// One file per answer, "<key>.json", readable by its owner only, dropped when it is looked up after its
/// time. What cannot be read or written is a warning in the log, never a failure. Thread-safe, shared by
/// pointer.
class ClaudeResponseCache {
  public:
    /// `ttl` in seconds: an entry of exactly that age is still good. Makes the folder; throws `FileError`.
    ClaudeResponseCache(std::filesystem::path directory, double ttl, Clock clock = systemClock());

    /// 64 hexadecimal digits over what a request asks; its `responseFormat` and `keptAnswers` play no part.
    [[nodiscard]] static std::string key(const ClaudeRequest& request);

    [[nodiscard]] std::optional<ClaudeResponse> lookup(std::string_view key) const;
    void store(std::string_view key, const ClaudeResponse& response) const;
    /// Removes every entry and returns how many there were. Throws `FileError`.
    std::size_t clear() const;

  private:
    [[nodiscard]] std::optional<ClaudeResponse> readEntry(const std::filesystem::path& file) const;
    void drop(const std::filesystem::path& file) const;
    [[nodiscard]] std::filesystem::path fileOf(std::string_view key) const;

    std::filesystem::path directory_;
    double ttl_;
    Clock clock_;
    mutable std::mutex mutex_; // one file operation at a time
    Logger logger_{"ClaudeResponseCache"};
};

} // namespace quorvel
