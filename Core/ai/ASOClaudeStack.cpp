#include "Core/ai/ASOClaudeStack.h"

namespace quorvel {

ASOClaudeStack::Components ASOClaudeStack::make(Parts parts) {
    const std::filesystem::path base =
        parts.baseDirectory ? *parts.baseDirectory : defaultDirectory(parts.home);
    const auto client = std::make_shared<ClaudeClient>(ClaudeClient::Parts{
        .apiKey = parts.loader.apiKey().value_or(""),
        .baseURL = std::move(parts.relay),
        .http = std::move(parts.http),
        .sleepFor = std::move(parts.sleepFor),
        .clock = parts.clock,
    });
    const auto cache = std::make_shared<ClaudeResponseCache>(base / "cache", parts.cacheTTL, parts.clock);
    const auto recorder = std::make_shared<ClaudeCostRecorder>(ledgerFile(base), parts.clock);
    return {.client = std::make_shared<CachedClaudeClient>(client, cache, recorder),
            .model = std::string(PenwiseConfig::defaultModel),
            .cache = cache,
            .costRecorder = recorder};
}

} // namespace quorvel
