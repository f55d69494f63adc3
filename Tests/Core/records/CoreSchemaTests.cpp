#include "Core/records/CoreSchema.h"
#include "Tests/Core/records/Garden.h"

#include <gmock/gmock.h>

#include <map>

using namespace quorvel;
using testing::HasSubstr;

namespace {

// The schema 1.0.0 as it stands in the stores of users. It never changes.
constexpr std::string_view schema1_0_0 = R"sql(
CREATE TABLE ManagedWorkspace (
    identity INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    name TEXT NOT NULL,
    createdAt INTEGER NOT NULL
) STRICT;

CREATE TABLE ManagedApp (
    identity INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    slug TEXT NOT NULL UNIQUE,
    displayName TEXT NOT NULL,
    bundleId TEXT NOT NULL,
    appStoreId TEXT NOT NULL,
    metadataFolderBookmark TEXT,
    sourceLocale TEXT NOT NULL,
    iconURL TEXT NOT NULL,
    workspace TEXT REFERENCES ManagedWorkspace(id) ON DELETE SET NULL,
    createdAt INTEGER NOT NULL,
    updatedAt INTEGER NOT NULL,
    brandVoice TEXT NOT NULL,
    protectedTerms TEXT NOT NULL CHECK (json_valid(protectedTerms)),
    glossary TEXT NOT NULL CHECK (json_valid(glossary))
) STRICT;
CREATE INDEX ManagedAppByWorkspace ON ManagedApp(workspace);

CREATE TABLE ManagedLocale (
    identity INTEGER PRIMARY KEY,
    code TEXT NOT NULL,
    enabled INTEGER NOT NULL,
    aiSafeMode INTEGER NOT NULL,
    preferredScript TEXT,
    app TEXT REFERENCES ManagedApp(id) ON DELETE CASCADE,
    UNIQUE (app, code)
) STRICT;

CREATE TABLE FieldRule (
    identity INTEGER PRIMARY KEY,
    fieldType TEXT NOT NULL,
    translateMode TEXT NOT NULL,
    maxLength INTEGER,
    app TEXT REFERENCES ManagedApp(id) ON DELETE CASCADE,
    UNIQUE (app, fieldType)
) STRICT;

CREATE TABLE PushHistoryEntry (
    identity INTEGER PRIMARY KEY,
    timestamp INTEGER NOT NULL,
    locale TEXT NOT NULL,
    fieldType TEXT NOT NULL,
    success INTEGER NOT NULL,
    sessionId TEXT,
    versionString TEXT,
    platform TEXT,
    stateClass TEXT,
    app TEXT REFERENCES ManagedApp(id) ON DELETE CASCADE,
    errorMessage TEXT,
    previousValue TEXT NOT NULL,
    newValue TEXT NOT NULL
) STRICT;
CREATE INDEX PushHistoryEntryByTime ON PushHistoryEntry(app, timestamp);
CREATE INDEX PushHistoryEntryByRun ON PushHistoryEntry(app, sessionId);

CREATE TABLE CachedTranslation (
    identity INTEGER PRIMARY KEY,
    hashKey TEXT NOT NULL UNIQUE,
    sourceText TEXT NOT NULL,
    targetLocale TEXT NOT NULL,
    fieldType TEXT NOT NULL,
    model TEXT NOT NULL,
    translation TEXT NOT NULL,
    tokensIn INTEGER NOT NULL,
    tokensOut INTEGER NOT NULL,
    createdAt INTEGER NOT NULL,
    overLimit INTEGER NOT NULL
) STRICT;

CREATE TABLE TrackedKeyword (
    identity INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    term TEXT NOT NULL,
    country TEXT NOT NULL,
    platform TEXT NOT NULL,
    note TEXT NOT NULL,
    createdAt INTEGER NOT NULL,
    app TEXT REFERENCES ManagedApp(id) ON DELETE CASCADE,
    UNIQUE (app, term, country)
) STRICT;

CREATE TABLE KeywordSnapshot (
    identity INTEGER PRIMARY KEY,
    capturedAt INTEGER NOT NULL,
    ourRank INTEGER,
    resultCount INTEGER,
    competitorRanks TEXT NOT NULL CHECK (json_valid(competitorRanks)),
    keyword TEXT REFERENCES TrackedKeyword(id) ON DELETE CASCADE
) STRICT;
CREATE INDEX KeywordSnapshotByTime ON KeywordSnapshot(keyword, capturedAt);

CREATE TABLE TrackedCompetitor (
    identity INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    appStoreId TEXT NOT NULL,
    name TEXT NOT NULL,
    bundleId TEXT NOT NULL,
    country TEXT NOT NULL,
    iconURL TEXT NOT NULL,
    note TEXT NOT NULL,
    createdAt INTEGER NOT NULL,
    app TEXT REFERENCES ManagedApp(id) ON DELETE CASCADE,
    UNIQUE (app, appStoreId, country)
) STRICT;

CREATE TABLE CompetitorSnapshot (
    identity INTEGER PRIMARY KEY,
    capturedAt INTEGER NOT NULL,
    name TEXT NOT NULL,
    subtitle TEXT NOT NULL,
    versionString TEXT NOT NULL,
    averageRating REAL,
    ratingCount INTEGER,
    price REAL,
    currency TEXT NOT NULL,
    competitor TEXT REFERENCES TrackedCompetitor(id) ON DELETE CASCADE,
    releaseNotes TEXT NOT NULL
) STRICT;
CREATE INDEX CompetitorSnapshotByTime ON CompetitorSnapshot(competitor, capturedAt);

CREATE TABLE CachedReview (
    identity INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    rating INTEGER NOT NULL,
    title TEXT NOT NULL,
    body TEXT NOT NULL,
    reviewerNickname TEXT NOT NULL,
    territory TEXT NOT NULL,
    createdAtRaw TEXT NOT NULL,
    createdAt INTEGER NOT NULL,
    sentiment TEXT NOT NULL,
    themes TEXT NOT NULL CHECK (json_valid(themes)),
    sentimentClassifiedAt INTEGER,
    app TEXT REFERENCES ManagedApp(id) ON DELETE CASCADE
) STRICT;
CREATE INDEX CachedReviewByTime ON CachedReview(app, createdAt);
)sql";

