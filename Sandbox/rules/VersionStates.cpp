#include "Sandbox/rules/VersionStates.h"

#include "Sandbox/resources/Problem.h"
#include "Sandbox/resources/Schema.h"
#include "Sandbox/rules/Events.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel::sandbox {
namespace {

constexpr std::string_view editableStates =
    "PREPARE_FOR_SUBMISSION|DEVELOPER_REJECTED|REJECTED|METADATA_REJECTED|INVALID_BINARY";
constexpr std::string_view releasedStates = "READY_FOR_SALE|REPLACED_WITH_NEW_VERSION|REMOVED_FROM_SALE|"
                                            "DEVELOPER_REMOVED_FROM_SALE|PREORDER_READY_FOR_SALE";

/// What follows from a version's state elsewhere. Empty: unchanged.
struct Consequence {
    std::string_view state;
    std::string_view appInfoState;
    std::string_view submissionState;
    std::string_view itemState;
};
constexpr Consequence consequences[] = {
    {"PREPARE_FOR_SUBMISSION", "PREPARE_FOR_SUBMISSION", "", ""},
    {"READY_FOR_REVIEW", "READY_FOR_REVIEW", "READY_FOR_REVIEW", "READY_FOR_REVIEW"},
    {"WAITING_FOR_REVIEW", "WAITING_FOR_REVIEW", "WAITING_FOR_REVIEW", "READY_FOR_REVIEW"},
    {"WAITING_FOR_EXPORT_COMPLIANCE", "WAITING_FOR_REVIEW", "WAITING_FOR_REVIEW", ""},
    {"IN_REVIEW", "IN_REVIEW", "IN_REVIEW", ""},
    {"REJECTED", "REJECTED", "UNRESOLVED_ISSUES", "REJECTED"},
    {"METADATA_REJECTED", "REJECTED", "UNRESOLVED_ISSUES", "REJECTED"},
    {"INVALID_BINARY", "REJECTED", "UNRESOLVED_ISSUES", "REJECTED"},
    {"DEVELOPER_REJECTED", "DEVELOPER_REJECTED", "COMPLETE", "REMOVED"},
    {"ACCEPTED", "ACCEPTED", "COMPLETE", "APPROVED"},
    {"PENDING_CONTRACT", "PENDING_RELEASE", "COMPLETE", "APPROVED"},
    {"PENDING_DEVELOPER_RELEASE", "PENDING_RELEASE", "COMPLETE", "APPROVED"},
    {"PENDING_APPLE_RELEASE", "PENDING_RELEASE", "COMPLETE", "APPROVED"},
    {"PROCESSING_FOR_APP_STORE", "PENDING_RELEASE", "COMPLETE", "APPROVED"},
    {"READY_FOR_SALE", "", "COMPLETE", "APPROVED"},
};

void setAppInfoState(Resource& info, std::string_view state, std::string_view appStoreState) {
    info.attributes.set("state", state);
    info.attributes.set("appStoreState", appStoreState);
}

void copyLocalizations(World& world, const Resource& from, const Resource& to) {
    const auto replaced = world.store.children(to.id, "appInfoLocalizations");
    for (const Resource* old : std::vector<Resource*>(replaced))
        world.store.remove(old->type, old->id);
    const auto originals = world.store.children(from.id, "appInfoLocalizations");
    for (const Resource* original : std::vector<Resource*>(originals))
        world.store.add("appInfoLocalizations", original->attributes, {{"appInfo", to.id}});
}

void removeAppInfo(World& world, const Resource& info) {
    const std::vector<Resource*> localizations = world.store.children(info.id, "appInfoLocalizations");
    for (const Resource* localization : localizations)
        world.store.remove(localization->type, localization->id);
    world.store.remove(info.type, std::string(info.id));
}

/// The edited information becomes the live one; a version of another platform that is still edited keeps a
/// copy of it.
void publishAppInfo(World& world, const std::string& appID) {
    Resource* edited = nullptr;
    for (Resource* info : world.store.children(appID, "appInfos"))
        if (info->text("appStoreState") != "READY_FOR_SALE") edited = info;
    if (!edited) return;
    Resource* live = liveAppInfo(world, appID);
    const auto& versions = world.store.children(appID, "appStoreVersions");
    const bool stillEdited = std::ranges::any_of(
        versions, [](const Resource* version) { return isEditable(version->text("appStoreState")); });
    if (stillEdited && live) {
        copyLocalizations(world, *edited, *live);
        setAppInfoState(*edited, "PREPARE_FOR_SUBMISSION", "PREPARE_FOR_SUBMISSION");
        return;
    }
    if (live) removeAppInfo(world, *live);
    setAppInfoState(*edited, "READY_FOR_DISTRIBUTION", "READY_FOR_SALE");
    const Resource* app = world.store.find("apps", appID);
    if (stillEdited && app) ensureEditableAppInfo(world, *app);
}

void goLive(World& world, Resource& version) {
    const std::string appID = version.link("app");
    for (Resource* other : world.store.children(appID, "appStoreVersions"))
        if (other != &version && other->text("platform") == version.text("platform") &&
            other->text("appStoreState") == "READY_FOR_SALE") {
            other->attributes.set("appStoreState", "REPLACED_WITH_NEW_VERSION");
            other->attributes.set("appVersionState", "REPLACED_WITH_NEW_VERSION");
        }
    publishAppInfo(world, appID);
    if (Resource* phased = world.store.child(version.id, "appStoreVersionPhasedReleases")) {
        phased->attributes.set("phasedReleaseState", "ACTIVE");
        phased->attributes.set("startDate", serviceDate(world.now()));
        phased->attributes.set("currentDayNumber", 1);
        world.after(event::day, event::phasedDay, phased->id);
    }
}

void followSubmission(World& world, const Resource& version, const Consequence& consequence) {
    if (consequence.submissionState.empty()) return;
    for (Resource* item : world.store.children(version.id, "reviewSubmissionItems")) {
        Resource* submission = world.store.find("reviewSubmissions", item->link("reviewSubmission"));
        if (!submission || submission->text("state") == "COMPLETE") continue;
        submission->attributes.set("state", consequence.submissionState);
        if (!consequence.itemState.empty()) item->attributes.set("state", consequence.itemState);
    }
}

} // namespace

