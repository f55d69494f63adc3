// How long to wait before a failed request is sent again.
#pragma once

namespace quorvel {

/// Seconds to wait before retry `attempt` (counted from 1): 1, 2, 4 … plus a random part below half a second.
[[nodiscard]] double defaultBackoff(int attempt);

} // namespace quorvel
