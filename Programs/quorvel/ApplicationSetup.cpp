#include "Programs/quorvel/ApplicationSetup.h"

#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"

#include <fmt/format.h>

#include <vector>

namespace quorvel {

namespace {

std::string keyOnStandardInput(const Surroundings& surroundings) {
    std::string text = surroundings.streams.readAll();
    if (isBlank(text))
        throw CommandError(ExitStatus::noCredentials, "there is no private key on standard input",
                           "--p8 - reads the text of the .p8 file there.");
    return text;
}

// The keys of the options and of the environment, the first to win first.
std::vector<CredentialSource> givenCredentials(const GlobalOptions& global,
                                               const Surroundings& surroundings) {
    const auto variable = [&](std::string_view name) { return surroundings.variable(name).value_or(""); };
    const auto family = [&](std::string_view prefix, std::string_view key, std::string_view file) {
        const std::string start(prefix);
        return CredentialSource{.name = fmt::format("environment variables {}…", prefix),
                                .keyID = variable(start + "KEY_ID"),
                                .issuerID = variable(start + "ISSUER_ID"),
                                .privateKeyPEM = variable(start + std::string(key)),
                                .privateKeyFile = variable(start + std::string(file))};
    };
    const bool isPiped = global.privateKeyFile == "-";
    return {{.name = "options",
             .keyID = global.keyID.value_or(""),
             .issuerID = global.issuerID.value_or(""),
             .privateKeyPEM = isPiped ? keyOnStandardInput(surroundings) : "",
             .privateKeyFile = isPiped ? "" : global.privateKeyFile.value_or("")},
            family("ASC_", "PRIVATE_KEY", "PRIVATE_KEY_PATH"),
            family("APP_STORE_CONNECT_API_KEY_", "KEY", "KEY_FILEPATH")};
}

} // namespace

ApplicationOptions applicationOptionsOf(const GlobalOptions& global, const Surroundings& surroundings,
                                        Output& output) {
    const auto home = global.home ? global.home : surroundings.variable("QUORVEL_HOME");
    const auto endpoints = global.endpoints ? global.endpoints : surroundings.variable("QUORVEL_ENDPOINTS");
    return {.home = home ? Home{surroundings.workingFolder / *home} : Home::ofUser(),
            .workingFolder = surroundings.workingFolder,
            .endpointsFile = endpoints ? std::optional<std::filesystem::path>(*endpoints) : std::nullopt,
            .credentials = givenCredentials(global, surroundings),
            .tell = [&output](const std::string& text) { output.warning(text); }};
}

} // namespace quorvel
