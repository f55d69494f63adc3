// Where the API key of a command comes from.
#pragma once

#include "Core/asc/ASCCredentialsLoader.h"
#include "Platform/files/Home.h"
#include "Programs/quorvel/GlobalOptions.h"
#include "Programs/quorvel/Surroundings.h"

#include <filesystem>
#include <optional>
#include <string>
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
    std::string privateKeyFile;
};

struct Credentials {
    ASCCredentialsLoader::RawCredentials texts;
    bool wasGiven = false; // all of it in options or environment, none of it from the store
    std::string keySource; // of the Key ID and the private key, which always come together
    std::string issuerSource;
    std::string privateKeyFile; // the file that was read; empty when the text came otherwise
};

/// What was given on the command line and in the environment, the first to win first.
[[nodiscard]] std::vector<CredentialSource> givenCredentials(const GlobalOptions& global,
                                                             const Surroundings& surroundings);

/// Key ID and private key from the first source that has either, the Issuer ID from the first that has one.
/// A Key ID may come from the key file's name, and a key file from the customary folders. Throws
/// `ASCError::MissingCredentials`, `CommandError`, `FileError`, and `KeychainError` for a damaged store.
[[nodiscard]] Credentials resolveCredentials(const GlobalOptions& global, const Surroundings& surroundings,
                                             const Home& home, const KeychainStore& keychain,
                                             const KeyOwner& owner = {});

/// Forgets everything that is stored for a workspace or an app (id of its record); whether there was a key.
/// Throws `KeychainError`.
bool forgetScope(const KeychainStore& keychain, const std::string& scope);

/// The folders in which key files are customarily kept.
[[nodiscard]] std::vector<std::filesystem::path> keyFolders(const Home& home,
                                                            const std::filesystem::path& workingFolder);
/// "AuthKey_<id>.p8" in the first customary folder that has it; any one key when `keyID` is empty and there
/// is only one. Throws `UsageError` when there are several.
[[nodiscard]] std::optional<std::filesystem::path>
findKeyFile(std::string_view keyID, const std::vector<std::filesystem::path>& folders);

/// The text of a key file, or of standard input for "-". Throws `FileError`, and `UsageError` when the name
/// is no path but a key itself.
[[nodiscard]] std::string readKeyFile(const std::string& file, const Surroundings& surroundings);

} // namespace quorvel
