// The list of an app's customer reviews as it is asked for and answered.
#pragma once

#include "Core/asc/operations/Shapes.h"

namespace quorvel::operations {

/// A review with the reference that tells whether a response exists.
struct ReviewWithResponse {
    struct Relationships {
        std::optional<OptionalReference> response;
        QUORVEL_RECORD(Relationships, response)
    };
    std::string id;
    std::string type;
    CustomerReviewAttributes attributes;
    std::optional<Relationships> relationships;
    QUORVEL_RECORD(ReviewWithResponse, id, type, attributes, relationships)

    [[nodiscard]] std::optional<std::string> responseID() const {
        if (!relationships || !relationships->response || !relationships->response->data) return std::nullopt;
        return relationships->response->data->id;
    }
};

[[nodiscard]] inline ASCRequest customerReviewsRequest(std::string_view appID,
                                                       ASCClientProtocol::Responses responses,
                                                       std::optional<std::string_view> territory = {},
                                                       ASCListBound bound = {}) {
    const bool withResponses = responses == ASCClientProtocol::Responses::include;
    return ASCRequest::get(
        ascPath("apps", appID, "customerReviews"),
        {{"sort", "-createdDate"},
         {"include", withResponses ? std::optional<std::string_view>("response") : std::nullopt},
         {"filter[territory]", territory},
         {"limit", limitFor(bound)}});
}

} // namespace quorvel::operations
