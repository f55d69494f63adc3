#include "Core/asc/operations/Shapes.h"

namespace quorvel {

using namespace operations;

// Not in the unnamed namespace: clang takes no record there that holds an optional record.
namespace operations {

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

    [[nodiscard]] bool hasResponse() const {
        return relationships && relationships->response && relationships->response->data;
    }
};

/// An item of a submission with the reference to the version that it is.
struct ItemWithVersion {
    struct Relationships {
        std::optional<OptionalReference> appStoreVersion;
        QUORVEL_RECORD(Relationships, appStoreVersion)
    };
    std::string id;
    std::string type;
    ReviewSubmissionItemAttributes attributes;
    std::optional<Relationships> relationships;
    QUORVEL_RECORD(ItemWithVersion, id, type, attributes, relationships)

    [[nodiscard]] std::optional<std::string> versionID() const {
        if (!relationships || !relationships->appStoreVersion || !relationships->appStoreVersion->data)
            return std::nullopt;
        return relationships->appStoreVersion->data->id;
    }
};

} // namespace operations

namespace {

using ItemPage = ASCResponse<std::vector<ItemWithVersion>>;
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

std::vector<ASCReviewSubmissionItem>
ASCClientProtocol::listReviewSubmissionItems(std::string_view submissionID) const {
    std::vector<ASCReviewSubmissionItem> items;
    forEachPage<ItemPage>(*this,
                          ASCRequest::get(ascPath("reviewSubmissions", submissionID, "items"),
                                          {{"include", "appStoreVersion"}, {"limit", limitFor()}}),
                          {}, [&](ItemPage&& page) {
                              for (auto& item : page.data) {
                                  auto versionID = item.versionID();
                                  items.push_back(
                                      {{std::move(item.id), std::move(item.type), std::move(item.attributes)},
                                       std::move(versionID)});
                              }
                          });
    return items;
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
    ASCRequest request =
        patchRequest("reviewSubmissions", submissionID, ReviewSubmissionPatchAttributes{true});
    request.repetition = Repetition::ofIdempotentMethods;
    return send<ASCResponse<ASCResource<ReviewSubmissionAttributes>>>(request).data;
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
