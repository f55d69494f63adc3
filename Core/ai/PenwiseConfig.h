// The constants of the AI relay.
#pragma once

#include "Core/ai/ObfuscatedString.h"
#include "Core/asc/Endpoints.h"

#include <string>
#include <string_view>

namespace quorvel {

/// How to reach the relay; either part may be empty, and no request can be sent then.
struct RelayAccess {
    std::string proxyURL;
    ObfuscatedString sharedSecret; // what requests are signed with
    bool operator==(const RelayAccess&) const = default;
};

struct PenwiseConfig {
    static constexpr std::string_view bundleID = "com.wendhal.quorvel";
    static constexpr std::string_view defaultModel = "openai/gpt-4.1-mini";
    static constexpr std::string_view qualityBoostModel = "anthropic/claude-haiku-4.5";
    static constexpr double defaultTemperature = 0.3;

    /// From the build's configuration; empty when it names no relay.
    [[nodiscard]] static std::string_view defaultProxyURL();
    [[nodiscard]] static const ObfuscatedString& proxySharedSecret();

    /// The build's relay, with what a file of endpoints names in its place. The build's secret never signs
    /// requests to an address that a file names.
    [[nodiscard]] static RelayAccess relayAccess(const Endpoints& endpoints);
};

} // namespace quorvel
