// Pull, edit and push through the real client, real files and the sandbox.
#include "Core/asc/ASCError.h"
#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataPusher.h"
#include "Core/metadata/PushSelection.h"
#include "Tests/support/PullContext.h"
#include "Tests/support/SandboxFixture.h"

#include <gmock/gmock.h>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace {

constexpr std::string_view gardenApp = "6700000101"; // forty locales, a live and a next version
constexpr std::string_view firstVersionApp = "6700000103";

struct SandboxFixture : test::SandboxFixture {
    explicit SandboxFixture(std::string_view id) : appID(id) {}

    std::string appID;
    MetadataFolder app{folder / "app"};
    MetadataStore store{app.contextFolder({})};
    PlatformContext context;
    Clock clock = [] { return dateFromSecondsSince1970(1772368200); };

    PullResult pull() {
        context = contextsOf(client.listAppStoreVersions(appID)).at(0);
        return test::pullInto(store.folder(), client, clock, appID, context);
    }
    [[nodiscard]] std::vector<PushOutcome> push(const PushFilter& filter = {}) const {
        const auto chosen = selectForPush(MetadataDiff::compare(store), filter).chosen;
        return MetadataPusher(client, store).push(appID, context, chosen);
    }
    [[nodiscard]] std::vector<std::string> requests() const {
        std::vector<std::string> list;
        for (const auto& request : server.requests())
            list.push_back(request.method + " " + request.path.substr(0, request.path.find('/', 4)));
        return list;
    }
    // The localizations of this version that the service holds for a locale.
    [[nodiscard]] std::size_t versionLocalizations(std::string_view locale) const {
        const auto all = client.listVersionLocalizations(context.versionId);
        return static_cast<std::size_t>(std::ranges::count_if(
            all, [&](const auto& localization) { return localization.attributes.locale == locale; }));
    }
};

} // namespace

TEST(MetadataJourney, pullsEditsPushesAndHasNothingPending) {
    SandboxFixture fixture(gardenApp);
    const auto pulled = fixture.pull();
    EXPECT_THAT(fixture.server.requests(), SizeIs(4));
    EXPECT_THAT(pulled.summary.locales, SizeIs(40));
    EXPECT_EQ(pulled.summary.writtenFields, 40 * (6 + 3)); // three of the addresses are set
    EXPECT_THAT(pulled.summary.warnings, IsEmpty());
    EXPECT_THAT(MetadataDiff::compare(fixture.store), IsEmpty());

    const MetadataStore& store = fixture.store;
    store.write("de-DE", FieldType::description, "Neuer Text\r\nmit \U0001F331 und \"Zeichen\"\n\nEnde");
    store.write("de-DE", FieldType::keywords, "garten,beet");
    store.write("fr-FR", FieldType::subtitle, "Nouveau");
    store.write("ja", FieldType::promotionalText, "");
    store.createLocaleLocally("ta-IN");
    store.write("ta-IN", FieldType::name, "தோட்டம்");
    store.write("ta-IN", FieldType::description, "உரை");
    fixture.server.forgetRequests();
    const auto outcomes = fixture.push({{}, {}, Clearing::allow});
    EXPECT_EQ(pushReport(outcomes), "Pushed 6 fields · 4 locales");
    EXPECT_THAT(fixture.requests(),
                UnorderedElementsAre("GET /v1/appStoreVersions", "GET /v1/apps", "GET /v1/appInfos",
                                     "PATCH /v1/appStoreVersionLocalizations",
                                     "PATCH /v1/appStoreVersionLocalizations",
                                     "PATCH /v1/appInfoLocalizations", "POST /v1/appInfoLocalizations",
                                     "POST /v1/appStoreVersionLocalizations"));
    EXPECT_THAT(MetadataDiff::compare(store), IsEmpty());

    const LocaleTexts local = store.readAll();
    const auto again = fixture.pull();
    EXPECT_THAT(again.updated, IsEmpty());
    EXPECT_THAT(again.kept, IsEmpty());
    EXPECT_THAT(again.summary.locales, SizeIs(41));
    EXPECT_EQ(store.readAll(), local);
    EXPECT_THAT(MetadataDiff::compare(store), IsEmpty());
}