bool isEditable(std::string_view state) {
    return isChoice(editableStates, state);
}
bool wasReleased(std::string_view state) {
    return isChoice(releasedStates, state);
}
bool isVersionState(std::string_view state) {
    return isChoice(choices::appStoreStates, state);
}

std::string appVersionState(std::string_view state) {
    if (state == "READY_FOR_SALE" || state == "PREORDER_READY_FOR_SALE") return "READY_FOR_DISTRIBUTION";
    if (state == "PROCESSING_FOR_APP_STORE") return "PROCESSING_FOR_DISTRIBUTION";
    if (state == "PENDING_CONTRACT") return "PENDING_DEVELOPER_RELEASE";
    if (isChoice(choices::appVersionStates, state)) return std::string(state);
    return "READY_FOR_DISTRIBUTION"; // removed from sale and the like
}

void moveVersion(World& world, Resource& version, std::string_view state) {
    for (const std::string_view action : {event::reviewBegins, event::reviewEnds, event::goesLive})
        world.forget(action, version.id);
    version.attributes.set("appStoreState", state);
    version.attributes.set("appVersionState", appVersionState(state));
    const auto consequence = std::ranges::find(consequences, state, &Consequence::state);
    if (consequence != std::end(consequences)) {
        followSubmission(world, version, *consequence);
        Resource* live = liveAppInfo(world, version.link("app"));
        for (Resource* info : world.store.children(version.link("app"), "appInfos"))
            if (info != live && !consequence->appInfoState.empty())
                setAppInfoState(*info, consequence->appInfoState, state);
    }
    if (state == "READY_FOR_SALE") goLive(world, version);
    if (state == "WAITING_FOR_REVIEW") world.after(event::reviewQueue, event::reviewBegins, version.id);
    if (state == "IN_REVIEW") world.after(event::review, event::reviewEnds, version.id);
    if (state == "PROCESSING_FOR_APP_STORE") world.after(event::distribution, event::goesLive, version.id);
}

Resource* editableAppInfo(const World& world, std::string_view appID) {
    for (Resource* info : world.store.children(appID, "appInfos"))
        if (isEditable(info->text("appStoreState"))) return info;
    return nullptr;
}

Resource* liveAppInfo(const World& world, std::string_view appID) {
    for (Resource* info : world.store.children(appID, "appInfos"))
        if (info->text("appStoreState") == "READY_FOR_SALE") return info;
    return nullptr;
}

Resource& ensureEditableAppInfo(World& world, const Resource& app) {
    for (Resource* info : world.store.children(app.id, "appInfos"))
        if (info->text("appStoreState") != "READY_FOR_SALE") return *info;
    const Resource* live = liveAppInfo(world, app.id);
    JSONValue attributes = live ? live->attributes
                                : JSONValue::object({{"appStoreState", ""},
                                                     {"state", ""},
                                                     {"appStoreAgeRating", "FOUR_PLUS"},
                                                     {"kidsAgeBand", nullptr}});
    Links links = live ? live->links : Links{{"app", app.id}};
    Resource& made = world.store.add("appInfos", std::move(attributes), std::move(links));
    setAppInfoState(made, "PREPARE_FOR_SUBMISSION", "PREPARE_FOR_SUBMISSION");
    if (live) copyLocalizations(world, *live, made);
    return made;
}

Resource* liveVersion(const World& world, std::string_view appID, std::string_view platform) {
    for (Resource* version : world.store.children(appID, "appStoreVersions"))
        if (version->text("platform") == platform && version->text("appStoreState") == "READY_FOR_SALE")
            return version;
    return nullptr;
}

bool isFirstVersion(const World& world, const Resource& version) {
    const Resource* app = world.store.find("apps", version.link("app"));
    if (app && app->hidden.find("hadVersions")) return false;
    return std::ranges::none_of(
        world.store.children(version.link("app"), "appStoreVersions"), [&](const Resource* other) {
            return other != &version && other->text("platform") == version.text("platform") &&
                   wasReleased(other->text("appStoreState"));
        });
}

void requireEditable(const Resource& version, std::string_view type, std::string_view id) {
    const std::string state = version.text("appStoreState");
    if (isEditable(state)) return;
    throw Refusal(invalidState(
        type, id,
        fmt::format("The resource cannot be changed while its version is in the state {}.", state)));
}

} // namespace quorvel::sandbox
