#include "Quorvel/application/EnvironmentOptions.h"

#include "Core/asc/KeyVariables.h"

#include <fmt/format.h>

#include <vector>

namespace quorvel {

namespace {

// The first family wins.
std::vector<CredentialSource> credentialsOf(const EnvironmentVariables& variable) {
    const auto value = [&](std::string_view name) { return variable(name).value_or(""); };
    const auto family = [&](std::string_view prefix, std::string_view key, std::string_view file) {
        const std::string start(prefix);
        return CredentialSource{.name = fmt::format("environment variables {}…", prefix),
                                .keyID = value(start + "KEY_ID"),
                                .issuerID = value(start + "ISSUER_ID"),
                                .privateKeyPEM = value(key),
                                .privateKeyFile = value(start + std::string(file))};
    };
    return {family("ASC_", keyTextVariables[0], "PRIVATE_KEY_PATH"),
            family("APP_STORE_CONNECT_API_KEY_", keyTextVariables[1], "KEY_FILEPATH")};
}

} // namespace

ApplicationOptions optionsOfEnvironment(const EnvironmentVariables& variable,
                                        const std::filesystem::path& workingFolder,
                                        std::string_view version) {
    const auto path = [&](std::string_view name) -> std::optional<std::filesystem::path> {
        const auto value = variable(name);
        return value ? std::optional(workingFolder / *value) : std::nullopt;
    };
    const auto home = path("QUORVEL_HOME");
    auto certificates = path("CURL_CA_BUNDLE");
    if (!certificates) certificates = path("SSL_CERT_FILE");
    return {.home = home ? Home{*home} : Home::ofUser(),
            .workingFolder = workingFolder,
            .endpointsFile = path("QUORVEL_ENDPOINTS"),
            .credentials = credentialsOf(variable),
            .connections = {.certificateFile = certificates.value_or(std::filesystem::path()),
                            .certificateFolder = path("SSL_CERT_DIR").value_or(std::filesystem::path()),
                            .userAgent = fmt::format("quorvel/{}", version)},
            // Where Apple's tools are missing another program can stand in for them.
            .xcrun = path("QUORVEL_XCRUN").value_or(defaultXcrun),
            .temporaryFolder = variable("TMPDIR").value_or("/tmp")};
}

} // namespace quorvel
