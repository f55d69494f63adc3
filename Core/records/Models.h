// The records that the program keeps, as plain values. A relationship is held by the identity of the record
// that it leads to; what belongs to a record is asked for in Records.h.
#pragma once

#include "Core/metadata/FieldRule.h"
#include "Platform/json/JSON.h"
#include "Platform/time/Date.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// A named group of apps. Deleting one leaves its apps without a workspace.
struct ManagedWorkspace {
    std::string id; // UUID, unique; also the scope of the workspace's own key
    std::string name;
    Date createdAt;
    QUORVEL_RECORD(ManagedWorkspace, id, name, createdAt)
    bool operator==(const ManagedWorkspace&) const = default;
};

/// An app of App Store Connect that the user imported. Deleting one deletes everything that names it as its
/// `app`, and no file.
struct ManagedApp {
    std::string id;   // UUID, unique; also the scope of the app's own key
    std::string slug; // folder-safe, unique among the apps
    std::string displayName;
    std::string bundleId;
    std::string appStoreId; // digits, as text
    std::optional<std::string>
        metadataFolderBookmark;              // see `BookmarkResolver`; empty until a folder is chosen
    std::string brandVoice;                  // the app's tone, for prompts
    std::vector<std::string> protectedTerms; // kept untranslated by prompts
    std::map<std::string, std::map<std::string, std::string>> glossary; // term → locale → rendering
    std::string sourceLocale;                                           // where translations start
    std::string iconURL;
    std::optional<std::string> workspace; // id of its workspace
    Date createdAt;
    Date updatedAt; // of the record's last change
    QUORVEL_RECORD(ManagedApp, id, slug, displayName, bundleId, appStoreId, metadataFolderBookmark,
                   brandVoice, protectedTerms, glossary, sourceLocale, iconURL, workspace, createdAt,
                   updatedAt)
    bool operator==(const ManagedApp&) const = default;
};

/// A locale that an app manages; a code occurs once per app.
struct ManagedLocale {
    std::string code;
    bool enabled = true;     // takes part in pull, push and translation
    bool aiSafeMode = false; // see the translation pipeline
    std::optional<std::string> preferredScript;
    std::optional<std::string> app; // id of its app
    QUORVEL_RECORD(ManagedLocale, code, enabled, aiSafeMode, preferredScript, app)
    bool operator==(const ManagedLocale&) const = default;
};

/// One field that a push tried to write.
struct PushHistoryEntry {
    Date timestamp; // when the write finished
    std::string locale;
    std::string fieldType;
    std::string previousValue; // on App Store Connect before; empty for a new locale
    std::string newValue;
    bool success = false;
    std::optional<std::string> errorMessage;
    std::optional<std::string> sessionId; // shared by the entries of one push
    std::optional<std::string> versionString;
    std::optional<std::string> platform;
    std::optional<std::string> stateClass;
    std::optional<std::string> app; // id of its app
    QUORVEL_RECORD(PushHistoryEntry, timestamp, locale, fieldType, previousValue, newValue, success,
                   errorMessage, sessionId, versionString, platform, stateClass, app)
    bool operator==(const PushHistoryEntry&) const = default;
};

/// A translation kept so that it is not paid for twice.
struct CachedTranslation {
    std::string hashKey; // unique
    std::string sourceText;
    std::string targetLocale;
    std::string fieldType;
    std::string model;
    std::string translation;
    std::int64_t tokensIn = 0;
    std::int64_t tokensOut = 0;
    Date createdAt;
    bool overLimit = false;
    QUORVEL_RECORD(CachedTranslation, hashKey, sourceText, targetLocale, fieldType, model, translation,
                   tokensIn, tokensOut, createdAt, overLimit)
    bool operator==(const CachedTranslation&) const = default;
};

/// A search term whose rank is followed in one storefront; occurs once per app, term and storefront.
struct TrackedKeyword {
    std::string id; // UUID, unique
    std::string term;
    std::string country;  // storefront, two letters such as "us"
    std::string platform; // of the search: "iphone", "ipad" or "mac"
    std::string note;
    Date createdAt;
    std::optional<std::string> app;
    QUORVEL_RECORD(TrackedKeyword, id, term, country, platform, note, createdAt, app)
    bool operator==(const TrackedKeyword&) const = default;
};

/// What a search for a tracked keyword found at one moment.
struct KeywordSnapshot {
    Date capturedAt;
    std::optional<std::int64_t> ourRank;                 // from 1; empty when not among the results
    std::optional<std::int64_t> resultCount;             // how many apps the search found
    std::map<std::string, std::int64_t> competitorRanks; // App Store id → rank
    std::optional<std::string> keyword;                  // id of its keyword
    QUORVEL_RECORD(KeywordSnapshot, capturedAt, ourRank, resultCount, competitorRanks, keyword)
    bool operator==(const KeywordSnapshot&) const = default;
};

/// Another maker's app that is followed in one storefront; occurs once per app, App Store id and storefront.
struct TrackedCompetitor {
    std::string id; // UUID, unique
    std::string appStoreId;
    std::string name;
    std::string bundleId;
    std::string country;
    std::string iconURL;
    std::string note;
    Date createdAt;
    std::optional<std::string> app;
    QUORVEL_RECORD(TrackedCompetitor, id, appStoreId, name, bundleId, country, iconURL, note, createdAt, app)
    bool operator==(const TrackedCompetitor&) const = default;
};

/// A competitor's store page at one moment.
struct CompetitorSnapshot {
    Date capturedAt;
    std::string name;
    std::string subtitle;
    std::string versionString;
    std::string releaseNotes;
    std::optional<double> averageRating;
    std::optional<std::int64_t> ratingCount;
    std::optional<double> price;
    std::string currency;
    std::optional<std::string> competitor; // id of its competitor
    QUORVEL_RECORD(CompetitorSnapshot, capturedAt, name, subtitle, versionString, releaseNotes, averageRating,
                   ratingCount, price, currency, competitor)
    bool operator==(const CompetitorSnapshot&) const = default;
};

/// A customer review as it was last seen.
struct CachedReview {
    std::string id; // on App Store Connect; unique
    std::int64_t rating = 0;
    std::string title;
    std::string body;
    std::string reviewerNickname;
    std::string territory;
    std::string createdAtRaw; // as App Store Connect sent it
    Date createdAt;
    std::string sentiment;
    std::vector<std::string> themes;
    std::optional<Date> sentimentClassifiedAt;
    std::optional<std::string> app;
    QUORVEL_RECORD(CachedReview, id, rating, title, body, reviewerNickname, territory, createdAtRaw,
                   createdAt, sentiment, themes, sentimentClassifiedAt, app)
    bool operator==(const CachedReview&) const = default;
};

} // namespace quorvel
