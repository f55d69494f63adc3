// The stored credentials of the user's own AI account.
#pragma once

#include "Core/asc/KeychainStore.h"

#include <optional>
#include <string>

namespace quorvel {

/// Both are nothing when they are not stored, are empty, or cannot be read (a warning in the log).
struct AnthropicCredentialsLoader {
    KeychainStore keychain;

    [[nodiscard]] std::optional<std::string> apiKey() const;
    /// The id of the chosen model.
    [[nodiscard]] std::optional<std::string> model() const;
};

} // namespace quorvel
