#include "Core/asc/operations/Shapes.h"

namespace quorvel {

using namespace operations;

// Not in the unnamed namespace: clang takes no record there that holds an optional record.
namespace operations {

/// A review with the reference that tells whether a response exists.
struct ReviewWithResponse {
    struct OptionalIdentity {
        std::optional<ASCIdentity> data;
        QUORVEL_RECORD(OptionalIdentity, data)
    };
    struct Relationships {
        std::optional<OptionalIdentity> response;
        QUORVEL_RECORD(Relationships, response)
    };
    std::string id;
    std::string type;
    CustomerReviewAttributes attributes;
    std::optional<Relationships> relationships;
    QUORVEL_RECORD(ReviewWithResponse, id, type, attributes, relationships)

    [[nodiscard]] bool hasResponse() const {
        return relationships && relationships->response && relationships->response->data;
    }
};

} // namespace operations

namespace {

using ReviewPage = ASCResponse<std::vector<ReviewWithResponse>>;

} // namespace

ASCList<ReviewSubmissionAttributes>
ASCClientProtocol::listReviewSubmissions(std::string_view appID,
                                         const std::vector<ReviewSubmissionState>& states) const {
    std::vector<std::string_view> rawStates;
    for (const ReviewSubmissionState state : states)
        rawStates.push_back(rawValue(state));
    return listResources<ReviewSubmissionAttributes>(
        *this, "v1/reviewSubmissions",
        {{"filter[app]", appID}, {"filter[state]", joined(rawStates)}, {"limit", limitFor()}});
}

ASCResource<ReviewSubmissionAttributes>
ASCClientProtocol::createReviewSubmission(std::string_view appID, ASCPlatform platform) const {
    return createResource<ReviewSubmissionAttributes>(
        *this, "reviewSubmissions", ReviewSubmissionCreateAttributes{std::string(rawValue(platform))},
        {.app = relationTo("apps", appID)});
}

ASCResource<ReviewSubmissionItemAttributes>
ASCClientProtocol::addReviewSubmissionItem(std::string_view submissionID, std::string_view versionID) const {
    return createFrom<ReviewSubmissionItemAttributes>(
        *this, ASCRelationshipOnlyCreateEnvelope{
                   {"reviewSubmissionItems",
                    {.appStoreVersion = relationTo("appStoreVersions", versionID),
                     .reviewSubmission = relationTo("reviewSubmissions", submissionID)}}});
}

ASCResource<ReviewSubmissionAttributes>
ASCClientProtocol::submitReviewSubmission(std::string_view submissionID) const {
    return patchResource<ReviewSubmissionAttributes>(*this, "reviewSubmissions", submissionID,
                                                     ReviewSubmissionPatchAttributes{true});
}

std::vector<ASCCustomerReview>
ASCClientProtocol::listCustomerReviews(std::string_view appID, Responses responses,
                                       std::optional<std::string_view> territory, ASCListBound bound) const {
    const bool withResponses = responses == Responses::include;
    ASCRequest first = ASCRequest::get(
        ascPath("apps", appID, "customerReviews"),
        {{"sort", "-createdDate"},
         {"include", withResponses ? std::optional<std::string_view>("response") : std::nullopt},
         {"filter[territory]", territory},
         {"limit", limitFor(bound)}});
    std::vector<ASCCustomerReview> reviews;
    forEachPage<ReviewPage>(*this, std::move(first), bound, [&](ReviewPage&& page) {
        for (auto& review : page.data) {
            const bool hasResponse = review.hasResponse();
            reviews.push_back(
                {{std::move(review.id), std::move(review.type), std::move(review.attributes)}, hasResponse});
        }
        return reviews.size();
    });
    cutTo(bound, reviews);
    return reviews;
}

ASCResource<CustomerReviewResponseAttributes>
ASCClientProtocol::createReviewResponse(std::string_view reviewID, std::string_view responseBody) const {
    return createResource<CustomerReviewResponseAttributes>(
        *this, "customerReviewResponses", CustomerReviewResponseCreateAttributes{std::string(responseBody)},
        {.review = relationTo("customerReviews", reviewID)});
}

} // namespace quorvel
