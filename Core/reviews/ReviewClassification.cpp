#include "Core/ai/ClaudeError.h"
#include "Core/ai/ClaudePricing.h"
#include "Core/ai/FailFastClaudeClient.h"
#include "Core/aso/ASOError.h"
#include "Core/reviews/ReviewsService.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <mutex>

namespace quorvel {

namespace {

constexpr std::int64_t maxClassificationTokens = 400;
constexpr double usualAnswerBytes = 120; // of a classification
constexpr int mostTroublesInARow = 6;    // of the service, before the rest is left for later
constexpr std::size_t longestTheme = 60; // characters
constexpr std::array<std::string_view, 4> sentimentBuckets = {"positive", "negative", "neutral", "mixed"};

constexpr std::string_view classificationSystemPrompt =
    R"(You classify App Store customer reviews into a single sentiment bucket and extract up to 3 short themes (each 1–4 words).

Sentiment buckets:
  - "positive" — the reviewer is happy
  - "negative" — the reviewer is upset
  - "neutral"  — informational, no strong feeling
  - "mixed"    — clear positive AND negative points in same review

Themes are concrete: "auth bug", "slow startup", "great UI",  "crashes on iPhone 13", "love new feature". Avoid generic words like "good" / "bad".

Output requirement: respond with ONLY a JSON object, no prose, no markdown fences. Schema:

{"sentiment": "positive|negative|neutral|mixed", "themes": ["..."]})";

ReviewsService::SentimentResult sentimentIn(std::string_view answer) {
    const std::size_t begin = answer.find('{');
    const std::size_t end = answer.rfind('}');
    if (begin == answer.npos || end == answer.npos || end < begin)
        throw ASOError(ASOError::ParseFailure{"no JSON object in classifier response"});
    ReviewsService::SentimentResult result;
    try {
        result = decodeJSON<ReviewsService::SentimentResult>(answer.substr(begin, end + 1 - begin));
    } catch (const JSONError& error) {
        throw ASOError(ASOError::ParseFailure{error.what()});
    }
    const std::string received = std::exchange(result.sentiment, asciiLowercase(result.sentiment));
    if (std::ranges::find(sentimentBuckets, result.sentiment) == sentimentBuckets.end())
        throw ASOError(ASOError::ParseFailure{fmt::format("unknown sentiment '{}'", received)});
    return result;
}

// What is kept of the themes, whatever a review made the model write.
std::vector<std::string> keptThemes(const std::vector<std::string>& themes) {
    std::vector<std::string> kept;
    for (const std::string& theme : themes) {
        std::string plain(trim(graphemePrefix(trim(withoutInvisibles(theme)), longestTheme)));
        if (plain.empty() || plain != escapeControls(plain)) continue;
        if (std::ranges::none_of(kept,
                                 [&](const auto& each) { return caseFolded(each) == caseFolded(plain); }))
            kept.push_back(std::move(plain));
        if (kept.size() == ReviewsService::mostThemes) break;
    }
    return kept;
}

// What several threads make of the reviews.
class ClassificationRun {
  public:
    ClassificationRun(ReviewsService::RefreshOutcome& outcome, std::size_t total,
                      const ReviewsService::Progress& progress)
        : outcome_(outcome), total_(total), progress_(progress) {}

    [[nodiscard]] bool goesOn() const {
        const std::lock_guard lock(mutex_);
        return !outcome_.failure;
    }
    void succeed(const AnswerCost& cost, bool isKept) {
        const std::lock_guard lock(mutex_);
        if (isKept) ++outcome_.classified;
        troubles_ = 0;
        count(cost);
    }
    void fail(const CachedReview& review, const std::exception& error, const AnswerCost& cost) {
        const std::lock_guard lock(mutex_);
        count(cost);
        const auto* claude = dynamic_cast<const ClaudeError*>(&error);
        const bool isTrouble = claude && claude->kind() == ClaudeError::Kind::serviceTrouble;
        troubles_ = isTrouble ? troubles_ + 1 : 0;
        const bool isLast =
            (claude && claude->kind() == ClaudeError::Kind::noAccess) || troubles_ == mostTroublesInARow;
        if (isLast && outcome_.failure) return; // said once
        if (isLast) outcome_.failure = std::current_exception();
        outcome_.errors.push_back(isLast ? std::string(error.what())
                                         : fmt::format("Review {}: {}", review.id, error.what()));
    }

