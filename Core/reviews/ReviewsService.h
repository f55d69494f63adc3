// Reads an app's customer reviews into the records and classifies them with the AI service.
#pragma once

#include "Core/ai/AnswerCost.h"
#include "Core/ai/ClaudeAsker.h"
#include "Core/ai/PenwiseConfig.h"
#include "Core/asc/ASCClientProtocol.h"
#include "Core/records/ReviewRecords.h"
#include "Core/reviews/ReviewNotes.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace quorvel {

struct CustomerReview;

/// Where the reviews of one app are kept.
struct ReviewsContext {
    ReviewRecords records;
    ReviewNotesFile notes;
};

/// A value. Blocking; obeys the current task.
class ReviewsService {
  public:
    static constexpr std::size_t classifiedAtOnce = 4;
    static constexpr std::size_t mostThemes = 3; // that are kept of a review

    struct Parts {
        std::shared_ptr<const ASCClientProtocol> asc;
        std::shared_ptr<const ClaudeClientProtocol> claude = nullptr; // without it nothing is classified
        std::string model = std::string(PenwiseConfig::defaultModel);
        Clock clock = systemClock();
        std::size_t mostPages = 2000; // of 200 reviews, that one refresh reads
    };
    enum class Reach {
        news, // until a page that holds nothing new or changed
        all,  // everything; what App Store Connect does not have any more is removed
    };
    struct SentimentResult {
        std::string sentiment; // "positive", "negative", "neutral" or "mixed"
        std::vector<std::string> themes;
        QUORVEL_RECORD(SentimentResult, sentiment, themes)
        bool operator==(const SentimentResult&) const = default;
    };
    struct RefreshOutcome {
        std::int64_t fetched = 0;    // reviews received
        std::int64_t newRecords = 0; // reviews not seen before
        std::int64_t updated = 0;    // reviews whose text or rating changed; they are classified again
        std::int64_t removed = 0;    // reviews that App Store Connect does not have any more
        std::int64_t classified = 0;
        std::int64_t unclassified = 0; // that a classification did not come to, or failed at
        std::vector<std::string> errors;
        std::map<std::string, CustomerReviewResponseAttributes> responses; // by review id
        std::set<std::string> fetchedReviewIds;
        std::exception_ptr failure; // what kept the classification from going on
        AnswerCost cost;
    };
    /// Called from any thread, one call at a time.
    using Progress = std::function<void(std::size_t done, std::optional<std::size_t> total)>;

    explicit ReviewsService(Parts parts) : parts_(std::move(parts)) {}

    /// Reads reviews, the newest first, and keeps them with their responses; then classifies those that were
    /// not. Problems are collected as texts. Throws `CancellationError`, `StoreError`; what was read or
    /// classified until then is kept.
    [[nodiscard]] RefreshOutcome refresh(const ManagedApp& app, const ReviewsContext& context,
                                         Reach reach = Reach::news) const;
    /// The first half of it. Throws `ASCError` besides.
    [[nodiscard]] RefreshOutcome fetch(const ManagedApp& app, const ReviewsContext& context,
                                       Reach reach = Reach::news, const Progress& progress = {}) const;
    /// The second half, for the reviews that were not classified, several at once. One that fails does not
    /// stop the others; a service that gives no access, or is in trouble again and again, does.
    void classifyAll(const ManagedApp& app, const ReviewsContext& context, RefreshOutcome& outcome,
                     const Progress& progress = {}) const;
    /// One call of the AI service. Throws `ClaudeError`, and `ASOError` for an answer that is no
    /// classification.
    [[nodiscard]] SentimentResult classify(const CachedReview& review) const;

    /// The record of a review that was not classified.
    [[nodiscard]] static CachedReview recordOf(const CustomerReview& source, const ManagedApp& app);
    [[nodiscard]] static ClaudeRequest classificationRequest(const CachedReview& review, std::string model);
    /// US dollars.
    [[nodiscard]] double estimatedCostUSD(const std::vector<CachedReview>& reviews) const;
    [[nodiscard]] static std::vector<CachedReview> unclassifiedAmong(std::vector<CachedReview> reviews);

  private:
    [[nodiscard]] SentimentResult classify(const CachedReview& review, ClaudeAsker& asker) const;

    Parts parts_;
};

} // namespace quorvel
