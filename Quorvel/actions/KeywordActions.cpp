#include "Quorvel/actions/KeywordActions.h"

#include "Core/aso/KeywordTerms.h"
#include "Core/aso/StoreClients.h"
#include "Core/aso/StorePacing.h"
#include "Core/metadata/TextRemarks.h"
#include "Platform/text/Text.h"
#include "Quorvel/actions/Tracking.h"
#include "Quorvel/application/AppDirectory.h"
#include "Quorvel/controllers/OperationRefused.h"
#include "Quorvel/controllers/keywords/KeywordTracker.h"
#include "Quorvel/controllers/metadata/AppContexts.h"
#include "Quorvel/monitor/RankAlertNotices.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

namespace quorvel {

namespace {

constexpr std::string_view trackedPlatforms[] = {"iphone", "ipad", "mac"};

template <typename Request>
ManagedApp trackingApp(Application& application, const Request& request) {
    return AppDirectory(application, targetOf(request).choice).requireApp();
}

std::string requireTerm(const std::string& given) {
    if (findControlCharacter(given))
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("the term {} holds a control character", quotedWord(given)));
    std::string term = tidyTerm(given);
    if (words(term).empty())
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("{} is no search term", quotedWord(given)),
                               "A term holds at least one letter or digit.");
    if (graphemeCount(term) > longestTerm)
        throw ApplicationError(FailureKind::badRequest, fmt::format("{} is too long", quotedWord(given)),
                               fmt::format("A term has at most {} characters.", longestTerm));
    return term;
}

std::string requireTrackedPlatform(const std::optional<std::string>& given) {
    if (!given) return std::string(trackedPlatforms[0]);
    if (std::ranges::find(trackedPlatforms, *given) == std::end(trackedPlatforms))
        throw ApplicationError(FailureKind::badRequest, fmt::format("{} is no platform", quotedWord(*given)),
                               "A term is tracked for iphone, ipad or mac.");
    return *given;
}

using KeywordKey = std::pair<std::string, std::string>; // term key, country

std::map<KeywordKey, TrackedKeyword> trackedByKey(const std::vector<TrackedKeyword>& keywords) {
    std::map<KeywordKey, TrackedKeyword> result;
    for (const TrackedKeyword& keyword : keywords)
        result.emplace(KeywordKey(termKey(keyword.term), keyword.country), keyword);
    return result;
}

bool isAmong(const std::vector<TrackedKeyword>& keywords, const TrackedKeyword& keyword) {
    return std::ranges::find(keywords, keyword.id, &TrackedKeyword::id) != keywords.end();
}

void requireStoreId(const ManagedApp& app) {
    if (app.appStoreId.empty()) throw OperationRefused(Refusal::noAppStoreID);
}

// The waits for the store, as those before do not count here.
std::int64_t waitingSeconds(Application& application, std::int64_t searches) {
    const std::int64_t allowed =
        application.endpoints().storeSearchesPerMinute.value_or(StorePacing::usualSearchesPerMinute);
    return allowed > 0 && searches > 0 ? (searches - 1) / allowed * 60 : 0;
}

std::vector<RankAlert> rankAlertsOf(const std::vector<KeywordAlert>& alerts) {
    std::vector<RankAlert> result;
    for (const KeywordAlert& one : alerts)
        result.push_back({one.alert, one.keyword.country, one.keyword.id});
    std::ranges::stable_sort(result, {}, [](const RankAlert& one) { return one.alert.severity; });
    return result;
}

std::vector<ShowRanks::CompetitorRank> competitorRanksOf(const KeywordSnapshot& snapshot,
                                                         const std::map<std::string, std::string>& names) {
    std::vector<ShowRanks::CompetitorRank> ranks;
    for (const auto& [id, rank] : snapshot.competitorRanks)
        if (const auto name = names.find(id); name != names.end()) ranks.push_back({name->second, id, rank});
    std::ranges::stable_sort(ranks, {}, &ShowRanks::CompetitorRank::rank);
    return ranks;
}

