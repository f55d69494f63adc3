#include "Sandbox/rules/Assets.h"

#include "Sandbox/resources/Problem.h"
#include "Sandbox/rules/Uploads.h"
#include "Sandbox/rules/VersionStates.h"

#include <fmt/format.h>

#include <utility>

namespace quorvel::sandbox {
namespace {

constexpr std::string_view awaitsUpload = "AWAITING_UPLOAD";

JSONValue uploadOperations(const World& world, const std::string& id, const std::vector<UploadPart>& parts,
                           std::string_view contentType) {
    JSONValue::Array operations;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const JSONValue header = JSONValue::object({{"name", "Content-Type"}, {"value", contentType}});
        operations.push_back(JSONValue::object({{"method", "PUT"},
                                                {"url", fmt::format("{}/upload/{}.{}", world.baseURL, id, i)},
                                                {"length", parts[i].length},
                                                {"offset", parts[i].offset},
                                                {"requestHeaders", JSONValue::array({header})}}));
    }
    return JSONValue(std::move(operations));
}

} // namespace

const Resource& setOf(const World& world, const AssetKind& kind, const Resource& asset) {
    return *world.store.find(kind.setType, asset.link(kind.setRelation));
}

void requireEditableSet(const World& world, const Resource& set) {
    const Resource& localization =
        *world.store.find("appStoreVersionLocalizations", set.link("appStoreVersionLocalization"));
    requireEditable(*world.store.find("appStoreVersions", localization.link("appStoreVersion")), set.type,
                    set.id);
}

JSONValue deliveryState(std::string_view state, JSONValue::Array errors) {
    return JSONValue::object(
        {{"errors", std::move(errors)}, {"warnings", JSONValue::array()}, {"state", state}});
}

void setFailed(const AssetKind& kind, Resource& asset, std::string_view code, std::string_view description) {
    asset.attributes.set(
        kind.state,
        deliveryState("FAILED", {JSONValue::object({{"code", code}, {"description", description}})}));
}

Answer createSet(World& world, const AssetKind& kind, const Change& change) {
    const Resource& localization = change.relation("appStoreVersionLocalization");
    requireEditable(*world.store.find("appStoreVersions", localization.link("appStoreVersion")),
                    localization.type, localization.id);
    const std::string choice = change.text(kind.setChoice);
    for (const Resource* other : world.store.children(localization.id, kind.setType))
        if (other->text(kind.setChoice) == choice)
            throw Refusal(duplicate(
                kind.setChoice, fmt::format("A {} set of the type '{}' already exists.", kind.word, choice)));
    JSONValue attributes = JSONValue::object();
    attributes.set(kind.setChoice, choice);
    const Resource& made = world.store.add(kind.setType, std::move(attributes),
                                           {{"appStoreVersionLocalization", localization.id}});
    return {.status = 201, .resource = &made};
}

Answer reserveAsset(World& world, const AssetKind& kind, const Change& change, JSONValue attributes,
                    std::string_view contentType) {
    const Resource& set = change.relation(kind.setRelation);
    requireEditableSet(world, set);
    if (world.store.children(set.id, kind.type).size() >= kind.mostPerSet)
        throw Refusal(
            {.status = 409,
             .code = "ENTITY_ERROR.RELATIONSHIP.INVALID.TOO_MANY",
             .title = fmt::format("Too many {}s", kind.word),
             .detail = fmt::format("A {} set holds at most {} {}s.", kind.word, kind.mostPerSet, kind.word),
             .pointer = fmt::format("/data/relationships/{}", kind.setRelation)});
    const std::int64_t size = *change.given("fileSize")->integer();
    if (size > kind.largestFile)
        throw Refusal(
            invalidAttribute("fileSize", fmt::format("The file is too large for a {}.", kind.word)));
    Resource& made =
        world.store.add(kind.type, JSONValue::object(), {{std::string(kind.setRelation), set.id}});
    const auto parts = uploadParts(size);
    world.uploads->expect(made.id, parts, std::string(contentType));
    attributes.set("fileSize", size);
    attributes.set("fileName", change.text("fileName"));
    attributes.set("sourceFileChecksum", "");
    attributes.set("uploadOperations", uploadOperations(world, made.id, parts, contentType));
    attributes.set(kind.state, deliveryState(awaitsUpload));
    made.attributes = std::move(attributes);
    return {.status = 201, .resource = &made};
}

Answer commitAsset(World& world, const AssetKind& kind, const Change& change) {
    Resource& asset = *change.target;
    requireEditableSet(world, setOf(world, kind, asset));
    const JSONValue* uploaded = change.given("uploaded");
    if (!uploaded || !uploaded->boolean() || !*uploaded->boolean()) return {.resource = &asset};
    const JSONValue* state = asset.attributes.at(kind.state, "state");
    if (!state || *state->text() != awaitsUpload)
        throw Refusal(
            invalidState(asset.type, asset.id, fmt::format("The {} was already committed.", kind.word)));
    if (change.text("sourceFileChecksum").empty()) throw Refusal(missingAttribute("sourceFileChecksum"));
    const auto digest = world.uploads->finish(asset.id);
    asset.attributes.set("sourceFileChecksum", change.text("sourceFileChecksum"));
    asset.attributes.set("uploadOperations", nullptr);
    if (!digest) {
        setFailed(kind, asset, "UPLOAD_INCOMPLETE", "Not all parts of the file were uploaded.");
    } else if (*digest != change.text("sourceFileChecksum")) {
        setFailed(kind, asset, "CHECKSUM_MISMATCH",
                  "The checksum differs from that of the bytes that were uploaded.");
    } else {
        asset.attributes.set(kind.state, deliveryState("UPLOAD_COMPLETE"));
        world.after(world.pace.screenshots, kind.processed, asset.id);
    }
    return {.resource = &asset};
}

Answer deleteAsset(World& world, const AssetKind& kind, const Change& change) {
    const Resource& asset = *change.target;
    requireEditableSet(world, setOf(world, kind, asset));
    world.uploads->forget(asset.id);
    world.store.remove(asset.type, std::string(asset.id));
    return {.status = 204};
}

} // namespace quorvel::sandbox
