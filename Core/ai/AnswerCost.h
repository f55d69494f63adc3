// What an answer of the AI service cost.
#pragma once

#include "Core/ai/ClaudeMessages.h"
#include "Core/ai/ClaudePricing.h"

#include <cstdint>
#include <string_view>

namespace quorvel {

/// The cost of one answer, or of several together.
struct AnswerCost {
    std::int64_t inputTokens = 0;
    std::int64_t outputTokens = 0;
    double costUSD = 0; // nothing for answers from the cache

    [[nodiscard]] static AnswerCost of(std::string_view model, const ClaudeResponse& response) {
        const auto [input, output] = response.usage;
        return {input, output, response.fromCache ? 0 : ClaudePricing::cost(model, input, output)};
    }
    AnswerCost& operator+=(const AnswerCost& other) {
        inputTokens += other.inputTokens;
        outputTokens += other.outputTokens;
        costUSD += other.costUSD;
        return *this;
    }
    bool operator==(const AnswerCost&) const = default;
};

} // namespace quorvel
