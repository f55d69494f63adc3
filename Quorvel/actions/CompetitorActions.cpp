#include "Quorvel/actions/CompetitorActions.h"

#include "Core/aso/StoreClients.h"
#include "Core/aso/StoreLink.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/actions/Tracking.h"
#include "Quorvel/application/AppDirectory.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

template <typename Request>
ManagedApp comparingApp(Application& application, const Request& request) {
    return AppDirectory(application, targetOf(request).choice).requireApp();
}

/// One app of one storefront that was asked for.
struct WantedCompetitor {
    std::string given;
    StoreLink link;
    std::string country;
};

std::vector<WantedCompetitor> wantedOf(const AddCompetitors::Request& request) {
    const auto countries = requireStorefronts(request.countries);
    std::vector<WantedCompetitor> wanted;
    for (const std::string& given : request.competitors) {
        const auto link = readStoreLink(given);
        if (!link)
            throw ApplicationError(FailureKind::badRequest,
                                   fmt::format("{} names no app of the store", quotedWord(given)),
                                   "An app is named by its App Store id, its bundle id, or the link to its "
                                   "page, which holds the id.");
        std::vector<std::string> places = countries;
        if (places.empty() && link->country) places = requireStorefronts({*link->country});
        if (places.empty())
            throw ApplicationError(FailureKind::badRequest,
                                   fmt::format("no storefront is named for {}", quotedWord(given)),
                                   "Choose the country of its page, such as us or de.");
        for (const std::string& country : places)
            wanted.push_back({given, *link, country});
    }
    return wanted;
}

TrackedCompetitor lookUpCompetitor(Application& application, const ManagedApp& app,
                                   const WantedCompetitor& wanted) {
    const auto clients = application.storeClients();
    const auto found = wanted.link.appStoreId
                           ? clients.search.lookupApp(*wanted.link.appStoreId, wanted.country)
                           : clients.search.lookupBundle(*wanted.link.bundleId, wanted.country);
    const std::string id = std::to_string(found.trackId);
    if (id == app.appStoreId)
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("{} is the app itself", escapeControls(found.trackName)));
    return {.appStoreId = id,
            .name = found.trackName,
            .bundleId = found.bundleId.value_or(""),
            .country = wanted.country,
            .iconURL = found.artworkUrl100.value_or(""),
            .note = {},
            .app = app.id};
}

std::string priceOf(const CompetitorSnapshot& snapshot) {
    return snapshot.price ? fmt::format("{:.2f} {}", *snapshot.price, snapshot.currency) : "";
}

std::vector<CompetitorChange> changesOf(const std::vector<CompetitorSnapshot>& snapshots) {
    std::vector<CompetitorChange> changes;
    for (std::size_t index = 1; index < snapshots.size(); ++index) {
        const CompetitorSnapshot& before = snapshots[index - 1];
        const CompetitorSnapshot& after = snapshots[index];
        const auto note = [&](const char* member, const std::string& old, const std::string& now) {
            if (old != now) changes.push_back({member, old, now, after.capturedAt});
        };
        note("name", before.name, after.name);
        note("subtitle", before.subtitle, after.subtitle);
        note("version", before.versionString, after.versionString);
        note("price", priceOf(before), priceOf(after));
    }
    std::ranges::reverse(changes);
    return changes;
}

ListCompetitors::Row competitorRow(const CompetitorRecords& records, TrackedCompetitor competitor, Date now) {
    const auto snapshots = records.snapshots(competitor.id);
    ListCompetitors::Row row{.competitor = std::move(competitor), .snapshots = std::ssize(snapshots)};
    if (!snapshots.empty()) row.newest = snapshots.back();
    row.changes = changesOf(snapshots);
    const Date since = now - std::chrono::hours(24 * ListCompetitors::changeDays);
    std::erase_if(row.changes, [&](const CompetitorChange& change) { return change.noticedAt < since; });
    return row;
}

bool isNamedBy(const TrackedCompetitor& competitor, const std::string& given) {
    if (const auto link = readStoreLink(given)) {
        if (link->appStoreId) return competitor.appStoreId == *link->appStoreId;
        if (asciiLowercase(competitor.bundleId) == asciiLowercase(*link->bundleId)) return true;
    }
    return caseFolded(competitor.name) == caseFolded(given);
}

} // namespace

AddCompetitors::Result AddCompetitors::perform(Application& application, const Request& request,
                                               const ActionProgress& progress) {
    const ManagedApp app = comparingApp(application, request);
    const auto wanted = wantedOf(request);
    const CompetitorRecords records = competitorRecords(application);
    const auto known = records.all(app.id);
    Result result{.app = app.slug, .outcomes = {}};
    for (const WantedCompetitor& one : wanted) {
        progress.step({"Looking up apps", result.outcomes.size(), wanted.size()});
        Outcome outcome{.given = one.given, .country = one.country};
        try {
            TrackedCompetitor competitor = lookUpCompetitor(application, app, one);
            const auto before = std::ranges::find_if(known, [&](const TrackedCompetitor& other) {
                return other.appStoreId == competitor.appStoreId && other.country == competitor.country;
            });
            outcome.wasKnown = before != known.end();
            competitor.note = request.note.value_or(outcome.wasKnown ? before->note : "");
            outcome.competitor = records.add(std::move(competitor));
        } catch (const CancellationError&) {
            throw;
        } catch (const StoreError&) {
            throw;
        } catch (const std::exception& error) {
            outcome.failure = failureOf(error);
        }
        result.outcomes.push_back(std::move(outcome));
    }
    return result;
}

ListCompetitors::Result ListCompetitors::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    const ManagedApp app = comparingApp(application, request);
    const CompetitorRecords records = competitorRecords(application);
    Result result{.app = app.slug, .competitors = {}};
    for (TrackedCompetitor& competitor : records.all(app.id))
        result.competitors.push_back(competitorRow(records, std::move(competitor), application.clock()()));
    return result;
}

PlanCompetitorRemoval::Result PlanCompetitorRemoval::perform(Application& application, const Request& request,
                                                             const ActionProgress&) {
    const ManagedApp app = comparingApp(application, request);
    const auto countries = requireStorefronts(request.countries);
    const CompetitorRecords records = competitorRecords(application);
    Result result{.app = app.slug, .competitors = {}};
    std::set<std::string> ids;
    for (const std::string& given : request.competitors) {
        bool isFound = false;
        for (const TrackedCompetitor& one : records.all(app.id)) {
            if (!isNamedBy(one, given) || !isWanted(one.country, countries)) continue;
            isFound = true;
            if (ids.insert(one.id).second)
                result.competitors.push_back(competitorRow(records, one, application.clock()()));
        }
        if (!isFound)
            throw ApplicationError(FailureKind::notFound,
                                   fmt::format("{} is no competitor that is followed{}", quotedWord(given),
                                               countries.empty() ? "" : " there"));
    }
    return result;
}

RemoveCompetitors::Result RemoveCompetitors::perform(Application& application, const Request& request,
                                                     const ActionProgress&) {
    Result result;
    application.apps().together([&] {
        for (const TrackedCompetitor& one : request.competitors)
            if (competitorRecords(application).remove(one.id)) result.competitors.push_back(one);
    });
    return result;
}

} // namespace quorvel
