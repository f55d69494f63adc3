// The files by which a system starts a program of the user's in the background.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct ServiceCall {
    std::filesystem::path program; // absolute
    std::vector<std::string> arguments;
};

/// A systemd user unit that runs the call at each login.
[[nodiscard]] std::string systemdUnit(const ServiceCall& call);

/// A launchd property list that does the same; `logFile` gets what the program prints. Throws `UsageError`
/// for texts that no property list can hold.
[[nodiscard]] std::string launchdPropertyList(const ServiceCall& call,
                                              const std::optional<std::filesystem::path>& logFile);

} // namespace quorvel
