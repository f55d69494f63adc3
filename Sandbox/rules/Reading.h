// Answers the reading operations: filters, order, pages and included resources.
#pragma once

#include "Sandbox/rules/Operation.h"
#include "Sandbox/server/HTTPServer.h"

namespace quorvel::sandbox {

/// Carries out `operation` for the owner with `id` (empty when it has none). Throws `Refusal`.
[[nodiscard]] Answer read(World& world, const ReadOperation& operation, std::string_view id,
                          const Request& request);

} // namespace quorvel::sandbox