TEST(MetadataJourney, tellsPerFieldWhatIsRefused) {
    SandboxFixture fixture(firstVersionApp);
    const auto locale = fixture.pull().summary.locales.at(0);
    fixture.store.write(locale, FieldType::description, "Text");
    fixture.store.write(locale, FieldType::releaseNotes, "A first version has none");
    fixture.store.write(locale, FieldType::keywords, "a,b");
    const auto outcomes = fixture.push();
    ASSERT_THAT(outcomes, SizeIs(3));
    EXPECT_TRUE(outcomes[0].success && !outcomes[1].success && outcomes[2].success);
    EXPECT_THAT(*outcomes[1].errorMessage, HasSubstr("whatsNew"));
    const auto left = MetadataDiff::compare(fixture.store);
    ASSERT_THAT(left, SizeIs(1));
    EXPECT_EQ(left[0].field, FieldType::releaseNotes);
}

TEST(MetadataJourney, makesNoSecondLocalizationWhenACreateIsNotAnswered) {
    for (const std::string fault : {"resetAfter", "503After", "truncate"}) {
        SCOPED_TRACE(fault);
        SandboxFixture fixture(gardenApp);
        (void)fixture.pull();
        fixture.store.write("ta-IN", FieldType::description, "உரை");
        fixture.server.setFaults(
            {sandbox::parseFault("POST /v1/appStoreVersionLocalizations:" + fault + ":1:1")});
        EXPECT_EQ(pushReport(fixture.push()), "Pushed 1 field · 1 locale");
        EXPECT_EQ(fixture.versionLocalizations("ta-IN"), 1u);
        EXPECT_THAT(fixture.pull().updated, SizeIs(3)); // the fields that the new locale has none of
        EXPECT_THAT(MetadataDiff::compare(fixture.store), IsEmpty());
    }
}

TEST(MetadataJourney, getsEverythingThroughAFaultyServiceInTheEnd) {
    SandboxFixture fixture(gardenApp);
    const auto locales = fixture.pull().summary.locales;
    for (const std::string& locale : locales) {
        fixture.store.write(locale, FieldType::promotionalText, "New in " + locale);
        fixture.store.write(locale, FieldType::subtitle, "In " + locale);
    }
    for (const std::string locale : {"ta-IN", "te-IN", "ur-PK"}) {
        fixture.store.write(locale, FieldType::name, "Name " + locale);
        fixture.store.write(locale, FieldType::description, "Text " + locale);
    }
    std::vector<sandbox::Fault> faults;
    for (const std::string fault : {"503:0.35", "reset:0.05", "resetAfter:0.05", "503After:0.3"})
        for (const std::string method : {"POST", "PATCH"})
            faults.push_back(sandbox::parseFault(method + " /v1/**:" + fault));
    fixture.server.setFaults(faults);
    int rounds = 0;
    std::size_t failures = 0;
    while (!MetadataDiff::compare(fixture.store).empty()) {
        ASSERT_LE(++rounds, 10);
        for (const PushOutcome& outcome : fixture.push())
            failures += !outcome.success;
    }
    EXPECT_GT(failures, 0u);
    fixture.server.setFaults({});
    const LocaleTexts local = fixture.store.readAll();
    EXPECT_THAT(fixture.pull().kept, IsEmpty());
    EXPECT_THAT(MetadataDiff::compare(fixture.store), IsEmpty());
    for (const auto& [locale, fields] : fixture.store.readAll())
        for (const FieldType field : localeFields)
            EXPECT_EQ(fields[field].value_or(""), local.at(locale)[field].value_or("")) << locale;
    for (const std::string locale : {"ta-IN", "te-IN", "ur-PK"})
        EXPECT_EQ(fixture.versionLocalizations(locale), 1u);
}

