// What belongs to a store page beside its texts: age rating and what App Review reads.
#include "Sandbox/resources/Problem.h"
#include "Sandbox/resources/Schema.h"
#include "Sandbox/rules/Rules.h"
#include "Sandbox/rules/VersionStates.h"

namespace quorvel::sandbox {
namespace {

// Sets what was sent; an empty text clears.
void applyValues(Resource& resource, const JSONValue& attributes) {
    for (const auto& [name, value] : *attributes.members())
        resource.attributes.set(name, value.text() && value.text()->empty() ? JSONValue() : value);
}

JSONValue nullsFor(std::string_view type) {
    JSONValue attributes = JSONValue::object();
    for (const Attribute& attribute : attributesOf(type))
        attributes.set(attribute.name, nullptr);
    return attributes;
}

Answer createReviewDetail(World& world, const Change& change) {
    const Resource& version = change.relation("appStoreVersion");
    requireEditable(version, version.type, version.id);
    if (world.store.child(version.id, "appStoreReviewDetails"))
        throw Refusal(invalidRelationship("appStoreVersion", "The version already has review details."));
    Resource& made = world.store.add("appStoreReviewDetails", nullsFor("appStoreReviewDetails"),
                                     {{"appStoreVersion", version.id}});
    applyValues(made, change.attributes);
    return {.status = 201, .resource = &made};
}

Answer updateReviewDetail(World& world, const Change& change) {
    const Resource& version = *world.store.find("appStoreVersions", change.target->link("appStoreVersion"));
    requireEditable(version, change.target->type, change.target->id);
    applyValues(*change.target, change.attributes);
    return {.resource = change.target};
}

Answer updateAgeRating(World& world, const Change& change) {
    const Resource& info = *world.store.find("appInfos", change.target->link("appInfo"));
    requireEditable(info, change.target->type, change.target->id);
    applyValues(*change.target, change.attributes);
    return {.resource = change.target};
}

constexpr RelationRule ofReviewedVersion[] = {{"appStoreVersion", "appStoreVersions"}};

constexpr WriteOperation pageRows[] = {
    {"POST", "/v1/appStoreReviewDetails", Form::create, "appStoreReviewDetails", createReviewDetail,
     ofReviewedVersion},
    {"PATCH", "/v1/appStoreReviewDetails/{id}", Form::update, "appStoreReviewDetails", updateReviewDetail},
    {"PATCH", "/v1/ageRatingDeclarations/{id}", Form::update, "ageRatingDeclarations", updateAgeRating},
};

} // namespace

void deriveAgeRating(World& world, Resource& appInfo) {
    if (world.store.child(appInfo.id, "ageRatingDeclarations")) return;
    JSONValue attributes = nullsFor("ageRatingDeclarations");
    for (const Resource* other : world.store.children(appInfo.link("app"), "appInfos"))
        if (const Resource* answered = world.store.child(other->id, "ageRatingDeclarations"))
            attributes = answered->attributes;
    world.store.add("ageRatingDeclarations", std::move(attributes), {{"appInfo", appInfo.id}});
}

std::span<const WriteOperation> pageOperations() {
    return pageRows;
}

} // namespace quorvel::sandbox
