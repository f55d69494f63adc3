// JSON objects in the answers of a model.
#pragma once

#include "Core/ai/ClaudeError.h"
#include "Platform/json/JSON.h"
#include "Platform/text/Text.h"

#include <optional>
#include <string_view>

namespace quorvel {

/// The first JSON object in an answer, without the prose or the code fence around it; nothing when there is
/// none that ends.
[[nodiscard]] std::optional<std::string_view> objectIn(std::string_view answer);

/// Decodes the JSON object in an answer as a `T`. Throws `ClaudeError::Decoding`.
template <typename T>
[[nodiscard]] T decodeAnswer(std::string_view answer) {
    const auto object = objectIn(answer);
    if (!object) throw ClaudeError(ClaudeError::Decoding{"the answer holds no JSON object"});
    try {
        return decodeJSON<T>(*object);
    } catch (const JSONError& error) {
        throw ClaudeError(ClaudeError::Decoding{escapeControls(error.what())});
    }
}

} // namespace quorvel
