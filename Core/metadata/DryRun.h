// Whether something is done, or only shown.
#pragma once

namespace quorvel {

enum class DryRun { no, yes };

} // namespace quorvel
