// The one door to the AI service.
#pragma once

#include "Core/ai/ClaudeMessages.h"

namespace quorvel {

/// Sends a request and returns the answer. Blocking; any thread; obeys the current task. Throws
/// `ClaudeError`.
class ClaudeClientProtocol {
  public:
    virtual ~ClaudeClientProtocol() = default;
    [[nodiscard]] virtual ClaudeResponse send(const ClaudeRequest& request) const = 0;
};

} // namespace quorvel
