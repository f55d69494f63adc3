// Screenshot sets, and the protocol of reserving, uploading and committing.
#include "Sandbox/rules/Screenshots.h"
#include "Sandbox/resources/Problem.h"
#include "Sandbox/rules/Events.h"
#include "Sandbox/rules/Rules.h"
#include "Sandbox/rules/Uploads.h"
#include "Sandbox/rules/VersionStates.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace quorvel::sandbox {
namespace {

constexpr std::size_t mostPerSet = 10;
constexpr std::int64_t largestFile = std::int64_t{4} << 30;

struct Entry {
    std::string_view displayType;
    int width, height;
};
constexpr Entry sizes[] = {{"APP_IPHONE_67", 1290, 2796},         {"APP_IPHONE_65", 1242, 2688},
                           {"APP_IPHONE_61", 1179, 2556},         {"APP_IPHONE_58", 1125, 2436},
                           {"APP_IPHONE_55", 1242, 2208},         {"APP_IPHONE_47", 750, 1334},
                           {"APP_IPAD_PRO_3GEN_129", 2048, 2732}, {"APP_IPAD_PRO_3GEN_11", 1668, 2388},
                           {"APP_IPAD_PRO_129", 2048, 2732},      {"APP_DESKTOP", 2880, 1800},
                           {"APP_APPLE_TV", 3840, 2160},          {"APP_APPLE_VISION_PRO", 3840, 2160},
                           {"APP_WATCH_ULTRA", 410, 502},         {"APP_WATCH_SERIES_10", 416, 496}};

void requireEditableSet(const World& world, const Resource& set) {
    const Resource& localization =
        *world.store.find("appStoreVersionLocalizations", set.link("appStoreVersionLocalization"));
    requireEditable(*world.store.find("appStoreVersions", localization.link("appStoreVersion")), set.type,
                    set.id);
}

const Resource& setOf(const World& world, const Resource& screenshot) {
    return *world.store.find("appScreenshotSets", screenshot.link("appScreenshotSet"));
}

JSONValue deliveryState(std::string_view state, JSONValue::Array errors = {}) {
    return JSONValue::object(
        {{"errors", std::move(errors)}, {"warnings", JSONValue::array()}, {"state", state}});
}

JSONValue uploadOperations(const World& world, const std::string& id, const std::vector<UploadPart>& parts) {
    JSONValue::Array operations;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const JSONValue header = JSONValue::object({{"name", "Content-Type"}, {"value", uploadContentType}});
        operations.push_back(JSONValue::object({{"method", "PUT"},
                                                {"url", fmt::format("{}/upload/{}.{}", world.baseURL, id, i)},
                                                {"length", parts[i].length},
                                                {"offset", parts[i].offset},
                                                {"requestHeaders", JSONValue::array({header})}}));
    }
    return JSONValue(std::move(operations));
}

void setFailed(Resource& screenshot, std::string_view code, std::string_view description) {
    screenshot.attributes.set(
        "assetDeliveryState",
        deliveryState("FAILED", {JSONValue::object({{"code", code}, {"description", description}})}));
}

Answer createScreenshotSet(World& world, const Change& change) {
    const Resource& localization = change.relation("appStoreVersionLocalization");
    requireEditable(*world.store.find("appStoreVersions", localization.link("appStoreVersion")),
                    localization.type, localization.id);
    const std::string displayType = change.text("screenshotDisplayType");
    for (const Resource* other : world.store.children(localization.id, "appScreenshotSets"))
        if (other->text("screenshotDisplayType") == displayType)
            throw Refusal(
                duplicate("screenshotDisplayType",
                          fmt::format("A screenshot set of the type '{}' already exists.", displayType)));
    const Resource& made =
        world.store.add("appScreenshotSets", JSONValue::object({{"screenshotDisplayType", displayType}}),
                        {{"appStoreVersionLocalization", localization.id}});
    return {.status = 201, .resource = &made};
}

Answer reserveScreenshot(World& world, const Change& change) {
    const Resource& set = change.relation("appScreenshotSet");
    requireEditableSet(world, set);
    if (world.store.children(set.id, "appScreenshots").size() >= mostPerSet)
        throw Refusal({.status = 409,
                       .code = "ENTITY_ERROR.RELATIONSHIP.INVALID.TOO_MANY",
                       .title = "Too many screenshots",
                       .detail = fmt::format("A screenshot set holds at most {} screenshots.", mostPerSet),
                       .pointer = "/data/relationships/appScreenshotSet"});
    const std::int64_t size = *change.given("fileSize")->integer();
    if (size > largestFile)
        throw Refusal(invalidAttribute("fileSize", "The file is too large for a screenshot."));
    Resource& made = world.store.add("appScreenshots", JSONValue::object(), {{"appScreenshotSet", set.id}});
    const auto parts = uploadParts(size);
    world.uploads->expect(made.id, parts);
    made.attributes = JSONValue::object({{"fileSize", size},
                                         {"fileName", change.text("fileName")},
                                         {"sourceFileChecksum", ""},
                                         {"imageAsset", nullptr},
                                         {"assetToken", ""},
                                         {"assetType", "SCREENSHOT"},
                                         {"uploadOperations", uploadOperations(world, made.id, parts)},
                                         {"assetDeliveryState", deliveryState("AWAITING_UPLOAD")}});
    return {.status = 201, .resource = &made};
}

