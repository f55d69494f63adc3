// The routes by which a test steers the sandbox: no token, no quota, no faults.
#pragma once

#include "Sandbox/server/HTTPServer.h"

#include <string_view>

namespace quorvel::sandbox {

class Service;

inline constexpr std::string_view controlPrefix = "/__sandbox/";

[[nodiscard]] Response control(Service& service, const Request& request);

} // namespace quorvel::sandbox
