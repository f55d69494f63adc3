// The request and the answer of an AI call, in the program's own form.
#pragma once

#include "Platform/json/JSON.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// Whether an answer that is kept is taken, or the model asked again and the kept one replaced.
enum class KeptAnswers { taken, renewed };

struct ClaudeRequest {
    struct Message {
        std::string role; // "user" or "assistant"
        std::string content;
        QUORVEL_RECORD(Message, role, content)
        bool operator==(const Message&) const = default;
    };

    std::string model;
    std::int64_t maxTokens = 0; // of the answer
    std::optional<std::string> system;
    std::vector<Message> messages;
    std::optional<double> temperature;
    std::optional<std::string> responseFormat;    // "json_object" where a JSON document is wanted
    KeptAnswers keptAnswers = KeptAnswers::taken; // no part of the document, nor of what it is kept under
    std::string feature = {};                     // that asks, for the ledger; likewise no part of either
    QUORVEL_RECORD_EXCEPT(ClaudeRequest, (keptAnswers, feature), model, maxTokens, system, messages,
                          temperature, responseFormat)
    bool operator==(const ClaudeRequest&) const = default;
};

struct ClaudeResponse {
    struct Block {
        std::string type; // "text"
        std::optional<std::string> text;
        QUORVEL_RECORD(Block, type, text)
        bool operator==(const Block&) const = default;
    };
    struct Usage {
        std::int64_t inputTokens = 0;
        std::int64_t outputTokens = 0;
        QUORVEL_RECORD(Usage, inputTokens, outputTokens)
        bool operator==(const Usage&) const = default;
    };

    std::string id;
    std::string type; // "message"
    std::string model;
    std::optional<std::string> stopReason;
    std::vector<Block> content;
    Usage usage;
    bool fromCache = false; // not paid for now; no part of the document
    QUORVEL_RECORD_EXCEPT(ClaudeResponse, (fromCache), id, type, model, stopReason, content, usage)

    /// The answer: the texts of the blocks joined.
    [[nodiscard]] std::string text() const {
        std::string joined;
        for (const Block& block : content)
            joined += block.text.value_or("");
        return joined;
    }
    bool operator==(const ClaudeResponse&) const = default;
};

} // namespace quorvel
