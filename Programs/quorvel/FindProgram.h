// Programs by the names that a shell knows them by.
#pragma once

#include "Programs/quorvel/Surroundings.h"

#include <filesystem>
#include <string>

namespace quorvel {

/// The absolute path of a program that is named as in a shell; empty when there is none.
[[nodiscard]] std::filesystem::path findProgram(const std::string& name, const Surroundings& surroundings);

/// The path of this program as its user called it, links and all. Throws `CommandError` when that cannot be
/// told.
[[nodiscard]] std::filesystem::path runningProgram(const Surroundings& surroundings);

} // namespace quorvel
