// The fields of the page through the real client, real files and the sandbox.
#include "Core/asc/ASCError.h"
#include "Core/metadata/AgeRating.h"
#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataPusher.h"
#include "Core/metadata/MetadataTransfer.h"
#include "Core/metadata/PulledCopies.h"
#include "Core/metadata/PushSelection.h"
#include "Core/metadata/TextComparison.h"
#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/merge/ConflictSettling.h"
#include "Core/metadata/merge/RemoteComparison.h"
#include "Tests/Core/metadata/FakeConnect.h"
#include "Tests/support/FileMode.h"
#include "Tests/support/PullContext.h"
#include "Tests/support/SandboxFixture.h"

#include <gmock/gmock.h>

#include <map>

using namespace quorvel;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;
using F = FieldType;

namespace {

struct PageFixture : test::SandboxFixture {
    explicit PageFixture(std::string_view id = test::gardenApp) : appID(id) { (void)pull(); }

    PullResult pull() {
        context = contextsOf(client.listAppStoreVersions(appID)).at(0);
        return test::pullInto(store.folder(), client, clock, appID, context);
    }
    [[nodiscard]] PushSelection select(Clearing clearing = Clearing::leaveOut) const {
        PushFilter filter;
        filter.clearing = clearing;
        return selectForPush(MetadataDiff::compare(store), filter);
    }
    [[nodiscard]] std::map<F, PushOutcome> push(Clearing clearing = Clearing::leaveOut) const {
        std::map<F, PushOutcome> outcomes;
        for (auto& outcome : MetadataPusher(client, store).push(appID, context, select(clearing).chosen))
            outcomes.emplace(outcome.change.field, outcome);
        return outcomes;
    }
    void put(F field, std::string_view text) const { store.write(pageLocale, field, text); }
    [[nodiscard]] std::optional<std::string> local(F field) const { return store.read(pageLocale, field); }
    // The writes that came, such as "PATCH /v1/appInfos".
    [[nodiscard]] std::vector<std::string> writes() const {
        std::vector<std::string> list;
        for (const auto& request : server.requests())
            if (request.method != "GET")
                list.push_back(request.method + " " + request.path.substr(0, request.path.find('/', 4)));
        return list;
    }
    [[nodiscard]] ASCAppInfoSummary appInfo() const {
        return chooseAppInfo(client.listAppInfoSummaries(appID), context.stateClass).value();
    }

    std::string appID;
    MetadataFolder app{folder / "app"};
    MetadataStore store{app.contextFolder({})};
    PlatformContext context;
    Clock clock = [] { return dateFromSecondsSince1970(1772368200); };
};

// Answers the writes of App Review's fields with a page that repeats them.
struct RepeatingClient : ASCClientProtocol {
    explicit RepeatingClient(const ASCClientProtocol& behind) : client(behind) {}
    [[nodiscard]] std::string exchange(const ASCRequest& request) const override {
        if (request.method == "PATCH" && request.path.find("appStoreReviewDetails") != std::string::npos)
            throw ASCError(ASCError::HTTPStatus{400, "<html>Bad: " + request.body.value_or("") + "</html>"});
        return client.exchange(request);
    }
    const ASCClientProtocol& client;
};

} // namespace

