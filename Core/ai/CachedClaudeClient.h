// An AI client with a response cache and a ledger in front of it.
#pragma once

#include "Core/ai/ClaudeClientProtocol.h"
#include "Core/ai/ClaudeCostRecorder.h"
#include "Core/ai/ClaudeResponseCache.h"

#include <memory>

namespace quorvel {

/// Answers from the cache where it can; every answer is recorded, one from the cache at no cost. Errors pass
/// through and leave nothing behind. Two identical requests at once may both be sent.
class CachedClaudeClient : public ClaudeClientProtocol {
  public:
    /// Without a cache every request is sent, and with renewed answers too; without a recorder nothing is
    /// recorded.
    CachedClaudeClient(std::shared_ptr<const ClaudeClientProtocol> inner,
                       std::shared_ptr<const ClaudeResponseCache> cache,
                       std::shared_ptr<const ClaudeCostRecorder> costRecorder,
                       KeptAnswers keptAnswers = KeptAnswers::taken)
        : inner_(std::move(inner)),
          cache_(std::move(cache)),
          costRecorder_(std::move(costRecorder)),
          keptAnswers_(keptAnswers) {}

    [[nodiscard]] ClaudeResponse send(const ClaudeRequest& request) const override;

  private:
    void record(const ClaudeRequest& request, const ClaudeResponse& response,
                ClaudeCostRecorder::Origin origin) const;

    std::shared_ptr<const ClaudeClientProtocol> inner_;
    std::shared_ptr<const ClaudeResponseCache> cache_;
    std::shared_ptr<const ClaudeCostRecorder> costRecorder_;
    KeptAnswers keptAnswers_;
};

} // namespace quorvel
