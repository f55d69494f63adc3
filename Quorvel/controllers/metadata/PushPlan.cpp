#include "Quorvel/controllers/metadata/PushPlan.h"

#include "Core/metadata/TextComparison.h"

#include <algorithm>

namespace quorvel {

bool PushPlan::leavesWaiting() const {
    return std::ranges::any_of(leftOut, &LeftOutChange::isMissed);
}

} // namespace quorvel
