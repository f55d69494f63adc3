// What a version's state means to a person.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// The short text of a state, such as "In Review". A state without one of its own, as one that is new on App
/// Store Connect, gets its words ("PREPARE_FOR_SUBMISSION" → "Prepare for Submission").
[[nodiscard]] std::string statePill(std::string_view appStoreState);

/// Why a version in this state cannot be edited; nothing for one that can.
[[nodiscard]] std::optional<std::string> lockedExplanation(std::string_view appStoreState);

} // namespace quorvel
