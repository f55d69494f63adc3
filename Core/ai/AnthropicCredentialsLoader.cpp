#include "Core/ai/AnthropicCredentialsLoader.h"

#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

namespace quorvel {

namespace {

std::optional<std::string> readStored(const KeychainStore& keychain, KeychainStore::AccountKey key) {
    try {
        const auto value = keychain.read(accountName(key));
        if (!value || isBlank(*value)) return std::nullopt;
        return std::string(trim(*value));
    } catch (const KeychainStore::KeychainError& error) {
        Logger("AnthropicCredentialsLoader").warning(error.what());
        return std::nullopt;
    }
}

} // namespace

std::optional<std::string> AnthropicCredentialsLoader::apiKey() const {
    return readStored(keychain, KeychainStore::AccountKey::anthropicAPIKey);
}

std::optional<std::string> AnthropicCredentialsLoader::model() const {
    return readStored(keychain, KeychainStore::AccountKey::anthropicModel);
}

} // namespace quorvel
