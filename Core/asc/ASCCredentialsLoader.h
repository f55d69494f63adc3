// From stored texts to a usable key.
#pragma once

#include "Core/asc/ASCAuth.h"
#include "Core/asc/KeychainStore.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Assembles a key from stored items; an item that the scope lacks falls back to the global one, item by
/// item.
struct ASCCredentialsLoader {
    /// The three stored texts as they are.
    struct RawCredentials {
        std::string keyID;
        std::string issuerID;
        std::string privateKeyPEM;
        bool operator==(const RawCredentials&) const = default;
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

/// Whether a text that should name something is a private key itself, also without its frame; such a text is
/// never shown.
[[nodiscard]] bool looksLikeKeyText(std::string_view text);

/// The text of a .p8 file. Throws `FileError`, which does not name a file whose name looks like a key.
[[nodiscard]] std::string readPrivateKeyFile(const std::filesystem::path& file);

} // namespace quorvel
