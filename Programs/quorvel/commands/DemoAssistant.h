// The demo's chapter on AI assistants.
#pragma once

#include "Programs/quorvel/commands/DemoStage.h"

#include <cstddef>
#include <string>

namespace quorvel {

/// Shows what an assistant and the server say to each other about the app of this bundle id; returns how many
/// tools the server has, and 0 when it answered otherwise than it should.
[[nodiscard]] std::size_t playAssistant(DemoStage& stage, const std::string& app);

} // namespace quorvel
