#include "Programs/quorvel/Credentials.h"

#include "Core/asc/ASCError.h"
#include "Core/asc/ASCSettingsViewModel.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace quorvel {

namespace {

constexpr std::string_view storedName = "stored key";

std::string orEmpty(const std::optional<std::string>& text) {
    return text.value_or("");
}

using Key = KeychainStore::AccountKey;

// Exactly what is stored under these accounts; an item that is missing here may come from the next source.
CredentialSource storedCredentials(const KeychainStore& keychain, std::string_view name,
                                   const std::optional<std::string>& scope = {}) {
    const auto item = [&](Key key) { return orEmpty(keychain.read(accountName(key, scope))); };
    return {std::string(name),
            std::string(trim(item(Key::keyID))),
            std::string(trim(item(Key::issuerID))),
            item(Key::privateKeyPEM),
            {}};
}

void addStored(std::vector<CredentialSource>& sources, const KeychainStore& keychain, const KeyOwner& owner) {
    if (owner.appID) sources.push_back(storedCredentials(keychain, "the app's own key", owner.appID));
    if (owner.workspaceID)
        sources.push_back(storedCredentials(keychain, "the workspace's key", owner.workspaceID));
    sources.push_back(storedCredentials(keychain, storedName));
}

bool hasKey(const CredentialSource& source) {
    return !source.keyID.empty() || !source.privateKeyPEM.empty() || !source.privateKeyFile.empty();
}

// What the sources say, each item from the first that has it; Key ID and key stay together.
Credentials gather(const std::vector<CredentialSource>& sources) {
    Credentials found;
    for (const CredentialSource& source : sources) {
        if (found.issuerSource.empty() && !source.issuerID.empty()) {
            found.texts.issuerID = source.issuerID;
            found.issuerSource = source.name;
        }
        if (!found.keySource.empty() || !hasKey(source)) continue;
        found.keySource = source.name;
        found.texts.keyID = source.keyID;
        found.texts.privateKeyPEM = source.privateKeyPEM;
        found.privateKeyFile = source.privateKeyPEM.empty() ? source.privateKeyFile : "";
    }
    return found;
}

// A Key ID from the file's name, a key from the customary folders or from the store under the same Key ID.
void findOtherHalf(Credentials& found, const CredentialSource& last,
                   const std::vector<std::filesystem::path>& folders, const Surroundings& surroundings) {
    if (found.texts.keyID.empty())
        found.texts.keyID =
            orEmpty(keyIDFromFileName(std::filesystem::path(found.privateKeyFile).filename().string()));
    if (found.texts.privateKeyPEM.empty() && found.privateKeyFile.empty())
        if (const auto file = findKeyFile(found.texts.keyID, folders)) found.privateKeyFile = file->string();
    if (!found.privateKeyFile.empty())
        found.texts.privateKeyPEM = readKeyFile(found.privateKeyFile, surroundings);
    else if (found.texts.privateKeyPEM.empty() && last.keyID == found.texts.keyID)
        found.texts.privateKeyPEM = last.privateKeyPEM;
}

// A stored key was checked when it was stored.
void requireUsable(const Credentials& found) {
    if (found.keySource == storedName) return;
    const auto refuse = [](const std::string& text, std::string hint = {}) {
        throw CommandError(ExitStatus::noCredentials, text, std::move(hint));
    };
    if (found.texts.keyID.empty())
        refuse(fmt::format("the {} hold a private key but not its Key ID", found.keySource),
               "Give it with --key-id or ASC_KEY_ID.");
    if (found.texts.privateKeyPEM.empty())
        refuse(fmt::format("the {} name key {} but not its private key", found.keySource,
                           quotedWord(found.texts.keyID)),
               "Give its file with --p8 or ASC_PRIVATE_KEY_PATH.");
    if (const auto problem = problemOfKeyID(found.texts.keyID))
        refuse(fmt::format("the Key ID of the {} is not one. {}", found.keySource, *problem));
    if (const auto problem = problemOfIssuerID(found.texts.issuerID))
        refuse(fmt::format("the Issuer ID of the {} is not one. {}", found.issuerSource, *problem));
}

} // namespace

