// The user-facing texts of App Store Connect errors.
#pragma once

#include "Core/asc/ASCError.h"

#include <string>

namespace quorvel {

/// The user-facing text of an error.
[[nodiscard]] std::string textOf(const ASCError::Case& problem);

/// The text for a key that App Store Connect does not accept.
extern const std::string_view keyNotAcceptedText;

} // namespace quorvel