TEST(PageJourney, takesOneRequestPerResourceAndComesBackEqual) {
    PageFixture fixture;
    EXPECT_EQ(fixture.local(F::copyright), "2026 Fernhollow Studio");
    EXPECT_EQ(fixture.local(F::primaryCategory), "LIFESTYLE");
    EXPECT_EQ(fixture.local(F::contactEmail), "review@fernhollow.example");
    EXPECT_EQ(fixture.local(F::demoAccountRequired), "false");
    EXPECT_EQ(fixture.local(F::earliestReleaseDate), std::nullopt); // no file for what is not set
    EXPECT_FALSE(std::filesystem::exists(fixture.store.folder().fieldFile("de-DE", F::privacyChoicesURL)));
    EXPECT_THAT(MetadataDiff::compare(fixture.store), IsEmpty());

    const std::map<F, std::string> edits = {
        {F::copyright, "2027 Fernhollow\n"},
        {F::releaseType, "scheduled"},
        {F::earliestReleaseDate, "2026-12-01T09:00:00+01:00"},
        {F::primaryCategory, "Games"},
        {F::primarySubcategoryOne, "MZGenre.Puzzle"},
        {F::secondaryCategory, "Food & Drink"},
        {F::ageRating, R"({"gambling": false, "contests": "INFREQUENT"})"},
        {F::contactFirstName, "Tomás"},
        {F::demoAccountName, "review"},
        {F::demoAccountPassword, "moss-4711"},
        {F::demoAccountRequired, "yes"},
        {F::reviewNotes, "Line one\nLine two\n"}};
    for (const auto& [field, text] : edits)
        fixture.put(field, text);
    fixture.store.write("de-DE", F::supportURL, "https://fernhollow.example/neu\n");
    fixture.store.write("de-DE", F::description, "Neu");
    fixture.store.write("de-DE", F::privacyPolicyURL, "https://fernhollow.example/datenschutz");
    fixture.store.write("de-DE", F::subtitle, "Neu");
    fixture.server.forgetRequests();
    const auto outcomes = fixture.push();
    EXPECT_EQ(outcomes.size(), edits.size() + 4);
    for (const auto& [field, outcome] : outcomes)
        EXPECT_TRUE(outcome.success) << rawValue(field) << outcome.errorMessage.value_or("");
    EXPECT_THAT(fixture.writes(),
                UnorderedElementsAre("PATCH /v1/appStoreVersions", "PATCH /v1/appInfos",
                                     "PATCH /v1/ageRatingDeclarations", "PATCH /v1/appStoreReviewDetails",
                                     "PATCH /v1/appStoreVersionLocalizations",
                                     "PATCH /v1/appInfoLocalizations"));
    EXPECT_THAT(MetadataDiff::compare(fixture.store), IsEmpty());
    EXPECT_EQ(fixture.client.getReviewDetail(fixture.context.versionId)->attributes.demoAccountPassword,
              "moss-4711");
    EXPECT_EQ(fixture.appInfo().categories.primarySubcategoryOne, "GAMES_PUZZLE");

    // What came is what was written, whatever its spelling: no file is touched.
    const auto again = fixture.pull();
    EXPECT_THAT(again.updated, IsEmpty());
    EXPECT_THAT(again.kept, IsEmpty());
    for (const auto& [field, text] : edits)
        EXPECT_EQ(fixture.local(field), text);

    // Where the release is not scheduled any more, its date goes with the same request.
    fixture.put(F::releaseType, "MANUAL");
    fixture.put(F::earliestReleaseDate, "\n");
    EXPECT_THAT(fixture.select().leftOut, testing::SizeIs(2)); // both go together
    fixture.server.forgetRequests();
    EXPECT_TRUE(fixture.push(Clearing::allow).at(F::earliestReleaseDate).success);
    EXPECT_THAT(fixture.writes(), ElementsAre("PATCH /v1/appStoreVersions"));
    EXPECT_EQ(fixture.client.getAppStoreVersion(fixture.context.versionId).attributes.earliestReleaseDate,
              std::nullopt);
}

