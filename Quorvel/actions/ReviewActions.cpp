#include "Quorvel/actions/ReviewActions.h"

#include "Core/ai/ClaudeError.h"
#include "Core/ai/ClaudePricing.h"
#include "Core/ai/PenwiseConfig.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>

namespace quorvel {

namespace {

constexpr std::string_view allSentiments[] = {"positive", "mixed", "neutral", "negative"};

// "2026-03-01", or "30d" for the last days.
Date requireSince(const std::string& text, Date now) {
    std::string_view digits = text;
    if (digits.ends_with('d')) digits.remove_suffix(1);
    int days = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), days);
    constexpr int mostDays = 36'500;
    if (error == std::errc() && end == digits.data() + digits.size() && days > 0 && days <= mostDays)
        return now - std::chrono::days(days);
    if (text.size() == std::string_view("2026-03-01").size())
        if (const auto day = parseISO8601(text + "T00:00:00Z")) return *day;
    throw ApplicationError(FailureKind::badRequest, fmt::format("{} is no day", quotedWord(text)),
                           "Name one such as 2026-03-01, or a number of days such as 30d.");
}

std::vector<std::string> requireTerritories(const std::vector<std::string>& named) {
    std::vector<std::string> territories;
    for (const std::string& name : named) {
        std::string code = name;
        std::ranges::transform(code, code.begin(), [](char c) {
            return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        });
        if (code.size() != 3 || !std::ranges::all_of(code, [](char c) { return c >= 'A' && c <= 'Z'; }))
            throw ApplicationError(FailureKind::badRequest,
                                   fmt::format("{} is no territory", quotedWord(name)),
                                   "App Store Connect names them by three letters, such as USA or DEU.");
        territories.push_back(std::move(code));
    }
    return territories;
}

ReviewFilter reviewFilterOf(const ListReviews::Request& request, Date now) {
    ReviewFilter filter{.stars = request.stars,
                        .territories = requireTerritories(request.territories),
                        .sentiments = request.sentiments,
                        .theme = request.theme,
                        .since = {},
                        .unanswered = request.unanswered};
    for (const std::int64_t stars : request.stars)
        requireNumber("stars", stars, 1, 5);
    for (const std::string& sentiment : request.sentiments)
        if (std::ranges::find(allSentiments, sentiment) == std::end(allSentiments))
            throw ApplicationError(FailureKind::badRequest,
                                   fmt::format("{} is no sentiment", quotedWord(sentiment)),
                                   "A sentiment is positive, mixed, neutral or negative.");
    if (request.since) filter.since = requireSince(*request.since, now);
    return filter;
}

ReviewsService::Progress toldReviews(const ActionProgress& progress, std::string text) {
    return [&progress, text = std::move(text)](std::size_t done, std::optional<std::size_t> total) {
        if (total)
            progress.step({text, done, *total});
        else
            progress.step({fmt::format("{} ({})", text, done), {}, 0});
    };
}

} // namespace

std::unique_ptr<ReviewsController> reviewsOf(Application& application, const ManagedApp& app) {
    return std::make_unique<ReviewsController>(
        ReviewsController::Parts{.app = app,
                                 .container = application.container(),
                                 .client = [&application, app] { return application.client(ownerOf(app)); },
                                 .home = application.home(),
                                 .defaults = application.userDefaults(),
                                 .clock = application.clock()});
}

std::unique_ptr<ReviewsController> openReviews(Application& application, const AppChoice& choice) {
    return reviewsOf(application, AppDirectory(application, choice).requireApp());
}

