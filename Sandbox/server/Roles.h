// What the roles of API keys may do.
#pragma once

#include <string_view>

namespace quorvel::sandbox {

[[nodiscard]] bool isRole(std::string_view role);
/// Throws `Refusal` when a key of this role may not use the operation with this path pattern.
void requireRole(std::string_view role, std::string_view method, std::string_view pattern);

} // namespace quorvel::sandbox
