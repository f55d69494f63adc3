#include "Sandbox/rules/Completeness.h"

#include "Sandbox/resources/Problem.h"
#include "Sandbox/rules/VersionStates.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel::sandbox {
namespace {

/// What is missing, by the path of the resource that lacks it.
class Shortcomings {
  public:
    void add(const Resource& resource, const Problem& problem) {
        const std::string path = fmt::format("/v1/{}/{}", resource.type, resource.id);
        JSONValue* entries = byPath_.find(path);
        if (!entries) {
            byPath_.set(path, JSONValue::array());
            entries = byPath_.find(path);
        }
        entries->items()->push_back(problem.document());
    }

    void require(const Resource& resource, std::string_view attribute) {
        const JSONValue* value = resource.attributes.find(attribute);
        if (!value || value->isNull() || (value->text() && value->text()->empty()))
            add(resource, missingAttribute(attribute));
    }

    [[nodiscard]] const JSONValue& byPath() const { return byPath_; }

  private:
    JSONValue byPath_ = JSONValue::object();
};

bool hasScreenshots(const World& world, const Resource& localization) {
    return std::ranges::any_of(
        world.store.children(localization.id, "appScreenshotSets"), [&](const Resource* set) {
            return std::ranges::any_of(
                world.store.children(set->id, "appScreenshots"), [](const Resource* screenshot) {
                    const JSONValue* state = screenshot->attributes.at("assetDeliveryState", "state");
                    return state && state->text() &&
                           (*state->text() == "COMPLETE" || *state->text() == "UPLOAD_COMPLETE");
                });
        });
}

void checkTexts(const World& world, const Resource& version, std::string_view primaryLocale,
                Shortcomings& shortcomings) {
    const bool first = isFirstVersion(world, version);
    bool primary = false;
    for (const Resource* localization : world.store.children(version.id, "appStoreVersionLocalizations")) {
        for (const std::string_view attribute : {"description", "keywords", "supportUrl"})
            shortcomings.require(*localization, attribute);
        if (!first) shortcomings.require(*localization, "whatsNew");
        if (localization->text("locale") != primaryLocale) continue;
        primary = true;
        if (!hasScreenshots(world, *localization))
            shortcomings.add(*localization,
                             {.status = 409,
                              .code = "STATE_ERROR.SCREENSHOT_REQUIRED",
                              .title = "App screenshot missing.",
                              .detail = fmt::format(
                                  "A screenshot for the primary locale {} is required but was not provided",
                                  primaryLocale)});
    }
    if (!primary)
        shortcomings.add(
            version, invalidRelationship("appStoreVersionLocalizations",
                                         fmt::format("The localization of the primary locale {} is missing.",
                                                     primaryLocale)));
}

void checkReviewDetail(const World& world, const Resource& version, Shortcomings& shortcomings) {
    const Resource* detail = world.store.child(version.id, "appStoreReviewDetails");
    if (!detail) {
        shortcomings.add(
            version,
            invalidRelationship(
                "appStoreReviewDetail",
                fmt::format("The appStoreReviewDetail associated with appStoreVersions {} was not found.",
                            version.id)));
        return;
    }
    for (const std::string_view attribute :
         {"contactFirstName", "contactLastName", "contactPhone", "contactEmail"})
        shortcomings.require(*detail, attribute);
    if (isTrue(detail->attributes.find("demoAccountRequired")))
        for (const std::string_view attribute : {"demoAccountName", "demoAccountPassword"})
            shortcomings.require(*detail, attribute);
}

} // namespace

void requireComplete(const World& world, const Resource& version) {
    Shortcomings shortcomings;
    const std::string appID = version.link("app");
    checkTexts(world, version, world.store.find("apps", appID)->text("primaryLocale"), shortcomings);
    checkReviewDetail(world, version, shortcomings);
    const Resource* build = world.store.find("builds", version.link("build"));
    if (build)
        shortcomings.require(*build, "usesNonExemptEncryption");
    else
        shortcomings.add(version, missingRelationship("build"));
    for (const Resource* info : world.store.children(appID, "appInfos"))
        if (info->text("appStoreState") != "READY_FOR_SALE")
            for (const Resource* localization : world.store.children(info->id, "appInfoLocalizations"))
                shortcomings.require(*localization, "name");
    if (shortcomings.byPath().members()->empty()) return;
    Problem problem =
        invalidState(version.type, version.id,
                     "This resource cannot be reviewed, please check associated errors to see why.");
    problem.associatedErrors = shortcomings.byPath();
    throw Refusal(std::move(problem));
}

} // namespace quorvel::sandbox
