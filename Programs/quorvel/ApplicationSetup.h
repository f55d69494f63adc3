// What the command line and the environment say of the application to work with.
#pragma once

#include "Programs/quorvel/GlobalOptions.h"
#include "Programs/quorvel/Output.h"
#include "Programs/quorvel/Surroundings.h"
#include "Quorvel/application/Application.h"

namespace quorvel {

/// The home, the endpoints file and the keys that were given. Reads standard input for
/// "--p8 -"; throws `CommandError` when that is empty.
[[nodiscard]] ApplicationOptions applicationOptionsOf(const GlobalOptions& global,
                                                      const Surroundings& surroundings, Output& output);

} // namespace quorvel
