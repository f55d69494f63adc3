// Submitting versions to App Review.
#include "Sandbox/resources/Problem.h"
#include "Sandbox/rules/Completeness.h"
#include "Sandbox/rules/Events.h"
#include "Sandbox/rules/Rules.h"
#include "Sandbox/rules/VersionStates.h"

#include <fmt/format.h>

namespace quorvel::sandbox {
namespace {

std::vector<Resource*> versionsOf(World& world, const Resource& submission) {
    std::vector<Resource*> versions;
    for (const Resource* item : world.store.children(submission.id, "reviewSubmissionItems"))
        if (item->text("state") != "REMOVED")
            if (const auto id = item->link("appStoreVersion"); !id.empty())
                versions.push_back(world.store.find("appStoreVersions", id));
    return versions;
}

Resource& submit(World& world, Resource& submission) {
    const std::string state = submission.text("state");
    if (state != "READY_FOR_REVIEW" && state != "UNRESOLVED_ISSUES")
        throw Refusal(invalidState(submission.type, submission.id,
                                   fmt::format("A submission in the state {} can not be submitted.", state)));
    const auto versions = versionsOf(world, submission);
    if (versions.empty() && world.store.children(submission.id, "reviewSubmissionItems").empty())
        throw Refusal(
            invalidState(submission.type, submission.id, "The submission holds no items to review."));
    for (const Resource* version : versions)
        requireComplete(world, *version);
    submission.attributes.set("submittedDate", serviceDate(world.now()));
    submission.attributes.set("state", "WAITING_FOR_REVIEW");
    for (Resource* version : versions)
        moveVersion(world, *version, "WAITING_FOR_REVIEW");
    return submission;
}

Resource& cancel(World& world, Resource& submission) {
    const std::string state = submission.text("state");
    if (state == "COMPLETE" || state == "COMPLETING" || state == "CANCELING")
        throw Refusal(invalidState(submission.type, submission.id,
                                   fmt::format("A submission in the state {} can not be canceled.", state)));
    submission.hidden.set("wasSubmitted", state != "READY_FOR_REVIEW");
    submission.attributes.set("state", "CANCELING");
    for (const Resource* version : versionsOf(world, submission)) {
        world.forget(event::reviewBegins, version->id);
        world.forget(event::reviewEnds, version->id);
    }
    if (world.pace.cancellation > 0)
        world.after(world.pace.cancellation, event::submissionCanceled, submission.id);
    else
        finishCancellation(world, submission);
    return submission;
}

Answer createSubmission(World& world, const Change& change) {
    const Resource& app = change.relation("app");
    const std::string platform = change.text("platform").empty() ? "IOS" : change.text("platform");
    for (const Resource* other : world.store.children(app.id, "reviewSubmissions"))
        if (other->text("platform") == platform && other->text("state") != "COMPLETE")
            throw Refusal(stateConflict(
                fmt::format("There is another reviewSubmission with id {} still in progress.", other->id)));
    const Resource& made = world.store.add(
        "reviewSubmissions",
        JSONValue::object(
            {{"platform", platform}, {"submittedDate", nullptr}, {"state", "READY_FOR_REVIEW"}}),
        {{"app", app.id}});
    return {.status = 201, .resource = &made};
}

Answer addSubmissionItem(World& world, const Change& change) {
    Resource& submission = change.relation("reviewSubmission");
    if (submission.text("state") != "READY_FOR_REVIEW" && submission.text("state") != "UNRESOLVED_ISSUES")
        throw Refusal(invalidState(submission.type, submission.id, "Items can not be added to it any more."));
    const auto event = change.relations.find("appEvent");
    if (event != change.relations.end() && event->second) {
        const Resource& item =
            world.store.add("reviewSubmissionItems", JSONValue::object({{"state", "READY_FOR_REVIEW"}}),
                            {{"appEvent", event->second->id}, {"reviewSubmission", submission.id}});
        return {.status = 201, .resource = &item};
    }
    const auto found = change.relations.find("appStoreVersion");
    if (found == change.relations.end() || !found->second)
        throw Refusal(missingRelationship("appStoreVersion"));
    Resource& version = *found->second;
    if (version.link("app") != submission.link("app") ||
        version.text("platform") != submission.text("platform"))
        throw Refusal(invalidRelationship("appStoreVersion", "The version is of another app or platform."));
    for (const Resource* item : world.store.children(version.id, "reviewSubmissionItems")) {
        const Resource* other = world.store.find("reviewSubmissions", item->link("reviewSubmission"));
        if (item->text("state") != "REMOVED" && other && other->text("state") != "COMPLETE")
            throw Refusal(
                {.status = 409,
                 .code = "STATE_ERROR.ITEM_PART_OF_ANOTHER_SUBMISSION",
                 .title = "The item is already part of a submission.",
                 .detail = fmt::format(
                     "appStoreVersions with id {} was already added to another reviewSubmission with id {}",
                     version.id, other->id)});
    }
    requireEditable(version, version.type, version.id);
    requireComplete(world, version);
    const Resource& made =
        world.store.add("reviewSubmissionItems", JSONValue::object({{"state", "READY_FOR_REVIEW"}}),
                        {{"appStoreVersion", version.id}, {"reviewSubmission", submission.id}});
    world.store.link(submission, "appStoreVersionForReview", version.id);
    moveVersion(world, version, "READY_FOR_REVIEW");
    return {.status = 201, .resource = &made};
}

Answer removeSubmissionItem(World& world, const Change& change) {
    const Resource& item = *change.target;
    const Resource* submission = world.store.find("reviewSubmissions", item.link("reviewSubmission"));
    if (submission->text("state") != "READY_FOR_REVIEW" && submission->text("state") != "UNRESOLVED_ISSUES")
        throw Refusal(invalidState(item.type, item.id, "The item can not be removed any more."));
    Resource* version = world.store.find("appStoreVersions", item.link("appStoreVersion"));
    if (version && version->text("appStoreState") == "READY_FOR_REVIEW")
        moveVersion(world, *version, "PREPARE_FOR_SUBMISSION");
    world.store.remove(item.type, std::string(item.id));
    return {.status = 204};
}

Answer updateSubmission(World& world, const Change& change) {
    Resource& submission = *change.target;
    if (isTrue(change.given("canceled"))) return {.resource = &cancel(world, submission)};
    if (isTrue(change.given("submitted"))) return {.resource = &submit(world, submission)};
    if (change.given("platform") && change.text("platform") != submission.text("platform")) {
        if (!world.store.children(submission.id, "reviewSubmissionItems").empty())
            throw Refusal(lockedAttribute("platform"));
        submission.attributes.set("platform", change.text("platform"));
    }
    return {.resource = &submission};
}

constexpr RelationRule ofApp[] = {{"app", "apps"}};
constexpr RelationRule toSubmission[] = {
    {"reviewSubmission", "reviewSubmissions"},
    {"appStoreVersion", "appStoreVersions", RelationRule::Need::optional},
    {"appEvent", "appEvents", RelationRule::Need::optional}};

constexpr WriteOperation submissionRows[] = {
    {"POST", "/v1/reviewSubmissions", Form::create, "reviewSubmissions", createSubmission, ofApp},
    {"POST", "/v1/reviewSubmissionItems", Form::create, "reviewSubmissionItems", addSubmissionItem,
     toSubmission},
    {"DELETE", "/v1/reviewSubmissionItems/{id}", Form::remove, "reviewSubmissionItems", removeSubmissionItem},
    {"PATCH", "/v1/reviewSubmissions/{id}", Form::update, "reviewSubmissions", updateSubmission},
};

} // namespace

void finishCancellation(World& world, Resource& submission) {
    const bool wasSubmitted = isTrue(submission.hidden.find("wasSubmitted"));
    for (Resource* version : versionsOf(world, submission))
        moveVersion(world, *version, wasSubmitted ? "DEVELOPER_REJECTED" : "PREPARE_FOR_SUBMISSION");
    for (Resource* item : world.store.children(submission.id, "reviewSubmissionItems"))
        item->attributes.set("state", "REMOVED");
    submission.attributes.set("state", "COMPLETE");
}

std::span<const WriteOperation> submissionOperations() {
    return submissionRows;
}

} // namespace quorvel::sandbox
