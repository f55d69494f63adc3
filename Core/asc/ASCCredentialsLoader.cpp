#include "Core/asc/ASCCredentialsLoader.h"

#include "Core/asc/ASCError.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <map>
#include <vector>

namespace quorvel {

namespace {

std::string readOrEmpty(const KeychainStore& keychain, const std::string& account) {
    try {
        return keychain.read(account).value_or("");
    } catch (const KeychainStore::KeychainError& error) {
        Logger("ASCCredentialsLoader").warning(error.what());
        return {};
    }
}

using RawCredentials = ASCCredentialsLoader::RawCredentials;
using StoredTexts = std::map<std::string, std::string>;

RawCredentials textsOf(const StoredTexts& stored, const std::optional<std::string>& scope) {
    const auto item = [&](KeychainStore::AccountKey key) {
        const auto found = stored.find(accountName(key, scope));
        return found == stored.end() || isBlank(found->second) ? std::string() : found->second;
    };
    using Key = KeychainStore::AccountKey;
    return {item(Key::keyID), item(Key::issuerID), item(Key::privateKeyPEM)};
}

bool hasKeyText(const RawCredentials& texts) {
    return !texts.keyID.empty() || !texts.privateKeyPEM.empty();
}

bool isSameText(std::string_view one, std::string_view other) {
    return trim(one) == trim(other);
}

// A private key signs for its own Key ID only. A lone half is completed from a place that has nothing but the
// other half, or holds the same first half beside it.
void completeKey(RawCredentials& key, const RawCredentials& place) {
    const bool goesWithKeyID = place.keyID.empty() || isSameText(place.keyID, key.keyID);
    const bool goesWithKey =
        place.privateKeyPEM.empty() || isSameText(place.privateKeyPEM, key.privateKeyPEM);
    if (key.privateKeyPEM.empty() && goesWithKeyID)
        key.privateKeyPEM = place.privateKeyPEM;
    else if (key.keyID.empty() && goesWithKey)
        key.keyID = place.keyID;
}

} // namespace

ASCCredentialsLoader::Found ASCCredentialsLoader::find(std::span<const std::string> scopes) const {
    const StoredTexts stored = keychain.readAll();
    std::vector<std::optional<std::string>> places(scopes.begin(), scopes.end());
    places.emplace_back(); // the global accounts
    Found found;
    for (const auto& scope : places) {
        const RawCredentials texts = textsOf(stored, scope);
        if (found.texts.issuerID.empty() && !texts.issuerID.empty()) {
            found.texts.issuerID = texts.issuerID;
            found.issuerScope = scope;
        }
        if (!hasKeyText(found.texts) && hasKeyText(texts)) {
            found.texts.keyID = texts.keyID;
            found.texts.privateKeyPEM = texts.privateKeyPEM;
            found.keyScope = scope;
        } else {
            completeKey(found.texts, texts);
        }
    }
    return found;
}

ASCAuth ASCCredentialsLoader::loadFirst(std::span<const std::string> scopes) const {
    const RawCredentials texts = find(scopes).texts;
    if (!texts.keyID.empty() && !texts.issuerID.empty() && texts.privateKeyPEM.empty())
        throw ASCError(ASCError::InvalidPrivateKey{
            fmt::format("none is stored for Key ID {}", escapeControls(trim(texts.keyID)))});
    return makeAuth(texts);
}

ASCCredentialsLoader::RawCredentials
ASCCredentialsLoader::loadRaw(const std::optional<std::string>& scope) const {
    const auto lookUp = [&](KeychainStore::AccountKey key) {
        if (scope && !scope->empty())
            if (std::string own = readOrEmpty(keychain, accountName(key, scope)); !own.empty()) return own;
        return readOrEmpty(keychain, accountName(key));
    };
    using Key = KeychainStore::AccountKey;
    return {lookUp(Key::keyID), lookUp(Key::issuerID), lookUp(Key::privateKeyPEM)};
}

ASCAuth ASCCredentialsLoader::load(const std::optional<std::string>& scope) const {
    return makeAuth(loadRaw(scope));
}

ASCAuth makeAuth(const ASCCredentialsLoader::RawCredentials& texts) {
    const std::string keyID(trim(texts.keyID));
    const std::string issuerID(trim(texts.issuerID));
    const std::string_view pem = trim(texts.privateKeyPEM);
    if (keyID.empty() || issuerID.empty()) throw ASCError(ASCError::MissingCredentials{});
    if (pem.empty()) throw ASCError(ASCError::InvalidPrivateKey{"PEM is empty"});
    try {
        return {keyID, issuerID, P256PrivateKey::fromPEM(pem)};
    } catch (const CryptoError& error) {
        std::string reason = error.what();
        if (reason.ends_with('.')) reason.pop_back(); // it stands in brackets within a sentence
        throw ASCError(ASCError::InvalidPrivateKey{std::move(reason)});
    }
}

} // namespace quorvel