TEST(PageJourney, overwritesNothingThatSomebodyElseChanged) {
    PageFixture fixture;
    const std::string version = fixture.context.versionId;
    const auto rating = fixture.client.getAgeRatingDeclaration(fixture.appInfo().appInfo.id).value();
    fixture.put(F::copyright, "mine");
    fixture.put(F::releaseType, "AFTER_APPROVAL");
    fixture.put(F::secondaryCategory, "WEATHER");
    fixture.put(F::ageRating, R"({"gambling": true, "advertising": true})");
    (void)fixture.client.updateAppStoreVersion(version, JSONValue::object({{"copyright", "theirs"}}));
    fixture.client.updateAppInfoCategories(fixture.appInfo().appInfo.id, {}, "WEATHER"); // the same
    (void)fixture.client.updateAgeRatingDeclaration(rating.id, JSONValue::object({{"lootBox", true}}));
    fixture.server.forgetRequests();
    auto outcomes = fixture.push();
    EXPECT_THAT(outcomes.at(F::copyright).errorMessage.value_or(""), HasSubstr("pull to see it"));
    EXPECT_TRUE(outcomes.at(F::releaseType).success);
    EXPECT_TRUE(outcomes.at(F::secondaryCategory).success);
    EXPECT_TRUE(outcomes.at(F::ageRating).success); // another answer was changed there
    EXPECT_THAT(fixture.writes(),
                UnorderedElementsAre("PATCH /v1/appStoreVersions", "PATCH /v1/ageRatingDeclarations"));
    EXPECT_EQ(fixture.client.getAppStoreVersion(version).attributes.copyright, "theirs");
    const auto answers = fixture.client.getAgeRatingDeclaration(fixture.appInfo().appInfo.id)->attributes;
    EXPECT_EQ(answers.find("lootBox")->boolean() && *answers.find("lootBox")->boolean(), true);

    fixture.put(F::ageRating, R"({"gambling": false})");
    (void)fixture.client.updateAgeRatingDeclaration(rating.id, JSONValue::object({{"gambling", nullptr}}));
    EXPECT_FALSE(fixture.push().at(F::ageRating).success);
    const auto pulled = fixture.pull();
    EXPECT_THAT(pulled.kept, testing::SizeIs(2)); // the copyright and the age rating
    EXPECT_EQ(fixture.local(F::copyright), "theirs");
    EXPECT_THAT(fixture.local(F::ageRating).value_or(""), HasSubstr("\"lootBox\": true"));
}

TEST(PageJourney, mergesAnswersAndKeepsOtherValuesAsConflicts) {
    PageFixture fixture;
    const std::string version = fixture.context.versionId;
    const auto rating = fixture.client.getAgeRatingDeclaration(fixture.appInfo().appInfo.id).value();
    const auto detail = fixture.client.getReviewDetail(version).value();
    const auto key = [](F field) { return FieldKey{std::string(pageLocale), field}; };
    fixture.put(F::copyright, "mine");
    fixture.put(F::ageRating,
                ageRatingOver(fixture.local(F::ageRating).value_or(""), R"({"gambling": true})"));
    fixture.put(F::demoAccountPassword, "moss-4711");
    (void)fixture.client.updateAppStoreVersion(version, JSONValue::object({{"copyright", "theirs"}}));
    (void)fixture.client.updateAgeRatingDeclaration(rating.id,
                                                    JSONValue::object({{"violenceRealistic", "FREQUENT"}}));
    (void)fixture.client.updateReviewDetail(detail.id, {.demoAccountPassword = "fern-0815"});

    const auto remote = MetadataPuller(fixture.client, fixture.clock);
    AppInfoTexts texts(fixture.client, remote.discover(fixture.appID));
    std::map<F, std::pair<ChangedBy, bool>> found;
    const auto differences =
        compareWithRemote(fixture.store, {}, remote.look(texts, fixture.context)).differences;
    for (const RemoteDifference& one : differences) {
        found[one.key.field] = {one.changedBy, one.merges};
        EXPECT_THAT(one.base + one.local + one.remote,
                    Not(AnyOf(HasSubstr("moss-4711"), HasSubstr("fern-0815"))));
    }
    constexpr ChangedBy both = ChangedBy::bothDifferently;
    EXPECT_EQ(found, (std::map<F, std::pair<ChangedBy, bool>>{{F::copyright, {both, false}},
                                                              {F::ageRating, {both, true}},
                                                              {F::demoAccountPassword, {both, false}}}));

    const auto pulled = fixture.pull();
    EXPECT_THAT(pulled.merged, ElementsAre(key(F::ageRating)));
    EXPECT_THAT(pulled.conflicts, ElementsAre(key(F::copyright), key(F::demoAccountPassword)));
    EXPECT_THAT(pulled.leftEdits, IsEmpty());
    EXPECT_EQ(fixture.local(F::copyright), "theirs");
    EXPECT_EQ(fixture.local(F::demoAccountPassword), "moss-4711");
    const auto compared = [&] { return compareTexts(fixture.store, {}, {}); };
    std::map<F, LeftOutReason> leftOut;
    for (const LeftOutChange& one : compared().selection.leftOut)
        leftOut[one.change.field] = one.reason;
    constexpr LeftOutReason waits = LeftOutReason::inConflict;
    EXPECT_EQ(leftOut, (std::map<F, LeftOutReason>{{F::copyright, waits}, {F::demoAccountPassword, waits}}));

    for (const TextConflict& conflict : TextConflicts(fixture.store.folder()).all())
        (void)ConflictSettling(fixture.store, FinalLineBreak::keep, fixture.clock())
            .settle(conflict, ConflictSide::ours);
    for (const auto& outcome : MetadataPusher(fixture.client, fixture.store)
                                   .push(fixture.appID, fixture.context, compared().selection.chosen))
        EXPECT_TRUE(outcome.success) << rawValue(outcome.change.field) << outcome.errorMessage.value_or("");
    EXPECT_EQ(fixture.client.getAppStoreVersion(version).attributes.copyright, "mine");
    EXPECT_EQ(fixture.client.getReviewDetail(version)->attributes.demoAccountPassword, "moss-4711");
    const auto answers = fixture.client.getAgeRatingDeclaration(fixture.appInfo().appInfo.id)->attributes;
    EXPECT_EQ(*answers.find("gambling"), JSONValue(true));
    EXPECT_EQ(*answers.find("violenceRealistic"), JSONValue("FREQUENT"));
    EXPECT_THAT(compared().changes, IsEmpty());
}