SeenReview requireReview(const ReviewsController& reviews, const std::string& wanted) {
    const std::string part(trim(wanted));
    std::vector<SeenReview> found;
    for (SeenReview& seen : reviews.reviews()) {
        if (seen.review.id == part) return std::move(seen);
        if (!part.empty() && seen.review.id.find(part) != std::string::npos) found.push_back(std::move(seen));
    }
    if (found.size() == 1) return std::move(found.front());
    if (found.empty())
        throw ApplicationError(FailureKind::notFound,
                               fmt::format("{} has no review {} here",
                                           escapeControls(reviews.app().displayName), quotedWord(wanted)),
                               "Refresh the reviews, or name one by its id.");
    throw ApplicationError(
        FailureKind::badRequest,
        fmt::format("{} is part of the ids of {}", quotedWord(wanted), counted(found.size(), "review")),
        "Name more of the id.");
}

RefreshReviews::Result RefreshReviews::perform(Application& application, const Request& request,
                                               const ActionProgress& progress) {
    OpenedApp opened = openOrImport(application, targetOf(request));
    const auto reviews = reviewsOf(application, opened.app);
    const auto outcome =
        reviews->fetch(request.all ? ReviewsService::Reach::all : ReviewsService::Reach::news,
                       toldReviews(progress, "Reading reviews…"));
    const std::string model(PenwiseConfig::defaultModel);
    const auto planned = reviews->plannedClassification(model);
    Result result{.app = referenceOf(opened.app),
                  .fetched = outcome.fetched,
                  .newReviews = outcome.newRecords,
                  .updated = outcome.updated,
                  .removed = outcome.removed,
                  .unclassified = planned.reviews,
                  .estimatedCostUSD = planned.estimatedCostUSD,
                  .costIsAtMost = !ClaudePricing::isKnown(model),
                  .modelProblem = {},
                  .problems = outcome.errors,
                  .strandedReplies = {},
                  .imported = std::move(opened.imported)};
    if (request.all) result.strandedReplies = reviews->strandedReplies();
    try {
        application.requireModelAccess();
    } catch (const ClaudeError& error) {
        result.modelProblem = failureOf(error);
    }
    return result;
}

ClassifyReviews::Result ClassifyReviews::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress) {
    const auto reviews = openReviews(application, targetOf(request).choice);
    Result result{.app = referenceOf(reviews->app())};
    if (reviews->plannedClassification("").reviews == 0) return result;
    const auto stack = application.aiStack();
    const auto outcome =
        reviews->classify({stack.client, stack.model}, toldReviews(progress, "Classifying reviews…"));
    result.classified = outcome.classified;
    result.unclassified = outcome.unclassified;
    result.costUSD = outcome.cost.costUSD;
    result.costIsAtMost = !ClaudePricing::isKnown(stack.model);
    result.problems = outcome.errors;
    if (outcome.failure) result.failure = failureOf(outcome.failure);
    return result;
}

ListReviews::Result ListReviews::perform(Application& application, const Request& request,
                                         const ActionProgress&) {
    const ReviewFilter filter = reviewFilterOf(request, application.clock()());
    if (request.limit) requireNumber("limit", *request.limit, 1, 1'000'000);
    const auto controller = openReviews(application, targetOf(request).choice);
    Result result{.app = referenceOf(controller->app()),
                  .reviews = controller->reviews(),
                  .matching = 0,
                  .total = 0,
                  .refreshedAt = controller->refreshedAt()};
    result.total = std::ssize(result.reviews);
    std::erase_if(result.reviews, [&](const SeenReview& seen) { return !filter.matches(seen); });
    result.matching = std::ssize(result.reviews);
    if (request.limit && result.matching > *request.limit)
        result.reviews.erase(result.reviews.begin() + *request.limit, result.reviews.end());
    return result;
}

CountReviews::Result CountReviews::perform(Application& application, const Request& request,
                                           const ActionProgress&) {
    ListReviews::Request wanted;
    wanted.app = request.app;
    wanted.workspace = request.workspace;
    wanted.territories = request.territories;
    wanted.since = request.since;
    auto listed = ListReviews::perform(application, wanted);
    return {std::move(listed.app), ReviewStatistics::of(listed.reviews, application.clock()()),
            listed.refreshedAt};
}

} // namespace quorvel
