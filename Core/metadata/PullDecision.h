// What becomes of one field when a new text comes in.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// What a pull does with a local text that was edited since the last pull.
enum class LocalEdits {
    merge,        // with what App Store Connect changed; what cannot be merged becomes a conflict
    keepBeside,   // backed up, then replaced by App Store Connect's text
    leaveInPlace, // untouched; it stays a pending change
};

struct PullDecision {
    bool keepsBeside = false;  // back up the local text first
    bool writesLocal = false;  // then the local file takes the incoming text
    bool writesPulled = false; // last, the pulled copy takes it
    bool leavesEdit = false;   // an edit stays in place
    bool operator==(const PullDecision&) const = default;
};

/// The decision about one field where nothing is merged, from its pulled copy, its local text and the text
/// that comes in. An edit is a local text that differs from both; a missing file of a field that had text
/// counts as one, but nothing of it can be kept.
[[nodiscard]] PullDecision decidePull(const std::optional<std::string>& pulled,
                                      const std::optional<std::string>& local, std::string_view incoming,
                                      LocalEdits edits);

} // namespace quorvel