TEST(PageJourney, keepsAPasswordInConflictWithoutItsTexts) {
    PageFixture fixture;
    const FieldKey password{std::string(pageLocale), F::demoAccountPassword};
    const std::string detail = fixture.client.getReviewDetail(fixture.context.versionId)->id;
    const auto changeThere = [&](const std::string& text) {
        (void)fixture.client.updateReviewDetail(detail, {.demoAccountPassword = text});
    };
    const auto held = [&] {
        return fixture.client.getReviewDetail(fixture.context.versionId)->attributes.demoAccountPassword;
    };
    const auto pull = [&](LocalEdits edits) {
        return test::pullInto(fixture.store.folder(), fixture.client, fixture.clock, fixture.appID,
                              fixture.context, edits);
    };
    const auto push = [&] {
        return MetadataPusher(fixture.client, fixture.store)
            .push(fixture.appID, fixture.context, compareTexts(fixture.store, {}, {}).selection.chosen);
    };
    const TextConflicts conflicts(fixture.store.folder());
    const ConflictSettling settling(fixture.store, FinalLineBreak::keep, fixture.clock());
    changeThere("base-1");
    (void)fixture.pull();
    fixture.put(F::demoAccountPassword, "ours-1");

    // Each pull over it goes on: App Store Connect's moves, and ours stays.
    for (const LocalEdits edits : {LocalEdits::merge, LocalEdits::merge, LocalEdits::leaveInPlace}) {
        changeThere(held().value() + "+theirs");
        EXPECT_THAT(pull(edits).conflicts, ElementsAre(password));
        EXPECT_EQ(fixture.local(F::demoAccountPassword), "ours-1");
        EXPECT_EQ(fixture.store.read(pageLocale, F::demoAccountPassword, TextSide::pulled), held());
        EXPECT_THAT(push(), IsEmpty());
        const auto file = fixture.store.folder().privateFolder() / "conflicts/demoAccountPassword.json";
        const std::string record = readFile(file).value();
        EXPECT_EQ(test::modeOf(file), 0600U);
        for (const std::string& secret : {std::string("base-1"), std::string("ours-1"), held().value()})
            EXPECT_THAT(record, Not(AnyOf(HasSubstr(secret), HasSubstr(contentDigest(secret)))));
        const auto left = compareTexts(fixture.store, {}, {}).selection.leftOut.at(0);
        EXPECT_EQ(left.reason, LeftOutReason::inConflict);
        EXPECT_EQ(left.change.local + left.change.remote, "(changed)(changed)");
    }
    try {
        (void)settling.prepareEdit(conflicts.find(password).value());
        FAIL() << "a password went into a file to be edited";
    } catch (const MetadataError& error) {
        EXPECT_THAT(error.what(),
                    testing::AllOf(HasSubstr("page Demo password is not settled"), Not(HasSubstr("ours-1"))));
    }
    EXPECT_TRUE(settling.settle(conflicts.find(password).value(), ConflictSide::ours).isPending);
    EXPECT_TRUE(push().at(0).success);
    EXPECT_EQ(held(), "ours-1");

    const auto disagree = [&](const std::string& ours) {
        fixture.put(F::demoAccountPassword, ours);
        changeThere(ours + "+theirs");
        EXPECT_THAT(fixture.pull().conflicts, ElementsAre(password));
    };
    disagree("ours-2");
    const auto settled = settling.settle(conflicts.find(password).value(), ConflictSide::theirs);
    EXPECT_EQ(readFile(settled.kept.value().path), "ours-2");
    EXPECT_EQ(test::modeOf(settled.kept->path), 0600U);
    EXPECT_EQ(fixture.local(F::demoAccountPassword), held());
    EXPECT_FALSE(settled.isPending);

    disagree("ours-3");
    EXPECT_EQ(readFile(pull(LocalEdits::keepBeside).kept.at(0).path), "ours-3");
    EXPECT_EQ(fixture.local(F::demoAccountPassword), held());
    EXPECT_THAT(conflicts.all(), IsEmpty());

    disagree("ours-4");
    changeThere("ours-4"); // they agree by themselves
    EXPECT_THAT(fixture.pull().conflicts, IsEmpty());
    EXPECT_THAT(compareTexts(fixture.store, {}, {}).changes, IsEmpty());
}

