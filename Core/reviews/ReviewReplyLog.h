// The replies that were sent from this machine.
#pragma once

#include "Platform/defaults/UserDefaults.h"
#include "Platform/json/JSON.h"
#include "Platform/time/Date.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Kept in the user's settings. Two processes that record at the same moment take turns by a lock of the
/// caller's.
class ReviewReplyLog {
  public:
    static constexpr std::string_view key = "ReviewReplyLog.v1";

    struct Entry {
        std::string text; // as it was sent
        Date sentAt;
        std::optional<std::string> state; // of the response, where it is known
        QUORVEL_RECORD(Entry, text, sentAt, state)
        bool operator==(const Entry&) const = default;
    };

    explicit ReviewReplyLog(std::shared_ptr<UserDefaults> defaults, Clock clock = systemClock());

    /// By review id; empty when nothing was kept or it cannot be read.
    [[nodiscard]] std::map<std::string, Entry> entries() const;
    /// Throws `FileError`.
    void record(const std::string& reviewID, const std::string& text) const;

  private:
    std::shared_ptr<UserDefaults> defaults_;
    Clock clock_;
};

} // namespace quorvel
