#include "Sandbox/rules/Events.h"

#include "Sandbox/rules/Analytics.h"
#include "Sandbox/rules/Previews.h"
#include "Sandbox/rules/Rules.h"
#include "Sandbox/rules/Screenshots.h"
#include "Sandbox/rules/VersionStates.h"

#include <algorithm>

namespace quorvel::sandbox {
namespace {

constexpr int phasedDays = 7;

void finishReview(World& world, Resource& version) {
    const std::string releaseType = version.text("releaseType");
    if (releaseType == "MANUAL") return moveVersion(world, version, "PENDING_DEVELOPER_RELEASE");
    const auto release = parseISO8601(version.text("earliestReleaseDate"));
    if (releaseType == "SCHEDULED" && release && *release > world.now()) {
        moveVersion(world, version, "PENDING_APPLE_RELEASE");
        world.after(secondsSince1970(*release) - secondsSince1970(world.now()), event::goesLive, version.id);
        return;
    }
    moveVersion(world, version, "PROCESSING_FOR_APP_STORE");
}

void advancePhasedRelease(World& world, Resource& phased) {
    const JSONValue* day = phased.attributes.find("currentDayNumber");
    const std::int64_t next = day && day->integer() ? *day->integer() + 1 : 1;
    if (next > phasedDays) {
        phased.attributes.set("phasedReleaseState", "COMPLETE");
        return;
    }
    phased.attributes.set("currentDayNumber", next);
    world.after(event::day, event::phasedDay, phased.id);
}

struct Action {
    std::string_view name;
    std::string_view type;
    void (*carryOut)(World&, Resource&);
};

constexpr Action actions[] = {
    {event::buildProcessed, "builds",
     [](World&, Resource& build) {
         const JSONValue* outcome = build.hidden.find("processingState");
         build.attributes.set("processingState", outcome ? *outcome : JSONValue("VALID"));
     }},
    {event::screenshotProcessed, "appScreenshots", completeScreenshot},
    {event::previewUploaded, "appPreviews", beginPreviewProcessing},
    {event::previewProcessed, "appPreviews", completePreview},
    {event::reviewBegins, "appStoreVersions",
     [](World& world, Resource& version) { moveVersion(world, version, "IN_REVIEW"); }},
    {event::reviewEnds, "appStoreVersions", finishReview},
    {event::goesLive, "appStoreVersions",
     [](World& world, Resource& version) { moveVersion(world, version, "READY_FOR_SALE"); }},
    {event::phasedDay, "appStoreVersionPhasedReleases", advancePhasedRelease},
    {event::betaApproved, "betaAppReviewSubmissions",
     [](World&, Resource& submission) { submission.attributes.set("betaReviewState", "APPROVED"); }},
    {event::submissionCanceled, "reviewSubmissions", finishCancellation},
    {event::responsePublished, "customerReviewResponses",
     [](World&, Resource& response) { response.attributes.set("state", "PUBLISHED"); }},
    {event::reportsReady, "analyticsReportRequests",
     [](World& world, Resource& request) { produceReports(world, request); }},
};

} // namespace

void carryOut(World& world, const Event& event) {
    const auto action = std::ranges::find(actions, event.action, &Action::name);
    if (action == std::end(actions)) return;
    if (Resource* resource = world.store.find(action->type, event.id)) action->carryOut(world, *resource);
}

} // namespace quorvel::sandbox
