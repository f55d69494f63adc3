// An AI client with a response cache and a ledger in front of it.
#pragma once

#include "Core/ai/ClaudeClientProtocol.h"
#include "Core/ai/ClaudeCostRecorder.h"
#include "Core/ai/ClaudeResponseCache.h"

#include <memory>

namespace quorvel {

/// Answers from the cache where it can and the request does not want the answer renewed; every answer is
/// recorded, one from the cache at no cost. Errors pass through and leave nothing behind. Two identical
/// requests at once may both be sent.
class CachedClaudeClient : public ClaudeClientProtocol {
  public:
    /// Without a cache every request is sent; without a recorder nothing is recorded.
    CachedClaudeClient(std::shared_ptr<const ClaudeClientProtocol> inner,
                       std::shared_ptr<const ClaudeResponseCache> cache,
                       std::shared_ptr<const ClaudeCostRecorder> costRecorder)
        : inner_(std::move(inner)), cache_(std::move(cache)), costRecorder_(std::move(costRecorder)) {}

    [[nodiscard]] ClaudeResponse send(const ClaudeRequest& request) const override;

  private:
    void record(const ClaudeRequest& request, const ClaudeResponse& response,
                ClaudeCostRecorder::Origin origin) const;

    std::shared_ptr<const ClaudeClientProtocol> inner_;
    std::shared_ptr<const ClaudeResponseCache> cache_;
    std::shared_ptr<const ClaudeCostRecorder> costRecorder_;
};

} // namespace quorvel
