// From stored texts to a usable key.
#pragma once

#include "Core/asc/ASCAuth.h"
#include "Core/asc/KeychainStore.h"

#include <optional>
#include <span>
#include <string>

namespace quorvel {

/// Assembles a key from what is stored for a scope, which is a workspace or an app with a key of its own, and
/// from the global accounts.
struct ASCCredentialsLoader {
    /// The three stored texts as they are.
    struct RawCredentials {
        std::string keyID;
        std::string issuerID;
        std::string privateKeyPEM;
        bool operator==(const RawCredentials&) const = default;
    };

    /// What a chain of scopes has; empty texts where nothing is stored.
    struct Found {
        RawCredentials texts;
        std::optional<std::string> keyScope;    // of Key ID and private key; none for the global accounts
        std::optional<std::string> issuerScope; // likewise
        bool operator==(const Found&) const = default;
    };

    KeychainStore keychain;

    /// The stored texts, each from the first of `scopes` that has it and from the global accounts last. Key
    /// ID and private key stay together: a lone one is completed only from a place that holds no other one of
    /// its kind beside it. Throws `KeychainError` for a damaged store.
    [[nodiscard]] Found find(std::span<const std::string> scopes) const;
    /// The key that `find` gives. Throws `ASCError::MissingCredentials`, `ASCError::InvalidPrivateKey`, also
    /// for a Key ID that is stored without its private key, and `KeychainError`.
    [[nodiscard]] ASCAuth loadFirst(std::span<const std::string> scopes) const;

    /// The key of one scope, each item that it lacks from the global accounts.
    /// Throws `ASCError::MissingCredentials` or `ASCError::InvalidPrivateKey`.
    [[nodiscard]] ASCAuth load(const std::optional<std::string>& scope = {}) const;
    /// The stored texts without parsing the key; empty where nothing is stored or it cannot be read.
    [[nodiscard]] RawCredentials loadRaw(const std::optional<std::string>& scope = {}) const;
};

/// Parses texts that a user stored or gave; white space around them does not count.
/// Throws `ASCError::MissingCredentials` or `ASCError::InvalidPrivateKey`.
[[nodiscard]] ASCAuth makeAuth(const ASCCredentialsLoader::RawCredentials& texts);

} // namespace quorvel
