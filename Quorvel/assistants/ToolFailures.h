// What failures mean to an assistant.
#pragma once

#include <exception>
#include <string>

namespace quorvel {

/// The text of a failure, its advice, and what an assistant can do about it or ask the user for.
[[nodiscard]] std::string failureText(const std::exception& error);

} // namespace quorvel