/// An app's own texts by tracked platform, where some were pulled.
class OwnTexts {
  public:
    OwnTexts(Application& application, const ManagedApp& app, std::optional<std::string> context)
        : folder_(application.folderOf(app)), sourceLocale_(app.sourceLocale), context_(std::move(context)) {
        if (context_) static_cast<void>(requireContextID(*context_));
    }
    /// Null where nothing was pulled.
    [[nodiscard]] SearchedTexts* of(std::string_view platform) {
        if (!folder_) return nullptr;
        const auto context = searchedContext(*folder_, context_, platform);
        if (!context) return nullptr;
        return &texts_.try_emplace(context->text(), *folder_, *context, sourceLocale_).first->second;
    }

  private:
    const std::optional<MetadataFolder> folder_;
    const std::string sourceLocale_;
    const std::optional<std::string> context_;
    std::map<std::string, SearchedTexts> texts_;
};

std::vector<std::string> seedsOf(const SuggestKeywords::Request& request,
                                 const std::vector<std::string>& tracked, const SearchedTexts::Texts& texts) {
    std::vector<std::string> seeds;
    for (const std::string& seed : request.seeds)
        seeds.push_back(requireTerm(seed));
    if (seeds.empty()) seeds = tracked;
    if (seeds.empty()) {
        std::string term;
        for (const char character : texts.keywords + ",") {
            if (character != ',') {
                term += character;
                continue;
            }
            if (!words(term).empty()) seeds.push_back(tidyTerm(term));
            term.clear();
        }
    }
    if (seeds.empty()) seeds = describingTerms(texts.name, texts.subtitle);
    seeds.resize(std::min(seeds.size(), KeywordSuggester::mostSeeds));
    return seeds;
}

} // namespace

TrackKeywords::Result TrackKeywords::perform(Application& application, const Request& request,
                                             const ActionProgress&) {
    const ManagedApp app = trackingApp(application, request);
    const auto countries = requireStorefronts(request.countries);
    if (countries.empty())
        throw ApplicationError(FailureKind::badRequest, "no storefront is named",
                               "Storefronts are named by two letters, such as us or de.");
    const std::string platform = requireTrackedPlatform(request.platform);
    if (request.note && findControlCharacter(*request.note))
        throw ApplicationError(FailureKind::badRequest, "the note holds a control character");
    std::vector<std::string> terms;
    for (const std::string& term : request.terms)
        terms.push_back(requireTerm(term));
    const KeywordRecords records = keywordRecords(application);
    Result result{.app = app.slug, .added = {}, .known = {}};
    application.apps().together([&] {
        auto tracked = trackedByKey(records.all(app.id));
        for (const std::string& term : terms)
            for (const std::string& country : countries) {
                const KeywordKey key(termKey(term), country);
                const auto known = tracked.find(key);
                const bool isKnown = known != tracked.end();
                TrackedKeyword keyword = isKnown ? known->second : TrackedKeyword{};
                if (!isKnown || request.platform) keyword.platform = platform;
                if (request.note) keyword.note = *request.note;
                if (!isKnown) {
                    keyword.term = term;
                    keyword.country = country;
                    keyword.app = app.id;
                }
                keyword = records.add(std::move(keyword));
                if (tracked.insert_or_assign(key, keyword).second)
                    result.added.push_back(std::move(keyword));
                else if (!isAmong(result.added, keyword) && !isAmong(result.known, keyword))
                    result.known.push_back(std::move(keyword));
            }
    });
    return result;
}

PlanUntracking::Result PlanUntracking::perform(Application& application, const Request& request,
                                               const ActionProgress&) {
    const ManagedApp app = trackingApp(application, request);
    const auto countries = requireStorefronts(request.countries);
    const KeywordRecords records = keywordRecords(application);
    Result result{.app = app.slug, .terms = {}};
    const auto all = records.all(app.id);
    std::set<std::string> ids;
    for (const std::string& term : request.terms) {
        bool isFound = false;
        for (const TrackedKeyword& keyword : all) {
            if (termKey(keyword.term) != termKey(term) || !isWanted(keyword.country, countries)) continue;
            isFound = true;
            if (ids.insert(keyword.id).second)
                result.terms.push_back({keyword, std::ssize(records.snapshots(keyword.id))});
        }
        if (!isFound)
            throw ApplicationError(FailureKind::notFound, fmt::format("{} is not tracked{}", quotedWord(term),
                                                                      countries.empty() ? "" : " there"));
    }
    return result;
}

