// The account's API key as the service sees it: its public half, and the check of tokens signed with it.
#pragma once

#include "Platform/time/Date.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace quorvel::sandbox {

class AccountKey {
  public:
    /// Reads the private key file of an earlier run; throws `std::runtime_error` when it is none.
    [[nodiscard]] static AccountKey load(const std::filesystem::path& privateKeyFile);
    /// Makes a key and writes its private half, readable by its owner only.
    [[nodiscard]] static AccountKey create(const std::filesystem::path& privateKeyFile);

    /// Whether `signature` (r ‖ s, 64 bytes) over `message` was made with this key (ECDSA, P-256, SHA-256).
    [[nodiscard]] bool verifies(std::string_view message, std::string_view signature) const;

  private:
    struct Key;
    explicit AccountKey(std::shared_ptr<const Key> key);
    std::shared_ptr<const Key> key_;
};

/// What a token must name.
struct TokenRules {
    std::string keyID;
    std::string issuerID;
};

/// Whether the value of an Authorization header holds a token that is accepted at `now`.
[[nodiscard]] bool acceptsToken(std::string_view authorization, const TokenRules& rules,
                                const AccountKey& key, Date now);

/// The scheme and the token's key id, such as "Bearer 2X9R4HXF34"; never the token.
[[nodiscard]] std::string describeAuthorization(std::string_view authorization);

} // namespace quorvel::sandbox
