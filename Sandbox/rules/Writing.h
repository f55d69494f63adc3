// Checks the form of a write and hands it to its rule.
#pragma once

#include "Sandbox/rules/Operation.h"
#include "Sandbox/server/HTTPServer.h"

namespace quorvel::sandbox {

/// Carries out `operation` for the resource with `id` (empty for creates). Throws `Refusal`.
[[nodiscard]] Answer write(World& world, const WriteOperation& operation, std::string_view id,
                           const Request& request);

} // namespace quorvel::sandbox