UntrackKeywords::Result UntrackKeywords::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    Result result;
    application.apps().together([&] {
        for (const TrackedTerm& term : request.terms)
            if (keywordRecords(application).remove(term.keyword.id)) result.terms.push_back(term);
    });
    return result;
}

PlanKeywordRefresh::Result PlanKeywordRefresh::perform(Application& application, const Request& request,
                                                       const ActionProgress&) {
    const ManagedApp app = trackingApp(application, request);
    requireStoreId(app);
    const RefreshWork work =
        KeywordTracker::work(keywordRecords(application), competitorRecords(application), app.id,
                             application.clock()(), request.all ? RefreshScope::all : RefreshScope::due);
    const auto searches = static_cast<std::int64_t>(work.searchRequests());
    return {.app = app.slug,
            .keywords = work.keywords,
            .competitors = work.competitors,
            .keywordsUpToDate = static_cast<std::int64_t>(work.keywordsUpToDate),
            .competitorsUpToDate = static_cast<std::int64_t>(work.competitorsUpToDate),
            .searchRequests = searches,
            .pageRequests = std::ssize(work.competitors),
            .estimatedSeconds = waitingSeconds(application, searches)};
}

RefreshKeywords::Result RefreshKeywords::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress,
                                                 const std::shared_ptr<DesktopNotifier>& notifier) {
    const ManagedApp app = trackingApp(application, request);
    requireStoreId(app);
    const auto clients = application.storeClients();
    const KeywordRecords keywords = keywordRecords(application);
    const KeywordTracker tracker(
        {.search = clients.search,
         .pages = clients.pages,
         .keywords = keywords,
         .competitors = competitorRecords(application),
         .lockFile = application.home().applicationSupport() / "Brevant" / "keyword-refresh.lock",
         .clock = application.clock()});
    Result result{.app = app.slug};
    const auto finish = [&](const RefreshOutcome&) {
        const auto alerts = KeywordTracker::alerts(keywords, app.id, application.clock()());
        result.alerts = rankAlertsOf(alerts);
        if (!notifier) return;
        const auto told = RankAlertNotices(application.userDefaults(), notifier).tell(app, alerts);
        result.notified = told.notified;
        result.notificationProblem = told.problem;
    };
    const RefreshOutcome outcome = tracker.refresh(
        app, request.all ? RefreshScope::all : RefreshScope::due,
        [&](const std::string& text, std::size_t done, std::size_t total) {
            progress.step({text, done, total});
        },
        finish);
    const auto failure = [](const std::exception_ptr& error) {
        return error ? std::optional(failureOf(error)) : std::nullopt;
    };
    for (const TermRefresh& term : outcome.terms)
        result.terms.push_back({term.keyword, term.snapshot, failure(term.failure)});
    for (const CompetitorRefresh& one : outcome.competitors)
        result.competitors.push_back({one.competitor, one.snapshot, failure(one.failure)});
    result.leftDue = static_cast<std::int64_t>(outcome.leftDue);
    result.upToDate = static_cast<std::int64_t>(outcome.upToDate);
    return result;
}

ShowRanks::Result ShowRanks::perform(Application& application, const Request& request,
                                     const ActionProgress&) {
    const ManagedApp app = trackingApp(application, request);
    const auto countries = requireStorefronts(request.countries);
    const KeywordRecords records = keywordRecords(application);
    const Date now = application.clock()();
    std::map<std::string, std::string> names;
    for (const TrackedCompetitor& one : competitorRecords(application).all(app.id))
        names[one.appStoreId] = one.name;
    OwnTexts texts(application, app, request.context);
    Result result{.app = app.slug, .rows = {}};
    for (TrackedKeyword& keyword : records.all(app.id)) {
        if (!isWanted(keyword.country, countries)) continue;
        const auto snapshots = records.snapshots(keyword.id);
        Row row{.keyword = {},
                .weekChange = rankChangeOver(snapshots, 7),
                .monthChange = rankChangeOver(snapshots, 30),
                .days = dailyRanks(snapshots, plottedDays, now)};
        if (!snapshots.empty()) {
            const KeywordSnapshot& newest = snapshots.back();
            row.capturedAt = newest.capturedAt;
            row.rank = newest.ourRank;
            row.results = newest.resultCount;
            row.competitors = competitorRanksOf(newest, names);
        }
        if (SearchedTexts* own = texts.of(keyword.platform))
            row.use = own->use(keyword.term, keyword.country);
        row.keyword = std::move(keyword);
        result.rows.push_back(std::move(row));
    }
    std::ranges::stable_sort(result.rows, {}, [](const Row& row) { return row.keyword.country; });
    return result;
}

