#include "Core/ai/FailFastClaudeClient.h"

namespace quorvel {

void FailFastClaudeClient::throwIfFatal() const {
    const std::lock_guard lock(mutex_);
    if (fatalError_) throw ClaudeError(*fatalError_);
}

ClaudeResponse FailFastClaudeClient::send(const ClaudeRequest& request) const {
    throwIfFatal();
    try {
        return inner_->send(request);
    } catch (const ClaudeError& error) {
        const std::lock_guard lock(mutex_);
        if (error.kind() == ClaudeError::Kind::noAccess) fatalError_ = error;
        throw;
    }
}

} // namespace quorvel
