// The table of each model, one row per model; for the sources of this folder.
#pragma once

#include "Core/records/Models.h"

#include <array>
#include <string_view>
#include <tuple>

namespace quorvel::records {

/// The schema of a model as far as its members do not tell it. Lists of columns are separated by ", ".
struct TableRules {
    struct Reference {
        std::string_view column;
        std::string_view table; // whose "id" the column holds
        std::string_view onDelete = "CASCADE";
    };
    struct Index {
        std::string_view name;
        std::string_view columns;
    };

    std::string_view name;
    std::string_view key = {};    // unique; a second record with the same values updates the first
    std::string_view unique = {}; // further columns that are unique together
    Reference reference = {};
    std::array<Index, 2> indexes = {};
    // Long texts stand behind the columns that queries filter and count by.
    std::string_view lastColumns = {};
};

template <typename Record>
struct Table {
    TableRules rules;
};

/// The models of the schema. A new one needs its struct in Models.h and a row here.
inline constexpr std::tuple tables{
    Table<ManagedWorkspace>{{.name = "ManagedWorkspace", .key = "id"}},
    Table<ManagedApp>{{.name = "ManagedApp",
                       .key = "id",
                       .unique = "slug",
                       .reference = {"workspace", "ManagedWorkspace", "SET NULL"},
                       .indexes = {{{"ManagedAppByWorkspace", "workspace"}}},
                       .lastColumns = "brandVoice, protectedTerms, glossary"}},
    Table<ManagedLocale>{{.name = "ManagedLocale", .key = "app, code", .reference = {"app", "ManagedApp"}}},
    Table<FieldRule>{{.name = "FieldRule", .key = "app, fieldType", .reference = {"app", "ManagedApp"}}},
    Table<PushHistoryEntry>{{.name = "PushHistoryEntry",
                             .reference = {"app", "ManagedApp"},
                             .indexes = {{{"PushHistoryEntryByTime", "app, timestamp"},
                                          {"PushHistoryEntryByRun", "app, sessionId"}}},
                             .lastColumns = "errorMessage, previousValue, newValue"}},
    Table<CachedTranslation>{{.name = "CachedTranslation", .key = "hashKey"}},
    Table<TrackedKeyword>{{.name = "TrackedKeyword",
                           .key = "id",
                           .unique = "app, term, country",
                           .reference = {"app", "ManagedApp"}}},
    Table<KeywordSnapshot>{{.name = "KeywordSnapshot",
                            .reference = {"keyword", "TrackedKeyword"},
                            .indexes = {{{"KeywordSnapshotByTime", "keyword, capturedAt"}}}}},
    Table<TrackedCompetitor>{{.name = "TrackedCompetitor",
                              .key = "id",
                              .unique = "app, appStoreId, country",
                              .reference = {"app", "ManagedApp"}}},
    Table<CompetitorSnapshot>{{.name = "CompetitorSnapshot",
                               .reference = {"competitor", "TrackedCompetitor"},
                               .indexes = {{{"CompetitorSnapshotByTime", "competitor, capturedAt"}}},
                               .lastColumns = "releaseNotes"}},
    Table<CachedReview>{{.name = "CachedReview",
                         .key = "id",
                         .reference = {"app", "ManagedApp"},
                         .indexes = {{{"CachedReviewByTime", "app, createdAt"}}}}},
};

template <typename Record>
inline constexpr const TableRules& tableOf = std::get<Table<Record>>(tables).rules;

} // namespace quorvel::records
