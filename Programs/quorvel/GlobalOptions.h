// The options that every command accepts.
#pragma once

#include "Programs/quorvel/Command.h"

#include <optional>
#include <string>

namespace quorvel {

struct GlobalOptions {
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    bool noColor = false;
    bool yes = false;
    bool dryRun = false;
    std::optional<std::string> home;
    std::optional<std::string> endpoints;
    std::optional<std::string> workspace;
    std::optional<std::string> app;
    std::optional<std::string> context;
    std::optional<std::string> keyID;
    std::optional<std::string> issuerID;
    std::optional<std::string> privateKeyFile;
    std::optional<std::string> certificateFile;
    std::optional<std::string> proxy;
    std::optional<long> maximumWait; // in minutes

    [[nodiscard]] static GlobalOptions from(const Arguments& arguments);
};

} // namespace quorvel
