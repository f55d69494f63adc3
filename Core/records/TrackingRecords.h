// Typed access to what is followed in the store: search terms, other makers' apps, and their snapshots.
#pragma once

#include "Core/records/ModelContainer.h"
#include "Core/records/Models.h"

#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace quorvel {

/// Everything throws `StoreError`; safe to use from several threads.
class KeywordRecords {
  public:
    KeywordRecords(std::shared_ptr<const ModelContainer> container, Clock clock);

    [[nodiscard]] std::vector<TrackedKeyword> all(std::string_view appID) const; // by term, then country
    [[nodiscard]] std::optional<TrackedKeyword> find(std::string_view id) const;
    /// Adds a keyword, or updates the one of the same `id` or of the same app, term and country, whose id and
    /// snapshots stay. An empty id and an empty date are filled in.
    TrackedKeyword add(TrackedKeyword keyword) const;
    /// Its snapshots go with it. Whether there was one.
    bool remove(std::string_view id) const;

    /// Throws the `StoreError` of the kind `constraint` for a keyword that is gone.
    void addSnapshots(std::string_view keywordID, std::span<const KeywordSnapshot> snapshots) const;
    /// Those since `since`, the oldest first.
    [[nodiscard]] std::vector<KeywordSnapshot> snapshots(std::string_view keywordID, Date since = {}) const;
    [[nodiscard]] std::optional<KeywordSnapshot> newestSnapshot(std::string_view keywordID) const;

  private:
    std::shared_ptr<const ModelContainer> container_;
    Clock clock_;
};

/// Everything throws `StoreError`; safe to use from several threads.
class CompetitorRecords {
  public:
    CompetitorRecords(std::shared_ptr<const ModelContainer> container, Clock clock);

    [[nodiscard]] std::vector<TrackedCompetitor> all(std::string_view appID) const; // by name, then country
    [[nodiscard]] std::optional<TrackedCompetitor> find(std::string_view id) const;
    /// Adds a competitor, or updates the one of the same `id` or of the same app, App Store id and country,
    /// whose id and snapshots stay. An empty id and an empty date are filled in.
    TrackedCompetitor add(TrackedCompetitor competitor) const;
    /// Its snapshots go with it. Whether there was one.
    bool remove(std::string_view id) const;

    void addSnapshots(std::string_view competitorID, std::span<const CompetitorSnapshot> snapshots) const;
    /// Those since `since`, the oldest first.
    [[nodiscard]] std::vector<CompetitorSnapshot> snapshots(std::string_view competitorID,
                                                            Date since = {}) const;
    [[nodiscard]] std::optional<CompetitorSnapshot> newestSnapshot(std::string_view competitorID) const;

  private:
    std::shared_ptr<const ModelContainer> container_;
    Clock clock_;
};

} // namespace quorvel
