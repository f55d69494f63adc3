// What the environment says of the application to work with, for every face the same.
#pragma once

#include "Quorvel/application/Application.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// A variable of the environment; nothing where it is not set or empty.
using EnvironmentVariables = std::function<std::optional<std::string>(std::string_view name)>;

/// The home (QUORVEL_HOME), the endpoints file (QUORVEL_ENDPOINTS), the keys, the certificates, the tools and
/// the folder for temporary files that the environment names; relative paths start at `workingFolder`.
/// `version` is the program's, for the hosts that are asked.
[[nodiscard]] ApplicationOptions optionsOfEnvironment(const EnvironmentVariables& variable,
                                                      const std::filesystem::path& workingFolder,
                                                      std::string_view version);

} // namespace quorvel