Answer commitScreenshot(World& world, const Change& change) {
    Resource& screenshot = *change.target;
    requireEditableSet(world, setOf(world, screenshot));
    const JSONValue* uploaded = change.given("uploaded");
    if (!uploaded || !uploaded->boolean() || !*uploaded->boolean()) return {.resource = &screenshot};
    const JSONValue* state = screenshot.attributes.at("assetDeliveryState", "state");
    if (!state || *state->text() != "AWAITING_UPLOAD")
        throw Refusal(invalidState(screenshot.type, screenshot.id, "The screenshot was already committed."));
    if (change.text("sourceFileChecksum").empty()) throw Refusal(missingAttribute("sourceFileChecksum"));
    const auto digest = world.uploads->finish(screenshot.id);
    screenshot.attributes.set("sourceFileChecksum", change.text("sourceFileChecksum"));
    screenshot.attributes.set("uploadOperations", nullptr);
    if (!digest) {
        setFailed(screenshot, "UPLOAD_INCOMPLETE", "Not all parts of the file were uploaded.");
    } else if (*digest != change.text("sourceFileChecksum")) {
        setFailed(screenshot, "CHECKSUM_MISMATCH",
                  "The checksum differs from that of the bytes that were uploaded.");
    } else {
        screenshot.attributes.set("assetDeliveryState", deliveryState("UPLOAD_COMPLETE"));
        world.after(world.pace.screenshots, event::screenshotProcessed, screenshot.id);
    }
    return {.resource = &screenshot};
}

Answer deleteScreenshot(World& world, const Change& change) {
    const Resource& screenshot = *change.target;
    requireEditableSet(world, setOf(world, screenshot));
    world.uploads->forget(screenshot.id);
    world.store.remove(screenshot.type, std::string(screenshot.id));
    return {.status = 204};
}

Answer reorderScreenshots(World& world, const Change& change) {
    const Resource& set = *change.target;
    requireEditableSet(world, set);
    std::set<std::string> held;
    for (const Resource* screenshot : world.store.children(set.id, "appScreenshots"))
        held.insert(screenshot->id);
    const std::set<std::string> named(change.ids.begin(), change.ids.end());
    if (named != held || named.size() != change.ids.size())
        throw Refusal(invalidRelationship(
            "appScreenshots", "The list must name every screenshot of the set once, and no other."));
    world.store.arrange(set.id, "appScreenshots", change.ids);
    return {.status = 204};
}

constexpr RelationRule toVersionLocalization[] = {
    {"appStoreVersionLocalization", "appStoreVersionLocalizations"}};
constexpr RelationRule toSet[] = {{"appScreenshotSet", "appScreenshotSets"}};

constexpr WriteOperation screenshotRows[] = {
    {"POST", "/v1/appScreenshotSets", Form::create, "appScreenshotSets", createScreenshotSet,
     toVersionLocalization},
    {"POST", "/v1/appScreenshots", Form::create, "appScreenshots", reserveScreenshot, toSet},
    {"PATCH", "/v1/appScreenshots/{id}", Form::update, "appScreenshots", commitScreenshot},
    {"DELETE", "/v1/appScreenshots/{id}", Form::remove, "appScreenshots", deleteScreenshot},
    {"PATCH",
     "/v1/appScreenshotSets/{id}/relationships/appScreenshots",
     Form::linkMany,
     "appScreenshots",
     reorderScreenshots,
     {},
     "appScreenshotSets"},
};

} // namespace

std::span<const WriteOperation> screenshotOperations() {
    return screenshotRows;
}

JSONValue imageAsset(const World& world, std::string_view screenshotID, std::string_view displayType) {
    const auto known = std::ranges::find(sizes, displayType, &Entry::displayType);
    const bool found = known != std::end(sizes);
    return JSONValue::object(
        {{"templateUrl", fmt::format("{}/image/{}/{{w}}x{{h}}bb.{{f}}", world.baseURL, screenshotID)},
         {"width", found ? known->width : 1242},
         {"height", found ? known->height : 2688}});
}

void completeScreenshot(World& world, Resource& screenshot) {
    if (world.pace.screenshotsFail)
        return setFailed(screenshot, "IMAGE_UNREADABLE", "The picture can not be read.");
    const std::string type = setOf(world, screenshot).text("screenshotDisplayType");
    screenshot.attributes.set("imageAsset", imageAsset(world, screenshot.id, type));
    screenshot.attributes.set("assetDeliveryState", deliveryState("COMPLETE"));
}

} // namespace quorvel::sandbox
