#include "Core/ai/ClaudeAsker.h"

#include "Core/ai/ClaudeError.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

bool brokeOff(const ClaudeResponse& response) {
    return response.stopReason == "length";
}

} // namespace

ClaudeResponse ClaudeAsker::send(const ClaudeRequest& request) {
    ClaudeResponse response = claude_.send(request);
    cost_ += AnswerCost::of(request.model, response);
    return response;
}

void ClaudeAsker::requireWhole(const ClaudeRequest& request, const ClaudeResponse& response) {
    if (brokeOff(response))
        throw ClaudeError(ClaudeError::Decoding{
            fmt::format("the text broke off at the limit of {} output tokens", request.maxTokens)});
}

// The same limit cuts a new answer too.
bool ClaudeAsker::mayBetter(const ClaudeResponse& response) {
    return response.fromCache || !brokeOff(response);
}

} // namespace quorvel