TEST(PageJourney, notesNoDigestOfAPasswordForAnInterruptedPull) {
    PageFixture fixture;
    const std::string version = fixture.context.versionId;
    const std::string detail = fixture.client.getReviewDetail(version)->id;
    const auto changeThere = [&](const std::string& text) {
        (void)fixture.client.updateReviewDetail(detail, {.demoAccountPassword = text});
    };
    fixture.put(F::copyright, "mine");
    (void)fixture.client.updateAppStoreVersion(version, JSONValue::object({{"copyright", "theirs"}}));
    changeThere("fern-0815");
    const auto hidden = fixture.store.folder().privateFolder();
    writeFileAtomically(hidden / "kept", "in the way of the backup");
    EXPECT_ANY_THROW((void)fixture.pull());
    const std::string note = readFile(hidden / "pulling.json").value();
    EXPECT_THAT(note, testing::AllOf(HasSubstr(contentDigest("theirs")), Not(HasSubstr("demoAccount")),
                                     Not(HasSubstr(contentDigest("fern-0815")))));
    removeFile(hidden / "kept");

    // What such a pull wrote may be an edit, so another password from there replaces it only when chosen.
    fixture.put(F::demoAccountPassword, "fern-0815");
    changeThere("fern-1");
    const auto key = [](F field) { return FieldKey{std::string(pageLocale), field}; };
    EXPECT_THAT(fixture.pull().conflicts, ElementsAre(key(F::copyright), key(F::demoAccountPassword)));
    EXPECT_EQ(fixture.local(F::demoAccountPassword), "fern-0815");
    EXPECT_FALSE(std::filesystem::exists(hidden / "pulling.json"));
}

