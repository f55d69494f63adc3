#include "Quorvel/controllers/keywords/KeywordTracker.h"

#include "Platform/files/FileLock.h"
#include "Platform/files/Files.h"
#include "Platform/store/StoreError.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/OperationRefused.h"
#include "Quorvel/controllers/keywords/StoreTrouble.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <tuple>
#include <utility>

namespace quorvel {

namespace {

FileLock lockRefreshes(const std::filesystem::path& file) {
    createFolders(file.parent_path(), FolderMode::secret);
    auto lock = FileLock::tryLock(file);
    if (!lock) {
        const auto holder = FileLock::holderOf(file);
        throw OperationRefused(Refusal::operationRunning,
                               fmt::format("A refresh of keywords works on this home{}. What it has captured "
                                           "is not asked for again.",
                                           holder ? fmt::format(" (process {})", holder->processID) : ""));
    }
    lock->noteHolder("a refresh of keywords");
    return std::move(*lock);
}

// The items that are due, the longest not captured first; how many are not.
template <typename Tracked, typename Records>
std::pair<std::vector<Tracked>, std::size_t> dueOf(const Records& records, std::vector<Tracked> all, Date now,
                                                   RefreshScope scope) {
    std::vector<std::pair<Date, Tracked>> due;
    std::size_t upToDate = 0;
    for (Tracked& one : all) {
        const auto newest = records.newestSnapshot(one.id);
        const Date captured = newest ? newest->capturedAt : Date::min();
        // One of the future is of a clock that was set back since.
        const bool isDue = !newest || captured > now || now - captured >= RefreshWork::dueAfter;
        if (isDue || scope == RefreshScope::all)
            due.emplace_back(captured, std::move(one));
        else
            ++upToDate;
    }
    std::ranges::stable_sort(due, {}, [](const auto& one) { return one.first; });
    std::vector<Tracked> result;
    for (auto& [captured, one] : due)
        result.push_back(std::move(one));
    return {std::move(result), upToDate};
}

// Stores a snapshot; whether its term or competitor is still tracked.
template <typename Records, typename Snapshot>
bool keepSnapshot(const Records& records, std::string_view id, const Snapshot& snapshot) {
    try {
        records.addSnapshots(id, std::span(&snapshot, 1));
        return true;
    } catch (const StoreError& error) {
        if (error.kind() != StoreError::Kind::constraint || records.find(id)) throw;
        return false;
    }
}

} // namespace

RefreshWork KeywordTracker::work(const KeywordRecords& keywords, const CompetitorRecords& competitors,
                                 std::string_view appID, Date now, RefreshScope scope) {
    RefreshWork work;
    std::tie(work.keywords, work.keywordsUpToDate) = dueOf(keywords, keywords.all(appID), now, scope);
    std::tie(work.competitors, work.competitorsUpToDate) =
        dueOf(competitors, competitors.all(appID), now, scope);
    return work;
}

RefreshOutcome KeywordTracker::refresh(const ManagedApp& app, RefreshScope scope, const Progress& progress,
                                       const Finish& finish) const {
    const FileLock lock = lockRefreshes(parts_.lockFile);
    const RefreshWork work =
        KeywordTracker::work(parts_.keywords, parts_.competitors, app.id, parts_.clock(), scope);
    const auto competitors = parts_.competitors.all(app.id);
    const std::size_t total = work.searchRequests();
    RefreshOutcome outcome{.upToDate = work.keywordsUpToDate + work.competitorsUpToDate};
    std::size_t done = 0;
    StoreTrouble trouble;
    const auto begin = [&](const std::string& text) {
        checkCancellation();
        if (trouble.isHopeless()) {
            ++outcome.leftDue;
            return false;
        }
        if (progress) progress(text, done, total);
        ++done;
        return true;
    };
    for (const TrackedKeyword& keyword : work.keywords) {
        if (!begin(fmt::format("Searching for \"{}\" in {}", escapeControls(keyword.term), keyword.country)))
            continue;
        outcome.terms.push_back(refreshTerm(app, keyword, competitors));
        trouble.note(outcome.terms.back().failure);
    }
    for (const TrackedCompetitor& competitor : work.competitors) {
        if (!begin(fmt::format("Reading the page of {} in {}", escapeControls(competitor.name),
                               competitor.country)))
            continue;
        outcome.competitors.push_back(refreshCompetitor(competitor));
        trouble.note(outcome.competitors.back().failure);
    }
    if (finish) finish(outcome);
    return outcome;
}

TermRefresh KeywordTracker::refreshTerm(const ManagedApp& app, const TrackedKeyword& keyword,
                                        const std::vector<TrackedCompetitor>& competitors) const {
    TermRefresh result{.keyword = keyword, .snapshot = {}, .failure = {}};
    KeywordSnapshot snapshot;
    result.failure = storeFailureOf([&] {
        const auto found = parts_.search.search(keyword.term, keyword.country);
        snapshot.capturedAt = parts_.clock();
        snapshot.resultCount = std::ssize(found);
        for (std::size_t index = 0; index < found.size(); ++index) {
            const std::string id = std::to_string(found[index].trackId);
            const auto rank = static_cast<std::int64_t>(index) + 1;
            if (id == app.appStoreId && !snapshot.ourRank) snapshot.ourRank = rank;
            for (const TrackedCompetitor& one : competitors)
                if (one.appStoreId == id && one.country == keyword.country)
                    snapshot.competitorRanks.emplace(id, rank);
        }
    });
    if (!result.failure && keepSnapshot(parts_.keywords, keyword.id, snapshot))
        result.snapshot = std::move(snapshot);
    return result;
}

CompetitorRefresh KeywordTracker::refreshCompetitor(const TrackedCompetitor& competitor) const {
    CompetitorRefresh result{.competitor = competitor, .snapshot = {}, .failure = {}};
    CompetitorSnapshot snapshot;
    result.failure = storeFailureOf([&] {
        const auto app = parts_.search.lookupApp(competitor.appStoreId, competitor.country);
        snapshot = {.capturedAt = parts_.clock(),
                    .name = app.trackName,
                    .subtitle = {},
                    .versionString = app.version.value_or(""),
                    .releaseNotes = app.releaseNotes.value_or(""),
                    .averageRating = app.averageUserRating,
                    .ratingCount = app.userRatingCount,
                    .price = app.price,
                    .currency = app.currency.value_or(""),
                    .competitor = {}};
        snapshot.subtitle =
            parts_.pages.fetch(competitor.appStoreId, competitor.country).subtitle.value_or("");
    });
    if (!result.failure && keepSnapshot(parts_.competitors, competitor.id, snapshot))
        result.snapshot = std::move(snapshot);
    return result;
}

std::vector<KeywordAlert> KeywordTracker::alerts(const KeywordRecords& keywords, std::string_view appID,
                                                 Date now) {
    std::vector<KeywordAlert> alerts;
    for (TrackedKeyword& keyword : keywords.all(appID)) {
        const auto window = std::chrono::seconds(static_cast<std::int64_t>(RankVelocityDetector::week));
        const auto snapshots = keywords.snapshots(keyword.id, now - window);
        auto alert = RankVelocityDetector::detect(keyword.term, snapshots, RankVelocityDetector::week, now);
        if (alert) {
            const auto rank = snapshots.back().ourRank;
            alerts.push_back({std::move(keyword), std::move(*alert), rank});
        }
    }
    return alerts;
}

} // namespace quorvel
