// Testers, their groups, and what a build is to them.
#include "Platform/text/Text.h"
#include "Sandbox/resources/Problem.h"
#include "Sandbox/rules/Rules.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel::sandbox {
namespace {

// The team's members are those with an address of the studio.
constexpr std::string_view teamAddress = "@fernhollow.example";

bool hasMember(const Resource& group, std::string_view name, const std::string& id) {
    const auto members = group.members.find(name);
    return members != group.members.end() && std::ranges::find(members->second, id) != members->second.end();
}

Answer createBetaGroup(World& world, const Change& change) {
    const Resource& app = change.relation("app");
    const std::string name = change.text("name");
    for (const Resource* other : world.store.children(app.id, "betaGroups"))
        if (other->text("name") == name)
            throw Refusal(duplicate("name", fmt::format("A group with the name '{}' already exists.", name)));
    const bool isInternal = isTrue(change.given("isInternalGroup"));
    if (isTrue(change.given("hasAccessToAllBuilds")) && !isInternal)
        throw Refusal(invalidAttribute("hasAccessToAllBuilds", "Only internal groups get all builds."));
    if (isTrue(change.given("publicLinkEnabled")) && isInternal)
        throw Refusal(invalidAttribute("publicLinkEnabled", "Only external groups have a public link."));
    JSONValue attributes = JSONValue::object({{"name", name},
                                              {"createdDate", serviceDate(world.now())},
                                              {"isInternalGroup", isInternal},
                                              {"hasAccessToAllBuilds", false},
                                              {"publicLinkEnabled", false},
                                              {"publicLinkId", nullptr},
                                              {"publicLinkLimitEnabled", false},
                                              {"publicLinkLimit", nullptr},
                                              {"publicLink", nullptr},
                                              {"feedbackEnabled", true}});
    for (const auto& [attribute, value] : *change.attributes.members())
        if (!value.isNull()) attributes.set(attribute, value);
    const Resource& made = world.store.add("betaGroups", std::move(attributes), {{"app", app.id}});
    return {.status = 201, .resource = &made};
}

Answer removeBuildsFromGroup(World&, const Change& change) {
    std::vector<std::string>& builds = change.target->members["builds"];
    for (const std::string& id : change.ids)
        std::erase(builds, id);
    return {.status = 204};
}

/// An address that the account knows already joins the groups.
Answer createBetaTester(World& world, const Change& change) {
    const std::string email = asciiLowercase(change.text("email"));
    Resource* known = nullptr;
    for (Resource* tester : world.store.all("betaTesters"))
        if (asciiLowercase(tester->text("email")) == email) known = tester;
    const auto groups = change.lists.find("betaGroups");
    if (groups == change.lists.end()) throw Refusal(missingRelationship("betaGroups"));
    for (const Resource* group : groups->second) {
        if (isTrue(group->attributes.find("isInternalGroup")) && !email.ends_with(teamAddress))
            throw Refusal({.status = 409,
                           .code = "STATE_ERROR.TESTER_INVITE.NOT_A_MEMBER",
                           .title = "Tester(s) cannot be assigned.",
                           .detail = "Internal testers must be members of your team on App Store Connect."});
        if (known && hasMember(*group, "betaTesters", known->id))
            throw Refusal(duplicate("email", fmt::format("{} is a tester of this group already.", email)));
    }
    if (!known)
        known = &world.store.add("betaTesters", JSONValue::object({{"firstName", change.text("firstName")},
                                                                   {"lastName", change.text("lastName")},
                                                                   {"email", change.text("email")},
                                                                   {"inviteType", "EMAIL"},
                                                                   {"state", "NOT_INVITED"}}));
    for (Resource* group : groups->second)
        group->members["betaTesters"].push_back(known->id);
    return {.status = 201, .resource = known};
}

Answer updateBetaDetail(World&, const Change& change) {
    if (const JSONValue* notify = change.given("autoNotifyEnabled"); notify && !notify->isNull())
        change.target->attributes.set("autoNotifyEnabled", *notify);
    return {.resource = change.target};
}

constexpr RelationRule toApp[] = {{"app", "apps"}};
constexpr RelationRule toGroups[] = {{"betaGroups", "betaGroups", RelationRule::Need::many}};

constexpr WriteOperation testerRows[] = {
    {"POST", "/v1/betaGroups", Form::create, "betaGroups", createBetaGroup, toApp},
    {"DELETE",
     "/v1/betaGroups/{id}/relationships/builds",
     Form::linkMany,
     "builds",
     removeBuildsFromGroup,
     {},
     "betaGroups"},
    {"POST", "/v1/betaTesters", Form::create, "betaTesters", createBetaTester, toGroups},
    {"PATCH", "/v1/buildBetaDetails/{id}", Form::update, "buildBetaDetails", updateBetaDetail},
};

struct BetaStates {
    std::string_view internal, external;
};

// What holds for internal and external testers alike; empty when the build can be tested.
std::string_view hindranceOf(const Resource& build) {
    const std::string processing = build.text("processingState");
    if (processing == "PROCESSING") return "PROCESSING";
    if (processing != "VALID") return "PROCESSING_EXCEPTION";
    if (isTrue(build.attributes.find("expired"))) return "EXPIRED";
    if (build.attributes.find("usesNonExemptEncryption")->isNull()) return "MISSING_EXPORT_COMPLIANCE";
    return "";
}

bool isInGroup(const World& world, const Resource& build, bool isInternal) {
    return std::ranges::any_of(world.store.children(build.link("app"), "betaGroups"), [&](const auto* group) {
        return isTrue(group->attributes.find("isInternalGroup")) == isInternal &&
               (hasMember(*group, "builds", build.id) ||
                isTrue(group->attributes.find("hasAccessToAllBuilds")));
    });
}

BetaStates betaStatesOf(const World& world, const Resource& build) {
    if (const std::string_view hindrance = hindranceOf(build); !hindrance.empty())
        return {hindrance, hindrance};
    BetaStates states{isInGroup(world, build, true) ? "IN_BETA_TESTING" : "READY_FOR_BETA_TESTING",
                      "READY_FOR_BETA_SUBMISSION"};
    const Resource* submission = world.store.child(build.id, "betaAppReviewSubmissions");
    const std::string review = submission ? submission->text("betaReviewState") : "";
    if (review == "WAITING_FOR_REVIEW") states.external = "WAITING_FOR_BETA_REVIEW";
    if (review == "IN_REVIEW") states.external = "IN_BETA_REVIEW";
    if (review == "REJECTED") states.external = "BETA_REJECTED";
    if (review == "APPROVED")
        states.external = isInGroup(world, build, false) ? "IN_BETA_TESTING" : "BETA_APPROVED";
    return states;
}

} // namespace

void deriveBetaDetail(World& world, Resource& build) {
    Resource* detail = world.store.child(build.id, "buildBetaDetails");
    if (!detail)
        detail = &world.store.add("buildBetaDetails", JSONValue::object({{"autoNotifyEnabled", false}}),
                                  {{"build", build.id}}, build.id);
    const BetaStates states = betaStatesOf(world, build);
    detail->attributes.set("internalBuildState", states.internal);
    detail->attributes.set("externalBuildState", states.external);
}

std::span<const WriteOperation> testerOperations() {
    return testerRows;
}

} // namespace quorvel::sandbox
