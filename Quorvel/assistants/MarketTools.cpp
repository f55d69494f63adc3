// Tools about what customers write and what the public App Store shows.
#include "Quorvel/actions/KeywordActions.h"
#include "Quorvel/actions/ReviewActions.h"
#include "Quorvel/actions/ReviewReplyActions.h"
#include "Quorvel/actions/StoreActions.h"
#include "Quorvel/application/AppDirectory.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/assistants/Tools.h"

#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

namespace {

// Reviews, and what all of their time and territories say together.
struct ReviewsOfApp {
    AppReference app;
    std::vector<SeenReview> reviews;
    std::int64_t kept = 0; // whatever was asked for
    ReviewStatistics statistics;
    std::optional<Date> refreshedAt;
    QUORVEL_RECORD(ReviewsOfApp, app, reviews, kept, statistics, refreshedAt)
};

Tool reviewsTool(Tool tool) {
    const JSONValue request = jsonSchema<ListReviews::Request>();
    tool.input =
        argumentsSchema(request, std::vector<std::string_view>{"app", "stars", "territories", "sentiments",
                                                               "theme", "since", "unanswered"});
    tool.output = leanSchema(jsonSchema<ReviewsOfApp>());
    tool.run = [request](ToolCall& call) {
        const auto wanted = decodeRequest<ListReviews::Request>(requestOf(call, request));
        auto listed = ListReviews::perform(call.application, wanted, call.progress);
        auto counts = CountReviews::perform(call.application,
                                            {.app = wanted.app,
                                             .workspace = wanted.workspace,
                                             .territories = wanted.territories,
                                             .since = wanted.since},
                                            call.progress);
        ReviewsOfApp result{std::move(listed.app), std::move(listed.reviews), listed.total,
                            std::move(counts.statistics), listed.refreshedAt};
        const ReviewStatistics& statistics = result.statistics;
        if (!result.refreshedAt)
            return ToolOutcome{valueOf(result), "No reviews were read yet: call refresh_reviews."};
        std::string text = fmt::format("{} of {}.", listed.matching,
                                       counted(static_cast<std::size_t>(listed.total), "kept review"));
        if (statistics.averageRating)
            text += fmt::format(" Of all stars and sentiments: {:.2f} on average, {} without an answer.",
                                *statistics.averageRating, statistics.unanswered);
        return ToolOutcome{valueOf(result), std::move(text)};
    };
    return tool;
}

// What a reading brought; classifying costs money and is the user's to start.
struct ReadReviews {
    AppReference app;
    std::int64_t newReviews = 0;
    std::int64_t updated = 0;
    std::int64_t removed = 0;
    std::vector<std::string> problems;
    std::vector<std::string> strandedReplies;
    QUORVEL_RECORD(ReadReviews, app, newReviews, updated, removed, problems, strandedReplies)
};

Tool refreshReviewsTool(Tool tool) {
    const JSONValue request = jsonSchema<RefreshReviews::Request>();
    tool.input = argumentsSchema(request, std::vector<std::string_view>{"app", "all"});
    tool.output = leanSchema(jsonSchema<ReadReviews>());
    tool.run = [request](ToolCall& call) {
        auto read = RefreshReviews::perform(call.application,
                                            decodeRequest<RefreshReviews::Request>(requestOf(call, request)),
                                            call.progress);
        std::string text = fmt::format(
            "{}, {} changed, {} gone.",
            counted(static_cast<std::size_t>(std::max<std::int64_t>(0, read.newReviews)), "new review"),
            read.updated, read.removed);
        if (read.unclassified > 0)
            text += fmt::format(" {} without sentiment and themes: the user classifies with 'quorvel reviews "
                                "refresh' (AI service).",
                                read.unclassified);
        const bool failed = !read.problems.empty();
        return ToolOutcome{
            valueOf(ReadReviews{std::move(read.app), read.newReviews, read.updated, read.removed,
                                std::move(read.problems), std::move(read.strandedReplies)}),
            std::move(text), failed};
    };
    return tool;
}

std::string summaryOf(const DraftReviewReply::Result& result) {
    return fmt::format("A draft of {} of {} characters for ${:.4f}, kept here and not sent: show it to the "
                       "user, then call prepare_reply.",
                       result.reply.length, result.reply.limit, result.costUSD);
}

// One line each, so that no foreign text looks like another part of the plan.
JobText plannedReply(const PlanReviewReply::Result& result) {
    const ReviewReplyPlan& plan = result.plan;
    if (plan.isSent)
        throw ApplicationError(FailureKind::failed, "App Store Connect has this very reply already");
    const CachedReview& review = plan.review;
    JobText text{fmt::format("publish a reply of {} to a review of {} in {}",
                             counted(static_cast<std::size_t>(plan.length), "character"),
                             counted(static_cast<std::size_t>(review.rating), "star"), plan.app.displayName),
                 {"reply: " + plan.text,
                  fmt::format("review: {} ({}): {}: {}", oneLineOf(review.reviewerNickname), review.territory,
                              oneLineOf(review.title), oneLineOf(review.body))}};
    if (plan.response)
        text.details.push_back("replaces: " + oneLineOf(plan.response->responseBody.value_or("")));
    return text;
}

JobText doneReply(const SendReviewReply::Result& result) {
    std::string_view message = result.message;
    if (message.ends_with('.')) message.remove_suffix(1);
    return {std::string(message), {}};
}

// An app with the country that it was found in.
struct FoundStoreApp {
    std::string country;
    SearchStore::Row app;
    QUORVEL_RECORD(FoundStoreApp, country, app)
};

struct FoundStoreApps {
    std::vector<FoundStoreApp> apps;
    std::vector<StoreProblem> problems;
    QUORVEL_RECORD(FoundStoreApps, apps, problems)
};

Tool storeSearchTool(Tool tool) {
    const JSONValue request = jsonSchema<SearchStore::Request>();
    tool.input = argumentsSchema(request, std::vector<std::string_view>{"term", "countries", "limit"});
    tool.output = leanSchema(jsonSchema<FoundStoreApps>());
    tool.run = [request](ToolCall& call) {
        auto found = SearchStore::perform(
            call.application, decodeRequest<SearchStore::Request>(requestOf(call, request)), call.progress);
        const auto own =
            AppDirectory(call.application, {.app = {}, .workspace = call.workspace}).appsInView();
        FoundStoreApps result{{}, std::move(found.problems)};
        for (SearchStore::Country& country : found.countries)
            for (SearchStore::Row& row : country.apps) {
                // That an app is of another workspace is not told.
                if (row.yours && std::ranges::find(own, *row.yours, &ManagedApp::slug) == own.end())
                    row.yours.reset();
                result.apps.push_back({country.country, std::move(row)});
            }
        std::string text = counted(result.apps.size(), "app") + ".";
        const bool failed = !result.problems.empty();
        return ToolOutcome{valueOf(result), std::move(text), failed};
    };
    return tool;
}

// The tracked terms of an app, with those whose ranks moved fast.
struct RanksOfApp {
    std::string app;
    std::vector<ShowRanks::Row> rows;
    std::vector<RankAlert> alerts;
    QUORVEL_RECORD(RanksOfApp, app, rows, alerts)
};

Tool ranksTool(Tool tool) {
    const JSONValue request = jsonSchema<ShowRanks::Request>();
    tool.input = argumentsSchema(request, std::vector<std::string_view>{"app", "countries"});
    tool.output = leanSchema(jsonSchema<RanksOfApp>());
    tool.run = [request](ToolCall& call) {
        const auto wanted = decodeRequest<ShowRanks::Request>(requestOf(call, request));
        auto shown = ShowRanks::perform(call.application, wanted, call.progress);
        RanksOfApp result{std::move(shown.app), std::move(shown.rows), {}};
        result.alerts =
            ListRankAlerts::perform(call.application, {.app = wanted.app, .workspace = wanted.workspace},
                                    call.progress)
                .alerts;
        // Of the countries that were asked for.
        std::erase_if(result.alerts, [&](const RankAlert& alert) {
            return std::ranges::find(result.rows, alert.keyword, [](const ShowRanks::Row& row) {
                       return row.keyword.id;
                   }) == result.rows.end();
        });
        std::string text =
            result.rows.empty()
                ? "No such term is tracked: the user begins with 'quorvel keywords track TERM --country us'."
                : fmt::format("{}, {}. The user asks for new ranks with 'quorvel keywords refresh'.",
                              counted(result.rows.size(), "tracked term"),
                              counted(result.alerts.size(), "fast move"));
        return ToolOutcome{valueOf(result), std::move(text)};
    };
    return tool;
}

} // namespace

