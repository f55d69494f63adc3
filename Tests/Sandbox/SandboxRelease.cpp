#include "Tests/Sandbox/Rehearsal.h"

#include <gmock/gmock.h>

#include <map>

namespace quorvel::sandbox::test {
namespace {

using testing::HasSubstr;

std::string stateOf(Rehearsal& rehearsal, const std::string& app, std::string_view versionID) {
    for (const JSONValue& version : rehearsal.get("/v1/apps/" + app + "/appStoreVersions?limit=200").list())
        if (*version.find("id")->text() == versionID)
            return *version.at("attributes", "appStoreState")->text();
    return "gone";
}

Reply submit(Rehearsal& rehearsal, const std::string& submission) {
    return rehearsal.update("reviewSubmissions", submission, {{"submitted", true}});
}

Reply addItem(Rehearsal& rehearsal, const std::string& submission, const std::string& version) {
    return rehearsal.create("reviewSubmissionItems", {},
                            {{"reviewSubmission", submission}, {"appStoreVersion", version}});
}

/// Attaches the demo account's good build and writes all release notes.
void completeMosswick(Rehearsal& rehearsal, const std::string& app, const std::string& version) {
    for (const JSONValue& entry :
         rehearsal.get("/v1/appStoreVersions/" + version + "/appStoreVersionLocalizations?limit=200").list())
        ASSERT_EQ(rehearsal
                      .update("appStoreVersionLocalizations", *entry.find("id")->text(),
                              {{"whatsNew", "Harvest totals."}})
                      .status,
                  200);
    const std::string build = rehearsal.build(app, "353");
    ASSERT_EQ(rehearsal.update("builds", build, {{"usesNonExemptEncryption", false}}).status, 200);
    ASSERT_EQ(rehearsal
                  .patch("/v1/appStoreVersions/" + version + "/relationships/build",
                         JSONValue::object({{"data", reference("builds", build)}}))
                  .status,
              204);
}

TEST(SandboxRelease, aVersionGoesFromPreparationToTheStore) {
    Rehearsal rehearsal;
    const std::string app = rehearsal.app("studio.fernhollow.mosswick");
    const std::string next = rehearsal.version(app, "IOS", "3.5");
    const std::string live = rehearsal.version(app, "IOS", "3.4");
    const std::string submission =
        rehearsal.create("reviewSubmissions", {{"platform", "IOS"}}, {{"app", app}}).id();
    const Reply incomplete = addItem(rehearsal, submission, next);
    EXPECT_EQ(incomplete.codes(), "STATE_ERROR.ENTITY_STATE_INVALID");
    const JSONValue* causes = incomplete.body.find("errors")->items()->front().at("meta", "associatedErrors");
    ASSERT_NE(causes, nullptr);
    EXPECT_EQ(causes->members()->size(), 41U)
        << "40 localizations without release notes, and the version's build";
    completeMosswick(rehearsal, app, next);
    EXPECT_EQ(submit(rehearsal, submission).status, 409) << "it holds nothing yet";
    EXPECT_EQ(addItem(rehearsal, submission, next).status, 201);
    EXPECT_EQ(stateOf(rehearsal, app, next), "READY_FOR_REVIEW");
    EXPECT_EQ(addItem(rehearsal, submission, next).codes(), "STATE_ERROR.ITEM_PART_OF_ANOTHER_SUBMISSION");
    const std::string phased =
        rehearsal.create("appStoreVersionPhasedReleases", {}, {{"appStoreVersion", next}}).id();
    EXPECT_EQ(submit(rehearsal, submission).text("state"), "WAITING_FOR_REVIEW");
    EXPECT_EQ(submit(rehearsal, submission).status, 409);
    EXPECT_EQ(rehearsal.create("reviewSubmissions", {{"platform", "IOS"}}, {{"app", app}}).status, 409);
    EXPECT_EQ(rehearsal.create("appStoreVersionReleaseRequests", {}, {{"appStoreVersion", next}}).status,
              409);
    for (const char* state : {"IN_REVIEW", "PENDING_DEVELOPER_RELEASE"}) {
        rehearsal.server().advance(3601);
        EXPECT_EQ(stateOf(rehearsal, app, next), state);
    }
    const Reply released =
        rehearsal.create("appStoreVersionReleaseRequests", {}, {{"appStoreVersion", next}});
    EXPECT_EQ(released.status, 201);
    EXPECT_EQ(released.body.at("data", "attributes"), nullptr);
    EXPECT_EQ(stateOf(rehearsal, app, next), "PROCESSING_FOR_APP_STORE");
    rehearsal.server().advance(61);
    EXPECT_EQ(stateOf(rehearsal, app, next), "READY_FOR_SALE");
    EXPECT_EQ(stateOf(rehearsal, app, live), "REPLACED_WITH_NEW_VERSION");

    const std::string shown = "/v1/appStoreVersions/" + next + "/appStoreVersionPhasedRelease";
    EXPECT_EQ(rehearsal.get(shown).text("phasedReleaseState"), "ACTIVE");
    rehearsal.server().advance(2 * 86'400 + 1);
    EXPECT_EQ(*rehearsal.get(shown).body.at("data", "attributes", "currentDayNumber")->integer(), 3);
    EXPECT_EQ(
        rehearsal.update("appStoreVersionPhasedReleases", phased, {{"phasedReleaseState", "PAUSED"}}).status,
        200);
    rehearsal.server().advance(86'400);
    EXPECT_EQ(*rehearsal.get(shown).body.at("data", "attributes", "currentDayNumber")->integer(), 3);
    EXPECT_EQ(rehearsal.send("DELETE", "/v1/appStoreVersionPhasedReleases/" + phased).status, 409);
    EXPECT_EQ(rehearsal.update("appStoreVersionPhasedReleases", phased, {{"phasedReleaseState", "COMPLETE"}})
                  .status,
              200);
    EXPECT_EQ(
        rehearsal.update("appStoreVersionPhasedReleases", phased, {{"phasedReleaseState", "ACTIVE"}}).status,
        409);
}

TEST(SandboxRelease, aRejectedVersionIsCorrectedAndSubmittedAgain) {
    Rehearsal rehearsal;
    const std::string app = rehearsal.app("studio.fernhollow.mosswick");
    const std::string next = rehearsal.version(app, "IOS", "3.5");
    completeMosswick(rehearsal, app, next);
    const std::string submission =
        rehearsal.create("reviewSubmissions", {{"platform", "IOS"}}, {{"app", app}}).id();
    ASSERT_EQ(addItem(rehearsal, submission, next).status, 201);
    ASSERT_EQ(submit(rehearsal, submission).status, 200);
    rehearsal.server().setVersionState(next, "METADATA_REJECTED");
    const std::string list = "/v1/reviewSubmissions?filter%5Bapp%5D=" + app + "&filter%5Bstate%5D=";
    ASSERT_EQ(rehearsal.get(list + "UNRESOLVED_ISSUES").list().size(), 1U);
    EXPECT_EQ(addItem(rehearsal, submission, next).status, 409) << "it still holds the item";
    EXPECT_EQ(rehearsal
                  .update("appStoreVersionLocalizations", rehearsal.localization(next, "en-US"),
                          {{"description", "A calmer description."}})
                  .status,
              200);
    EXPECT_EQ(submit(rehearsal, submission).text("state"), "WAITING_FOR_REVIEW");
    EXPECT_EQ(stateOf(rehearsal, app, next), "WAITING_FOR_REVIEW");
    EXPECT_EQ(rehearsal.update("reviewSubmissions", submission, {{"canceled", true}}).text("state"),
              "COMPLETE");
    EXPECT_EQ(stateOf(rehearsal, app, next), "DEVELOPER_REJECTED");
    rehearsal.server().advance(90'000);
    EXPECT_EQ(stateOf(rehearsal, app, next), "DEVELOPER_REJECTED") << "nothing reviews it any more";
    const std::string again =
        rehearsal.create("reviewSubmissions", {{"platform", "IOS"}}, {{"app", app}}).id();
    EXPECT_EQ(addItem(rehearsal, again, next).status, 201);
}

TEST(SandboxRelease, goingLiveCarriesTheAppsInformationOver) {
    Rehearsal rehearsal;
    const std::string app = rehearsal.app("studio.fernhollow.mosswick");
    const auto subtitles = [&] {
        std::map<std::string, std::string> found; // by the app info's state
        for (const JSONValue& info : rehearsal.get("/v1/apps/" + app + "/appInfos").list()) {
            const Reply texts = rehearsal.get("/v1/appInfos/" + *info.find("id")->text() +
                                              "/appInfoLocalizations?filter%5Blocale%5D=en-US");
            found[*info.at("attributes", "state")->text()] =
                *texts.list().at(0).at("attributes", "subtitle")->text();
        }
        return found;
    };
    for (const JSONValue& info : rehearsal.get("/v1/apps/" + app + "/appInfos").list())
        if (*info.at("attributes", "state")->text() == "PREPARE_FOR_SUBMISSION") {
            const Reply texts = rehearsal.get("/v1/appInfos/" + *info.find("id")->text() +
                                              "/appInfoLocalizations?filter%5Blocale%5D=en-US");
            ASSERT_EQ(rehearsal
                          .update("appInfoLocalizations", *texts.list().at(0).find("id")->text(),
                                  {{"subtitle", "A calmer garden"}})
                          .status,
                      200);
        }
    EXPECT_NE(subtitles()["READY_FOR_DISTRIBUTION"], "A calmer garden");
    rehearsal.server().setVersionState(rehearsal.version(app, "IOS", "3.5"), "READY_FOR_SALE");
    auto after = subtitles();
    EXPECT_EQ(after["READY_FOR_DISTRIBUTION"], "A calmer garden");
    EXPECT_EQ(after["PREPARE_FOR_SUBMISSION"], "A calmer garden")
        << "the Mac's version is still being edited";
    rehearsal.server().setVersionState(rehearsal.version(app, "MAC_OS", "3.5"), "READY_FOR_SALE");
    EXPECT_EQ(subtitles().size(), 1U);
    ASSERT_EQ(
        rehearsal.create("appStoreVersions", {{"platform", "IOS"}, {"versionString", "3.6"}}, {{"app", app}})
            .status,
        201);
    EXPECT_EQ(subtitles()["PREPARE_FOR_SUBMISSION"], "A calmer garden");
}

TEST(SandboxRelease, anEmptyAccountReachesItsFirstReview) {
    Rehearsal rehearsal(Seed::empty);
    const std::string app = rehearsal.app("studio.fernhollow.blankcanvas");
    const std::string version =
        rehearsal
            .create("appStoreVersions",
                    {{"platform", "IOS"}, {"versionString", "1.0"}, {"releaseType", "AFTER_APPROVAL"}},
                    {{"app", app}})
            .id();
    const std::string info = *rehearsal.get("/v1/apps/" + app + "/appInfos").list().at(0).find("id")->text();
    ASSERT_EQ(rehearsal
                  .create("appInfoLocalizations", {{"locale", "en-US"}, {"name", "Blank Canvas"}},
                          {{"appInfo", info}})
                  .status,
              201);
    const std::string texts = rehearsal
                                  .create("appStoreVersionLocalizations",
                                          {{"locale", "en-US"},
                                           {"description", "Draw."},
                                           {"keywords", "draw,paint"},
                                           {"whatsNew", "A canvas at last."},
                                           {"supportUrl", "https://fernhollow.example/help"}},
                                          {{"appStoreVersion", version}})
                                  .id();
    const std::string set = rehearsal
                                .create("appScreenshotSets", {{"screenshotDisplayType", "APP_IPHONE_67"}},
                                        {{"appStoreVersionLocalization", texts}})
                                .id();
    ASSERT_EQ(rehearsal.upload(set, "1.png", "a picture").status, 200);
    const std::string build = rehearsal.server().addBuild(app, "IOS", "1.0", "1");
    rehearsal.server().advance(301);
    ASSERT_EQ(rehearsal
                  .patch("/v1/appStoreVersions/" + version + "/relationships/build",
                         JSONValue::object({{"data", reference("builds", build)}}))
                  .status,
              204);
    const std::string submission =
        rehearsal.create("reviewSubmissions", {{"platform", "IOS"}}, {{"app", app}}).id();
    const Reply undeclared = addItem(rehearsal, submission, version);
    EXPECT_THAT(undeclared.response.body, HasSubstr("usesNonExemptEncryption"));
    ASSERT_EQ(rehearsal.update("builds", build, {{"usesNonExemptEncryption", false}}).status, 200);
    ASSERT_EQ(addItem(rehearsal, submission, version).status, 201);
    ASSERT_EQ(submit(rehearsal, submission).status, 200);
    rehearsal.server().advance(2 * 3601 + 61);
    EXPECT_EQ(stateOf(rehearsal, app, version), "READY_FOR_SALE") << "released after its approval";
}

} // namespace
} // namespace quorvel::sandbox::test
