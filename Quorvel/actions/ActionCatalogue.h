// All actions, for faces that offer them by name.
#pragma once

#include "Quorvel/actions/Action.h"

#include <span>
#include <string_view>

namespace quorvel {

/// In the order in which people meet them; no two share a name.
[[nodiscard]] std::span<const ActionDescription> allActions();
/// The action of this name; nothing when there is none.
[[nodiscard]] const ActionDescription* findAction(std::string_view name);

} // namespace quorvel
