#include "Core/ai/CachedClaudeClient.h"

namespace quorvel {

ClaudeResponse CachedClaudeClient::send(const ClaudeRequest& request) const {
    const std::string key = ClaudeResponseCache::key(request);
    if (cache_ && request.keptAnswers == KeptAnswers::taken)
        if (auto kept = cache_->lookup(key)) {
            record(request, *kept, ClaudeCostRecorder::Origin::cache);
            kept->fromCache = true;
            return std::move(*kept);
        }
    ClaudeResponse response = inner_->send(request);
    if (cache_) cache_->store(key, response);
    record(request, response, ClaudeCostRecorder::Origin::relay);
    return response;
}

void CachedClaudeClient::record(const ClaudeRequest& request, const ClaudeResponse& response,
                                ClaudeCostRecorder::Origin origin) const {
    if (costRecorder_) costRecorder_->record(request.model, response, origin, request.feature);
}

} // namespace quorvel