  private:
    void count(const AnswerCost& cost) {
        outcome_.cost += cost;
        if (progress_) progress_(++done_, total_);
    }

    mutable std::mutex mutex_; // guards all below
    ReviewsService::RefreshOutcome& outcome_;
    std::size_t total_;
    std::size_t done_ = 0;
    int troubles_ = 0; // of the service, one after the other
    const ReviewsService::Progress& progress_;
};

} // namespace

ClaudeRequest ReviewsService::classificationRequest(const CachedReview& review, std::string model) {
    const auto givenOrNone = [](const std::string& text) { return text.empty() ? "(none)" : text; };
    return {.model = std::move(model),
            .maxTokens = maxClassificationTokens,
            .system = std::string(classificationSystemPrompt),
            .messages = {{"user", fmt::format("Rating: {}/5 stars\nTitle: {}\nBody: {}\nTerritory: {}\n\n"
                                              "Return JSON only.",
                                              review.rating, givenOrNone(review.title),
                                              givenOrNone(review.body), review.territory)}},
            .temperature = {},
            .responseFormat = {},
            .feature = "review classification"};
}

ReviewsService::SentimentResult ReviewsService::classify(const CachedReview& review) const {
    if (!parts_.claude) throw ClaudeError(ClaudeError::MissingAPIKey{});
    ClaudeAsker asker(*parts_.claude);
    return classify(review, asker);
}

ReviewsService::SentimentResult ReviewsService::classify(const CachedReview& review,
                                                         ClaudeAsker& asker) const {
    ClaudeRequest request = classificationRequest(review, parts_.model);
    const ClaudeResponse response = asker.send(request);
    try {
        return sentimentIn(response.text());
    } catch (const ASOError&) {
        if (!response.fromCache) throw; // one answer is paid for at most
    }
    request.keptAnswers = KeptAnswers::renewed;
    return sentimentIn(asker.send(request).text());
}

std::vector<CachedReview> ReviewsService::unclassifiedAmong(std::vector<CachedReview> reviews) {
    std::erase_if(reviews,
                  [](const CachedReview& review) { return review.sentimentClassifiedAt.has_value(); });
    return reviews;
}

double ReviewsService::estimatedCostUSD(const std::vector<CachedReview>& reviews) const {
    double sum = 0;
    for (const CachedReview& review : reviews) {
        const ClaudeRequest request = classificationRequest(review, parts_.model);
        const auto bytes = request.system->size() + request.messages.front().content.size();
        sum += ClaudePricing::estimatedCostUSD(parts_.model, static_cast<double>(bytes), usualAnswerBytes);
    }
    return sum;
}

void ReviewsService::classifyAll(const ManagedApp& app, const ReviewsContext& context,
                                 RefreshOutcome& outcome, const Progress& progress) const {
    const auto waiting = unclassifiedAmong(context.records.all(app.id));
    ClassificationRun run(outcome, waiting.size(), progress);
    const FailFastClaudeClient claude(parts_.claude);
    parallelForEach(waiting, classifiedAtOnce, [&](const CachedReview& review) {
        checkCancellation();
        if (!run.goesOn()) return;
        ClaudeAsker asker(claude);
        try {
            const SentimentResult result = classify(review, asker);
            CachedReview classified = review;
            classified.sentiment = result.sentiment;
            classified.themes = keptThemes(result.themes);
            classified.sentimentClassifiedAt = parts_.clock();
            // A review that a refresh changed meanwhile is classified by the next one.
            run.succeed(asker.cost(), context.records.replace(review, classified));
        } catch (const ClaudeError& error) {
            run.fail(review, error, asker.cost());
        } catch (const ASOError& error) {
            run.fail(review, error, asker.cost());
        }
    });
    outcome.unclassified = static_cast<std::int64_t>(waiting.size()) - outcome.classified;
}

} // namespace quorvel
