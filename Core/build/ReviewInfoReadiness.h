// Whether App Review has what it needs to reach the developer and use the app.
#pragma once

#include "Core/asc/records/VersionRecords.h"

#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct ReviewInfoReadiness {
    std::vector<std::string> missingContactFields; // of "first name", "last name", "phone", "email"
    bool demoAccountRequired = false;
    bool demoAccountMissing = false; // required, and its name or password is empty
    bool hasNotes = false;
    QUORVEL_RECORD(ReviewInfoReadiness, missingContactFields, demoAccountRequired, demoAccountMissing,
                   hasNotes)
    bool operator==(const ReviewInfoReadiness&) const = default;
};

/// Of a version's review details; a version without any misses every contact field.
[[nodiscard]] ReviewInfoReadiness readinessOf(const std::optional<AppStoreReviewDetailAttributes>& detail);

} // namespace quorvel
