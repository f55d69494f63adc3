#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/CSV.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/ReviewRendering.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/ReviewActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

// Not in the unnamed namespace: clang takes no record there that holds an optional record.
/// What `reviews refresh` did.
struct RefreshedReviews {
    RefreshReviews::Result refresh;
    std::optional<ClassifyReviews::Result> classification;
    QUORVEL_RECORD(RefreshedReviews, refresh, classification)
};

namespace {

constexpr double unaskedReviewCost = 0.5; // dollars that a refresh may spend without asking
constexpr std::size_t problemsShown = 5;
constexpr std::int64_t usualListLength = 20;

std::string reviewCount(std::int64_t count) {
    return counted(static_cast<std::size_t>(count), "review");
}

void warnOfReviewProblems(Output& output, const std::vector<std::string>& problems) {
    for (std::size_t i = 0; i < std::min(problems.size(), problemsShown); ++i)
        output.warning(problems[i]);
    if (problems.size() > problemsShown)
        output.warning(fmt::format("… and {} more", problems.size() - problemsShown));
}

void printRead(Output& output, const RefreshReviews::Result& read) {
    std::vector<std::string> facts{fmt::format("{} read", reviewCount(read.fetched)),
                                   fmt::format("{} new", read.newReviews)};
    if (read.updated > 0) facts.push_back(fmt::format("{} changed", read.updated));
    if (read.removed > 0) facts.push_back(fmt::format("{} removed", read.removed));
    output.line(fmt::format("{}: {}", read.app.displayName, fmt::join(facts, ", ")));
    warnOfReviewProblems(output, read.problems);
    for (const std::string& file : read.strandedReplies)
        output.warning(fmt::format("{} holds a reply that was not sent to a review that is gone", file));
}

// Whether the reviews may be classified; says why not.
bool mayClassify(Invocation& invocation, const RefreshReviews::Result& read) {
    Output& output = invocation.output;
    const std::string price = priceText(read.estimatedCostUSD, read.costIsAtMost);
    if (read.modelProblem) {
        output.note(fmt::format("{} not classified: {}", reviewCount(read.unclassified),
                                reportOf(*read.modelProblem).text));
        return false;
    }
    if (read.estimatedCostUSD > unaskedReviewCost && !invocation.global.yes) {
        if (!output.canAsk()) {
            output.warning(
                fmt::format("{} not classified: that is estimated to cost {}, which needs --yes where "
                            "nobody can be asked",
                            reviewCount(read.unclassified), price));
            return false;
        }
        const bool agreed = output.confirm(fmt::format("Classify {} with AI at an estimated cost of {}?",
                                                       reviewCount(read.unclassified), price));
        if (!agreed) output.note("Nothing was classified; 'quorvel reviews refresh' asks again.");
        return agreed;
    }
    output.note(
        fmt::format("Classifying {} at an estimated cost of {}.", reviewCount(read.unclassified), price));
    return true;
}

void printClassified(Output& output, const ClassifyReviews::Result& result) {
    output.line(fmt::format("{} classified for {}.", reviewCount(result.classified),
                            priceText(result.costUSD, result.costIsAtMost)));
    warnOfReviewProblems(output, result.problems);
    if (result.unclassified > 0)
        output.warning(fmt::format("{} left; the next 'quorvel reviews refresh' goes on with them",
                                   reviewCount(result.unclassified)));
}

ExitStatus refreshReviews(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<RefreshReviews::Request>(invocation);
    request.all = invocation.arguments.has("--all");
    RefreshedReviews done{perform<RefreshReviews>(invocation, request), {}};
    const RefreshReviews::Result& read = done.refresh;
    printRead(output, read);
    bool isWhole = read.problems.empty();
    if (read.unclassified > 0 && !invocation.arguments.has("--no-classify")) {
        if (mayClassify(invocation, read)) {
            done.classification = perform<ClassifyReviews>(
                invocation, {read.app.id ? read.app.id : request.app, request.workspace});
            printClassified(output, *done.classification);
            isWhole = isWhole && done.classification->unclassified == 0;
        } else {
            isWhole = isWhole && (read.modelProblem || output.canAsk());
        }
    }
    output.document(done);
    return isWhole ? ExitStatus::done : ExitStatus::partlyDone;
}

// "1,2" or "1-3".
std::vector<std::int64_t> starsOf(const Arguments& arguments) {
    std::vector<std::int64_t> stars;
    for (const std::string& item : listOf(arguments, "--stars")) {
        const auto isStar = [](char digit) { return digit >= '1' && digit <= '5'; };
        const bool isOne = item.size() == 1 && isStar(item[0]);
        const bool isRange =
            item.size() == 3 && isStar(item[0]) && item[1] == '-' && isStar(item[2]) && item[0] <= item[2];
        if (!isOne && !isRange)
            throw UsageError(fmt::format("--stars takes numbers from 1 to 5, not {}", quotedWord(item)),
                             "For example: --stars 1,2 or --stars 1-3");
        for (char star = item.front(); star <= item.back(); ++star)
            stars.push_back(star - '0');
    }
    return stars;
}

ListReviews::Request listRequest(const Invocation& invocation) {
    auto request = requestOf<ListReviews::Request>(invocation);
    const Arguments& arguments = invocation.arguments;
    request.stars = starsOf(arguments);
    request.territories = listOf(arguments, "--territory");
    request.sentiments = listOf(arguments, "--sentiment");
    request.theme = arguments.value("--theme");
    request.since = arguments.value("--since");
    request.unanswered = arguments.has("--unanswered");
    return request;
}

void noteOfAge(Output& output, const Invocation& invocation, const std::optional<Date>& refreshedAt) {
    if (refreshedAt)
        output.note(fmt::format("Read from App Store Connect {}.",
                                relativeTime(*refreshedAt, invocation.application.clock()())));
    else
        output.note("No reviews were read yet: 'quorvel reviews refresh' does.");
}

ExitStatus listReviews(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = listRequest(invocation);
    request.limit = invocation.arguments.number("--limit", 1, 1'000'000).value_or(usualListLength);
    const auto result = perform<ListReviews>(invocation, request);
    output.document(result);
    for (const SeenReview& seen : result.reviews) {
        printReview(output, seen, ReviewForm::excerpt);
        output.line();
    }
    if (!output.isJSON() && result.refreshedAt)
        output.line(result.matching > std::ssize(result.reviews)
                        ? fmt::format("{} of {}; --limit shows more.", result.reviews.size(),
                                      reviewCount(result.matching))
                        : fmt::format("{} of {}.", result.matching, reviewCount(result.total)));
    noteOfAge(output, invocation, result.refreshedAt);
    return ExitStatus::done;
}

ExitStatus countReviews(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<CountReviews::Request>(invocation);
    request.territories = listOf(invocation.arguments, "--territory");
    request.since = invocation.arguments.value("--since");
    const auto result = perform<CountReviews>(invocation, request);
    output.document(result);
    if (!output.isJSON()) printStatistics(output, result);
    if (result.statistics.count == 0 && result.refreshedAt) output.line("No review is among these.");
    noteOfAge(output, invocation, result.refreshedAt);
    return ExitStatus::done;
}

ExitStatus exportReviews(Invocation& invocation) {
    Output& output = invocation.output;
    if (output.isJSON() && invocation.arguments.has("--csv"))
        throw UsageError("--csv and --json exclude each other");
    const auto result = perform<ListReviews>(invocation, listRequest(invocation));
    output.document(result);
    if (!output.isJSON()) {
        output.raw("id,date,rating,title,body,nickname,territory,sentiment,themes,response,responseState\n");
        // A terminal takes some characters of a stranger's for commands; a file does not.
        const auto cell = [&](const std::string& text) {
            return csvCell(output.streams().outIsTerminal ? escapeControls(text) : text);
        };
        for (const auto& [review, response, hasDraft] : result.reviews)
            output.raw(fmt::format("{},{},{},{},{},{},{},{},{},{},{}\n", cell(review.id),
                                   cell(review.createdAtRaw), review.rating, cell(review.title),
                                   cell(review.body), cell(review.reviewerNickname), cell(review.territory),
                                   cell(review.sentiment),
                                   cell(fmt::format("{}", fmt::join(review.themes, "; "))),
                                   cell(response ? response->responseBody.value_or("") : ""),
                                   cell(response ? response->state.value_or("") : "")));
    }
    if (!result.refreshedAt) noteOfAge(output, invocation, result.refreshedAt);
    return ExitStatus::done;
}

std::vector<ArgumentSpec> reviewFilters() {
    using Need = ArgumentSpec::Need;
    using Count = ArgumentSpec::Count;
    return {{"--stars",
             "N",
             "Only reviews with these stars, such as 1,2 or 1-3",
             {},
             Need::optional,
             Count::repeated},
            {"--territory",
             "CODE",
             "Only from these territories, such as USA",
             {},
             Need::optional,
             Count::repeated},
            {"--sentiment",
             "SENTIMENT",
             "Only reviews of this sentiment",
             {"positive", "mixed", "neutral", "negative"},
             Need::optional,
             Count::repeated},
            {"--theme", "TEXT", "Only reviews with a theme that holds this text"},
            {"--since", "DAY", "Only reviews since this day, or of the last days: 2026-03-01 or 30d"},
            {"--unanswered", "", "Only reviews without a response"}};
}

std::vector<ArgumentSpec> withArgument(std::vector<ArgumentSpec> arguments, ArgumentSpec more) {
    arguments.push_back(std::move(more));
    return arguments;
}

} // namespace

