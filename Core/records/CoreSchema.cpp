#include "Core/records/CoreSchema.h"

#include "Core/records/RecordMapping.h"
#include "Platform/store/Database.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <boost/mp11/list.hpp>

#include <algorithm>
#include <array>
#include <string>

namespace quorvel {

namespace {

constexpr auto modelNames = []<typename... Record>(boost::mp11::mp_list<Record...>) {
    return std::array<std::string_view, sizeof...(Record)>{records::Model<Record>::name...};
}(records::Models{});

// Dates are microseconds since 1970; lists and maps are JSON. Long texts stand last in their tables, so that
// what is filtered and counted by lies in front of them.
constexpr std::string_view tables = R"sql(
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

std::string versionText(std::int64_t number) {
    return fmt::format("{}.{}.{}", number / 1'000'000, number / 1'000 % 1'000, number % 1'000);
}

std::string nameOf(const Database& database) {
    return escapeControls(database.file().native());
}

template <typename... Record>
void readOneOfEach(Database& database, boost::mp11::mp_list<Record...>) {
    (static_cast<void>(records::select<Record>(database, "LIMIT 1")), ...);
}

} // namespace

std::span<const std::string_view> CoreSchema::models() {
    return modelNames;
}

std::span<const CoreSchema::Step> CoreSchema::steps() {
    return {}; // 1.0.0 is the first version
}

void CoreSchema::create(Database& database) {
    database.transaction([&] {
        database.execute(tables);
        database.setSchemaVersion(versionNumber);
    });
}

void CoreSchema::migrate(Database& database, std::span<const Step> steps, std::int64_t target) {
    if (database.schemaVersion() == target) return;
    database.transaction([&] {
        // Asked again in the writer's turn: another process may have done it meanwhile.
        for (std::int64_t at = database.schemaVersion(); at != target;) {
            if (at > target)
                throw StoreError(StoreError::Kind::newerSchema,
                                 fmt::format("{}: its schema {} is newer than {}, the newest that this "
                                             "version of the program knows",
                                             nameOf(database), versionText(at), versionText(target)));
            const auto step = std::ranges::find(steps, at, &Step::from);
            if (step == steps.end() || step->to <= at)
                throw StoreError(
                    StoreError::Kind::damaged,
                    fmt::format("{}: nothing is known of its schema {}", nameOf(database), versionText(at)));
            database.execute(step->sql);
            at = step->to;
            database.setSchemaVersion(at);
        }
    });
}

void CoreSchema::checkTables(Database& database) {
    try {
        readOneOfEach(database, records::Models{});
    } catch (const StoreError& error) {
        // The engine's answer to a table or column that is missing.
        if (error.kind() != StoreError::Kind::unavailable) throw;
        throw StoreError(StoreError::Kind::damaged, error.what());
    }
}

} // namespace quorvel
