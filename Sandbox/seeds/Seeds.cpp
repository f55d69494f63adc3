#include "Sandbox/seeds/Seeds.h"

#include "Sandbox/rules/Seeding.h"

namespace quorvel::sandbox {
namespace {

constexpr double buildLife = 90 * 86400.0;

Date ago(const World& world, double seconds) {
    return dateFromSecondsSince1970(secondsSince1970(world.now()) - seconds);
}

Resource& train(World& world, const Resource& app, std::string_view platform, std::string_view version) {
    for (Resource* known : world.store.children(app.id, "preReleaseVersions"))
        if (known->text("version") == version && known->text("platform") == platform) return *known;
    return world.store.add("preReleaseVersions",
                           JSONValue::object({{"version", version}, {"platform", platform}}),
                           {{"app", app.id}});
}

void plantEmpty(World& world) {
    Resource& app = addApp(world, "6700000001", "Blank Canvas", "studio.fernhollow.blankcanvas",
                           "BLANKCANVAS01", "en-US");
    // It was on sale once, so that its next version takes release notes, as nearly every version does.
    app.hidden.set("hadVersions", true);
    app.hidden.set("reviewDetail", JSONValue::object({{"contactFirstName", "Ines"},
                                                      {"contactLastName", "Okafor"},
                                                      {"contactPhone", "+49 30 5550142"},
                                                      {"contactEmail", "review@fernhollow.example"},
                                                      {"demoAccountName", nullptr},
                                                      {"demoAccountPassword", nullptr},
                                                      {"demoAccountRequired", false},
                                                      {"notes", nullptr}}));
}

} // namespace

void plant(World& world, Seed seed) {
    if (seed == Seed::demo)
        plantDemo(world);
    else
        plantEmpty(world);
}

Resource& addApp(World& world, std::string_view id, std::string_view name, std::string_view bundleID,
                 std::string_view sku, std::string_view primaryLocale) {
    return world.store.add(
        "apps",
        JSONValue::object({{"name", name},
                           {"bundleId", bundleID},
                           {"sku", sku},
                           {"primaryLocale", primaryLocale},
                           {"isOrEverWasMadeForKids", false},
                           {"subscriptionStatusUrl", nullptr},
                           {"subscriptionStatusUrlVersion", nullptr},
                           {"subscriptionStatusUrlForSandbox", nullptr},
                           {"subscriptionStatusUrlVersionForSandbox", nullptr},
                           {"contentRightsDeclaration", "DOES_NOT_USE_THIRD_PARTY_CONTENT"}}),
        {}, std::string(id));
}

Resource& addBuildTo(World& world, const Resource& app, std::string_view platform, std::string_view version,
                     std::string_view number, double age) {
    const Resource& preRelease = train(world, app, platform, version);
    return world.store.add("builds",
                           buildAttributes(number, serviceDate(ago(world, age)),
                                           serviceDate(ago(world, age - buildLife)), "VALID"),
                           {{"app", app.id}, {"preReleaseVersion", preRelease.id}});
}

} // namespace quorvel::sandbox
