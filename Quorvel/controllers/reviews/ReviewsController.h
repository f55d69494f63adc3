// The customer reviews of one app: reading, classifying and answering them.
#pragma once

#include "Core/records/Records.h"
#include "Core/reviews/ReviewReplyLog.h"
#include "Core/reviews/ReviewStatistics.h"
#include "Core/reviews/ReviewsService.h"
#include "Platform/files/Home.h"
#include "Platform/notify/Published.h"
#include "Quorvel/controllers/reviews/ReplyDrafts.h"
#include "Quorvel/controllers/reviews/ReplySheet.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// What the tab of an app's reviews shows beside the reviews.
struct ReviewsState {
    struct RefreshState {
        enum class Phase { idle, running, finished };
        Phase phase = Phase::idle;
        std::string message;
    };
    RefreshState refreshState;
    std::optional<std::string> lastError;
    std::optional<std::string> replyingTo; // the id of the review whose sheet is open
};

/// New reviews of an app that nobody answered, as the last refresh found them.
struct UnansweredReviews {
    static constexpr int days = 30; // that a review is new
    std::int64_t count = 0;
    Date refreshedAt;
    QUORVEL_RECORD(UnansweredReviews, count, refreshedAt)
    bool operator==(const UnansweredReviews&) const = default;
};

/// Thread-safe.
class ReviewsController {
  public:
    struct Parts {
        ManagedApp app;
        SharedContainer container;
        std::function<std::shared_ptr<const ASCClientProtocol>()> client; // asked once per operation
        Home home;
        std::shared_ptr<UserDefaults> defaults;
        Clock clock = systemClock();
    };
    struct Model {
        std::shared_ptr<const ClaudeClientProtocol> client;
        std::string name;
    };
    struct Classification {
        std::int64_t reviews = 0; // that were not classified
        double estimatedCostUSD = 0;
    };

    explicit ReviewsController(Parts parts);

    [[nodiscard]] std::shared_ptr<const ReviewsState> state() const { return state_.current(); }
    NotificationCenter::Subscription observe(Executor executor, std::function<void()> wake) {
        return state_.observe(std::move(executor), std::move(wake));
    }
    [[nodiscard]] const ManagedApp& app() const { return parts_.app; }

    /// Reads reviews and responses; classifies nothing. Throws what `ReviewsService::fetch` throws, with the
    /// text in the state.
    ReviewsService::RefreshOutcome fetch(ReviewsService::Reach reach,
                                         const ReviewsService::Progress& progress = {});
    [[nodiscard]] Classification plannedClassification(const std::string& model) const;
    /// Classifies what was not. Throws `StoreError`, `CancellationError`.
    ReviewsService::RefreshOutcome classify(const Model& model,
                                            const ReviewsService::Progress& progress = {});

    /// The kept reviews, the newest first. Throws `StoreError`, `FileError`.
    [[nodiscard]] std::vector<SeenReview> reviews() const;
    [[nodiscard]] std::optional<Date> refreshedAt() const { return context_.notes.load().refreshedAt; }
    /// Replies that wait for reviews that are not kept any more; their text files.
    [[nodiscard]] std::vector<std::string> strandedReplies() const;

    /// The sheet of a review, which is `replyingTo` then. It may outlive the controller.
    [[nodiscard]] std::shared_ptr<ReplySheet> openReply(const SeenReview& seen);
    void closeReply();

    /// By id of the app's record.
    [[nodiscard]] static std::map<std::string, UnansweredReviews> unanswered(const UserDefaults& defaults);

  private:
    [[nodiscard]] ReviewsService service(const Model& model) const;
    ReviewsService::RefreshOutcome
    run(std::string message, const std::function<ReviewsService::RefreshOutcome()>& work,
        const std::function<std::string(const ReviewsService::RefreshOutcome&)>& end);
    void settleReplies(const ReviewsService::RefreshOutcome& outcome) const;
    void recordReply(const std::string& reviewID, const std::string& text) const;
    void countUnanswered() const;
    [[nodiscard]] std::filesystem::path lockFile() const { return folder_ / "replies.lock"; }

    const Parts parts_;
    const std::filesystem::path folder_;
    const ReviewsContext context_;
    const ReplyDrafts drafts_;
    Published<ReviewsState> state_;
};

} // namespace quorvel
