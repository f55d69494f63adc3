// Search terms that an app follows in the store.
#pragma once

#include "Core/aso/RankHistory.h"
#include "Core/aso/RankVelocityDetector.h"
#include "Core/records/Models.h"
#include "Platform/desktop/DesktopNotifier.h"
#include "Quorvel/actions/Target.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/controllers/keywords/KeywordSuggester.h"
#include "Quorvel/controllers/keywords/SearchedTexts.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

inline constexpr JSONMember countriesMember{
    "countries", "Only these storefronts, by their two letters such as us; all when empty."};

struct TrackKeywords {
    static constexpr ActionInfo info{"track_keywords", "Follow the rank of search terms", Effect::localFiles};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::vector<std::string> terms;
        std::vector<std::string> countries;
        std::optional<std::string> platform;
        std::optional<std::string> note;
        QUORVEL_RECORD(Request, app, workspace, terms, countries, platform, note)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            {"terms", "What people search for.", JSONMember::required},
            {"countries", "The storefronts, by their two letters such as us.", JSONMember::required},
            {"platform", "Whose texts the term is meant for: iphone, ipad or mac; iphone when left out."},
            {"note", "Why it is followed."}};
    };
    struct Result {
        std::string app; // its short name
        std::vector<TrackedKeyword> added;
        std::vector<TrackedKeyword> known; // tracked before; platform and note are as given now
        QUORVEL_RECORD(Result, app, added, known)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// A term that is tracked, and what would go with it.
struct TrackedTerm {
    TrackedKeyword keyword;
    std::int64_t snapshots = 0;
    QUORVEL_RECORD(TrackedTerm, keyword, snapshots)
};

struct PlanUntracking {
    static constexpr ActionInfo info{"plan_untracking", "Show which ranks would be forgotten with terms"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::vector<std::string> terms;
        std::vector<std::string> countries;
        QUORVEL_RECORD(Request, app, workspace, terms, countries)
        static constexpr JSONMember members[] = {
            appMember, workspaceMember, {"terms", "The terms.", JSONMember::required}, countriesMember};
    };
    struct Result {
        std::string app;
        std::vector<TrackedTerm> terms;
        QUORVEL_RECORD(Result, app, terms)
    };
    /// Throws `ApplicationError` for a term that is not tracked.
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct UntrackKeywords {
    static constexpr ActionInfo info{"untrack_keywords", "Follow terms no longer and forget their ranks",
                                     Effect::deletion};
    struct Request {
        std::vector<TrackedTerm> terms;
        QUORVEL_RECORD(Request, terms)
        static constexpr JSONMember members[] = {
            {"terms", "The terms, as plan_untracking showed them.", JSONMember::required}};
    };
    struct Result {
        std::vector<TrackedTerm> terms; // those that were still there
        QUORVEL_RECORD(Result, terms)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct PlanKeywordRefresh {
    static constexpr ActionInfo info{"plan_keyword_refresh",
                                     "Show which terms and competitors are due, and what asking costs"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        bool all = false;
        QUORVEL_RECORD(Request, app, workspace, all)
        static constexpr JSONMember members[] = {
            appMember, workspaceMember, {"all", "Also what was captured within the last 20 hours."}};
    };
    struct Result {
        std::string app;
        std::vector<TrackedKeyword> keywords; // due, in the order in which they are asked for
        std::vector<TrackedCompetitor> competitors;
        std::int64_t keywordsUpToDate = 0;
        std::int64_t competitorsUpToDate = 0;
        std::int64_t searchRequests = 0; // of which Apple allows about 20 a minute
        std::int64_t pageRequests = 0;
        std::int64_t estimatedSeconds = 0;
        QUORVEL_RECORD(Result, app, keywords, competitors, keywordsUpToDate, competitorsUpToDate,
                       searchRequests, pageRequests, estimatedSeconds)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// A rank alert of the last seven days.
struct RankAlert {
    RankVelocityDetector::Alert alert;
    std::string country;
    std::string keyword; // its id
    QUORVEL_RECORD(RankAlert, alert, country, keyword)
};

struct RefreshKeywords {
    static constexpr ActionInfo info{"refresh_keywords", "Ask the store for ranks and for competitors' pages",
                                     Effect::localFiles};
    using Request = PlanKeywordRefresh::Request;
    struct Term {
        TrackedKeyword keyword;
        std::optional<KeywordSnapshot> snapshot;
        std::optional<Failure> failure;
        QUORVEL_RECORD(Term, keyword, snapshot, failure)
    };
    struct Competitor {
        TrackedCompetitor competitor;
        std::optional<CompetitorSnapshot> snapshot;
        std::optional<Failure> failure;
        QUORVEL_RECORD(Competitor, competitor, snapshot, failure)
    };
    struct Result {
        std::string app;
        std::vector<Term> terms;
        std::vector<Competitor> competitors;
        std::int64_t leftDue = 0; // not asked for after several failures in a row
        std::int64_t upToDate = 0;
        std::vector<RankAlert> alerts; // of all terms of the app
        std::int64_t notified = 0;     // of the alerts, on the desktop
        std::optional<std::string> notificationProblem;
        QUORVEL_RECORD(Result, app, terms, competitors, leftDue, upToDate, alerts, notified,
                       notificationProblem)
    };
    /// Alerts are shown through `notifier` where there is one.
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {},
                                        const std::shared_ptr<DesktopNotifier>& notifier = {});
};

struct ShowRanks {
    static constexpr ActionInfo info{"show_ranks", "Show how the ranks of the tracked terms went"};
    static constexpr int plottedDays = 14;
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::vector<std::string> countries;
        QUORVEL_RECORD(Request, app, workspace, context, countries)
        static constexpr JSONMember members[] = {appMember, workspaceMember, contextMember, countriesMember};
    };
    struct CompetitorRank {
        std::string name;
        std::string appStoreId;
        std::int64_t rank = 0;
        QUORVEL_RECORD(CompetitorRank, name, appStoreId, rank)
    };
    struct Row {
        TrackedKeyword keyword;
        std::optional<Date> capturedAt;   // nothing: never
        std::optional<std::int64_t> rank; // nothing: not among the first 200
        std::optional<std::int64_t> results;
        std::optional<RankChange> weekChange;
        std::optional<RankChange> monthChange;
        std::vector<DailyRank> days;             // the last fourteen
        std::vector<CompetitorRank> competitors; // the best first
        std::optional<TermUse> use;              // nothing where no texts were pulled
        QUORVEL_RECORD(Row, keyword, capturedAt, rank, results, weekChange, monthChange, days, competitors,
                       use)
    };
    struct Result {
        std::string app;
        std::vector<Row> rows; // by country, then term
        QUORVEL_RECORD(Result, app, rows)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ListRankAlerts {
    static constexpr ActionInfo info{"list_rank_alerts", "List fast moves of ranks within seven days"};
    using Request = AppRequest;
    struct Result {
        std::string app;
        std::int64_t trackedTerms = 0;
        std::int64_t comparedTerms = 0; // that have two snapshots of the last seven days
        std::vector<RankAlert> alerts;  // the falls first
        QUORVEL_RECORD(Result, app, trackedTerms, comparedTerms, alerts)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct SuggestKeywords {
    static constexpr ActionInfo info{"suggest_keywords", "Look for search terms that may be worth following"};
    static constexpr std::int64_t mostTerms = 50;
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::string country;
        std::vector<std::string> seeds;
        std::int64_t limit = 10;
        QUORVEL_RECORD(Request, app, workspace, context, country, seeds, limit)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            contextMember,
            {"country", "The storefront, by its two letters such as us.", JSONMember::required},
            {"seeds", "What the store is asked to complete; tracked terms or the app's own when empty."},
            {"limit", "How many terms are scored, with one search each."}};
    };
    struct Result {
        std::string app;
        std::string country;
        std::vector<std::string> seeds;
        std::vector<KeywordSuggestion> suggestions; // the best score first
        std::vector<LeftOutKeyword> leftOut;
        std::int64_t candidates = 0; // that were found, without those left out
        std::vector<std::string> problems;
        bool isEstimate = true;
        std::string scoreExplained;
        QUORVEL_RECORD(Result, app, country, seeds, suggestions, leftOut, candidates, problems, isEstimate,
                       scoreExplained)
    };
    /// Requests to the search service, of which Apple allows about 20 a minute.
    [[nodiscard]] static std::int64_t searchRequests(const Request& request);
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// One row per snapshot, the oldest first.
struct ExportRanks {
    static constexpr ActionInfo info{"export_ranks", "List all ranks that were captured"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::vector<std::string> countries;
        QUORVEL_RECORD(Request, app, workspace, countries)
        static constexpr JSONMember members[] = {appMember, workspaceMember, countriesMember};
    };
    struct Row {
        Date capturedAt;
        std::string term;
        std::string country;
        std::optional<std::int64_t> rank;
        std::optional<std::int64_t> results;
        QUORVEL_RECORD(Row, capturedAt, term, country, rank, results)
    };
    struct Result {
        std::string app;
        std::vector<Row> rows;
        QUORVEL_RECORD(Result, app, rows)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
