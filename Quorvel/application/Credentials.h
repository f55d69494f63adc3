// Which API key is used for what, and where it comes from.
#pragma once

#include "Core/asc/ASCCredentialsLoader.h"
#include "Platform/files/Home.h"

#include <compare>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Whose key is asked for: an app's own goes before its workspace's, and that before the global one.
struct KeyOwner {
    std::optional<std::string> appID;       // of the app's record
    std::optional<std::string> workspaceID; // of the workspace's record
    auto operator<=>(const KeyOwner&) const = default;
};

/// What one source (the options, a family of environment variables, the store) says of a key; empty where it
/// says nothing.
struct CredentialSource {
    std::string name; // for messages, such as "options"
    std::string keyID;
    std::string issuerID;
    std::string privateKeyPEM;
    std::string privateKeyFile; // relative to the working folder

    [[nodiscard]] bool hasPrivateKey() const { return !privateKeyPEM.empty() || !privateKeyFile.empty(); }
    [[nodiscard]] bool namesKey() const { return !keyID.empty() || hasPrivateKey(); }
};

struct Credentials {
    ASCCredentialsLoader::RawCredentials texts;
    bool wasGiven = false; // all of it was given by the user, none of it comes from the store
    std::string keySource; // of the Key ID and the private key, which always come together
    std::string issuerSource;
    std::string privateKeyFile; // the file that was read; empty when the text came otherwise
};

/// Where keys are looked for.
struct KeyPlaces {
    std::vector<CredentialSource> given; // by the user; the first wins
    Home home;
    std::filesystem::path workingFolder;
    KeychainStore keychain;
};

/// The key of `owner`: Key ID and private key from the first source that has either, the Issuer ID from the
/// first that has one; the sources are those given, then the stored keys of the app, the workspace and the
/// global one. A Key ID may come from the key file's name, and a key file from the customary folders. Throws
/// `ASCError::MissingCredentials`, `ApplicationError`, `CredentialsError`, and `KeychainError` for a damaged
/// store.
[[nodiscard]] Credentials resolveCredentials(const KeyPlaces& places, const KeyOwner& owner);

} // namespace quorvel
