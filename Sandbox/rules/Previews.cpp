// Sets of previews, and the poster frames of the videos in them.
#include "Sandbox/rules/Previews.h"

#include "Sandbox/resources/Problem.h"
#include "Sandbox/resources/Schema.h"
#include "Sandbox/rules/Assets.h"
#include "Sandbox/rules/Events.h"
#include "Sandbox/rules/Rules.h"
#include "Sandbox/rules/Screenshots.h"

#include <algorithm>
#include <cctype>

namespace quorvel::sandbox {
namespace {

constexpr AssetKind previewKind{.word = "preview",
                                .setType = "appPreviewSets",
                                .setChoice = "previewType",
                                .type = "appPreviews",
                                .setRelation = "appPreviewSet",
                                .state = "videoDeliveryState",
                                .mostPerSet = 3,
                                .largestFile = 500'000'000,
                                .processed = event::previewUploaded};
constexpr std::string_view usualFrame = "00:00:05:00";
constexpr std::string_view usualContentType = "video/quicktime";

/// Hours, minutes, seconds and frames, two digits each.
void requireTimeCode(const Change& change) {
    if (!change.given("previewFrameTimeCode")) return;
    const std::string code = change.text("previewFrameTimeCode");
    bool isGood = code.size() == usualFrame.size();
    for (std::size_t at = 0; isGood && at < code.size(); ++at)
        isGood = at % 3 == 2 ? code[at] == ':' : std::isdigit(static_cast<unsigned char>(code[at])) != 0;
    if (!isGood)
        throw Refusal(invalidAttribute("previewFrameTimeCode", "The time code has the form HH:MM:SS:FF."));
}

Answer createPreviewSet(World& world, const Change& change) {
    return createSet(world, previewKind, change);
}

Answer reservePreview(World& world, const Change& change) {
    requireTimeCode(change);
    const std::string mimeType = change.text("mimeType");
    if (!mimeType.empty() && !isChoice("video/quicktime|video/mp4|video/x-m4v", mimeType))
        throw Refusal(invalidAttribute("mimeType", "The type is not that of a video."));
    JSONValue attributes = JSONValue::object({{"previewFrameImage", nullptr}, {"videoUrl", nullptr}});
    const auto text = [&](std::string_view name, const std::string& value) {
        attributes.set(name, value.empty() ? JSONValue(nullptr) : JSONValue(value));
    };
    text("mimeType", mimeType);
    text("previewFrameTimeCode", change.text("previewFrameTimeCode"));
    return reserveAsset(world, previewKind, change, std::move(attributes),
                        mimeType.empty() ? usualContentType : std::string_view(mimeType));
}

Answer commitPreview(World& world, const Change& change) {
    requireTimeCode(change);
    const Answer answer = commitAsset(world, previewKind, change);
    if (change.given("previewFrameTimeCode"))
        change.target->attributes.set("previewFrameTimeCode", change.text("previewFrameTimeCode"));
    return answer;
}

Answer deletePreview(World& world, const Change& change) {
    return deleteAsset(world, previewKind, change);
}

constexpr RelationRule ofVersionLocalization[] = {
    {"appStoreVersionLocalization", "appStoreVersionLocalizations"}};
constexpr RelationRule ofSet[] = {{"appPreviewSet", "appPreviewSets"}};

constexpr WriteOperation previewRows[] = {
    {"POST", "/v1/appPreviewSets", Form::create, "appPreviewSets", createPreviewSet, ofVersionLocalization},
    {"POST", "/v1/appPreviews", Form::create, "appPreviews", reservePreview, ofSet},
    {"PATCH", "/v1/appPreviews/{id}", Form::update, "appPreviews", commitPreview},
    {"DELETE", "/v1/appPreviews/{id}", Form::remove, "appPreviews", deletePreview},
};

} // namespace

std::span<const WriteOperation> previewOperations() {
    return previewRows;
}

void beginPreviewProcessing(World& world, Resource& preview) {
    preview.attributes.set("videoDeliveryState", deliveryState("PROCESSING"));
    world.after(world.pace.screenshots, event::previewProcessed, preview.id);
}

void completePreview(World& world, Resource& preview) {
    if (world.pace.screenshotsFail)
        return setFailed(previewKind, preview, "MOV_SAVE_STEREO",
                         "The video has audio that is not in stereo.");
    if (preview.text("previewFrameTimeCode").empty())
        preview.attributes.set("previewFrameTimeCode", usualFrame);
    const std::string type = setOf(world, previewKind, preview).text("previewType");
    preview.attributes.set("previewFrameImage",
                           JSONValue::object({{"image", imageAsset(world, preview.id, "APP_" + type)},
                                              {"state", deliveryState("COMPLETE")}}));
    preview.attributes.set("videoDeliveryState", deliveryState("COMPLETE"));
}

} // namespace quorvel::sandbox
