#include "Core/metadata/PullDecision.h"

#include "Platform/text/Text.h"

namespace quorvel {

PullDecision decidePull(const std::optional<std::string>& pulled, const std::optional<std::string>& local,
                        std::string_view incoming, LocalEdits edits) {
    const bool movesCopy = pulled != incoming;
    if (local == incoming) return {.writesPulled = movesCopy};
    // A blank text where there was none, as a locale made by hand has, is no edit; nor is one where none
    // came.
    const bool hasText = local && !isBlank(*local);
    const bool clears = pulled && !isBlank(*pulled) && !isBlank(incoming);
    const bool isEdit = local != pulled && (hasText || clears);
    if (isEdit && edits == LocalEdits::leaveInPlace) return {.writesPulled = movesCopy, .leavesEdit = true};
    return {.keepsBeside = isEdit && local.has_value(), .writesLocal = true, .writesPulled = movesCopy};
}

} // namespace quorvel