TEST(PageJourney, showsAConflictOfSomeAnswersBesideAllOthers) {
    PageFixture fixture;
    const auto rating = fixture.client.getAgeRatingDeclaration(fixture.appInfo().appInfo.id).value();
    (void)fixture.client.updateAgeRatingDeclaration(
        rating.id, JSONValue::object({{"contests", "NONE"}, {"lootBox", true}}));
    (void)fixture.pull();
    const std::string all = fixture.local(F::ageRating).value();
    fixture.put(F::ageRating, R"({"contests": "INFREQUENT"})");
    (void)fixture.client.updateAgeRatingDeclaration(rating.id, JSONValue::object({{"contests", "FREQUENT"}}));
    EXPECT_THAT(fixture.pull().conflicts, testing::SizeIs(1));

    const TextConflict conflict = TextConflicts(fixture.store.folder()).all().at(0);
    EXPECT_EQ(shownTextOf(conflict, fixture.local(F::ageRating), FinalLineBreak::keep),
              ageRatingOver(all, R"({"contests": "INFREQUENT"})"));
    const ConflictSettling settling(fixture.store, FinalLineBreak::keep, fixture.clock());
    EXPECT_THAT(readFile(settling.prepareEdit(conflict)).value(), HasSubstr("\"lootBox\": true"));
    (void)settling.settle(conflict, ConflictSide::ours);
    EXPECT_EQ(fixture.local(F::ageRating), R"({"contests": "INFREQUENT"})"); // the file stays as it was made
}

TEST(PageJourney, tellsTheOutcomeOfEachFieldThatIsRefused) {
    PageFixture fixture;
    fixture.put(F::contactPhone, std::string(30, '1')); // too long for the service
    fixture.put(F::contactFirstName, "Tomás");
    fixture.put(F::primaryCategory, "WEATHER");
    fixture.put(F::primarySubcategoryOne, "GAMES_WORD"); // of another category
    fixture.put(F::secondaryCategory, "TRAVEL");
    fixture.put(F::releaseType, "MANUAL"); // as it is
    fixture.put(F::earliestReleaseDate, "2026-12-01T09:00:00Z");
    fixture.put(F::copyright, "2027");
    const auto outcomes = fixture.push();
    std::map<F, bool> taken;
    for (const auto& [field, outcome] : outcomes)
        taken[field] = outcome.success;
    EXPECT_EQ(taken, (std::map<F, bool>{{F::contactPhone, false},
                                        {F::contactFirstName, true},
                                        {F::primaryCategory, false},
                                        {F::primarySubcategoryOne, false},
                                        {F::secondaryCategory, true},
                                        {F::earliestReleaseDate, false},
                                        {F::copyright, true}}));
    // What is no value is not sent at all, and what cannot be removed neither.
    fixture.put(F::primaryCategory, "WETHER");
    fixture.put(F::secondaryCategory, "");
    fixture.put(F::ageRating, R"({"gamblin": false})");
    std::map<F, std::string> leftOut;
    for (const LeftOutChange& one : fixture.select(Clearing::allow).leftOut)
        leftOut[one.change.field] = one.explanation;
    EXPECT_THAT(leftOut[F::primaryCategory], HasSubstr("did you mean WEATHER?"));
    EXPECT_THAT(leftOut[F::secondaryCategory], HasSubstr("takes no removal of the Secondary category"));
    EXPECT_THAT(leftOut[F::ageRating], HasSubstr("did you mean \"gambling\"?"));
    EXPECT_THAT(leftOut[F::primarySubcategoryOne], HasSubstr("together with the field Category"));
}

