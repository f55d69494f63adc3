#include "Core/asc/services/CustomerReviewService.h"

#include "Core/asc/operations/CustomerReviews.h"
#include "Core/asc/services/CreateOrAdopt.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <map>

namespace quorvel {

// Not in the unnamed namespace: clang takes no record there that holds an optional record.
namespace operations {

struct IncludedResponse {
    std::string id;
    std::optional<CustomerReviewResponseAttributes> attributes;
    QUORVEL_RECORD(IncludedResponse, id, attributes)
};

} // namespace operations

namespace {

using ReviewsWithResponses =
    ASCResponseWithIncluded<std::vector<operations::ReviewWithResponse>, operations::IncludedResponse>;
using ReviewAndResponse =
    ASCResponseWithIncluded<operations::ReviewWithResponse, operations::IncludedResponse>;

CustomerReview joinedReview(operations::ReviewWithResponse review,
                            const std::map<std::string, CustomerReviewResponseAttributes>& responses) {
    CustomerReview joined;
    if (const auto id = review.responseID()) {
        const auto found = responses.find(*id);
        joined.response = found == responses.end() ? CustomerReviewResponseAttributes{} : found->second;
    }
    joined.review = {std::move(review.id), std::move(review.type), std::move(review.attributes)};
    return joined;
}

std::map<std::string, CustomerReviewResponseAttributes>
responsesByID(const std::optional<std::vector<operations::IncludedResponse>>& included) {
    std::map<std::string, CustomerReviewResponseAttributes> responses;
    if (included)
        for (const auto& each : *included)
            if (each.attributes) responses[each.id] = *each.attributes;
    return responses;
}

std::string withPlainLineBreaks(std::string_view text) {
    std::string plain(trim(text));
    std::erase(plain, '\r');
    return plain;
}

} // namespace

bool isSameReply(std::string_view left, std::string_view right) {
    return withPlainLineBreaks(left) == withPlainLineBreaks(right);
}

void CustomerReviewService::read(std::string_view appID, const std::function<Reading(Page)>& visit) const {
    const auto take = [&](ReviewsWithResponses&& answer) {
        const auto responses = responsesByID(answer.included);
        Page page{.reviews = {}, .isLast = !answer.links || !answer.links->next, .total = {}};
        if (answer.meta && answer.meta->paging) page.total = answer.meta->paging->total;
        for (auto& review : answer.data)
            page.reviews.push_back(joinedReview(std::move(review), responses));
        return visit(std::move(page)) == Reading::stop ? operations::Paging::stop : operations::Paging::goOn;
    };
    operations::forEachPage<ReviewsWithResponses>(
        client_, operations::customerReviewsRequest(appID, ASCClientProtocol::Responses::include), {}, take);
}

std::optional<CustomerReview> CustomerReviewService::find(std::string_view reviewID) const {
    try {
        auto answer = client_.send<ReviewAndResponse>(
            ASCRequest::get(ascPath("customerReviews", reviewID), {{"include", "response"}}));
        return joinedReview(std::move(answer.data), responsesByID(answer.included));
    } catch (const ASCError& error) {
        if (error.kind() != ASCError::Kind::notFound) throw;
        return std::nullopt;
    }
}

CustomerReviewResponseAttributes CustomerReviewService::respond(std::string_view reviewID,
                                                                std::string_view text) const {
    try {
        return client_.createReviewResponse(reviewID, text).attributes;
    } catch (const ASCError& error) {
        if (!mayHaveBeenDone(error)) throw;
        std::optional<CustomerReview> now;
        try {
            now = find(reviewID);
        } catch (const ASCError&) { // the error of the response says more
        }
        if (!now || !now->response || !isSameReply(now->response->responseBody.value_or(""), text)) throw;
        return *now->response;
    }
}

} // namespace quorvel
