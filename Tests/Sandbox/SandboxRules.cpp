#include "Platform/json/JSON.h"
#include "Tests/Sandbox/RawSandbox.h"

#include <gmock/gmock.h>

namespace quorvel::sandbox::test {
namespace {

using testing::HasSubstr;

/// The demo account's main app.
struct Mosswick {
    explicit Mosswick(RawSandbox& fixture)
        : app(fixture.app("studio.fernhollow.mosswick")),
          next(fixture.version(app, "IOS", "3.5")),
          live(fixture.version(app, "IOS", "3.4")),
          english(fixture.localization(next, "en-US")) {
        for (const JSONValue& info : fixture.get("/v1/apps/" + app + "/appInfos").list())
            (*info.at("attributes", "appStoreState")->text() == "READY_FOR_SALE" ? liveInfo : nextInfo) =
                *info.find("id")->text();
    }
    std::string app, next, live, english, liveInfo, nextInfo;
};

std::string repeated(std::string_view text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

TEST(SandboxRules, documentsOfAWrongFormAreRefused) {
    RawSandbox fixture;
    const Mosswick mosswick(fixture);
    const std::string path = "/v1/appStoreVersionLocalizations/" + mosswick.english;
    const std::string head =
        R"({"data":{"type":"appStoreVersionLocalizations","id":")" + mosswick.english + "\"";
    struct Case {
        std::string body;
        int status;
        std::string code;
    };
    const Case cases[] = {
        {"{\"data\":", 400, "ENTITY_INVALID"},
        {"[]", 409, "ENTITY_ERROR.DATA.REQUIRED"},
        {"{}", 409, "ENTITY_ERROR.DATA.REQUIRED"},
        {R"({"data":[]})", 400, "ENTITY_INVALID"},
        {head + R"(},"extra":1})", 409, "ENTITY_ERROR.MEMBER.UNKNOWN"},
        {head + R"(,"colour":1}})", 409, "ENTITY_ERROR.MEMBER.UNKNOWN"},
        {head + R"(,"attributes":{"colour":"red"}}})", 409, "ENTITY_ERROR.ATTRIBUTE.UNKNOWN"},
        {head + R"(,"attributes":{"locale":"ja"}}})", 409, "ENTITY_ERROR.ATTRIBUTE.NOT_ALLOWED"},
        {head + R"(,"attributes":{"keywords":7}}})", 409, "ENTITY_ERROR.ATTRIBUTE.TYPE"},
        {head + R"(,"relationships":{"app":{"data":{"type":"apps","id":"1"}}}}})", 409,
         "ENTITY_ERROR.RELATIONSHIP.UNKNOWN"},
        {R"({"data":{"type":"apps","id":")" + mosswick.english + "\"}}", 409, "ENTITY_ERROR.TYPE.INVALID"},
        {R"({"data":{"type":"appStoreVersionLocalizations","id":"1"}})", 409, "ENTITY_ERROR.ID.INVALID"},
        {head + "}}", 200, ""},
    };
    for (const Case& entry : cases) {
        const Reply reply = fixture.send("PATCH", path, entry.body, {{"Content-Type", "application/json"}});
        EXPECT_EQ(reply.status, entry.status) << entry.body;
        EXPECT_EQ(reply.codes(), entry.code) << entry.body;
    }
    EXPECT_EQ(fixture.send("PATCH", path, head + "}}", {{"Content-Type", "text/plain"}}).status, 415);
    EXPECT_EQ(fixture.update("appStoreVersionLocalizations", "17", {}).status, 404);
}

TEST(SandboxRules, createsNeedTheirAttributesAndRelationships) {
    RawSandbox fixture;
    const Mosswick mosswick(fixture);
    const Reply bare = fixture.create("appStoreVersions", {{"platform", "TV_OS"}}, {});
    EXPECT_EQ(bare.status, 409);
    EXPECT_EQ(bare.codes(), "ENTITY_ERROR.ATTRIBUTE.REQUIRED ENTITY_ERROR.RELATIONSHIP.REQUIRED");
    EXPECT_EQ(bare.source(), "/data/attributes/versionString");
    EXPECT_THAT(bare.detail(), HasSubstr("'versionString'"));
    EXPECT_EQ(fixture.create("appInfoLocalizations", {{"locale", "ta-IN"}}, {{"appInfo", mosswick.nextInfo}})
                  .source(),
              "/data/attributes/name");
    const Reply nowhere =
        fixture.create("appStoreVersions", {{"platform", "TV_OS"}, {"versionString", "1"}}, {{"app", "17"}});
    EXPECT_EQ(nowhere.codes(), "ENTITY_ERROR.RELATIONSHIP.INVALID");
    const Reply platform = fixture.create("appStoreVersions", {{"platform", "PS_5"}, {"versionString", "1"}},
                                          {{"app", mosswick.app}});
    EXPECT_EQ(platform.codes(), "ENTITY_ERROR.ATTRIBUTE.INVALID");
    EXPECT_EQ(fixture.create("reviewSubmissionItems", {}, {{"reviewSubmission", "17"}}).status, 409);
}

TEST(SandboxRules, limitsCountWhatPeopleCallCharacters) {
    RawSandbox fixture;
    const Mosswick mosswick(fixture);
    std::string infoText;
    for (const JSONValue& entry :
         fixture.get("/v1/appInfos/" + mosswick.nextInfo + "/appInfoLocalizations?filter%5Blocale%5D=en-US")
             .list())
        infoText = *entry.find("id")->text();
    struct Field {
        std::string type, id, name;
        int limit;
    };
    const Field fields[] = {{"appInfoLocalizations", infoText, "name", 30},
                            {"appInfoLocalizations", infoText, "subtitle", 30},
                            {"appStoreVersionLocalizations", mosswick.english, "keywords", 100},
                            {"appStoreVersionLocalizations", mosswick.english, "promotionalText", 170},
                            {"appStoreVersionLocalizations", mosswick.english, "description", 4000},
                            {"appStoreVersionLocalizations", mosswick.english, "whatsNew", 4000}};
    for (const Field& field : fields) {
        for (const char* letter : {"a", "👩‍🌾", "नि"}) // one letter of one, eleven and six bytes
            EXPECT_EQ(
                fixture.update(field.type, field.id, {{field.name, repeated(letter, field.limit)}}).status,
                200)
                << field.name << letter;
        const Reply refused =
            fixture.update(field.type, field.id, {{field.name, repeated("é", field.limit + 1)}});
        EXPECT_EQ(refused.status, 409) << field.name;
        EXPECT_EQ(refused.codes(), "ENTITY_ERROR.ATTRIBUTE.INVALID.TOO_LONG");
        EXPECT_EQ(refused.source(), "/data/attributes/" + field.name);
        EXPECT_THAT(refused.detail(), HasSubstr(std::to_string(field.limit)));
    }
    EXPECT_EQ(fixture.update("appInfoLocalizations", infoText, {{"name", "x"}}).codes(),
              "ENTITY_ERROR.ATTRIBUTE.INVALID.TOO_SHORT");
    const Reply cleared = fixture.update("appStoreVersionLocalizations", mosswick.english,
                                         {{"description", ""}, {"promotionalText", nullptr}});
    EXPECT_EQ(cleared.status, 200);
    EXPECT_EQ(cleared.text("description"), "");
}

TEST(SandboxRules, localesAreApplesAndEachIsThereOnce) {
    RawSandbox fixture;
    const Mosswick mosswick(fixture);
    const auto add = [&](std::string_view locale) {
        return fixture.create("appStoreVersionLocalizations", {{"locale", locale}},
                              {{"appStoreVersion", mosswick.next}});
    };
    const Reply twice = add("ja");
    EXPECT_EQ(twice.status, 409);
    EXPECT_EQ(twice.codes(), "ENTITY_ERROR.ATTRIBUTE.INVALID.DUPLICATE");
    EXPECT_EQ(twice.detail(), "Entity with locale: 'ja' already exists. Try updating.");
    for (const char* locale : {"tlh", "ja-JP", "en", "default", ""})
        EXPECT_EQ(add(locale).codes(), "ENTITY_ERROR.ATTRIBUTE.INVALID") << locale;
    EXPECT_EQ(add("ta-IN").status, 201);
    const std::string infos = "/v1/appInfos/" + mosswick.nextInfo + "/appInfoLocalizations?limit=200";
    EXPECT_EQ(fixture.get(infos).list().size(), 40U) << "the app's information has its own locales";
}

TEST(SandboxRules, onlyStatesThatTakeEditsTakeEdits) {
    RawSandbox fixture;
    const Mosswick mosswick(fixture);
    const auto edit = [&](std::string_view attribute) {
        return fixture.update("appStoreVersionLocalizations", mosswick.english,
                              {{std::string(attribute), "text"}});
    };
    struct Case {
        std::string state;
        int description, promotionalText;
    };
    const Case cases[] = {{"DEVELOPER_REJECTED", 200, 200},       {"REJECTED", 200, 200},
                          {"METADATA_REJECTED", 200, 200},        {"INVALID_BINARY", 200, 200},
                          {"WAITING_FOR_REVIEW", 409, 409},       {"IN_REVIEW", 409, 409},
                          {"READY_FOR_REVIEW", 409, 409},         {"PENDING_DEVELOPER_RELEASE", 409, 409},
                          {"PROCESSING_FOR_APP_STORE", 409, 409}, {"READY_FOR_SALE", 409, 200},
                          {"PREPARE_FOR_SUBMISSION", 200, 200}};
    for (const Case& entry : cases) {
        fixture.server().setVersionState(mosswick.next, entry.state);
        const Reply reply = edit("description");
        EXPECT_EQ(reply.status, entry.description) << entry.state;
        EXPECT_EQ(reply.codes(), entry.description == 200 ? "" : "STATE_ERROR.ENTITY_STATE_INVALID");
        EXPECT_EQ(edit("promotionalText").status, entry.promotionalText) << entry.state;
        EXPECT_EQ(fixture
                      .create("appStoreVersionLocalizations", {{"locale", "ja"}},
                              {{"appStoreVersion", mosswick.next}})
                      .codes(),
                  entry.description == 200 ? "ENTITY_ERROR.ATTRIBUTE.INVALID.DUPLICATE"
                                           : "STATE_ERROR.ENTITY_STATE_INVALID")
            << entry.state;
    }
    EXPECT_THROW(fixture.server().setVersionState(mosswick.next, "ASLEEP"), std::invalid_argument);
    EXPECT_THROW(fixture.server().setVersionState("17", "IN_REVIEW"), std::invalid_argument);
}

TEST(SandboxRules, aPlatformHasOneVersionInPreparationAndEachNumberOnce) {
    RawSandbox fixture;
    const Mosswick mosswick(fixture);
    const auto make = [&](std::string_view platform, std::string_view number) {
        return fixture.create("appStoreVersions", {{"platform", platform}, {"versionString", number}},
                              {{"app", mosswick.app}});
    };
    const Reply second = make("IOS", "3.5");
    EXPECT_EQ(second.status, 409);
    EXPECT_EQ(second.codes(), "ENTITY_ERROR.RELATIONSHIP.INVALID ENTITY_ERROR.ATTRIBUTE.INVALID.DUPLICATE");
    EXPECT_EQ(second.source(), "/data/relationships/app");
    EXPECT_EQ(make("IOS", "3.6").codes(), "ENTITY_ERROR.RELATIONSHIP.INVALID");
    EXPECT_EQ(make("TV_OS", "one").codes(), "ENTITY_ERROR.ATTRIBUTE.INVALID");
    EXPECT_EQ(make("TV_OS", "1.0").status, 201);
    fixture.server().setVersionState(mosswick.next, "READY_FOR_SALE");
    EXPECT_EQ(make("IOS", "3.4").codes(), "ENTITY_ERROR.ATTRIBUTE.INVALID.DUPLICATE");
    const Reply made = make("IOS", "3.6");
    ASSERT_EQ(made.status, 201);
    const Reply texts =
        fixture.get("/v1/appStoreVersions/" + made.id() + "/appStoreVersionLocalizations?limit=200");
    EXPECT_EQ(texts.list().size(), 40U) << "a new version begins with the texts of the one on the store";
    EXPECT_EQ(texts.list()[0].at("attributes", "whatsNew"), nullptr);
}

TEST(SandboxRules, theFirstVersionHasNoReleaseNotes) {
    RawSandbox fixture;
    const std::string app = fixture.app("studio.fernhollow.mosswick.sketchbook");
    const std::string version =
        *fixture.get("/v1/apps/" + app + "/appStoreVersions").list()[0].find("id")->text();
    const Reply refused =
        fixture.create("appStoreVersionLocalizations", {{"locale", "en-US"}, {"whatsNew", "New"}},
                       {{"appStoreVersion", version}});
    EXPECT_EQ(refused.codes(), "STATE_ERROR");
    EXPECT_EQ(refused.detail(), "Attribute 'whatsNew' cannot be edited at this time");
    const Reply made =
        fixture.create("appStoreVersionLocalizations", {{"locale", "en-US"}}, {{"appStoreVersion", version}});
    EXPECT_EQ(fixture.update("appStoreVersionLocalizations", made.id(), {{"whatsNew", "New"}}).status, 409);
}

TEST(SandboxRules, theEmptyAccountGetsItsAppInfoWithAVersionThatTakesReleaseNotes) {
    RawSandbox fixture(Seed::empty);
    const std::string app = fixture.app("studio.fernhollow.blankcanvas");
    EXPECT_TRUE(fixture.get("/v1/apps/" + app + "/appInfos").list().empty());
    const Reply version =
        fixture.create("appStoreVersions", {{"platform", "IOS"}, {"versionString", "1.0"}}, {{"app", app}});
    const Reply made = fixture.create("appStoreVersionLocalizations", {{"locale", "bn"}, {"whatsNew", "New"}},
                                      {{"appStoreVersion", version.id()}});
    EXPECT_EQ(made.status, 201);
    const Reply infos = fixture.get("/v1/apps/" + app + "/appInfos");
    ASSERT_EQ(infos.list().size(), 1U) << "made with the first version";
    const std::string info = *infos.list()[0].find("id")->text();
    EXPECT_TRUE(fixture.get("/v1/appInfos/" + info + "/appInfoLocalizations").list().empty());
}

TEST(SandboxRules, theLiveInformationOfAnAppIsLocked) {
    RawSandbox fixture;
    const Mosswick mosswick(fixture);
    const auto first = [&](const std::string& info) {
        return *fixture.get("/v1/appInfos/" + info + "/appInfoLocalizations?limit=1")
                    .list()[0]
                    .find("id")
                    ->text();
    };
    EXPECT_EQ(fixture.update("appInfoLocalizations", first(mosswick.liveInfo), {{"subtitle", "x"}}).codes(),
              "STATE_ERROR.ENTITY_STATE_INVALID");
    EXPECT_EQ(fixture.update("appInfoLocalizations", first(mosswick.nextInfo), {{"subtitle", "x"}}).status,
              200);
    const auto setCategories = [&](std::string_view primary, std::string_view secondary) {
        JSONValue data = reference("appInfos", mosswick.nextInfo);
        data.set("relationships",
                 JSONValue::object(
                     {{"primaryCategory", JSONValue::object({{"data", reference("appCategories", primary)}})},
                      {"secondaryCategory",
                       JSONValue::object({{"data", reference("appCategories", secondary)}})}}));
        return fixture.patch("/v1/appInfos/" + mosswick.nextInfo, JSONValue::object({{"data", data}})).status;
    };
    EXPECT_EQ(setCategories("UTILITIES", "UTILITIES"), 409);
    EXPECT_EQ(setCategories("UTILITIES", "PRODUCTIVITY"), 200);
    const Reply read = fixture.get("/v1/apps/" + mosswick.app + "/appInfos?include=primaryCategory");
    EXPECT_EQ(*read.list()[1].at("relationships", "primaryCategory", "data", "id")->text(), "UTILITIES");
}

TEST(SandboxRules, onlyAProcessedBuildOfTheVersionIsAttached) {
    RawSandbox fixture;
    const Mosswick mosswick(fixture);
    const auto attach = [&](const std::string& build) {
        return fixture.patch("/v1/appStoreVersions/" + mosswick.next + "/relationships/build",
                             JSONValue::object({{"data", reference("builds", build)}}));
    };
    for (const char* number : {"354", "350", "351", "341", "330"})
        EXPECT_EQ(attach(fixture.build(mosswick.app, number)).status, 409) << number;
    const std::string foreign = fixture.build(fixture.app("studio.fernhollow.tides"), "90");
    EXPECT_THAT(attach(foreign).detail(), HasSubstr("another app"));
    EXPECT_EQ(attach("17").status, 404);
    EXPECT_EQ(attach(fixture.build(mosswick.app, "353")).status, 204);
    const std::string fresh = fixture.server().addBuild("studio.fernhollow.mosswick", "IOS", "3.5", "355");
    EXPECT_EQ(attach(fresh).status, 409) << "it is being processed";
    fixture.server().advance(301);
    EXPECT_EQ(attach(fresh).status, 204);
    EXPECT_EQ(fixture
                  .patch("/v1/appStoreVersions/" + mosswick.next + "/relationships/build",
                         JSONValue::object({{"data", nullptr}}))
                  .status,
              204);
}

TEST(SandboxRules, testingABuildNeedsItsComplianceAndOneReviewAtATime) {
    RawSandbox fixture;
    const Mosswick mosswick(fixture);
    const std::string build = fixture.build(mosswick.app, "353");
    const std::string group =
        *fixture.get("/v1/apps/" + mosswick.app + "/betaGroups").list()[1].find("id")->text();
    const auto addToGroup = [&] {
        return fixture
            .post("/v1/betaGroups/" + group + "/relationships/builds",
                  JSONValue::object({{"data", JSONValue::array({reference("builds", build)})}}))
            .status;
    };
    EXPECT_EQ(addToGroup(), 409);
    EXPECT_EQ(fixture.update("builds", build, {{"usesNonExemptEncryption", false}}).status, 200);
    EXPECT_THAT(fixture.update("builds", build, {{"usesNonExemptEncryption", false}}).detail(),
                HasSubstr("already set"));
    EXPECT_EQ(addToGroup(), 204);
    EXPECT_EQ(addToGroup(), 204) << "again changes nothing";
    const Reply notes = fixture.create("betaBuildLocalizations",
                                       {{"locale", "en-US"}, {"whatsNew", "Try it"}}, {{"build", build}});
    EXPECT_EQ(notes.status, 201);
    EXPECT_EQ(fixture.create("betaBuildLocalizations", {{"locale", "en-US"}}, {{"build", build}}).codes(),
              "ENTITY_ERROR.ATTRIBUTE.INVALID.DUPLICATE");
    EXPECT_EQ(
        fixture.update("betaBuildLocalizations", notes.id(), {{"whatsNew", "Try again"}}).text("whatsNew"),
        "Try again");
    const Reply submitted = fixture.create("betaAppReviewSubmissions", {}, {{"build", build}});
    EXPECT_EQ(submitted.text("betaReviewState"), "WAITING_FOR_REVIEW");
    EXPECT_EQ(fixture.create("betaAppReviewSubmissions", {}, {{"build", build}}).status, 409);
    const std::string other = fixture.server().addBuild(mosswick.app, "IOS", "3.5", "356");
    fixture.server().advance(301);
    EXPECT_EQ(fixture.update("builds", other, {{"usesNonExemptEncryption", false}}).status, 200);
    EXPECT_THAT(fixture.create("betaAppReviewSubmissions", {}, {{"build", other}}).detail(),
                HasSubstr("what to test"));
    EXPECT_EQ(
        fixture
            .create("betaBuildLocalizations", {{"locale", "ja"}, {"whatsNew", "Try it"}}, {{"build", other}})
            .status,
        201);
    const Reply second = fixture.create("betaAppReviewSubmissions", {}, {{"build", other}});
    EXPECT_EQ(second.status, 422);
    EXPECT_EQ(second.codes(), "ENTITY_UNPROCESSABLE.ANOTHER_BUILD_IN_REVIEW");
    fixture.server().advance(3601);
    EXPECT_EQ(fixture.create("betaAppReviewSubmissions", {}, {{"build", other}}).status, 201);
}

TEST(SandboxRules, aGroupTakesATesterOnceAndABuildHasAStateForTesters) {
    RawSandbox fixture;
    const Mosswick mosswick(fixture);
    const std::string path = "/v1/apps/" + mosswick.app + "/betaGroups";
    const auto groups = fixture.get(path).list();
    const auto join = [&](std::size_t group, const char* email) {
        const JSONValue to = JSONValue::object(
            {{"betaGroups",
              JSONValue::object({{"data", JSONValue::array({reference(
                                              "betaGroups", *groups[group].find("id")->text())})}})}});
        return fixture.post(
            "/v1/betaTesters",
            JSONValue::object(
                {{"data", JSONValue::object({{"type", "betaTesters"},
                                             {"attributes", JSONValue::object({{"email", email}})},
                                             {"relationships", to}})}}));
    };
    enum { studio, friends, translators };
    EXPECT_EQ(join(friends, "new@example.com").status, 201);
    EXPECT_EQ(join(friends, "New@Example.com").codes(), "ENTITY_ERROR.ATTRIBUTE.INVALID.DUPLICATE");
    EXPECT_EQ(join(translators, "new@example.com").status, 201) << "the account knows the address";
    EXPECT_EQ(join(friends, "nobody").status, 409);
    EXPECT_THAT(join(studio, "new@example.com").detail(), HasSubstr("members of your team"));
    EXPECT_EQ(join(studio, "ada@fernhollow.example").status, 201);
    const std::string group = *groups[translators].find("id")->text();
    EXPECT_EQ(fixture.get("/v1/betaGroups/" + group + "/betaTesters").list().size(), 1u);
    EXPECT_EQ(fixture.create("betaGroups", {{"name", "Translators"}}, {{"app", mosswick.app}}).status, 409);

    const std::string build = fixture.build(mosswick.app, "353");
    const auto state = [&] {
        return fixture.get("/v1/builds/" + build + "/buildBetaDetail").text("externalBuildState");
    };
    const auto link = [&](const char* method, std::size_t to) {
        return fixture
            .send(method, "/v1/betaGroups/" + *groups[to].find("id")->text() + "/relationships/builds",
                  encodeJSON(JSONValue::object({{"data", JSONValue::array({reference("builds", build)})}})),
                  {{"Content-Type", "application/json"}})
            .status;
    };
    EXPECT_EQ(state(), "MISSING_EXPORT_COMPLIANCE");
    EXPECT_EQ(fixture.update("builds", build, {{"usesNonExemptEncryption", false}}).status, 200);
    EXPECT_EQ(state(), "READY_FOR_BETA_SUBMISSION");
    EXPECT_EQ(link("POST", studio), 422) << "it gets every build by itself";
    EXPECT_EQ(link("POST", translators), 204);
    EXPECT_EQ(fixture.get("/v1/builds?filter%5BbetaGroups%5D=" + group).list().size(), 1u);
    EXPECT_EQ(
        fixture
            .create("betaBuildLocalizations", {{"locale", "ja"}, {"whatsNew", "Try it"}}, {{"build", build}})
            .status,
        201);
    EXPECT_EQ(fixture.create("betaAppReviewSubmissions", {}, {{"build", build}}).status, 201);
    EXPECT_EQ(state(), "WAITING_FOR_BETA_REVIEW");
    fixture.server().advance(3601);
    EXPECT_EQ(state(), "IN_BETA_TESTING");
    EXPECT_EQ(link("DELETE", translators), 204);
    EXPECT_EQ(state(), "BETA_APPROVED");
}

TEST(SandboxRules, aReviewHasOneResponseThatIsReplaced) {
    RawSandbox fixture;
    const std::string reviews = "/v1/apps/" + fixture.app("studio.fernhollow.mosswick") +
                                "/customerReviews?include=response&limit=200";
    const std::string review = *fixture.get(reviews).list()[0].find("id")->text();
    const auto respond = [&](std::string_view text) {
        return fixture.create("customerReviewResponses", {{"responseBody", text}}, {{"review", review}});
    };
    const Reply first = respond("Thank you!");
    EXPECT_EQ(first.status, 201);
    EXPECT_EQ(first.text("state"), "PENDING_PUBLISH");
    const Reply second = respond("Thank you very much!");
    EXPECT_EQ(second.id(), first.id());
    EXPECT_EQ(respond("").status, 409);
    EXPECT_EQ(respond(repeated("x", 5971)).codes(), "ENTITY_ERROR.ATTRIBUTE.INVALID.TOO_LONG");
    const Reply read = fixture.get(reviews);
    EXPECT_EQ(*read.list()[0].at("relationships", "response", "data", "id")->text(), first.id());
    EXPECT_EQ(read.body.find("included")->items()->size(), 25U);

    // What its author does.
    const std::string one = "/v1/customerReviews/" + review + "?include=response";
    const auto change = [&](JSONValue::Object members) {
        members.emplace_back("review", review);
        return fixture.post("/__sandbox/reviews", JSONValue(std::move(members))).status;
    };
    EXPECT_EQ(change({{"body", "Better now"}, {"rating", 4}}), 200);
    const Reply changed = fixture.get(one);
    EXPECT_EQ(changed.text("body"), "Better now");
    EXPECT_EQ(*changed.body.find("included")->items()->front().at("attributes", "responseBody")->text(),
              "Thank you very much!");
    EXPECT_EQ(change({{"deleted", true}}), 200);
    EXPECT_EQ(change({{"deleted", true}}), 400);
    EXPECT_EQ(fixture.get(one).status, 404);
    EXPECT_EQ(respond("Too late").codes(), "ENTITY_ERROR.RELATIONSHIP.INVALID");
    EXPECT_EQ(fixture.get(reviews).body.find("included")->items()->size(), 24U);
    const auto added = JSONValue::object({{"app", fixture.app("studio.fernhollow.tides")}, {"body", "Wet"}});
    EXPECT_EQ(fixture.post("/__sandbox/review", added).status, 201);
}

} // namespace
} // namespace quorvel::sandbox::test
