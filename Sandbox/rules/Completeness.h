// What a version needs before it can be reviewed.
#pragma once

#include "Sandbox/rules/World.h"

namespace quorvel::sandbox {

/// Throws `Refusal` that lists, per resource, all that a version lacks.
void requireComplete(const World& world, const Resource& version);

} // namespace quorvel::sandbox
