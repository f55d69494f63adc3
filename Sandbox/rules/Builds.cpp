// Builds and their testing.
#include "Sandbox/resources/Problem.h"
#include "Sandbox/rules/Events.h"
#include "Sandbox/rules/Rules.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel::sandbox {
namespace {

void requireTestable(const Resource& build) {
    if (build.text("processingState") != "VALID" || isTrue(build.attributes.find("expired")))
        throw Refusal(
            invalidState(build.type, build.id, "Only a processed build that has not expired can be tested."));
    if (build.attributes.find("usesNonExemptEncryption")->isNull())
        throw Refusal(invalidState(build.type, build.id, "The build is missing its export compliance."));
}

Answer updateBuild(World&, const Change& change) {
    Resource& build = *change.target;
    const JSONValue* encryption = change.given("usesNonExemptEncryption");
    const JSONValue* expired = change.given("expired");
    if (encryption && !build.attributes.find("usesNonExemptEncryption")->isNull())
        throw Refusal(
            invalidAttribute("usesNonExemptEncryption", "You cannot update when the value is already set."));
    if (expired && !isTrue(expired) && isTrue(build.attributes.find("expired")))
        throw Refusal(invalidAttribute("expired", "An expired build can not be made available again."));
    if (encryption) build.attributes.set("usesNonExemptEncryption", *encryption);
    if (isTrue(expired)) build.attributes.set("expired", true);
    return {.resource = &build};
}

Answer addBuildsToGroup(World& world, const Change& change) {
    Resource& group = *change.target;
    if (isTrue(group.attributes.find("hasAccessToAllBuilds")))
        throw Refusal({.status = 422,
                       .code = "ENTITY_UNPROCESSABLE",
                       .title = "Builds cannot be assigned to this internal group.",
                       .detail = "Cannot add internal group to a build."});
    for (const std::string& id : change.ids) {
        const Resource& build = *world.store.find("builds", id);
        if (build.link("app") != group.link("app"))
            throw Refusal(invalidRelationship("builds", "The build belongs to another app."));
        requireTestable(build);
    }
    std::vector<std::string>& builds = group.members["builds"];
    for (const std::string& id : change.ids)
        if (std::ranges::find(builds, id) == builds.end()) builds.push_back(id);
    return {.status = 204};
}

Answer createBetaBuildLocalization(World& world, const Change& change) {
    const Resource& build = change.relation("build");
    const std::string locale = change.text("locale");
    for (const Resource* other : world.store.children(build.id, "betaBuildLocalizations"))
        if (other->text("locale") == locale)
            throw Refusal(duplicate(
                "locale", fmt::format("Entity with locale: '{}' already exists. Try updating.", locale)));
    const JSONValue* notes = change.given("whatsNew");
    const Resource& made =
        world.store.add("betaBuildLocalizations",
                        JSONValue::object({{"whatsNew", notes ? *notes : JSONValue()}, {"locale", locale}}),
                        {{"build", build.id}});
    return {.status = 201, .resource = &made};
}

Answer updateBetaBuildLocalization(World&, const Change& change) {
    if (const JSONValue* notes = change.given("whatsNew")) change.target->attributes.set("whatsNew", *notes);
    return {.resource = change.target};
}

Answer submitForBetaReview(World& world, const Change& change) {
    const Resource& build = change.relation("build");
    requireTestable(build);
    if (std::ranges::none_of(world.store.children(build.id, "betaBuildLocalizations"),
                             [](const Resource* notes) { return !notes->text("whatsNew").empty(); }))
        throw Refusal({.status = 422,
                       .code = "ENTITY_UNPROCESSABLE.BETA_REVIEW_INFORMATION_MISSING",
                       .title = "Beta App Review information is missing.",
                       .detail = "You must tell external testers what to test before you submit a build."});
    for (const Resource* other : world.store.children(build.link("app"), "builds")) {
        const Resource* submission = world.store.child(other->id, "betaAppReviewSubmissions");
        if (!submission) continue;
        if (other == &build)
            throw Refusal(
                invalidState(build.type, build.id, "The build was already submitted for beta review."));
        const bool sameTrain = other->link("preReleaseVersion") == build.link("preReleaseVersion");
        if (sameTrain && submission->text("betaReviewState") != "APPROVED" &&
            submission->text("betaReviewState") != "REJECTED")
            throw Refusal({.status = 422,
                           .code = "ENTITY_UNPROCESSABLE.ANOTHER_BUILD_IN_REVIEW",
                           .title = "Another build is in review.",
                           .detail = "Another build of this version is already in beta review."});
    }
    const Resource& made = world.store.add("betaAppReviewSubmissions",
                                           JSONValue::object({{"betaReviewState", "WAITING_FOR_REVIEW"},
                                                              {"submittedDate", serviceDate(world.now())}}),
                                           {{"build", build.id}});
    world.after(event::betaReview, event::betaApproved, made.id);
    return {.status = 201, .resource = &made};
}

constexpr RelationRule ofBuild[] = {{"build", "builds"}};

constexpr WriteOperation buildRows[] = {
    {"PATCH", "/v1/builds/{id}", Form::update, "builds", updateBuild},
    {"POST",
     "/v1/betaGroups/{id}/relationships/builds",
     Form::linkMany,
     "builds",
     addBuildsToGroup,
     {},
     "betaGroups"},
    {"POST", "/v1/betaBuildLocalizations", Form::create, "betaBuildLocalizations",
     createBetaBuildLocalization, ofBuild},
    {"PATCH", "/v1/betaBuildLocalizations/{id}", Form::update, "betaBuildLocalizations",
     updateBetaBuildLocalization},
    {"POST", "/v1/betaAppReviewSubmissions", Form::create, "betaAppReviewSubmissions", submitForBetaReview,
     ofBuild},
};

} // namespace

std::span<const WriteOperation> buildOperations() {
    return buildRows;
}

} // namespace quorvel::sandbox
