// The documents that the relay speaks; members are named as the keys on the wire.
#pragma once

#include "Platform/json/JSON.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct WireMessage {
    std::string role; // "system", "user" or "assistant"
    std::string content;
    QUORVEL_RECORD(WireMessage, role, content)
};

struct WireResponseFormat {
    std::string type;
    QUORVEL_RECORD(WireResponseFormat, type)
};

struct WireRequest {
    std::string model;
    std::vector<WireMessage> messages;
    double temperature = 0;
    std::int64_t max_tokens = 0;
    std::optional<WireResponseFormat> response_format;
    QUORVEL_RECORD(WireRequest, model, messages, temperature, max_tokens, response_format)
};

struct WireResponse {
    struct WireMessageOut {
        std::optional<std::string> content;
        QUORVEL_RECORD(WireMessageOut, content)
    };
    struct Choice {
        std::optional<WireMessageOut> message;
        std::optional<std::string> finish_reason;
        QUORVEL_RECORD(Choice, message, finish_reason)
    };
    struct Usage {
        std::optional<std::int64_t> prompt_tokens;
        std::optional<std::int64_t> completion_tokens;
        std::optional<std::int64_t> total_tokens;
        QUORVEL_RECORD(Usage, prompt_tokens, completion_tokens, total_tokens)
    };

    std::optional<std::string> id;
    std::optional<std::string> model;
    std::vector<Choice> choices;
    std::optional<Usage> usage;
    QUORVEL_RECORD(WireResponse, id, model, choices, usage)
};

struct WireErrorEnvelope {
    struct ErrorBody {
        std::optional<std::string> message;
        QUORVEL_RECORD(ErrorBody, message)
    };

    std::optional<ErrorBody> error;
    std::optional<std::string> message;
    QUORVEL_RECORD(WireErrorEnvelope, error, message)
};

} // namespace quorvel