std::map<std::string, std::string> schemaOf(Database& database) {
    std::map<std::string, std::string> schema;
    database.query("SELECT name, sql FROM sqlite_schema WHERE sql IS NOT NULL", {},
                   [&](const StoreRow& row) { schema.emplace(row.text(0), row.text(1)); });
    return schema;
}

template <typename Work>
StoreError schemaFailure(Work&& work) {
    try {
        work();
    } catch (const StoreError& error) {
        return error;
    }
    return {StoreError::Kind::constraint, "no failure"};
}

} // namespace

TEST(CoreSchema, derivesTheTablesThatStoresOfTheFirstVersionHave) {
    const test::TemporaryFolder folder;
    Database written(folder / "written"), derived(folder / "derived");
    written.execute(schema1_0_0);
    CoreSchema::create(derived);
    EXPECT_EQ(schemaOf(derived), schemaOf(written));
    EXPECT_EQ(derived.schemaVersion(), 1'000'000);
}

TEST(CoreSchema, opensAStoreOfTheFirstVersionWithItsRecords) {
    const test::TemporaryFolder folder;
    {
        Database database(folder / "default.store");
        database.execute(schema1_0_0);
        database.execute(
            "INSERT INTO ManagedApp VALUES (7, 'id', 'garden', 'Garden', 'com.example.garden', '1', "
            "NULL, 'en-US', '', NULL, 1000000, 2000000, 'calm', '[\"a\"]', '{}')");
        database.setSchemaVersion(1'000'000);
    }
    const test::Garden garden(test::openStore(folder.path()));
    EXPECT_FALSE(garden.container->rebuilt());
    EXPECT_EQ(garden.apps.all(), std::vector{(ManagedApp{.id = "id",
                                                         .slug = "garden",
                                                         .displayName = "Garden",
                                                         .bundleId = "com.example.garden",
                                                         .appStoreId = "1",
                                                         .brandVoice = "calm",
                                                         .protectedTerms = {"a"},
                                                         .sourceLocale = "en-US",
                                                         .createdAt = dateFromSecondsSince1970(1),
                                                         .updatedAt = dateFromSecondsSince1970(2)})});
    EXPECT_FALSE(garden.plant("other").id.empty());
}

TEST(CoreSchema, bringsAnOlderStoreUpToDateStepByStep) {
    const test::TemporaryFolder folder;
    Database database(folder / "store");
    const auto makeOld = [&] {
        database.execute("DROP TABLE IF EXISTS Thing; CREATE TABLE Thing (a); INSERT INTO Thing VALUES (1)");
        database.setSchemaVersion(900'000);
    };
    const CoreSchema::Step steps[] = {
        {910'000, 1'000'000, "UPDATE Thing SET b = b + a"},
        {900'000, 910'000, "ALTER TABLE Thing ADD COLUMN b; UPDATE Thing SET b = 1"},
        {910'001, 1'000'000, "DROP TABLE Missing"},
    };
    makeOld();
    CoreSchema::migrate(database, steps, 1'000'000);
    CoreSchema::migrate(database, steps, 1'000'000);
    EXPECT_EQ(database.schemaVersion(), 1'000'000);
    database.query("SELECT b FROM Thing", {}, [](const StoreRow& row) { EXPECT_EQ(row.integer(0), 2); });

    const CoreSchema::Step failing[] = {steps[1],
                                        {910'000, 1'000'000, "UPDATE Thing SET b = 3; DROP TABLE Missing"}};
    const struct {
        std::span<const CoreSchema::Step> steps;
        std::int64_t target;
        StoreError::Kind kind;
        std::string_view text;
    } cases[] = {
        {failing, 1'000'000, StoreError::Kind::statement, "no such table: Missing"},
        {std::span(steps).subspan(1, 1), 1'000'000, StoreError::Kind::damaged,
         "nothing is known of its schema 0.910.0"},
        {steps, 800'000, StoreError::Kind::newerSchema, "its schema 0.900.0 is newer than 0.800.0"},
    };
    for (const auto& one : cases) {
        makeOld();
        const auto error = schemaFailure([&] { CoreSchema::migrate(database, one.steps, one.target); });
        EXPECT_EQ(error.kind(), one.kind);
        EXPECT_THAT(error.what(), HasSubstr(std::string(one.text)));
        EXPECT_EQ(database.schemaVersion(), 900'000) << "all or nothing";
        EXPECT_THROW(database.query("SELECT b FROM Thing", {}, [](const StoreRow&) {}), StoreError);
    }
}