ListRankAlerts::Result ListRankAlerts::perform(Application& application, const Request& request,
                                               const ActionProgress&) {
    const ManagedApp app = trackingApp(application, request);
    const KeywordRecords records = keywordRecords(application);
    const Date now = application.clock()();
    Result result{.app = app.slug,
                  .trackedTerms = 0,
                  .comparedTerms = 0,
                  .alerts = rankAlertsOf(KeywordTracker::alerts(records, app.id, now))};
    const auto week = std::chrono::seconds(static_cast<std::int64_t>(RankVelocityDetector::week));
    for (const TrackedKeyword& keyword : records.all(app.id)) {
        ++result.trackedTerms;
        result.comparedTerms += records.snapshots(keyword.id, now - week).size() >= 2;
    }
    return result;
}

std::int64_t SuggestKeywords::searchRequests(const Request& request) {
    return static_cast<std::int64_t>(
        KeywordSuggester::searchRequests(static_cast<std::size_t>(std::max<std::int64_t>(request.limit, 0))));
}

SuggestKeywords::Result SuggestKeywords::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress) {
    const ManagedApp app = trackingApp(application, request);
    requireStoreId(app);
    const std::string country = requireStorefronts({request.country}).front();
    requireNumber("limit", request.limit, 1, mostTerms);
    SearchedTexts::Texts own{.name = app.displayName, .subtitle = {}, .keywords = {}};
    OwnTexts texts(application, app, request.context);
    if (SearchedTexts* shown = texts.of(trackedPlatforms[0]))
        if (const auto locale = shown->localeOf(country)) {
            own = shown->of(*locale);
            if (isBlank(own.name)) own.name = app.displayName;
        }
    KeywordSuggester::Wish wish{.appStoreId = app.appStoreId,
                                .appName = own.name,
                                .country = country,
                                .limit = static_cast<std::size_t>(request.limit)};
    for (const TrackedKeyword& keyword : keywordRecords(application).all(app.id))
        if (keyword.country == country) wish.tracked.push_back(keyword.term);
    const CompetitorRecords competitors = competitorRecords(application);
    for (const TrackedCompetitor& one : competitors.all(app.id)) {
        if (one.country != country) continue;
        const auto newest = competitors.newestSnapshot(one.id);
        wish.competitors.push_back({newest ? newest->name : one.name, newest ? newest->subtitle : ""});
    }
    wish.seeds = seedsOf(request, wish.tracked, own);
    const auto clients = application.storeClients();
    auto found = KeywordSuggester({clients.search, clients.hints, clients.charts})
                     .suggest(wish, [&](const std::string& text, std::size_t done, std::size_t total) {
                         progress.step({text, done, total});
                     });
    return {.app = app.slug,
            .country = country,
            .seeds = wish.seeds,
            .suggestions = std::move(found.suggestions),
            .leftOut = std::move(found.leftOut),
            .candidates = static_cast<std::int64_t>(found.candidates),
            .problems = std::move(found.problems),
            .scoreExplained = std::string(keywordScoreText)};
}

ExportRanks::Result ExportRanks::perform(Application& application, const Request& request,
                                         const ActionProgress&) {
    const ManagedApp app = trackingApp(application, request);
    const auto countries = requireStorefronts(request.countries);
    const KeywordRecords records = keywordRecords(application);
    Result result{.app = app.slug, .rows = {}};
    for (const TrackedKeyword& keyword : records.all(app.id)) {
        if (!isWanted(keyword.country, countries)) continue;
        for (const KeywordSnapshot& snapshot : records.snapshots(keyword.id))
            result.rows.push_back(
                {snapshot.capturedAt, keyword.term, keyword.country, snapshot.ourRank, snapshot.resultCount});
    }
    std::ranges::stable_sort(result.rows, {}, &Row::capturedAt);
    return result;
}

} // namespace quorvel
