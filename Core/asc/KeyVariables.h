// The environment variables in which a user hands over the text of a private key.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>

namespace quorvel {

inline constexpr std::array keyTextVariables = {"ASC_PRIVATE_KEY", "APP_STORE_CONNECT_API_KEY_KEY"};

/// What a child process's environment has in place of these variables: nothing, as every script that a build
/// runs could read the key there.
[[nodiscard]] inline std::map<std::string, std::optional<std::string>> withoutKeyTexts() {
    std::map<std::string, std::optional<std::string>> environment;
    for (const char* name : keyTextVariables)
        environment.emplace(name, std::nullopt);
    return environment;
}

} // namespace quorvel
