#include "Core/records/TrackingRecords.h"

#include "Core/records/RecordMapping.h"
#include "Platform/crypto/Digest.h"

namespace quorvel {

using namespace records;

namespace {

// Stores `tracked` under the identity of the one that `same` finds, if any.
template <typename Tracked>
Tracked addTracked(const ModelContainer& container, const Clock& clock, Tracked tracked,
                   std::string_view same, std::initializer_list<StoreValue> values) {
    container.write([&](Database& database) {
        const auto existing = selectOne<Tracked>(database, same, values);
        if (existing) {
            tracked.id = existing->id;
            tracked.createdAt = existing->createdAt;
        }
        if (tracked.id.empty()) tracked.id = makeUUID();
        if (tracked.createdAt == Date()) tracked.createdAt = clock();
        insert(database, tracked);
        tracked = selectOne<Tracked>(database, "WHERE id = ?1", {tracked.id}).value();
    });
    return tracked;
}

template <typename Snapshot>
void addSnapshotsOf(const ModelContainer& container, std::optional<std::string> Snapshot::*owner,
                    std::string_view ownerID, std::span<const Snapshot> snapshots) {
    container.write([&](Database& database) {
        for (Snapshot snapshot : snapshots) {
            snapshot.*owner = ownerID;
            insert(database, snapshot);
        }
    });
}

StoreValue textOrNull(const std::optional<std::string>& text) {
    return text ? StoreValue(std::string_view(*text)) : StoreValue();
}

} // namespace

KeywordRecords::KeywordRecords(std::shared_ptr<const ModelContainer> container, Clock clock)
    : container_(std::move(container)), clock_(std::move(clock)) {}

std::vector<TrackedKeyword> KeywordRecords::all(std::string_view appID) const {
    return fetch<TrackedKeyword>(*container_, "WHERE app = ?1 ORDER BY term, country", {appID});
}

std::optional<TrackedKeyword> KeywordRecords::find(std::string_view id) const {
    return fetchOne<TrackedKeyword>(*container_, "WHERE id = ?1", {id});
}

TrackedKeyword KeywordRecords::add(TrackedKeyword keyword) const {
    const TrackedKeyword wanted = keyword;
    return addTracked(*container_, clock_, std::move(keyword),
                      "WHERE app = ?1 AND term = ?2 AND country = ?3",
                      {textOrNull(wanted.app), wanted.term, wanted.country});
}

bool KeywordRecords::remove(std::string_view id) const {
    return discard<TrackedKeyword>(*container_, "WHERE id = ?1", {id}) > 0;
}

void KeywordRecords::addSnapshots(std::string_view keywordID,
                                  std::span<const KeywordSnapshot> snapshots) const {
    addSnapshotsOf(*container_, &KeywordSnapshot::keyword, keywordID, snapshots);
}

std::vector<KeywordSnapshot> KeywordRecords::snapshots(std::string_view keywordID, Date since) const {
    return fetch<KeywordSnapshot>(*container_,
                                  "WHERE keyword = ?1 AND capturedAt >= ?2 ORDER BY capturedAt, identity",
                                  {keywordID, microsecondsOf(since)});
}

std::optional<KeywordSnapshot> KeywordRecords::newestSnapshot(std::string_view keywordID) const {
    return fetchOne<KeywordSnapshot>(
        *container_, "WHERE keyword = ?1 ORDER BY capturedAt DESC, identity DESC LIMIT 1", {keywordID});
}

CompetitorRecords::CompetitorRecords(std::shared_ptr<const ModelContainer> container, Clock clock)
    : container_(std::move(container)), clock_(std::move(clock)) {}

std::vector<TrackedCompetitor> CompetitorRecords::all(std::string_view appID) const {
    return fetch<TrackedCompetitor>(*container_, "WHERE app = ?1 ORDER BY name, country", {appID});
}

std::optional<TrackedCompetitor> CompetitorRecords::find(std::string_view id) const {
    return fetchOne<TrackedCompetitor>(*container_, "WHERE id = ?1", {id});
}

TrackedCompetitor CompetitorRecords::add(TrackedCompetitor competitor) const {
    const TrackedCompetitor wanted = competitor;
    return addTracked(*container_, clock_, std::move(competitor),
                      "WHERE app = ?1 AND appStoreId = ?2 AND country = ?3",
                      {textOrNull(wanted.app), wanted.appStoreId, wanted.country});
}

bool CompetitorRecords::remove(std::string_view id) const {
    return discard<TrackedCompetitor>(*container_, "WHERE id = ?1", {id}) > 0;
}

void CompetitorRecords::addSnapshots(std::string_view competitorID,
                                     std::span<const CompetitorSnapshot> snapshots) const {
    addSnapshotsOf(*container_, &CompetitorSnapshot::competitor, competitorID, snapshots);
}

std::vector<CompetitorSnapshot> CompetitorRecords::snapshots(std::string_view competitorID,
                                                             Date since) const {
    return fetch<CompetitorSnapshot>(
        *container_, "WHERE competitor = ?1 AND capturedAt >= ?2 ORDER BY capturedAt, identity",
        {competitorID, microsecondsOf(since)});
}

std::optional<CompetitorSnapshot> CompetitorRecords::newestSnapshot(std::string_view competitorID) const {
    return fetchOne<CompetitorSnapshot>(
        *container_, "WHERE competitor = ?1 ORDER BY capturedAt DESC, identity DESC LIMIT 1", {competitorID});
}

} // namespace quorvel
