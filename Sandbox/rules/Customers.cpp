// Answers to reviews, and requests for analytics reports.
#include "Sandbox/resources/Problem.h"
#include "Sandbox/rules/Analytics.h"
#include "Sandbox/rules/Events.h"
#include "Sandbox/rules/Rules.h"

#include <fmt/format.h>

namespace quorvel::sandbox {
namespace {

Answer createReviewResponse(World& world, const Change& change) {
    const Resource& review = change.relation("review");
    JSONValue attributes = JSONValue::object({{"responseBody", change.text("responseBody")},
                                              {"lastModifiedDate", serviceDate(world.now())},
                                              {"state", "PENDING_PUBLISH"}});
    Resource* response = world.store.child(review.id, "customerReviewResponses");
    if (response)
        response->attributes = std::move(attributes); // the service keeps one response and replaces it
    else
        response =
            &world.store.add("customerReviewResponses", std::move(attributes), {{"review", review.id}});
    world.forget(event::responsePublished, response->id);
    world.after(event::day, event::responsePublished, response->id);
    return {.status = 201, .resource = response};
}

Answer createAnalyticsRequest(World& world, const Change& change) {
    const Resource& app = change.relation("app");
    const std::string accessType = change.text("accessType");
    for (const Resource* other : world.store.children(app.id, "analyticsReportRequests"))
        if (other->text("accessType") == accessType)
            throw Refusal(stateConflict(fmt::format(
                "You already have such an entity: a request with the access type {}.", accessType)));
    const Resource& made =
        world.store.add("analyticsReportRequests",
                        JSONValue::object({{"accessType", accessType}, {"stoppedDueToInactivity", false}}),
                        {{"app", app.id}});
    world.after(event::day, event::reportsReady, made.id);
    return {.status = 201, .resource = &made};
}

constexpr RelationRule toReview[] = {{"review", "customerReviews"}};
constexpr RelationRule toReportedApp[] = {{"app", "apps"}};

constexpr WriteOperation customerRows[] = {
    {"POST", "/v1/customerReviewResponses", Form::create, "customerReviewResponses", createReviewResponse,
     toReview},
    {"POST", "/v1/analyticsReportRequests", Form::create, "analyticsReportRequests", createAnalyticsRequest,
     toReportedApp},
};

} // namespace

std::span<const WriteOperation> customerOperations() {
    return customerRows;
}

} // namespace quorvel::sandbox
