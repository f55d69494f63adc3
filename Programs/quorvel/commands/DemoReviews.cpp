#include "Programs/quorvel/commands/DemoReviews.h"

namespace quorvel {

namespace {

constexpr std::string_view answeredTitle = "Lovely but slow";

std::string attributeOf(const JSONValue& resource, std::string_view name) {
    const JSONValue* value = resource.at("attributes", name);
    return value && value->text() ? *value->text() : "";
}

const JSONValue::Object* resourcesOf(const JSONValue& state, std::string_view type) {
    const JSONValue* resources = state.find(type);
    return resources ? resources->members() : nullptr;
}

// The newest review with the title; empty when there is none.
std::string reviewToAnswer(const JSONValue& state) {
    std::string newest, id;
    if (const auto* reviews = resourcesOf(state, "customerReviews"))
        for (const auto& [reviewID, review] : *reviews)
            if (attributeOf(review, "title") == answeredTitle &&
                attributeOf(review, "createdDate") > newest) {
                newest = attributeOf(review, "createdDate");
                id = reviewID;
            }
    return id;
}

std::string pendingAnswer(const JSONValue& state) {
    if (const auto* responses = resourcesOf(state, "customerReviewResponses"))
        for (const auto& [id, response] : *responses)
            if (attributeOf(response, "state") == "PENDING_PUBLISH")
                return attributeOf(response, "responseBody");
    return {};
}

} // namespace

std::string playReviews(DemoStage& stage, const std::string& app) {
    stage.step("Reviews",
               "What do customers say? The newest reviews come down, in whatever language they are "
               "written, and AI sorts them by sentiment and themes:");
    stage.command({"reviews", "refresh", "--app", app, "--yes"});
    stage.command({"reviews", "stats", "--app", app});
    stage.tell(
        "A reply is drafted in the language of the review. It states only what the review and this note "
        "say, and nothing is published yet:");
    const std::string review = reviewToAnswer(stage.server().state());
    stage.command({"reviews", "draft", review, "--app", app, "--note", "Photos open faster in version 3.5."});
    stage.tell("Once somebody has read it, it is sent:");
    stage.command({"reviews", "reply", review, "--app", app, "--draft", "--yes"});
    return pendingAnswer(stage.server().state());
}

} // namespace quorvel