std::vector<Tool> marketTools() {
    auto replying = jobVariant<PlanReviewReply, SendReviewReply>("reply", {"review", "text", "app"},
                                                                 plannedReply, doneReply);
    // Sending refuses what has changed; planning again would put the text back over what a person typed.
    replying.isPlannedAgain = false;
    auto [preparing, sending] =
        jobTools({.name = "prepare_reply",
                  .title = "Prepare a reply",
                  .description = "Plan to publish a reply to a review; without text the draft that is kept."},
                 {.name = "send_reply",
                  .title = "Send a reply",
                  .description = "Publish a plan of prepare_reply, after the user agreed.",
                  .isDestructive = true},
                 "", {std::move(replying)});
    return {
        reviewsTool(
            {.name = "reviews",
             .title = "Customer reviews",
             .description =
                 "Reviews as refresh_reviews read them, newest first, with statistics by stars, theme and week.",
             .asksServices = false,
             .holdsForeignTexts = true,
             .list = "reviews"}),
        refreshReviewsTool({.name = "refresh_reviews",
                            .title = "Read new reviews",
                            .description = "Read an app's reviews from App Store Connect into local records.",
                            .reach = ToolReach::edits}),
        actionTool<DraftReviewReply>(
            {.name = "draft_reply",
             .title = "Draft a reply",
             .description = "Draft a reply to a review with the AI service and keep it here. Costs money.",
             .reach = ToolReach::edits,
             .holdsForeignTexts = true},
            {"review", "app", "note"}, "", [](const auto& result) { return summaryOf(result); }),
        std::move(preparing),
        std::move(sending),
        storeSearchTool({.name = "store_search",
                         .title = "Search the App Store",
                         .description = "The apps that the App Store finds for a term, by rank.",
                         .holdsForeignTexts = true,
                         .list = "apps"}),
        ranksTool({.name = "keyword_ranks",
                   .title = "Keyword ranks",
                   .description = "How the ranks of the tracked search terms went, and alerts of fast moves.",
                   .asksServices = false,
                   .holdsForeignTexts = true,
                   .list = "rows"}),
    };
}

} // namespace quorvel
