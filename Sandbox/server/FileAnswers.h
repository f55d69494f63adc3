// The files that answers point to: pictures of screenshots and segments of reports.
#pragma once

#include "Sandbox/rules/World.h"
#include "Sandbox/server/HTTPServer.h"

namespace quorvel::sandbox {

[[nodiscard]] Response file(const World& world, const Request& request);

} // namespace quorvel::sandbox
