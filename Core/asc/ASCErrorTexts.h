// Every user-facing text of App Store Connect access that stands in more than one place or is composed.
#pragma once

#include "Core/asc/ASCError.h"

#include <string>

namespace quorvel {

/// The user-facing text of an error.
[[nodiscard]] std::string textOf(const ASCError::Case& problem);

/// What is said of a key that App Store Connect does not accept.
extern const std::string_view keyNotAcceptedText;

} // namespace quorvel
