#include "Core/ai/PenwiseConfig.h"

#include "Core/ai/BuildRelay.h"

namespace quorvel {

std::string_view PenwiseConfig::defaultProxyURL() {
    return buildRelayURL;
}

const ObfuscatedString& PenwiseConfig::proxySharedSecret() {
    return buildRelaySecret;
}

RelayAccess PenwiseConfig::relayAccess(const Endpoints& endpoints) {
    if (!endpoints.relay && !endpoints.relaySecret)
        return {std::string(defaultProxyURL()), proxySharedSecret()};
    return {endpoints.relay.value_or(std::string(defaultProxyURL())),
            ObfuscatedString(endpoints.relaySecret.value_or(""))};
}

} // namespace quorvel