std::vector<CredentialSource> givenCredentials(const GlobalOptions& global,
                                               const Surroundings& surroundings) {
    const auto variable = [&](std::string_view name) { return orEmpty(surroundings.variable(name)); };
    const auto family = [&](std::string_view prefix, std::string_view key, std::string_view file) {
        const std::string start(prefix);
        return CredentialSource{fmt::format("environment variables {}…", prefix), variable(start + "KEY_ID"),
                                variable(start + "ISSUER_ID"), variable(start + std::string(key)),
                                variable(start + std::string(file))};
    };
    return {{"options", orEmpty(global.keyID), orEmpty(global.issuerID), {}, orEmpty(global.privateKeyFile)},
            family("ASC_", "PRIVATE_KEY", "PRIVATE_KEY_PATH"),
            family("APP_STORE_CONNECT_API_KEY_", "KEY", "KEY_FILEPATH")};
}

Credentials resolveCredentials(const GlobalOptions& global, const Surroundings& surroundings,
                               const Home& home, const KeychainStore& keychain, const KeyOwner& owner) {
    auto sources = givenCredentials(global, surroundings);
    Credentials found = gather(sources);
    // A complete key on the command line or in the environment works whatever the state of the store.
    const bool hasPrivateKey = !found.texts.privateKeyPEM.empty() || !found.privateKeyFile.empty();
    found.wasGiven = !found.issuerSource.empty() && hasPrivateKey;
    if (!found.wasGiven) {
        addStored(sources, keychain, owner);
        found = gather(sources);
    }
    if (found.keySource.empty() || found.issuerSource.empty()) throw ASCError(ASCError::MissingCredentials{});
    findOtherHalf(found, sources.back(), keyFolders(home, surroundings.workingFolder), surroundings);
    requireUsable(found);
    return found;
}

std::vector<std::filesystem::path> keyFolders(const Home& home, const std::filesystem::path& workingFolder) {
    return {workingFolder / "private_keys", home.root / "private_keys", home.root / ".private_keys",
            home.root / ".appstoreconnect" / "private_keys"};
}

std::optional<std::filesystem::path> findKeyFile(std::string_view keyID,
                                                 const std::vector<std::filesystem::path>& folders) {
    std::vector<std::string> found;
    for (const auto& folder : folders) {
        const auto entries = listFolder(folder);
        if (!entries) continue;
        for (const FolderEntry& entry : *entries) {
            const auto id = keyIDFromFileName(entry.name);
            if (!id || !entry.name.ends_with(".p8") || entry.kind == FolderEntry::Kind::folder) continue;
            if (*id == keyID) return folder / entry.name;
            if (keyID.empty()) found.push_back((folder / entry.name).string());
        }
    }
    if (found.empty()) return std::nullopt;
    if (found.size() > 1)
        throw UsageError("there are several key files; say which one with --p8 or --key-id",
                         fmt::format("Found {}.", fmt::join(found, ", ")));
    return found.front();
}

std::string readKeyFile(const std::string& file, const Surroundings& surroundings) {
    if (file == "-") return surroundings.streams.readAll();
    try {
        return readPrivateKeyFile(surroundings.workingFolder / file);
    } catch (const FileError& error) {
        if (!looksLikeKeyText(file)) throw CommandError(ExitStatus::noCredentials, error.what());
    }
    throw UsageError("--p8 and the variables like it take the name of a file, not the key itself",
                     "Put the key into a file that only you can read, or hand it over on standard input "
                     "with --p8 -.");
}

bool forgetScope(const KeychainStore& keychain, const std::string& scope) {
    std::map<std::string, std::optional<std::string>> values;
    bool hadKey = false;
    for (const auto& [key, raw] : RawValues<Key>::values) {
        const std::string account = accountName(key, scope);
        hadKey = keychain.read(account).has_value() || hadKey;
        values[account] = std::nullopt;
    }
    if (hadKey) keychain.write(values);
    return hadKey;
}

} // namespace quorvel