TEST(MetadataJourney, sendsNothingToAVersionThatIsLocked) {
    SandboxFixture fixture(gardenApp);
    (void)fixture.pull();
    fixture.store.write("de-DE", FieldType::description, "Neu");
    // The lock came after the pull: the service refuses and says why; the change stays pending.
    fixture.server.setVersionState(fixture.context.versionId, "WAITING_FOR_REVIEW");
    const auto refused = fixture.push();
    ASSERT_THAT(refused, SizeIs(1));
    EXPECT_FALSE(refused[0].success);
    EXPECT_THAT(MetadataDiff::compare(fixture.store), SizeIs(1));

    fixture.store.write("de-DE", FieldType::description,
                        *fixture.store.read("de-DE", FieldType::description, TextSide::pulled));
    (void)fixture.pull();
    EXPECT_EQ(fixture.context.id(), "ios/next"); // a version in review does not take the live one's place
    fixture.store.write("de-DE", FieldType::description, "Neu");
    fixture.server.forgetRequests();
    EXPECT_THROW((void)fixture.push(), MetadataError);
    EXPECT_THAT(fixture.server.requests(), IsEmpty());
}

TEST(MetadataJourney, throwsForARefusedKeyBeforeAnyChange) {
    SandboxFixture fixture(gardenApp);
    (void)fixture.pull();
    fixture.store.write("de-DE", FieldType::description, "Neu");
    fixture.server.revokeKey(true);
    EXPECT_THROW((void)fixture.push(), ASCError);
    EXPECT_THROW((void)fixture.pull(), ASCError);
    EXPECT_EQ(fixture.store.read("de-DE", FieldType::description), "Neu");
}

TEST(SandboxJourney, asksTwoLocalesForAFieldThatTheVersionsStateDoesNotTake) {
    SandboxFixture fixture(firstVersionApp);
    (void)fixture.pull();
    const std::vector<std::string> locales = {"de-DE", "en-US", "fr-FR", "it", "ja", "ko", "nl-NL",
                                              "pl",    "ru",    "sv",    "th", "tr", "uk", "vi"};
    for (const std::string& locale : locales) {
        fixture.store.write(locale, FieldType::description, "Draw.");
        fixture.store.write(locale, FieldType::releaseNotes, "First release");
    }
    fixture.server.forgetRequests();
    for (const auto& outcome : fixture.push()) {
        EXPECT_EQ(outcome.success, outcome.change.field == FieldType::description) << outcome.change.locale;
        EXPECT_THAT(outcome.errorMessage.value_or("cannot be edited"), HasSubstr("cannot be edited"));
    }
    // A list, one request per locale, one per field of two of them, and one more for each of the others that
    // were under way when it became known.
    EXPECT_LE(fixture.server.requests().size(), 1 + locales.size() + 2 * 2 + 5);
    EXPECT_GE(fixture.server.requests().size(), 1 + locales.size() + 2 * 2);
}

TEST(SandboxJourney, overwritesNoChangeOfAColleague) {
    SandboxFixture fixture(gardenApp);
    (void)fixture.pull();
    const MetadataStore& store = fixture.store;
    const MetadataStore theirs(MetadataFolder{fixture.folder / "colleague"});
    (void)test::pullInto(theirs.folder(), fixture.client, fixture.clock, fixture.appID, fixture.context);
    theirs.write("de-DE", FieldType::description, "Ihr Text");
    theirs.write("de-DE", FieldType::keywords, "gleich");
    theirs.write("fr-FR", FieldType::promotionalText, "");
    theirs.write("ja", FieldType::subtitle, "彼女");
    theirs.write("ta-IN", FieldType::description, "அவள்");
    const MetadataPusher pusher(fixture.client, theirs);
    for (const auto& outcome : pusher.push(fixture.appID, fixture.context, MetadataDiff::compare(theirs)))
        ASSERT_TRUE(outcome.success) << *outcome.errorMessage;

    store.write("de-DE", FieldType::description, "Mein Text");
    store.write("de-DE", FieldType::promotionalText, "Mein Angebot");
    store.write("de-DE", FieldType::keywords, "gleich");
    store.write("fr-FR", FieldType::promotionalText, " \n");
    store.write("ja", FieldType::subtitle, "私");
    store.write("ta-IN", FieldType::description, "என்");
    store.write("ta-IN", FieldType::keywords, "ஒன்று");
    fixture.server.forgetRequests();
    std::vector<FieldKey> conflicts;
    for (const auto& outcome : fixture.push({{}, {}, Clearing::allow}))
        if (!outcome.success) {
            EXPECT_EQ(outcome.errorMessage,
                      "changed on App Store Connect since the last pull; pull to see it, then push again");
            conflicts.push_back(outcome.change.key());
        }
    EXPECT_THAT(conflicts,
                ElementsAre(FieldKey{"de-DE", FieldType::description}, FieldKey{"ja", FieldType::subtitle},
                            FieldKey{"ta-IN", FieldType::description}));
    EXPECT_THAT(fixture.requests(),
                UnorderedElementsAre("GET /v1/appStoreVersions", "GET /v1/apps", "GET /v1/appInfos",
                                     "PATCH /v1/appStoreVersionLocalizations",
                                     "PATCH /v1/appStoreVersionLocalizations"));
    EXPECT_THAT(MetadataDiff::compare(store), SizeIs(3)); // what they share is no change any more

    // After a pull, the edit that was backed up can be made again.
    EXPECT_THAT(fixture.pull().kept, SizeIs(3));
    EXPECT_EQ(store.read("de-DE", FieldType::description), "Ihr Text");
    store.write("de-DE", FieldType::description, "Unser Text");
    EXPECT_EQ(pushReport(fixture.push()), "Pushed 1 field · 1 locale");
}

