#include "Core/asc/ASCCredentialsLoader.h"

#include "Core/asc/ASCError.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <cerrno>

namespace quorvel {

namespace {

constexpr std::uint64_t keyFileLimit = 64 << 10;
constexpr std::size_t longestPlainRun = 100; // the body of a key is longer, the parts of most paths are not

bool isBase64(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '+' || character == '/' || character == '=';
}

bool hasLongBase64Run(std::string_view text) {
    for (auto at = text.begin(); at != text.end();) {
        const auto start = std::find_if(at, text.end(), isBase64);
        at = std::find_if_not(start, text.end(), isBase64);
        if (static_cast<std::size_t>(at - start) > longestPlainRun) return true;
    }
    return false;
}

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

bool looksLikeKeyText(std::string_view text) {
    for (const std::string_view part : {"PRIVATE KEY", "\n", "\r", "\\n"})
        if (text.find(part) != std::string_view::npos) return true;
    return hasLongBase64Run(text);
}

std::string readPrivateKeyFile(const std::filesystem::path& file) {
    try {
        auto pem = readFile(file, keyFileLimit);
        if (!pem) throw FileError(file, "there is no such key file", ENOENT);
        return std::move(*pem);
    } catch (const FileError& error) {
        // A file that is there has a harmless name, however long.
        if (!looksLikeKeyText(file.string())) throw;
        throw FileError("(name not shown)", "this looks like the key itself, not like the name of its file",
                        error.errorNumber());
    }
}

} // namespace quorvel
