// Merges two versions of a comma-separated list of keywords.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// The terms of `ours` without those that `theirs` took out of `base`, then those that it added. Nothing
/// where a change would be lost: one side has another order, or names a term twice.
[[nodiscard]] std::optional<std::string> mergeKeywords(std::string_view base, std::string_view ours,
                                                       std::string_view theirs);

} // namespace quorvel
