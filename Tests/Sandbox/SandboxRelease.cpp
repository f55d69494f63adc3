#include "Tests/Sandbox/RawSandbox.h"

#include <gmock/gmock.h>

#include <map>

namespace quorvel::sandbox::test {
namespace {

using testing::HasSubstr;

std::string stateOf(RawSandbox& fixture, const std::string& app, std::string_view versionID) {
    for (const JSONValue& version : fixture.get("/v1/apps/" + app + "/appStoreVersions?limit=200").list())
        if (*version.find("id")->text() == versionID)
            return *version.at("attributes", "appStoreState")->text();
    return "gone";
}

Reply submit(RawSandbox& fixture, const std::string& submission) {
    return fixture.update("reviewSubmissions", submission, {{"submitted", true}});
}

Reply addItem(RawSandbox& fixture, const std::string& submission, const std::string& version) {
    return fixture.create("reviewSubmissionItems", {},
                          {{"reviewSubmission", submission}, {"appStoreVersion", version}});
}

/// Attaches the demo account's good build and writes all release notes.
void completeMosswick(RawSandbox& fixture, const std::string& app, const std::string& version) {
    for (const JSONValue& entry :
         fixture.get("/v1/appStoreVersions/" + version + "/appStoreVersionLocalizations?limit=200").list())
        ASSERT_EQ(fixture
                      .update("appStoreVersionLocalizations", *entry.find("id")->text(),
                              {{"whatsNew", "Harvest totals."}})
                      .status,
                  200);
    const std::string build = fixture.build(app, "353");
    ASSERT_EQ(fixture.update("builds", build, {{"usesNonExemptEncryption", false}}).status, 200);
    ASSERT_EQ(fixture
                  .patch("/v1/appStoreVersions/" + version + "/relationships/build",
                         JSONValue::object({{"data", reference("builds", build)}}))
                  .status,
              204);
}

TEST(SandboxRelease, aVersionGoesFromPreparationToTheStore) {
    RawSandbox fixture;
    const std::string app = fixture.app("studio.fernhollow.mosswick");
    const std::string next = fixture.version(app, "IOS", "3.5");
    const std::string live = fixture.version(app, "IOS", "3.4");
    const std::string submission =
        fixture.create("reviewSubmissions", {{"platform", "IOS"}}, {{"app", app}}).id();
    const Reply incomplete = addItem(fixture, submission, next);
    EXPECT_EQ(incomplete.codes(), "STATE_ERROR.ENTITY_STATE_INVALID");
    const JSONValue* causes = incomplete.body.find("errors")->items()->front().at("meta", "associatedErrors");
    ASSERT_NE(causes, nullptr);
    EXPECT_EQ(causes->members()->size(), 41U)
        << "40 localizations without release notes, and the version's build";
    completeMosswick(fixture, app, next);
    EXPECT_EQ(submit(fixture, submission).status, 409) << "it holds nothing yet";
    EXPECT_EQ(addItem(fixture, submission, next).status, 201);
    EXPECT_EQ(stateOf(fixture, app, next), "READY_FOR_REVIEW");
    EXPECT_EQ(addItem(fixture, submission, next).codes(), "STATE_ERROR.ITEM_PART_OF_ANOTHER_SUBMISSION");
    const std::string phased =
        fixture.create("appStoreVersionPhasedReleases", {}, {{"appStoreVersion", next}}).id();
    EXPECT_EQ(submit(fixture, submission).text("state"), "WAITING_FOR_REVIEW");
    EXPECT_EQ(submit(fixture, submission).status, 409);
    EXPECT_EQ(fixture.create("reviewSubmissions", {{"platform", "IOS"}}, {{"app", app}}).status, 409);
    EXPECT_EQ(fixture.create("appStoreVersionReleaseRequests", {}, {{"appStoreVersion", next}}).status, 409);
    for (const char* state : {"IN_REVIEW", "PENDING_DEVELOPER_RELEASE"}) {
        fixture.server().advance(3601);
        EXPECT_EQ(stateOf(fixture, app, next), state);
    }
    const Reply released = fixture.create("appStoreVersionReleaseRequests", {}, {{"appStoreVersion", next}});
    EXPECT_EQ(released.status, 201);
    EXPECT_EQ(released.body.at("data", "attributes"), nullptr);
    EXPECT_EQ(stateOf(fixture, app, next), "PROCESSING_FOR_APP_STORE");
    fixture.server().advance(61);
    EXPECT_EQ(stateOf(fixture, app, next), "READY_FOR_SALE");
    EXPECT_EQ(stateOf(fixture, app, live), "REPLACED_WITH_NEW_VERSION");

    const std::string shown = "/v1/appStoreVersions/" + next + "/appStoreVersionPhasedRelease";
    EXPECT_EQ(fixture.get(shown).text("phasedReleaseState"), "ACTIVE");
    fixture.server().advance(2 * 86'400 + 1);
    EXPECT_EQ(*fixture.get(shown).body.at("data", "attributes", "currentDayNumber")->integer(), 3);
    EXPECT_EQ(
        fixture.update("appStoreVersionPhasedReleases", phased, {{"phasedReleaseState", "PAUSED"}}).status,
        200);
    fixture.server().advance(86'400);
    EXPECT_EQ(*fixture.get(shown).body.at("data", "attributes", "currentDayNumber")->integer(), 3);
    EXPECT_EQ(fixture.send("DELETE", "/v1/appStoreVersionPhasedReleases/" + phased).status, 409);
    EXPECT_EQ(
        fixture.update("appStoreVersionPhasedReleases", phased, {{"phasedReleaseState", "COMPLETE"}}).status,
        200);
    EXPECT_EQ(
        fixture.update("appStoreVersionPhasedReleases", phased, {{"phasedReleaseState", "ACTIVE"}}).status,
        409);
}

TEST(SandboxRelease, aRejectedVersionIsCorrectedAndSubmittedAgain) {
    RawSandbox fixture;
    const std::string app = fixture.app("studio.fernhollow.mosswick");
    const std::string next = fixture.version(app, "IOS", "3.5");
    completeMosswick(fixture, app, next);
    const std::string submission =
        fixture.create("reviewSubmissions", {{"platform", "IOS"}}, {{"app", app}}).id();
    ASSERT_EQ(addItem(fixture, submission, next).status, 201);
    ASSERT_EQ(submit(fixture, submission).status, 200);
    fixture.server().setVersionState(next, "METADATA_REJECTED");
    const std::string list = "/v1/reviewSubmissions?filter%5Bapp%5D=" + app + "&filter%5Bstate%5D=";
    ASSERT_EQ(fixture.get(list + "UNRESOLVED_ISSUES").list().size(), 1U);
    EXPECT_EQ(addItem(fixture, submission, next).status, 409) << "it still holds the item";
    EXPECT_EQ(fixture
                  .update("appStoreVersionLocalizations", fixture.localization(next, "en-US"),
                          {{"description", "A calmer description."}})
                  .status,
              200);
    EXPECT_EQ(submit(fixture, submission).text("state"), "WAITING_FOR_REVIEW");
    EXPECT_EQ(stateOf(fixture, app, next), "WAITING_FOR_REVIEW");
    EXPECT_EQ(fixture.update("reviewSubmissions", submission, {{"canceled", true}}).text("state"),
              "COMPLETE");
    EXPECT_EQ(stateOf(fixture, app, next), "DEVELOPER_REJECTED");
    fixture.server().advance(90'000);
    EXPECT_EQ(stateOf(fixture, app, next), "DEVELOPER_REJECTED") << "nothing reviews it any more";
    const std::string again = fixture.create("reviewSubmissions", {{"platform", "IOS"}}, {{"app", app}}).id();
    EXPECT_EQ(addItem(fixture, again, next).status, 201);
}

TEST(SandboxRelease, goingLiveCarriesTheAppsInformationOver) {
    RawSandbox fixture;
    const std::string app = fixture.app("studio.fernhollow.mosswick");
    const auto subtitles = [&] {
        std::map<std::string, std::string> found; // by the app info's state
        for (const JSONValue& info : fixture.get("/v1/apps/" + app + "/appInfos").list()) {
            const Reply texts = fixture.get("/v1/appInfos/" + *info.find("id")->text() +
                                            "/appInfoLocalizations?filter%5Blocale%5D=en-US");
            found[*info.at("attributes", "state")->text()] =
                *texts.list().at(0).at("attributes", "subtitle")->text();
        }
        return found;
    };
    for (const JSONValue& info : fixture.get("/v1/apps/" + app + "/appInfos").list())
        if (*info.at("attributes", "state")->text() == "PREPARE_FOR_SUBMISSION") {
            const Reply texts = fixture.get("/v1/appInfos/" + *info.find("id")->text() +
                                            "/appInfoLocalizations?filter%5Blocale%5D=en-US");
            ASSERT_EQ(fixture
                          .update("appInfoLocalizations", *texts.list().at(0).find("id")->text(),
                                  {{"subtitle", "A calmer garden"}})
                          .status,
                      200);
        }
    EXPECT_NE(subtitles()["READY_FOR_DISTRIBUTION"], "A calmer garden");
    fixture.server().setVersionState(fixture.version(app, "IOS", "3.5"), "READY_FOR_SALE");
    auto after = subtitles();
    EXPECT_EQ(after["READY_FOR_DISTRIBUTION"], "A calmer garden");
    EXPECT_EQ(after["PREPARE_FOR_SUBMISSION"], "A calmer garden")
        << "the Mac's version is still being edited";
    fixture.server().setVersionState(fixture.version(app, "MAC_OS", "3.5"), "READY_FOR_SALE");
    EXPECT_EQ(subtitles().size(), 1U);
    ASSERT_EQ(
        fixture.create("appStoreVersions", {{"platform", "IOS"}, {"versionString", "3.6"}}, {{"app", app}})
            .status,
        201);
    EXPECT_EQ(subtitles()["PREPARE_FOR_SUBMISSION"], "A calmer garden");
}

TEST(SandboxRelease, anEmptyAccountReachesItsFirstReview) {
    RawSandbox fixture(Seed::empty);
    const std::string app = fixture.app("studio.fernhollow.blankcanvas");
    const std::string version =
        fixture
            .create("appStoreVersions",
                    {{"platform", "IOS"}, {"versionString", "1.0"}, {"releaseType", "AFTER_APPROVAL"}},
                    {{"app", app}})
            .id();
    const std::string info = *fixture.get("/v1/apps/" + app + "/appInfos").list().at(0).find("id")->text();
    ASSERT_EQ(fixture
                  .create("appInfoLocalizations", {{"locale", "en-US"}, {"name", "Blank Canvas"}},
                          {{"appInfo", info}})
                  .status,
              201);
    const std::string texts = fixture
                                  .create("appStoreVersionLocalizations",
                                          {{"locale", "en-US"},
                                           {"description", "Draw."},
                                           {"keywords", "draw,paint"},
                                           {"whatsNew", "A canvas at last."},
                                           {"supportUrl", "https://fernhollow.example/help"}},
                                          {{"appStoreVersion", version}})
                                  .id();
    const std::string set = fixture
                                .create("appScreenshotSets", {{"screenshotDisplayType", "APP_IPHONE_67"}},
                                        {{"appStoreVersionLocalization", texts}})
                                .id();
    ASSERT_EQ(fixture.upload(set, "1.png", "a picture").status, 200);
    const std::string build = fixture.server().addBuild(app, "IOS", "1.0", "1");
    fixture.server().advance(301);
    ASSERT_EQ(fixture
                  .patch("/v1/appStoreVersions/" + version + "/relationships/build",
                         JSONValue::object({{"data", reference("builds", build)}}))
                  .status,
              204);
    const std::string submission =
        fixture.create("reviewSubmissions", {{"platform", "IOS"}}, {{"app", app}}).id();
    const Reply undeclared = addItem(fixture, submission, version);
    EXPECT_THAT(undeclared.response.body, HasSubstr("usesNonExemptEncryption"));
    ASSERT_EQ(fixture.update("builds", build, {{"usesNonExemptEncryption", false}}).status, 200);
    ASSERT_EQ(addItem(fixture, submission, version).status, 201);
    ASSERT_EQ(submit(fixture, submission).status, 200);
    fixture.server().advance(2 * 3601 + 61);
    EXPECT_EQ(stateOf(fixture, app, version), "READY_FOR_SALE") << "released after its approval";
}

} // namespace
} // namespace quorvel::sandbox::test