TEST(PageJourney, showsNothingOfAnAnswerThatMayQuoteThePassword) {
    PageFixture fixture;
    fixture.put(F::demoAccountPassword, R"(moss"4711\x)");
    fixture.put(F::contactFirstName, "Tomás");
    const RepeatingClient client(fixture.client);
    const auto outcomes =
        MetadataPusher(client, fixture.store).push(fixture.appID, fixture.context, fixture.select().chosen);
    ASSERT_EQ(outcomes.size(), 2U);
    EXPECT_THAT(outcomes[0].errorMessage.value_or(""),
                HasSubstr("Bad: ")); // its own request held no password
    EXPECT_EQ(
        outcomes[1].errorMessage,
        "App Store Connect answered with HTTP 400. What it says may quote the password, so it is not shown.");
    for (const PushOutcome& outcome : outcomes)
        EXPECT_THAT(outcome.errorMessage.value_or(""), Not(HasSubstr("4711")));
}

TEST(PageJourney, failsOnlyWhatTheKeyMayNotSee) {
    PageFixture fixture;
    fixture.put(F::copyright, "2027");
    fixture.put(F::reviewNotes, "Notes");
    fixture.put(F::ageRating, R"({"gambling": true})");
    fixture.server.setFaults({{.route = "GET /v1/appStoreVersions/*/appStoreReviewDetail", .status = 403},
                              {.route = "GET /v1/appInfos/*/ageRatingDeclaration", .status = 403}});
    const auto outcomes = fixture.push();
    EXPECT_TRUE(outcomes.at(F::copyright).success);
    EXPECT_THAT(outcomes.at(F::reviewNotes).errorMessage.value_or(""),
                HasSubstr("may not see what App Review"));
    EXPECT_THAT(outcomes.at(F::ageRating).errorMessage.value_or(""), HasSubstr("may not see the age rating"));
}

TEST(PageJourney, plansOverAnotherPasswordThatWasNeverPulled) {
    PageFixture fixture;
    const auto detail = fixture.client.getReviewDetail(fixture.context.versionId).value();
    (void)fixture.client.updateReviewDetail(detail.id, {.demoAccountPassword = "fern-0815"});
    const MetadataStore checkout(MetadataFolder{fixture.folder / "checkout"});
    checkout.write(pageLocale, F::demoAccountPassword, "moss-4711");
    const MetadataPusher pusher(fixture.client, checkout);
    const auto remote = pusher.remoteTexts(fixture.appID, fixture.context);
    const auto compared = compareWithRemote(checkout, {}, {}, {}, remote);
    EXPECT_THAT(compared.selection.chosen, testing::SizeIs(1));
    const auto plan = pusher.plan(fixture.appID, fixture.context, compared.selection.chosen,
                                  MetadataPusher::Base::remoteTexts);
    EXPECT_THAT(plan.failures, IsEmpty());
    EXPECT_THAT(plan.requests, testing::SizeIs(1));
}

TEST(PageJourney, makesTheReviewDetailOfAFirstRelease) {
    PageFixture fixture(test::sketchApp);
    EXPECT_EQ(fixture.client.getReviewDetail(fixture.context.versionId), std::nullopt);
    fixture.put(F::contactFirstName, "Ines");
    fixture.put(F::demoAccountPassword, "moss-4711");
    fixture.server.forgetRequests();
    EXPECT_TRUE(fixture.push().at(F::contactFirstName).success);
    EXPECT_THAT(fixture.writes(), ElementsAre("POST /v1/appStoreReviewDetails"));
    for (const TextSide side : {TextSide::local, TextSide::pulled})
        EXPECT_EQ(test::modeOf(fixture.store.folder().fieldFile(pageLocale, F::demoAccountPassword, side)),
                  0600U);
    fixture.put(F::contactLastName, "Okafor");
    fixture.server.forgetRequests();
    EXPECT_TRUE(fixture.push().at(F::contactLastName).success);
    EXPECT_THAT(fixture.writes(), ElementsAre("PATCH /v1/appStoreReviewDetails"));
}

