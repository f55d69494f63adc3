// A store with a little of everything, for the tests of this folder.
#pragma once

#include "Core/records/Records.h"
#include "Core/records/ReviewRecords.h"
#include "Core/records/TrackingRecords.h"
#include "Platform/store/Database.h"
#include "Tests/support/TemporaryFolder.h"

#include <string>

namespace quorvel::test {

inline Date moment(std::int64_t seconds = 0) {
    return Date(std::chrono::seconds(1772368200 + seconds));
}
inline Clock fixedClock(std::int64_t seconds = 0) {
    return [seconds] { return moment(seconds); };
}

inline std::shared_ptr<ModelContainer>
openStore(const std::filesystem::path& folder,
          std::chrono::milliseconds busyTimeout = std::chrono::hours(1)) {
    return ModelContainer::open(folder, fixedClock(), busyTimeout);
}

/// An entry of the push `run`.
inline PushHistoryEntry pushed(const std::string& appID, const std::string& run, std::int64_t seconds = 0) {
    return {.timestamp = moment(seconds),
            .locale = "de-DE",
            .fieldType = "subtitle",
            .newValue = "Gärten planen",
            .success = true,
            .sessionId = run,
            .app = appID};
}

/// All the records over one container.
struct Garden {
    explicit Garden(std::shared_ptr<ModelContainer> opened)
        : container(std::move(opened)),
          workspaces(container, fixedClock()),
          apps(container, fixedClock(60)),
          history(container),
          translations(container),
          keywords(container, fixedClock()),
          competitors(container, fixedClock()),
          reviews(container) {}

    /// An app in a workspace with something of everything that belongs to an app.
    ManagedApp plant(const std::string& slug) const {
        const auto workspace = workspaces.create("Workspace of " + slug);
        const ManagedApp app = apps.add({.slug = slug, .displayName = slug, .workspace = workspace.id});
        apps.addMissingLocales(app.id, std::vector<std::string>{"de-DE", "en-US"});
        apps.setRule(app.id, FieldRule::of(FieldType::subtitle, TranslateMode::on, 25));
        history.record(std::vector{pushed(app.id, "run")});
        const auto keyword = keywords.add({.term = "garden", .country = "us", .app = app.id});
        keywords.addSnapshots(keyword.id,
                              std::vector<KeywordSnapshot>{{.capturedAt = moment(), .ourRank = 3}});
        const auto competitor = competitors.add({.appStoreId = "1", .country = "us", .app = app.id});
        competitors.addSnapshots(competitor.id, std::vector<CompetitorSnapshot>{{.capturedAt = moment()}});
        reviews.store(
            std::vector<CachedReview>{{.id = "review of " + slug, .themes = {"price"}, .app = app.id}});
        return app;
    }

    std::shared_ptr<ModelContainer> container;
    WorkspaceRecords workspaces;
    AppRecords apps;
    PushHistory history;
    TranslationRecords translations;
    KeywordRecords keywords;
    CompetitorRecords competitors;
    ReviewRecords reviews;
};

inline std::int64_t countRows(Database& database, std::string_view table) {
    std::int64_t count = -1;
    database.query("SELECT count(*) FROM " + std::string(table), {},
                   [&](const StoreRow& row) { count = row.integer(0); });
    return count;
}

} // namespace quorvel::test
