#include "Core/asc/ASCCredentialsLoader.h"

#include "Core/asc/ASCError.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

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

} // namespace

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
