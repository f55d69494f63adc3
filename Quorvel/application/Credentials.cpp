#include "Quorvel/application/Credentials.h"

#include "Core/asc/ASCError.h"
#include "Core/asc/ASCSettingsViewModel.h"
#include "Core/asc/KeyFiles.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

using Found = ASCCredentialsLoader::Found;

std::string nameOf(const std::optional<std::string>& scope, const KeyOwner& owner) {
    if (!scope) return "stored key";
    return scope == owner.appID ? "the app's own key" : "the workspace's key";
}

// Each item from the first source that has it; Key ID and private key stay together.
Credentials gather(const std::vector<CredentialSource>& sources) {
    Credentials found;
    for (const CredentialSource& source : sources) {
        if (found.issuerSource.empty() && !source.issuerID.empty()) {
            found.texts.issuerID = source.issuerID;
            found.issuerSource = source.name;
        }
        if (!found.keySource.empty() || !source.namesKey()) continue;
        found.keySource = source.name;
        found.texts.keyID = source.keyID;
        found.texts.privateKeyPEM = source.privateKeyPEM;
        found.privateKeyFile = source.privateKeyPEM.empty() ? source.privateKeyFile : "";
    }
    return found;
}

Found findStored(const KeychainStore& keychain, const KeyOwner& owner) {
    std::vector<std::string> scopes;
    for (const auto& scope : {owner.appID, owner.workspaceID})
        if (scope) scopes.push_back(*scope);
    return ASCCredentialsLoader{keychain}.find(scopes);
}

void completeFromStore(Credentials& found, const Found& stored, const KeyOwner& owner) {
    if (found.issuerSource.empty() && !stored.texts.issuerID.empty()) {
        found.texts.issuerID = stored.texts.issuerID;
        found.issuerSource = nameOf(stored.issuerScope, owner);
    }
    if (!found.keySource.empty() || (stored.texts.keyID.empty() && stored.texts.privateKeyPEM.empty()))
        return;
    found.texts.keyID = stored.texts.keyID;
    found.texts.privateKeyPEM = stored.texts.privateKeyPEM;
    found.keySource = nameOf(stored.keyScope, owner);
}

// A Key ID from the file's name, a key from the customary folders or from the store under the same Key ID.
void findOtherHalf(Credentials& found, const Found& stored, const KeyPlaces& places) {
    if (found.texts.keyID.empty())
        found.texts.keyID =
            keyIDFromFileName(std::filesystem::path(found.privateKeyFile).filename().string()).value_or("");
    if (!found.texts.privateKeyPEM.empty()) return;
    if (found.privateKeyFile.empty())
        if (const auto file = findKeyFile(found.texts.keyID, keyFolders(places.home, places.workingFolder)))
            found.privateKeyFile = file->string();
    if (!found.privateKeyFile.empty())
        found.texts.privateKeyPEM = readPrivateKeyFile(found.privateKeyFile, places.workingFolder);
    else if (stored.texts.keyID == found.texts.keyID)
        found.texts.privateKeyPEM = stored.texts.privateKeyPEM;
}

void requireUsable(const Credentials& found) {
    if (found.texts.keyID.empty())
        throw ApplicationError(FailureKind::keyIDMissing,
                               fmt::format("the {} hold a private key but not its Key ID", found.keySource));
    if (found.texts.privateKeyPEM.empty())
        throw ApplicationError(FailureKind::privateKeyMissing,
                               fmt::format("the {} name key {} but not its private key", found.keySource,
                                           quotedWord(found.texts.keyID)));
    if (const auto problem = problemOfKeyID(found.texts.keyID))
        throw ApplicationError(FailureKind::unusableKey,
                               fmt::format("the Key ID of the {} is not one. {}", found.keySource, *problem));
    if (const auto problem = problemOfIssuerID(found.texts.issuerID))
        throw ApplicationError(FailureKind::unusableKey, fmt::format("the Issuer ID of the {} is not one. {}",
                                                                     found.issuerSource, *problem));
}

} // namespace

Credentials resolveCredentials(const KeyPlaces& places, const KeyOwner& owner) {
    Credentials found = gather(places.given);
    // A complete key that was given works whatever the state of the store.
    const bool hasPrivateKey = !found.texts.privateKeyPEM.empty() || !found.privateKeyFile.empty();
    found.wasGiven = !found.issuerSource.empty() && hasPrivateKey;
    const bool isStored = found.keySource.empty();
    Found stored;
    if (!found.wasGiven) {
        stored = findStored(places.keychain, owner);
        completeFromStore(found, stored, owner);
    }
    if (found.keySource.empty() || found.issuerSource.empty()) throw ASCError(ASCError::MissingCredentials{});
    findOtherHalf(found, stored, places);
    if (!isStored || found.keySource != "stored key") requireUsable(found); // a stored key was checked before
    return found;
}

} // namespace quorvel
