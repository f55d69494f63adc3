// An AI client that stops after an error that every further request would end with.
#pragma once

#include "Core/ai/ClaudeClientProtocol.h"
#include "Core/ai/ClaudeError.h"

#include <memory>
#include <mutex>
#include <optional>

namespace quorvel {

/// For one batch of requests: after an error of the kind `noAccess` it sends no more, and throws that error
/// for each further request. Thread-safe.
class FailFastClaudeClient : public ClaudeClientProtocol {
  public:
    explicit FailFastClaudeClient(std::shared_ptr<const ClaudeClientProtocol> inner)
        : inner_(std::move(inner)) {}

    [[nodiscard]] ClaudeResponse send(const ClaudeRequest& request) const override;

  private:
    void throwIfFatal() const;

    std::shared_ptr<const ClaudeClientProtocol> inner_;
    mutable std::mutex mutex_;
    mutable std::optional<ClaudeError> fatalError_; // guarded by the mutex
};

} // namespace quorvel