std::vector<Command> reviewCommands() {
    using Need = ArgumentSpec::Need;
    using Count = ArgumentSpec::Count;
    std::vector<Command> commands = {
        {.name = "reviews", .summary = "Read, classify and answer customer reviews"},
        {.name = "reviews refresh",
         .summary = "Read new reviews and classify them by sentiment and themes",
         .arguments = {{"--all", "", "Read all reviews again, and remove those that are gone"},
                       {"--no-classify", "", "Ask no AI service"}},
         .heeds = {"--app", "--workspace", "--yes"},
         .run = refreshReviews,
         .details =
             "Reads the newest reviews and the responses to them, up to the first page of 200 that holds "
             "nothing new or changed: mostly one request. Reviews that were not classified are then sent to the "
             "AI service, four at once, each with its stars, title, text and territory. The cost is told first, "
             "and asked about above $0.50; where nobody can be asked that needs --yes. What was done stays when "
             "it is interrupted, and the next refresh goes on."},
        {.name = "reviews list",
         .summary = "List the reviews that were read",
         .arguments = withArgument(reviewFilters(), {"--limit", "N", "At most N, the newest; 20 without it"}),
         .heeds = {"--app", "--workspace"},
         .run = listReviews,
         .details = "Asks nobody. Example: quorvel reviews list --stars 1,2 --unanswered --since 30d"},
        {.name = "reviews stats",
         .summary = "Show the distribution of stars, the themes and the trend per week",
         .arguments = {{"--territory",
                        "CODE",
                        "Only from these territories, such as USA",
                        {},
                        Need::optional,
                        Count::repeated},
                       {"--since", "DAY",
                        "Only reviews since this day, or of the last days: 2026-03-01 or 30d"}},
         .heeds = {"--app", "--workspace"},
         .run = countReviews,
         .details = "Counts the reviews with a text that were read; most ratings have none and are not among "
                    "them. Example: quorvel reviews stats --since 90d"},
        {.name = "reviews export",
         .summary = "Write the reviews that were read as CSV, or with --json as JSON",
         .arguments =
             withArgument(reviewFilters(), {"--csv", "", "As CSV, which is what it is without --json"}),
         .heeds = {"--app", "--workspace"},
         .run = exportReviews,
         .details =
             "One row per review with the response to it. Example: quorvel reviews export --since 365d > "
             "reviews.csv"}};
    for (Command& command : reviewReplyCommands())
        commands.push_back(std::move(command));
    return commands;
}

} // namespace quorvel