TEST(PageJourney, keepsWhatAppReviewIsToldWhereAVersionHasNone) {
    PageFixture fixture(test::sketchApp);
    const std::map<F, std::string> told = {
        {F::contactFirstName, "Ines"}, {F::reviewNotes, "Tap"}, {F::demoAccountPassword, "moss-4711"}};
    for (const TextSide side : {TextSide::local, TextSide::pulled}) // as the version before left it
        for (const auto& [field, text] : told)
            fixture.store.write(pageLocale, field, text, side);
    EXPECT_THAT(MetadataDiff::compare(fixture.store), IsEmpty());

    const auto pulled = fixture.pull();
    EXPECT_THAT(pulled.updated, IsEmpty());
    EXPECT_THAT(pulled.summary.warnings,
                ElementsAre(HasSubstr("first name, Demo password, Review notes. The local files stay")));
    for (const auto& [field, text] : told)
        EXPECT_EQ(fixture.local(field), text);
    EXPECT_THAT(fixture.pull().summary.warnings, IsEmpty());
    EXPECT_EQ(fixture.push().size(), told.size());
    const auto detail = fixture.client.getReviewDetail(fixture.context.versionId)->attributes;
    EXPECT_EQ(detail.contactFirstName, "Ines");
    EXPECT_EQ(detail.demoAccountPassword, "moss-4711");

    // The same of an age rating, and of an overwriting push, which makes its copies of what is there.
    test::FakeConnect without;
    without.addVersion("v", "IOS", "PREPARE_FOR_SUBMISSION");
    without.addAppInfo("i", "PREPARE_FOR_SUBMISSION");
    const MetadataStore store(MetadataFolder{fixture.folder / "without"});
    for (const TextSide side : {TextSide::local, TextSide::pulled})
        store.write(pageLocale, F::ageRating, R"({"gambling": true})", side);
    const PlatformContext context = contextsOf(without.listAppStoreVersions("app")).at(0);
    EXPECT_THAT(test::pullInto(store.folder(), without, fixture.clock, "app", context).updated, IsEmpty());
    EXPECT_THAT(compareTexts(store, {}, {}).changes, testing::SizeIs(1));
    store.write(pageLocale, F::contactFirstName, "Ines");
    store.write(pageLocale, F::contactFirstName, "Ines", TextSide::pulled);
    const auto remote = MetadataPusher(without, store).remoteTexts("app", context);
    writePulledCopies(store, remote, compareWithRemote(store, {}, {}, {}, remote), "v", fixture.clock());
    EXPECT_THAT(compareTexts(store, {}, {}).changes, testing::SizeIs(2));
}

TEST(PageJourney, goesOutToAnotherToolsTreeAndComesBack) {
    PageFixture fixture;
    fixture.put(F::demoAccountPassword, "moss-4711");
    const auto tree = fixture.folder / "tree";
    (void)exportTree(fixture.store, tree);
    EXPECT_EQ(readFile(tree / "copyright.txt"), "2026 Fernhollow Studio\n");
    EXPECT_EQ(test::modeOf(tree / "review_information/demo_password.txt"), 0600U);
    createFolders(tree / "review_information");
    writeFileAtomically(tree / "review_information/fax.txt", "1");
    writeFileAtomically(tree / "primary_first_sub_category.txt", "\n"); // as other tools write it
    writeFileAtomically(tree / "de-DE/copyright.txt", "of no locale");

    const MetadataStore other(MetadataFolder{fixture.folder / "other"});
    const auto report = importTree(treeToImport(tree), other, fixture.clock);
    EXPECT_EQ(other.readLocale(pageLocale), fixture.store.readLocale(pageLocale));
    EXPECT_EQ(test::modeOf(other.folder().fieldFile(pageLocale, F::demoAccountPassword)), 0600U);
    std::vector<std::string> skipped;
    for (const SkippedEntry& entry : report.skipped)
        skipped.push_back(entry.path + " " + entry.reason);
    EXPECT_THAT(skipped, UnorderedElementsAre(HasSubstr("review_information/fax.txt is no field"),
                                              HasSubstr("de-DE/copyright.txt is a field of the page")));
    EXPECT_EQ(importTree(treeToImport(tree), other, fixture.clock).imported.size(), 0U);
}
