// From stored texts to a usable key.
#pragma once

#include "Core/asc/ASCAuth.h"
#include "Core/asc/KeychainStore.h"

#include <optional>
#include <string>

namespace quorvel {

/// Assembles a key from stored items; an item that the scope lacks falls back to the global one, item by
/// item.
struct ASCCredentialsLoader {
    /// The three stored texts as they are.
    struct RawCredentials {
        std::string keyID;
        std::string issuerID;
        std::string privateKeyPEM;
    };

    KeychainStore keychain;

    /// Throws `ASCError::MissingCredentials` or `ASCError::InvalidPrivateKey`.
    [[nodiscard]] ASCAuth load(const std::optional<std::string>& scope = {}) const;
    /// The stored texts without parsing the key; empty where nothing is stored or it cannot be read.
    [[nodiscard]] RawCredentials loadRaw(const std::optional<std::string>& scope = {}) const;
};

/// Parses texts that a user stored or gave; white space around them does not count.
/// Throws `ASCError::MissingCredentials` or `ASCError::InvalidPrivateKey`.
[[nodiscard]] ASCAuth makeAuth(const ASCCredentialsLoader::RawCredentials& texts);

} // namespace quorvel
