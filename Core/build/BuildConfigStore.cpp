#include "Core/build/BuildConfigStore.h"

namespace quorvel {

namespace {

std::string settingsKeyOf(std::string_view appID, TargetPlatform platform) {
    std::string key(BuildConfigStore::keyPrefix);
    key.append(appID).append(".").append(rawValue(platform));
    return key;
}

} // namespace

std::optional<BuildConfig> BuildConfigStore::load(std::string_view appID, TargetPlatform platform) const {
    const auto text = defaults_->string(settingsKeyOf(appID, platform));
    if (!text) return std::nullopt;
    try {
        auto config = decodeJSON<BuildConfig>(*text);
        config.platform = platform;
        return config;
    } catch (const JSONError& error) {
        logger_.warning(std::string("The saved build configuration cannot be read: ") + error.what());
        return std::nullopt;
    }
}

bool BuildConfigStore::save(std::string_view appID, const BuildConfig& config) const {
    if (load(appID, config.platform) == config) return false;
    defaults_->set(settingsKeyOf(appID, config.platform), encodeJSON(config));
    return true;
}

} // namespace quorvel