TEST(SandboxJourney, asksTwoLocalesWhetherAVersionThatWasLockedTakesAnything) {
    SandboxFixture fixture(gardenApp);
    (void)fixture.pull();
    for (const std::string locale : {"de-DE", "fr-FR", "ja"})
        for (const FieldType field : {FieldType::description, FieldType::promotionalText,
                                      FieldType::releaseNotes, FieldType::keywords})
            fixture.store.write(locale, field, "new");
    fixture.server.setVersionState(fixture.context.versionId, "WAITING_FOR_REVIEW");
    fixture.server.forgetRequests();
    const auto outcomes = fixture.push();
    EXPECT_THAT(outcomes, SizeIs(12));
    for (const auto& outcome : outcomes) {
        EXPECT_FALSE(outcome.success);
        EXPECT_THAT(outcome.errorMessage.value_or(""), HasSubstr("WAITING_FOR_REVIEW"));
        EXPECT_EQ(outcome.failure, ASCError::Kind::stateRefused); // of those that were not asked too
    }
    // A list, one request per locale at the most, and one per field of two of them.
    EXPECT_LE(fixture.server.requests().size(), 1u + 3 + 2 * 4);
    EXPECT_GE(fixture.server.requests().size(), 1u + 2 + 2 * 4);
}

TEST(SandboxJourney, saysWhichLocalesWereNotSentOnceALoneFieldIsClosed) {
    SandboxFixture fixture(firstVersionApp);
    (void)fixture.pull();
    const std::vector<std::string> locales = {"de-DE", "en-US", "fr-FR", "it", "ja",
                                              "ko",    "nl-NL", "pl",    "ru", "sv"};
    for (const std::string& locale : locales)
        fixture.store.write(locale, FieldType::releaseNotes, "First release");
    fixture.server.forgetRequests();
    std::size_t unsent = 0;
    for (const auto& outcome : fixture.push()) {
        EXPECT_FALSE(outcome.success);
        EXPECT_EQ(outcome.errorMessage.value_or("").starts_with("Not sent: "), outcome.notSent);
        unsent += outcome.notSent;
    }
    EXPECT_EQ(fixture.server.requests().size(), 1 + locales.size() - unsent);
    EXPECT_GE(unsent, locales.size() - 7); // at most six are under way when the second refusal comes
}

TEST(SandboxJourney, takesPromotionalTextsWhereTheStateTakesNothingElse) {
    SandboxFixture fixture(gardenApp);
    (void)fixture.pull();
    for (const std::string locale : {"da", "de-DE", "es-ES", "fr-FR", "it", "ja", "ko", "sv"}) {
        fixture.store.write(locale, FieldType::description, "new");
        fixture.store.write(locale, FieldType::keywords, "new");
    }
    fixture.store.write("zh-Hant", FieldType::promotionalText, "new");
    fixture.server.setVersionState(fixture.context.versionId, "READY_FOR_SALE");
    for (const auto& outcome : fixture.push())
        EXPECT_EQ(outcome.success, outcome.change.field == FieldType::promotionalText);
}
