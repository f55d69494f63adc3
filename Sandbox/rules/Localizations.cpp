// The texts of versions and of the app's information.
#include "Sandbox/resources/Problem.h"
#include "Sandbox/resources/Schema.h"
#include "Sandbox/rules/Rules.h"
#include "Sandbox/rules/Seeding.h"
#include "Sandbox/rules/Uploads.h"
#include "Sandbox/rules/VersionStates.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel::sandbox {
namespace {

void refuseSecondLocale(const World& world, const Resource& parent, std::string_view type,
                        std::string_view locale) {
    for (const Resource* other : world.store.children(parent.id, type))
        if (other->text("locale") == locale)
            throw Refusal(duplicate(
                "locale", fmt::format("Entity with locale: '{}' already exists. Try updating.", locale)));
}

/// Sets what was sent; an empty text clears.
void apply(Resource& localization, const JSONValue& attributes) {
    for (const auto& [name, value] : *attributes.members())
        localization.attributes.set(name, value.text() && value.text()->empty() ? JSONValue() : value);
}

void refuseReleaseNotesOfFirstVersion(const World& world, const Resource& version, const Change& change) {
    const JSONValue* notes = change.given("whatsNew");
    if (notes && !notes->isNull() && isFirstVersion(world, version))
        throw Refusal(lockedAttribute("whatsNew"));
}

bool changesPromotionalTextOnly(const Change& change) {
    const auto& attributes = *change.attributes.members();
    return !attributes.empty() && std::ranges::all_of(attributes, [](const auto& attribute) {
        return attribute.first == "promotionalText";
    });
}

const Resource& editableInfo(const World& world, const Resource& localization) {
    const Resource& info = *world.store.find("appInfos", localization.link("appInfo"));
    requireEditable(info, localization.type, localization.id);
    return info;
}

Answer createVersionLocalization(World& world, const Change& change) {
    const Resource& version = change.relation("appStoreVersion");
    requireEditable(version, version.type, version.id);
    refuseSecondLocale(world, version, "appStoreVersionLocalizations", change.text("locale"));
    refuseReleaseNotesOfFirstVersion(world, version, change);
    Resource& made =
        world.store.add("appStoreVersionLocalizations", versionLocalizationAttributes(change.text("locale")),
                        {{"appStoreVersion", version.id}});
    apply(made, change.attributes);
    return {.status = 201, .resource = &made};
}

Answer updateVersionLocalization(World& world, const Change& change) {
    Resource& localization = *change.target;
    const Resource& version = *world.store.find("appStoreVersions", localization.link("appStoreVersion"));
    const bool live = version.text("appStoreState") == "READY_FOR_SALE";
    if (!(live && changesPromotionalTextOnly(change)))
        requireEditable(version, localization.type, localization.id);
    refuseReleaseNotesOfFirstVersion(world, version, change);
    apply(localization, change.attributes);
    return {.resource = &localization};
}

void refusePrimaryLocale(const World& world, const Resource& localization, const Resource& parent) {
    const Resource* app = world.store.find("apps", parent.link("app"));
    if (app && app->text("primaryLocale") == localization.text("locale"))
        throw Refusal(stateConflict(fmt::format(
            "The localization of the primary locale '{}' cannot be deleted.", localization.text("locale"))));
}

Answer deleteVersionLocalization(World& world, const Change& change) {
    const Resource& localization = *change.target;
    const Resource& version = *world.store.find("appStoreVersions", localization.link("appStoreVersion"));
    requireEditable(version, localization.type, localization.id);
    refusePrimaryLocale(world, localization, version);
    const auto childrenOf = [&](const std::string& id, std::string_view type) {
        std::vector<std::pair<std::string, std::string>> all; // copies, as removing moves the others
        for (const Resource* child : world.store.children(id, type))
            all.emplace_back(child->type, child->id);
        return all;
    };
    for (const auto& [setType, set] : childrenOf(localization.id, "appScreenshotSets")) {
        for (const auto& [type, screenshot] : childrenOf(set, "appScreenshots")) {
            world.uploads->forget(screenshot);
            world.store.remove(type, screenshot);
        }
        world.store.remove(setType, set);
    }
    world.store.remove(std::string(localization.type), std::string(localization.id));
    return {.status = 204};
}

Answer deleteAppInfoLocalization(World& world, const Change& change) {
    const Resource& localization = *change.target;
    refusePrimaryLocale(world, localization, editableInfo(world, localization));
    world.store.remove(std::string(localization.type), std::string(localization.id));
    return {.status = 204};
}

Answer createAppInfoLocalization(World& world, const Change& change) {
    const Resource& info = change.relation("appInfo");
    requireEditable(info, info.type, info.id);
    refuseSecondLocale(world, info, "appInfoLocalizations", change.text("locale"));
    Resource& made = world.store.add(
        "appInfoLocalizations", appInfoLocalizationAttributes(change.text("locale")), {{"appInfo", info.id}});
    apply(made, change.attributes);
    return {.status = 201, .resource = &made};
}

Answer updateAppInfoLocalization(World& world, const Change& change) {
    (void)editableInfo(world, *change.target);
    apply(*change.target, change.attributes);
    return {.resource = change.target};
}

Answer updateAppInfo(World& world, const Change& change) {
    Resource& info = *change.target;
    requireEditable(info, info.type, info.id);
    Links wanted = info.links;
    for (const auto& [name, id] : change.foreign) {
        const bool isSubcategory = name.find("Subcategory") != std::string::npos;
        if (!id.empty() && !isChoice(isSubcategory ? choices::appSubcategories : choices::appCategories, id))
            throw Refusal(invalidRelationship(
                name, fmt::format("There is no resource of type 'appCategories' with id '{}'", id)));
        wanted[name] = id;
    }
    for (const std::string_view rank : {"primary", "secondary"}) {
        const std::string category = wanted[fmt::format("{}Category", rank)];
        for (const std::string_view place : {"One", "Two"})
            if (const std::string name = fmt::format("{}Subcategory{}", rank, place);
                !wanted[name].empty() && (category.empty() || !wanted[name].starts_with(category + "_")))
                throw Refusal(invalidRelationship(name, "A subcategory needs its category."));
    }
    if (!wanted["secondaryCategory"].empty() && wanted["secondaryCategory"] == wanted["primaryCategory"])
        throw Refusal(
            invalidRelationship("secondaryCategory", "The primary and the secondary category must differ."));
    for (const auto& [name, id] : change.foreign)
        world.store.link(info, name, id);
    return {.resource = &info};
}

constexpr RelationRule ofVersion[] = {{"appStoreVersion", "appStoreVersions"}};
constexpr RelationRule ofAppInfo[] = {{"appInfo", "appInfos"}};
constexpr RelationRule toCategories[] = {
    {"primaryCategory", "appCategories", RelationRule::Need::foreign},
    {"primarySubcategoryOne", "appCategories", RelationRule::Need::foreign},
    {"primarySubcategoryTwo", "appCategories", RelationRule::Need::foreign},
    {"secondaryCategory", "appCategories", RelationRule::Need::foreign},
    {"secondarySubcategoryOne", "appCategories", RelationRule::Need::foreign},
    {"secondarySubcategoryTwo", "appCategories", RelationRule::Need::foreign}};

constexpr WriteOperation localizationRows[] = {
    {"POST", "/v1/appStoreVersionLocalizations", Form::create, "appStoreVersionLocalizations",
     createVersionLocalization, ofVersion},
    {"PATCH", "/v1/appStoreVersionLocalizations/{id}", Form::update, "appStoreVersionLocalizations",
     updateVersionLocalization},
    {"DELETE", "/v1/appStoreVersionLocalizations/{id}", Form::remove, "appStoreVersionLocalizations",
     deleteVersionLocalization},
    {"DELETE", "/v1/appInfoLocalizations/{id}", Form::remove, "appInfoLocalizations",
     deleteAppInfoLocalization},
    {"POST", "/v1/appInfoLocalizations", Form::create, "appInfoLocalizations", createAppInfoLocalization,
     ofAppInfo},
    {"PATCH", "/v1/appInfoLocalizations/{id}", Form::update, "appInfoLocalizations",
     updateAppInfoLocalization},
    {"PATCH", "/v1/appInfos/{id}", Form::update, "appInfos", updateAppInfo, toCategories},
};

} // namespace

std::span<const WriteOperation> localizationOperations() {
    return localizationRows;
}

} // namespace quorvel::sandbox
