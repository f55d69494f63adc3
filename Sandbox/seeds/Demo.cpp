// The demo account: three apps of an invented studio.
#include "Sandbox/resources/Schema.h"
#include "Sandbox/rules/Analytics.h"
#include "Sandbox/rules/Previews.h"
#include "Sandbox/rules/Screenshots.h"
#include "Sandbox/rules/Seeding.h"
#include "Sandbox/rules/VersionStates.h"
#include "Sandbox/seeds/DemoTexts.h"
#include "Sandbox/seeds/Seeds.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel::sandbox {
namespace {

constexpr double day = 86400;
constexpr int salesDays = 60;

std::string agoDate(const World& world, double seconds) {
    return serviceDate(dateFromSecondsSince1970(secondsSince1970(world.now()) - seconds));
}

template <typename Function>
void forEachLocale(Function&& function) {
    for (const auto rows : {westernTexts(), otherTexts()})
        for (const DemoTexts& texts : rows)
            for (std::string_view rest = texts.locales; !rest.empty();) {
                const std::size_t end = std::min(rest.find(' '), rest.size());
                function(rest.substr(0, end), texts);
                rest.remove_prefix(std::min(end + 1, rest.size()));
            }
}

Resource& addVersion(World& world, const Resource& app, std::string_view platform, std::string_view number,
                     std::string_view state, double age) {
    Resource& version =
        world.store.add("appStoreVersions", versionAttributes(platform, number, state, agoDate(world, age)),
                        {{"app", app.id}});
    version.attributes.set("copyright", "2026 Fernhollow Studio");
    return version;
}

void addReviewDetail(World& world, const Resource& version) {
    world.store.add("appStoreReviewDetails",
                    JSONValue::object({{"contactFirstName", "Ines"},
                                       {"contactLastName", "Okafor"},
                                       {"contactPhone", "+49 30 5550142"},
                                       {"contactEmail", "review@fernhollow.example"},
                                       {"demoAccountName", nullptr},
                                       {"demoAccountPassword", nullptr},
                                       {"demoAccountRequired", false},
                                       {"notes", "Frost warnings need a location; any city will do."}}),
                    {{"appStoreVersion", version.id}});
}

Resource& addInfo(World& world, const Resource& app, std::string_view state, std::string_view appStoreState) {
    return world.store.add(
        "appInfos",
        JSONValue::object({{"appStoreState", appStoreState},
                           {"state", state},
                           {"appStoreAgeRating", "FOUR_PLUS"},
                           {"kidsAgeBand", nullptr}}),
        {{"app", app.id}, {"primaryCategory", "LIFESTYLE"}, {"secondaryCategory", "REFERENCE"}});
}

void addInfoTexts(World& world, const Resource& info, std::string_view locale, std::string_view name,
                  std::string_view subtitle) {
    JSONValue attributes = appInfoLocalizationAttributes(locale);
    attributes.set("name", name);
    attributes.set("subtitle", subtitle);
    attributes.set("privacyPolicyUrl", "https://fernhollow.example/privacy");
    world.store.add("appInfoLocalizations", std::move(attributes), {{"appInfo", info.id}});
}

Resource& addTexts(World& world, const Resource& version, std::string_view locale, const DemoTexts& texts,
                   bool withNotes) {
    JSONValue attributes = versionLocalizationAttributes(locale);
    attributes.set("description", texts.description);
    attributes.set("keywords", texts.keywords);
    attributes.set("promotionalText", texts.promotionalText);
    attributes.set("supportUrl", fmt::format("https://fernhollow.example/help/{}", locale));
    attributes.set("marketingUrl", "https://fernhollow.example/mosswick");
    if (withNotes) attributes.set("whatsNew", texts.whatsNew);
    return world.store.add("appStoreVersionLocalizations", std::move(attributes),
                           {{"appStoreVersion", version.id}});
}

void addScreenshots(World& world, const Resource& localization, std::string_view displayType, int count) {
    const Resource& set =
        world.store.add("appScreenshotSets", JSONValue::object({{"screenshotDisplayType", displayType}}),
                        {{"appStoreVersionLocalization", localization.id}});
    for (int i = 1; i <= count; ++i) {
        Resource& shot =
            world.store.add("appScreenshots", JSONValue::object(), {{"appScreenshotSet", set.id}});
        shot.attributes = JSONValue::object(
            {{"fileSize", 184'000 + 3'517 * i},
             {"fileName", fmt::format("{:02}_garden.png", i)},
             {"sourceFileChecksum", fmt::format("{:032x}", std::hash<std::string>()(shot.id))},
             {"imageAsset", nullptr},
             {"assetToken", ""},
             {"assetType", "SCREENSHOT"},
             {"uploadOperations", nullptr},
             {"assetDeliveryState", nullptr}});
        completeScreenshot(world, shot);
    }
}

void addPreview(World& world, const Resource& localization, std::string_view previewType) {
    const Resource& set = world.store.add("appPreviewSets", JSONValue::object({{"previewType", previewType}}),
                                          {{"appStoreVersionLocalization", localization.id}});
    Resource& preview = world.store.add("appPreviews", JSONValue::object(), {{"appPreviewSet", set.id}});
    preview.attributes = JSONValue::object(
        {{"fileSize", 21'408'113},
         {"fileName", "01_first_steps.mp4"},
         {"sourceFileChecksum", fmt::format("{:032x}", std::hash<std::string>()(preview.id))},
         {"previewFrameTimeCode", nullptr},
         {"mimeType", "video/mp4"},
         {"videoUrl", nullptr},
         {"previewFrameImage", nullptr},
         {"uploadOperations", nullptr},
         {"videoDeliveryState", nullptr}});
    completePreview(world, preview);
}

/// Texts of a version in every locale; screenshots in some.
void addAllTexts(World& world, const Resource& version, bool withNotes) {
    const bool mac = version.text("platform") == "MAC_OS";
    forEachLocale([&](std::string_view locale, const DemoTexts& texts) {
        const Resource& localization = addTexts(world, version, locale, texts, withNotes);
        if (mac && locale == "en-US") addScreenshots(world, localization, "APP_DESKTOP", 2);
        if (mac || !isChoice("en-US|de-DE|ja|fr-FR", locale)) return;
        addScreenshots(world, localization, "APP_IPHONE_67", locale == "en-US" ? 4 : 2);
        if (locale != "en-US") return;
        addScreenshots(world, localization, "APP_IPAD_PRO_3GEN_129", 2);
        addPreview(world, localization, "IPHONE_67");
    });
}

void addMosswickBuilds(World& world, const Resource& app, Resource& liveVersion) {
    Resource& live = addBuildTo(world, app, "IOS", "3.4", "341", 40 * day);
    live.attributes.set("usesNonExemptEncryption", false);
    world.store.link(liveVersion, "build", live.id);
    Resource& expired = addBuildTo(world, app, "IOS", "3.3", "330", 120 * day);
    expired.attributes.set("expired", true);
    expired.attributes.set("usesNonExemptEncryption", false);
    addBuildTo(world, app, "IOS", "3.5", "350", 5 * day).attributes.set("processingState", "INVALID");
    addBuildTo(world, app, "IOS", "3.5", "351", 4 * day).attributes.set("processingState", "FAILED");
    Resource& candidate = addBuildTo(world, app, "IOS", "3.5", "352", 2 * day);
    candidate.attributes.set("usesNonExemptEncryption", false);
    forEachLocale([&](std::string_view locale, const DemoTexts& texts) {
        world.store.add("betaBuildLocalizations",
                        JSONValue::object({{"whatsNew", texts.whatsNew}, {"locale", locale}}),
                        {{"build", candidate.id}});
    });
    addBuildTo(world, app, "IOS", "3.5", "353", day); // valid, its export compliance not answered
    // Stuck where a fixture can see it: nothing moves this build on.
    addBuildTo(world, app, "IOS", "3.5", "354", 600).attributes.set("processingState", "PROCESSING");
    Resource& mac = addBuildTo(world, app, "MAC_OS", "3.5", "352", 2 * day);
    mac.attributes.set("usesNonExemptEncryption", false);
}

struct DemoTester {
    std::string_view firstName, lastName, email, state;
};
constexpr DemoTester studioTesters[] = {{"Ines", "Okafor", "ines@fernhollow.example", "INSTALLED"},
                                        {"Tomás", "Lindqvist", "tomas@fernhollow.example", "ACCEPTED"}};
constexpr DemoTester friendTesters[] = {{"Maren", "Achterberg", "maren@allotment.example", "INSTALLED"},
                                        {"Yuki", "Tanaka", "yuki@allotment.example", "INVITED"},
                                        {"", "", "plot17@allotment.example", "NOT_INVITED"}};

void addGroup(World& world, const Resource& app, std::string_view name, bool isInternal,
              std::string_view link, std::span<const DemoTester> testers = {}) {
    JSONValue attributes = JSONValue::object({{"name", name},
                                              {"createdDate", agoDate(world, 300 * day)},
                                              {"isInternalGroup", isInternal},
                                              {"hasAccessToAllBuilds", isInternal},
                                              {"publicLinkEnabled", !link.empty()},
                                              {"publicLinkId", nullptr},
                                              {"publicLinkLimitEnabled", !link.empty()},
                                              {"publicLinkLimit", nullptr},
                                              {"publicLink", nullptr},
                                              {"feedbackEnabled", true}});
    if (!link.empty()) {
        attributes.set("publicLinkId", link);
        attributes.set("publicLinkLimit", 500);
        attributes.set("publicLink", fmt::format("https://testflight.example/join/{}", link));
    }
    Resource& group = world.store.add("betaGroups", std::move(attributes), {{"app", app.id}});
    for (const DemoTester& tester : testers)
        group.members["betaTesters"].push_back(
            world.store
                .add("betaTesters", JSONValue::object({{"firstName", tester.firstName},
                                                       {"lastName", tester.lastName},
                                                       {"email", tester.email},
                                                       {"inviteType", "EMAIL"},
                                                       {"state", tester.state}}))
                .id);
}

void addPurchases(World& world, const Resource& app) {
    struct Purchase {
        std::string_view name, productID, type, state;
    };
    constexpr Purchase purchases[] = {
        {"All Seasons", "studio.fernhollow.mosswick.seasons", "NON_CONSUMABLE", "APPROVED"},
        {"Seed Packet Tip", "studio.fernhollow.mosswick.tip", "CONSUMABLE", "APPROVED"},
        {"Allotment Year", "studio.fernhollow.mosswick.year", "NON_RENEWING_SUBSCRIPTION",
         "MISSING_METADATA"}};
    std::int64_t id = 6'700'000'201;
    for (const Purchase& purchase : purchases)
        world.store.add("inAppPurchases",
                        JSONValue::object({{"name", purchase.name},
                                           {"productId", purchase.productID},
                                           {"inAppPurchaseType", purchase.type},
                                           {"state", purchase.state},
                                           {"reviewNote", nullptr},
                                           {"familySharable", purchase.type == "NON_CONSUMABLE"},
                                           {"contentHosting", false}}),
                        {{"app", app.id}}, std::to_string(id++));
}

void addEvents(World& world, const Resource& app) {
    struct Entry {
        std::string_view name, badge, state;
        double begins;
    };
    constexpr Entry entries[] = {{"Spring Sowing Week", "CHALLENGE", "PUBLISHED", -3},
                                 {"Tomato Championship", "COMPETITION", "DRAFT", 40}};
    for (const Entry& entry : entries) {
        const JSONValue schedule =
            JSONValue::object({{"territories", std::vector<std::string>{"USA", "DEU", "JPN"}},
                               {"publishStart", agoDate(world, -(entry.begins - 7) * day)},
                               {"eventStart", agoDate(world, -entry.begins * day)},
                               {"eventEnd", agoDate(world, -(entry.begins + 7) * day)}});
        world.store.add("appEvents",
                        JSONValue::object({{"referenceName", entry.name},
                                           {"badge", entry.badge},
                                           {"eventState", entry.state},
                                           {"deepLink", "https://fernhollow.example/mosswick/events"},
                                           {"purchaseRequirement", "NO_COST_ASSOCIATED"},
                                           {"primaryLocale", "en-US"},
                                           {"priority", "NORMAL"},
                                           {"purpose", "KEEP_ACTIVE_USERS_INFORMED"},
                                           {"territorySchedules", JSONValue::array({schedule})},
                                           {"archivedTerritorySchedules", JSONValue::array()}}),
                        {{"app", app.id}});
    }
}

void plantMosswick(World& world) {
    const Resource& app = addApp(world, "6700000101", "Mosswick: Garden Journal",
                                 "studio.fernhollow.mosswick", "MOSSWICK01", "en-US");
    const Resource& live = addInfo(world, app, "READY_FOR_DISTRIBUTION", "READY_FOR_SALE");
    const Resource& next = addInfo(world, app, "PREPARE_FOR_SUBMISSION", "PREPARE_FOR_SUBMISSION");
    for (const Resource* info : {&live, &next})
        forEachLocale([&](std::string_view locale, const DemoTexts& texts) {
            addInfoTexts(world, *info, locale, texts.name, texts.subtitle);
        });
    addVersion(world, app, "IOS", "3.3", "REPLACED_WITH_NEW_VERSION", 110 * day);
    for (const std::string_view platform : {"IOS", "MAC_OS"}) {
        Resource& current = addVersion(world, app, platform, "3.4", "READY_FOR_SALE", 38 * day);
        addAllTexts(world, current, true);
        addReviewDetail(world, current);
        const Resource& coming = addVersion(world, app, platform, "3.5", "PREPARE_FOR_SUBMISSION", 3 * day);
        addAllTexts(world, coming, false);
        addReviewDetail(world, coming);
        if (platform == "IOS") addMosswickBuilds(world, app, current);
    }
    addGroup(world, app, "Studio", true, "", studioTesters);
    addGroup(world, app, "Allotment Friends", false, "Gr33nTh", friendTesters);
    addGroup(world, app, "Translators", false, "");
    addPurchases(world, app);
    addEvents(world, app);
    addReviews(world, app, 120);
    const Resource& request = world.store.add(
        "analyticsReportRequests",
        JSONValue::object({{"accessType", "ONGOING"}, {"stoppedDueToInactivity", false}}), {{"app", app.id}});
    produceReports(world, request);
}

constexpr DemoTexts tides = {"en-US",
                             "Pocket Tides",
                             "Tide tables that fit a pocket",
                             "tides,tide table,sea,coast,moon,surf,fishing,harbour,waves",
                             "High water, low water and everything between for 4,000 harbours. Works at sea, "
                             "where there is no signal.",
                             "New: tide alarms for your home harbour.",
                             "Alarms before low water."};
constexpr DemoTexts sketchbook = {
    "de-DE",
    "Mosswick Skizzenbuch",
    "Gärten zeichnen wie auf Papier",
    "garten,zeichnen,skizze,plan,landschaft,entwurf",
    "Zeichne deinen Garten mit dem Stift, wie auf Papier. Maßstab und Himmelsrichtung stimmen immer.",
    "",
    ""};

/// An app whose version waits for its release.
void plantTides(World& world) {
    const Resource& app =
        addApp(world, "6700000102", "Pocket Tides", "studio.fernhollow.tides", "TIDES01", "en-US");
    const Resource& live = addInfo(world, app, "READY_FOR_DISTRIBUTION", "READY_FOR_SALE");
    const Resource& next = addInfo(world, app, "PENDING_RELEASE", "PENDING_DEVELOPER_RELEASE");
    for (const Resource* info : {&live, &next})
        addInfoTexts(world, *info, "en-US", tides.name, tides.subtitle);
    const Resource& current = addVersion(world, app, "IOS", "1.8", "READY_FOR_SALE", 90 * day);
    addScreenshots(world, addTexts(world, current, "en-US", tides, true), "APP_IPHONE_67", 3);
    Resource& approved = addVersion(world, app, "IOS", "1.9", "PENDING_DEVELOPER_RELEASE", 6 * day);
    addScreenshots(world, addTexts(world, approved, "en-US", tides, true), "APP_IPHONE_67", 3);
    addReviewDetail(world, approved);
    Resource& build = addBuildTo(world, app, "IOS", "1.9", "90", 6 * day);
    build.attributes.set("usesNonExemptEncryption", false);
    world.store.link(approved, "build", build.id);
    const Resource& submission = world.store.add(
        "reviewSubmissions",
        JSONValue::object(
            {{"platform", "IOS"}, {"submittedDate", agoDate(world, 5 * day)}, {"state", "COMPLETE"}}),
        {{"app", app.id}, {"appStoreVersionForReview", approved.id}});
    world.store.add("reviewSubmissionItems", JSONValue::object({{"state", "APPROVED"}}),
                    {{"appStoreVersion", approved.id}, {"reviewSubmission", submission.id}});
    addGroup(world, app, "Harbour Crew", true, "");
}

/// An app before its first release, with gaps: no review contact, no screenshots, no build.
void plantSketchbook(World& world) {
    const Resource& app = addApp(world, "6700000103", "Mosswick Skizzenbuch",
                                 "studio.fernhollow.mosswick.sketchbook", "SKETCH01", "de-DE");
    const Resource& info = addInfo(world, app, "PREPARE_FOR_SUBMISSION", "PREPARE_FOR_SUBMISSION");
    addInfoTexts(world, info, "de-DE", sketchbook.name, sketchbook.subtitle);
    const Resource& version = addVersion(world, app, "IOS", "1.0", "PREPARE_FOR_SUBMISSION", 12 * day);
    Resource& texts = addTexts(world, version, "de-DE", sketchbook, false);
    texts.attributes.set("promotionalText", nullptr);
}

} // namespace

void plantDemo(World& world) {
    plantMosswick(world);
    plantTides(world);
    plantSketchbook(world);
    world.firstSalesDay = dayNumber(world.now()) - salesDays;
}

} // namespace quorvel::sandbox
