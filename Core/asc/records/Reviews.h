// Review submissions to App Review, and customer reviews with their responses.
#pragma once

#include "Core/asc/records/Documents.h"

namespace quorvel {

struct ReviewSubmissionAttributes {
    std::optional<std::string> platform;
    std::optional<bool> submitted;
    std::optional<std::string> submittedDate;
    std::optional<std::string> state;
    QUORVEL_RECORD(ReviewSubmissionAttributes, platform, submitted, submittedDate, state)
    bool operator==(const ReviewSubmissionAttributes&) const = default;
};

struct ReviewSubmissionCreateAttributes {
    std::string platform;
    QUORVEL_RECORD(ReviewSubmissionCreateAttributes, platform)
    bool operator==(const ReviewSubmissionCreateAttributes&) const = default;
};

struct ReviewSubmissionPatchAttributes {
    bool submitted = false;
    QUORVEL_RECORD(ReviewSubmissionPatchAttributes, submitted)
    bool operator==(const ReviewSubmissionPatchAttributes&) const = default;
};

/// Takes a submission back.
struct ReviewSubmissionCancelAttributes {
    bool canceled = false;
    QUORVEL_RECORD(ReviewSubmissionCancelAttributes, canceled)
    bool operator==(const ReviewSubmissionCancelAttributes&) const = default;
};

struct ReviewSubmissionItemAttributes {
    std::optional<std::string> state;
    std::optional<bool> removed;
    std::optional<bool> resolved;
    QUORVEL_RECORD(ReviewSubmissionItemAttributes, state, removed, resolved)
    bool operator==(const ReviewSubmissionItemAttributes&) const = default;
};

/// An item of a submission and the version that it is; none for an item of another kind.
struct ASCReviewSubmissionItem {
    ASCResource<ReviewSubmissionItemAttributes> item;
    std::optional<std::string> versionID;
    std::optional<std::string> kind = {}; // what it is, as App Store Connect names it: "appEvent"
    std::optional<std::string> name = {}; // of the version or the event that it is
    QUORVEL_RECORD(ASCReviewSubmissionItem, item, versionID, kind, name)

    /// Whether it was not taken out of the submission.
    [[nodiscard]] bool isIn() const {
        return item.attributes.state != "REMOVED" && !item.attributes.removed.value_or(false);
    }
    bool operator==(const ASCReviewSubmissionItem&) const = default;
};

struct CustomerReviewAttributes {
    std::optional<std::int64_t> rating;
    std::optional<std::string> title;
    std::optional<std::string> body;
    std::optional<std::string> reviewerNickname;
    std::optional<std::string> createdDate;
    std::optional<std::string> territory;
    QUORVEL_RECORD(CustomerReviewAttributes, rating, title, body, reviewerNickname, createdDate, territory)
    bool operator==(const CustomerReviewAttributes&) const = default;
};

struct CustomerReviewResponseAttributes {
    std::optional<std::string> responseBody;
    std::optional<std::string> lastModifiedDate;
    std::optional<std::string> state;
    QUORVEL_RECORD(CustomerReviewResponseAttributes, responseBody, lastModifiedDate, state)
    bool operator==(const CustomerReviewResponseAttributes&) const = default;
};

struct CustomerReviewResponseCreateAttributes {
    std::string responseBody;
    QUORVEL_RECORD(CustomerReviewResponseCreateAttributes, responseBody)
    bool operator==(const CustomerReviewResponseCreateAttributes&) const = default;
};

/// A customer review and whether a developer's response to it exists.
struct ASCCustomerReview {
    ASCResource<CustomerReviewAttributes> review;
    bool hasResponse = false;
    QUORVEL_RECORD(ASCCustomerReview, review, hasResponse)
    bool operator==(const ASCCustomerReview&) const = default;
};

} // namespace quorvel
