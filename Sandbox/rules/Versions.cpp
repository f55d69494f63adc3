// Versions: making, changing, attaching a build, releasing.
#include "Sandbox/resources/Problem.h"
#include "Sandbox/rules/Events.h"
#include "Sandbox/rules/Rules.h"
#include "Sandbox/rules/Seeding.h"
#include "Sandbox/rules/VersionStates.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel::sandbox {
namespace {

bool isVersionString(std::string_view text) {
    int parts = 1;
    char previous = '.';
    for (const char c : text) {
        if (c == '.' ? previous == '.' : c < '0' || c > '9') return false;
        parts += c == '.';
        previous = c;
    }
    return parts <= 3 && previous != '.';
}

void checkVersionString(std::string_view text) {
    if (!isVersionString(text))
        throw Refusal(invalidAttribute(
            "versionString",
            fmt::format("'{}' is no version: it must be one to three numbers joined by periods.", text)));
}

void checkSchedule(const Change& change, std::string_view releaseType) {
    const JSONValue* date = change.given("earliestReleaseDate");
    if (date && date->text() && releaseType != "SCHEDULED")
        throw Refusal(invalidAttribute("earliestReleaseDate",
                                       "A release date can only be set for the release type 'SCHEDULED'."));
}

/// A platform has at most one version that is not released yet, and each version number once.
void refuseSecondVersion(const World& world, const std::string& appID, std::string_view platform,
                         std::string_view versionString, const Resource* except) {
    std::vector<Problem> problems;
    for (const Resource* other : world.store.children(appID, "appStoreVersions")) {
        if (other == except || other->text("platform") != platform) continue;
        if (!except && !wasReleased(other->text("appStoreState")))
            problems.insert(problems.begin(),
                            invalidRelationship(
                                "app", "You cannot create a new version of the App in the current state."));
        if (other->text("versionString") == versionString)
            problems.push_back(duplicate("versionString", "The version number has been previously used."));
    }
    if (!problems.empty()) throw Refusal(problems);
}

Problem unattachable(std::string_view reason) {
    return invalidRelationship("build",
                               fmt::format("The specified pre-release build could not be added. {}", reason));
}

void checkBuild(const World& world, const Resource& version, const Resource& build) {
    const Resource* train = world.store.find("preReleaseVersions", build.link("preReleaseVersion"));
    const JSONValue* expired = build.attributes.find("expired");
    if (build.link("app") != version.link("app"))
        throw Refusal(unattachable("The build belongs to another app."));
    if (build.text("processingState") != "VALID")
        throw Refusal(
            unattachable(fmt::format("Its processing state is {}.", build.text("processingState"))));
    if (expired && expired->boolean() && *expired->boolean()) throw Refusal(unattachable("It has expired."));
    if (!train || train->text("platform") != version.text("platform"))
        throw Refusal(unattachable("The build is for another platform."));
    if (train->text("version") != version.text("versionString"))
        throw Refusal(unattachable(fmt::format("Its version is {}, not {}.", train->text("version"),
                                               version.text("versionString"))));
}

void copySets(World& world, const Resource& from, const Resource& to, std::string_view setType,
              std::string_view type, const std::string& relation) {
    const std::vector<Resource*> sets = world.store.children(from.id, setType);
    for (const Resource* set : sets) {
        const Resource& copy =
            world.store.add(setType, set->attributes, {{"appStoreVersionLocalization", to.id}});
        const std::vector<Resource*> assets = world.store.children(set->id, type);
        for (const Resource* asset : assets)
            world.store.add(type, asset->attributes, {{relation, copy.id}});
    }
}

/// A new version begins with the texts, screenshots and previews of the one on the store, without its release
/// notes.
void copyLiveTexts(World& world, const Resource& live, const Resource& version) {
    const std::vector<Resource*> localizations =
        world.store.children(live.id, "appStoreVersionLocalizations");
    for (const Resource* localization : localizations) {
        JSONValue attributes = localization->attributes;
        attributes.set("whatsNew", nullptr);
        const Resource& copy = world.store.add("appStoreVersionLocalizations", std::move(attributes),
                                               {{"appStoreVersion", version.id}});
        copySets(world, *localization, copy, "appScreenshotSets", "appScreenshots", "appScreenshotSet");
        copySets(world, *localization, copy, "appPreviewSets", "appPreviews", "appPreviewSet");
    }
}

void addReviewDetail(World& world, const Resource& app, const Resource* live, const Resource& version) {
    const Resource* earlier = live ? world.store.child(live->id, "appStoreReviewDetails") : nullptr;
    const JSONValue* contact = earlier ? &earlier->attributes : app.hidden.find("reviewDetail");
    if (contact) world.store.add("appStoreReviewDetails", *contact, {{"appStoreVersion", version.id}});
}

Answer createVersion(World& world, const Change& change) {
    const Resource& app = change.relation("app");
    const std::string platform = change.text("platform");
    const std::string versionString = change.text("versionString");
    const std::string releaseType =
        change.given("releaseType") ? change.text("releaseType") : "AFTER_APPROVAL";
    checkVersionString(versionString);
    checkSchedule(change, releaseType);
    refuseSecondVersion(world, app.id, platform, versionString, nullptr);
    JSONValue attributes =
        versionAttributes(platform, versionString, "PREPARE_FOR_SUBMISSION", serviceDate(world.now()));
    for (const auto& [name, value] : *change.attributes.members())
        attributes.set(name, value);
    attributes.set("releaseType", releaseType.empty() ? "AFTER_APPROVAL" : releaseType);
    const Resource* live = liveVersion(world, app.id, platform);
    Resource& version = world.store.add("appStoreVersions", std::move(attributes), {{"app", app.id}});
    const auto build = change.relations.find("build");
    if (build != change.relations.end() && build->second) {
        try {
            checkBuild(world, version, *build->second);
        } catch (const Refusal&) {
            world.store.remove(version.type, std::string(version.id));
            throw;
        }
        world.store.link(version, "build", build->second->id);
    }
    if (live) copyLiveTexts(world, *live, version);
    addReviewDetail(world, app, live, version);
    ensureEditableAppInfo(world, app);
    return {.status = 201, .resource = &version};
}

Answer updateVersion(World& world, const Change& change) {
    Resource& version = *change.target;
    const std::string state = version.text("appStoreState");
    const bool releasable = state == "PENDING_DEVELOPER_RELEASE" || state == "PENDING_APPLE_RELEASE" ||
                            state == "IN_REVIEW" || state == "WAITING_FOR_REVIEW" ||
                            state == "READY_FOR_REVIEW";
    const bool onlyRelease =
        change.relations.empty() &&
        std::ranges::all_of(*change.attributes.members(), [](const auto& attribute) {
            return attribute.first == "releaseType" || attribute.first == "earliestReleaseDate";
        });
    if (!(releasable && onlyRelease)) requireEditable(version, version.type, version.id);
    const std::string releaseType =
        change.given("releaseType") ? change.text("releaseType") : version.text("releaseType");
    checkSchedule(change, releaseType);
    if (change.given("versionString")) {
        checkVersionString(change.text("versionString"));
        refuseSecondVersion(world, version.link("app"), version.text("platform"),
                            change.text("versionString"), &version);
    }
    if (const auto build = change.relations.find("build"); build != change.relations.end()) {
        if (build->second) checkBuild(world, version, *build->second);
        world.store.link(version, "build", build->second ? build->second->id : "");
    }
    for (const auto& [name, value] : *change.attributes.members())
        version.attributes.set(name, value);
    if (releaseType != "SCHEDULED") version.attributes.set("earliestReleaseDate", nullptr);
    return {.resource = &version};
}

Answer attachBuild(World& world, const Change& change) {
    Resource& version = *change.target;
    requireEditable(version, version.type, version.id);
    const std::string id = change.ids.empty() ? "" : change.ids.front();
    if (!id.empty()) checkBuild(world, version, *world.store.find("builds", id));
    world.store.link(version, "build", id);
    return {.status = 204};
}

Answer requestRelease(World& world, const Change& change) {
    Resource& version = change.relation("appStoreVersion");
    if (version.text("appStoreState") != "PENDING_DEVELOPER_RELEASE")
        throw Refusal(
            invalidState(version.type, version.id,
                         fmt::format("Only a version that is pending developer release can be released; "
                                     "this one is in the state {}.",
                                     version.text("appStoreState"))));
    moveVersion(world, version, "PROCESSING_FOR_APP_STORE");
    const Resource& request = world.store.add("appStoreVersionReleaseRequests", JSONValue::object(),
                                              {{"appStoreVersion", version.id}});
    return {.status = 201, .resource = &request};
}

Answer createPhasedRelease(World& world, const Change& change) {
    const Resource& version = change.relation("appStoreVersion");
    if (world.store.child(version.id, "appStoreVersionPhasedReleases"))
        throw Refusal(stateConflict("The version already has a phased release."));
    if (wasReleased(version.text("appStoreState")))
        throw Refusal(invalidState(version.type, version.id,
                                   "A phased release can only be set before the version is released."));
    if (isFirstVersion(world, version))
        throw Refusal(invalidState(version.type, version.id,
                                   "The first version of an app can not be released in phases."));
    const std::string state = change.text("phasedReleaseState");
    if (!state.empty() && state != "INACTIVE" && state != "ACTIVE")
        throw Refusal(
            invalidAttribute("phasedReleaseState", "A phased release can not begin in this state."));
    const Resource& phased = world.store.add("appStoreVersionPhasedReleases",
                                             JSONValue::object({{"phasedReleaseState", "INACTIVE"},
                                                                {"startDate", nullptr},
                                                                {"totalPauseDuration", 0},
                                                                {"currentDayNumber", 0}}),
                                             {{"appStoreVersion", version.id}});
    return {.status = 201, .resource = &phased};
}

Answer updatePhasedRelease(World& world, const Change& change) {
    Resource& phased = *change.target;
    const std::string before = phased.text("phasedReleaseState");
    const std::string after = change.text("phasedReleaseState");
    const bool runs = before == "ACTIVE" || before == "PAUSED";
    const bool allowed = after.empty() || after == before ||
                         (runs && (after == "ACTIVE" || after == "PAUSED" || after == "COMPLETE"));
    if (!allowed)
        throw Refusal(
            invalidState(phased.type, phased.id,
                         fmt::format("The phased release can not go from {} to {}.", before, after)));
    if (after.empty() || after == before) return {.resource = &phased};
    phased.attributes.set("phasedReleaseState", after);
    world.forget(event::phasedDay, phased.id);
    if (after == "ACTIVE") world.after(event::day, event::phasedDay, phased.id);
    return {.resource = &phased};
}

Answer deletePhasedRelease(World& world, const Change& change) {
    const Resource& phased = *change.target;
    if (phased.text("phasedReleaseState") != "INACTIVE")
        throw Refusal(
            invalidState(phased.type, phased.id, "A phased release that has begun can not be deleted."));
    world.store.remove(phased.type, std::string(phased.id));
    return {.status = 204};
}

constexpr RelationRule toAppAndBuild[] = {{"app", "apps"}, {"build", "builds", RelationRule::Need::optional}};
constexpr RelationRule toOptionalBuild[] = {{"build", "builds", RelationRule::Need::optional}};
constexpr RelationRule toVersion[] = {{"appStoreVersion", "appStoreVersions"}};

constexpr WriteOperation versionRows[] = {
    {"POST", "/v1/appStoreVersions", Form::create, "appStoreVersions", createVersion, toAppAndBuild},
    {"PATCH", "/v1/appStoreVersions/{id}", Form::update, "appStoreVersions", updateVersion, toOptionalBuild},
    {"PATCH",
     "/v1/appStoreVersions/{id}/relationships/build",
     Form::linkOne,
     "builds",
     attachBuild,
     {},
     "appStoreVersions"},
    {"POST", "/v1/appStoreVersionReleaseRequests", Form::create, "appStoreVersionReleaseRequests",
     requestRelease, toVersion},
    {"POST", "/v1/appStoreVersionPhasedReleases", Form::create, "appStoreVersionPhasedReleases",
     createPhasedRelease, toVersion},
    {"PATCH", "/v1/appStoreVersionPhasedReleases/{id}", Form::update, "appStoreVersionPhasedReleases",
     updatePhasedRelease},
    {"DELETE", "/v1/appStoreVersionPhasedReleases/{id}", Form::remove, "appStoreVersionPhasedReleases",
     deletePhasedRelease},
};

} // namespace

std::span<const WriteOperation> versionOperations() {
    return versionRows;
}

} // namespace quorvel::sandbox
