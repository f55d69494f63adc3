// Screenshot sets, and the order in them.
#include "Sandbox/rules/Screenshots.h"
#include "Sandbox/resources/Problem.h"
#include "Sandbox/rules/Assets.h"
#include "Sandbox/rules/Events.h"
#include "Sandbox/rules/Rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace quorvel::sandbox {
namespace {

constexpr AssetKind screenshotKind{.word = "screenshot",
                                   .setType = "appScreenshotSets",
                                   .setChoice = "screenshotDisplayType",
                                   .type = "appScreenshots",
                                   .setRelation = "appScreenshotSet",
                                   .state = "assetDeliveryState",
                                   .mostPerSet = 10,
                                   .largestFile = std::int64_t{4} << 30,
                                   .processed = event::screenshotProcessed};

struct PictureSize {
    std::string_view displayType;
    int width, height;
};
constexpr PictureSize sizes[] = {{"APP_IPHONE_67", 1290, 2796},         {"APP_IPHONE_65", 1242, 2688},
                                 {"APP_IPHONE_61", 1179, 2556},         {"APP_IPHONE_58", 1125, 2436},
                                 {"APP_IPHONE_55", 1242, 2208},         {"APP_IPHONE_47", 750, 1334},
                                 {"APP_IPAD_PRO_3GEN_129", 2048, 2732}, {"APP_IPAD_PRO_3GEN_11", 1668, 2388},
                                 {"APP_IPAD_PRO_129", 2048, 2732},      {"APP_DESKTOP", 2880, 1800},
                                 {"APP_APPLE_TV", 3840, 2160},          {"APP_APPLE_VISION_PRO", 3840, 2160},
                                 {"APP_WATCH_ULTRA", 410, 502},         {"APP_WATCH_SERIES_10", 416, 496}};

Answer createScreenshotSet(World& world, const Change& change) {
    return createSet(world, screenshotKind, change);
}

Answer reserveScreenshot(World& world, const Change& change) {
    return reserveAsset(
        world, screenshotKind, change,
        JSONValue::object({{"imageAsset", nullptr}, {"assetToken", ""}, {"assetType", "SCREENSHOT"}}),
        "image/png");
}

Answer commitScreenshot(World& world, const Change& change) {
    return commitAsset(world, screenshotKind, change);
}

Answer deleteScreenshot(World& world, const Change& change) {
    return deleteAsset(world, screenshotKind, change);
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
    const auto known = std::ranges::find(sizes, displayType, &PictureSize::displayType);
    const bool found = known != std::end(sizes);
    return JSONValue::object(
        {{"templateUrl", fmt::format("{}/image/{}/{{w}}x{{h}}bb.{{f}}", world.baseURL, screenshotID)},
         {"width", found ? known->width : 1242},
         {"height", found ? known->height : 2688}});
}

void completeScreenshot(World& world, Resource& screenshot) {
    if (world.pace.screenshotsFail)
        return setFailed(screenshotKind, screenshot, "IMAGE_UNREADABLE", "The picture can not be read.");
    const std::string type = setOf(world, screenshotKind, screenshot).text("screenshotDisplayType");
    screenshot.attributes.set("imageAsset", imageAsset(world, screenshot.id, type));
    screenshot.attributes.set("assetDeliveryState", deliveryState("COMPLETE"));
}

} // namespace quorvel::sandbox
