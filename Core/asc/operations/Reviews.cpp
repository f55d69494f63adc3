#include "Core/asc/operations/CustomerReviews.h"
#include "Core/asc/operations/Shapes.h"

namespace quorvel {

using namespace operations;

// Not in the unnamed namespace: clang takes no record there that holds an optional record.
namespace operations {

/// An item of a submission with the references to what it may be; one of them is set.
struct ItemOfSubmission {
    struct Relationships {
        std::optional<OptionalReference> appStoreVersion;
        std::optional<OptionalReference> appCustomProductPageVersion;
        std::optional<OptionalReference> appStoreVersionExperiment;
        std::optional<OptionalReference> appStoreVersionExperimentV2;
        std::optional<OptionalReference> appEvent;
        QUORVEL_RECORD(Relationships, appStoreVersion, appCustomProductPageVersion, appStoreVersionExperiment,
                       appStoreVersionExperimentV2, appEvent)
    };
    std::string id;
    std::string type;
    ReviewSubmissionItemAttributes attributes;
    std::optional<Relationships> relationships;
    QUORVEL_RECORD(ItemOfSubmission, id, type, attributes, relationships)
};

/// What an item is, with its name, which each kind has under another key.
struct NamedItem {
    struct Names {
        std::optional<std::string> versionString;
        std::optional<std::string> referenceName;
        std::optional<std::string> name;
        QUORVEL_RECORD(Names, versionString, referenceName, name)
    };
    std::string id;
    std::optional<Names> attributes;
    QUORVEL_RECORD(NamedItem, id, attributes)
};

} // namespace operations

namespace {

using ItemPage = ASCResponseWithIncluded<std::vector<ItemOfSubmission>, NamedItem>;
using ReviewPage = ASCResponse<std::vector<ReviewWithResponse>>;

constexpr std::string_view kindsOfItems =
    "appStoreVersion,appCustomProductPageVersion,appStoreVersionExperiment,appStoreVersionExperimentV2,"
    "appEvent";

std::optional<std::string> nameOf(const std::string& id, const ItemPage& page) {
    if (!page.included) return std::nullopt;
    const auto found = std::ranges::find(*page.included, id, &NamedItem::id);
    if (found == page.included->end() || !found->attributes) return std::nullopt;
    const auto& names = *found->attributes;
    return names.versionString ? names.versionString : names.referenceName ? names.referenceName : names.name;
}

ASCReviewSubmissionItem summaryOf(const ItemOfSubmission& item, const ItemPage& page) {
    ASCReviewSubmissionItem summary{{item.id, item.type, item.attributes}, std::nullopt};
    if (!item.relationships) return summary;
    const auto& related = *item.relationships;
    const auto take = [&](std::string_view kind, const std::optional<OptionalReference>& reference) {
        if (summary.kind || !reference || !reference->data) return;
        summary.kind = kind;
        summary.name = nameOf(reference->data->id, page);
    };
    take("appStoreVersion", related.appStoreVersion);
    if (summary.kind) summary.versionID = related.appStoreVersion->data->id;
    take("appCustomProductPageVersion", related.appCustomProductPageVersion);
    take("appStoreVersionExperiment", related.appStoreVersionExperiment);
    take("appStoreVersionExperimentV2", related.appStoreVersionExperimentV2);
    take("appEvent", related.appEvent);
    return summary;
}

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
                                          {{"include", kindsOfItems}, {"limit", limitFor()}}),
                          {}, [&](const ItemPage& page) {
                              for (const auto& item : page.data)
                                  items.push_back(summaryOf(item, page));
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

ASCResource<ReviewSubmissionAttributes>
ASCClientProtocol::cancelReviewSubmission(std::string_view submissionID) const {
    ASCRequest request =
        patchRequest("reviewSubmissions", submissionID, ReviewSubmissionCancelAttributes{true});
    request.repetition = Repetition::ofIdempotentMethods;
    return send<ASCResponse<ASCResource<ReviewSubmissionAttributes>>>(request).data;
}

void ASCClientProtocol::deleteReviewSubmissionItem(std::string_view itemID) const {
    (void)exchange(ASCRequest::remove(ascPath("reviewSubmissionItems", itemID)));
}

std::vector<ASCCustomerReview>
ASCClientProtocol::listCustomerReviews(std::string_view appID, Responses responses,
                                       std::optional<std::string_view> territory, ASCListBound bound) const {
    ASCRequest first = customerReviewsRequest(appID, responses, territory, bound);
    std::vector<ASCCustomerReview> reviews;
    forEachPage<ReviewPage>(*this, std::move(first), bound, [&](ReviewPage&& page) {
        for (auto& review : page.data) {
            const bool hasResponse = review.responseID().has_value();
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
