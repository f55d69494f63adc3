// A review as it is shown, and which reviews are.
#pragma once

#include "Core/asc/records/Reviews.h"
#include "Core/records/Models.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// A kept review with the response to it, as it was seen last.
struct SeenReview {
    CachedReview review;
    std::optional<CustomerReviewResponseAttributes> response;
    bool hasDraft = false; // a reply is typed here and was not sent
    QUORVEL_RECORD(SeenReview, review, response, hasDraft)
    bool operator==(const SeenReview&) const = default;
};

/// What is empty restricts nothing.
struct ReviewFilter {
    std::vector<std::int64_t> stars;
    std::vector<std::string> territories; // three letters, such as "USA"
    std::vector<std::string> sentiments;
    std::optional<std::string> theme; // or a part of one, letter case ignored
    std::optional<Date> since;
    bool unanswered = false;

    [[nodiscard]] bool matches(const SeenReview& seen) const;
};

} // namespace quorvel
