// What the texts of the layers below mean on a command line.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// `text` with the command where it names a place of a window ("in Settings") or a job ("tidying").
[[nodiscard]] std::string inCommands(std::string_view text);

} // namespace quorvel
