// Customer reviews: reading, classifying, listing and counting them.
#pragma once

#include "Quorvel/actions/OpenedReviews.h"
#include "Quorvel/application/Failure.h"

namespace quorvel {

struct RefreshReviews {
    static constexpr ActionInfo info{"refresh_reviews", "Read customer reviews from App Store Connect",
                                     Effect::localFiles};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        bool all = false;
        QUORVEL_RECORD(Request, app, workspace, all)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            {"all",
             "Read all reviews, not only until a page that holds nothing new or changed, and remove those "
             "that are gone."}};
    };
    struct Result {
        AppReference app;
        std::int64_t fetched = 0;
        std::int64_t newReviews = 0;
        std::int64_t updated = 0; // their text or rating changed
        std::int64_t removed = 0;
        std::int64_t unclassified = 0; // that classify_reviews would ask the model about
        double estimatedCostUSD = 0;
        bool costIsAtMost = false;
        std::optional<Failure> modelProblem; // why the model cannot be asked
        std::vector<std::string> problems;
        std::vector<std::string> strandedReplies; // files of replies to reviews that are gone
        std::optional<ImportedAppReport> imported;
        QUORVEL_RECORD(Result, app, fetched, newReviews, updated, removed, unclassified, estimatedCostUSD,
                       costIsAtMost, modelProblem, problems, strandedReplies, imported)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ClassifyReviews {
    static constexpr ActionInfo info{"classify_reviews",
                                     "Classify the reviews that were not, by sentiment and themes",
                                     Effect::localFiles};
    using Request = AppRequest;
    struct Result {
        AppReference app;
        std::int64_t classified = 0;
        std::int64_t unclassified = 0; // that are left
        double costUSD = 0;
        bool costIsAtMost = false;
        std::vector<std::string> problems;
        std::optional<Failure> failure; // what kept it from going on
        QUORVEL_RECORD(Result, app, classified, unclassified, costUSD, costIsAtMost, problems, failure)
    };
    /// Throws `ClaudeError` when no service is configured and there is something to classify.
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ListReviews {
    static constexpr ActionInfo info{"list_reviews", "List the customer reviews that were read"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::vector<std::int64_t> stars;
        std::vector<std::string> territories;
        std::vector<std::string> sentiments;
        std::optional<std::string> theme;
        std::optional<std::string> since;
        bool unanswered = false;
        std::optional<std::int64_t> limit;
        QUORVEL_RECORD(Request, app, workspace, stars, territories, sentiments, theme, since, unanswered,
                       limit)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            {"stars", "Only reviews with these numbers of stars."},
            {"territories", "Only reviews from these territories, by three letters such as USA."},
            {"sentiments", "Only these sentiments: positive, mixed, neutral, negative."},
            {"theme", "Only reviews with a theme that holds this text, letter case ignored."},
            {"since", "Only reviews since a day such as 2026-03-01, or of the last days, such as 30d."},
            {"unanswered", "Only reviews without a developer's response."},
            {"limit", "At most so many, the newest; all when left out."}};
    };
    struct Result {
        AppReference app;
        std::vector<SeenReview> reviews; // the newest first
        std::int64_t matching = 0;
        std::int64_t total = 0; // that are kept
        std::optional<Date> refreshedAt;
        QUORVEL_RECORD(Result, app, reviews, matching, total, refreshedAt)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct CountReviews {
    static constexpr ActionInfo info{"count_reviews",
                                     "Count the customer reviews by stars, sentiment, theme and week"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::vector<std::string> territories;
        std::optional<std::string> since;
        QUORVEL_RECORD(Request, app, workspace, territories, since)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            {"territories", "Only reviews from these territories, by three letters such as USA."},
            {"since", "Only reviews since a day such as 2026-03-01, or of the last days, such as 30d."}};
    };
    struct Result {
        AppReference app;
        ReviewStatistics statistics;
        std::optional<Date> refreshedAt;
        QUORVEL_RECORD(Result, app, statistics, refreshedAt)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
