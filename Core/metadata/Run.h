// Whether something is done, or only shown.
#pragma once

namespace quorvel {

enum class Run { perform, rehearse }; // rehearse: report only, write nothing

} // namespace quorvel
