// What two lists of pieces of text have in common.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace quorvel {

/// Whether each piece is kept on the shortest way from one list to the other, per side; those that are kept
/// stand in the same order on both.
struct KeptPieces {
    std::vector<bool> before, after;
};

/// Nothing when the way takes more than 800 single edits: a comparison tells less than the two lists then,
/// and costs their product in time.
[[nodiscard]] std::optional<KeptPieces> findKept(const std::vector<std::string_view>& before,
                                                 const std::vector<std::string_view>& after);

} // namespace quorvel
