#include "Core/reviews/ReviewsService.h"

#include "Core/asc/ASCError.h"
#include "Core/asc/services/CustomerReviewService.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace quorvel {

namespace {

using Reading = CustomerReviewService::Reading;

bool saysTheSame(const CachedReview& left, const CachedReview& right) {
    return left.rating == right.rating && left.title == right.title && left.body == right.body;
}

void takeClassification(const CachedReview& source, CachedReview& target) {
    target.sentiment = source.sentiment;
    target.themes = source.themes;
    target.sentimentClassifiedAt = source.sentimentClassifiedAt;
}

// Puts the pages of one refresh into the records. Pages are kept together, more and more of them, since the
// notes are written as a whole; a refresh that is cut off keeps its pages too.
class ReviewIntake {
  public:
    ReviewIntake(const ManagedApp& app, const ReviewsContext& context, Date now,
                 ReviewsService::RefreshOutcome& outcome)
        : app_(app), context_(context), now_(now), outcome_(outcome) {
        for (CachedReview& review : context.records.all(app.id)) {
            std::string id = review.id;
            known_.emplace(std::move(id), std::move(review));
        }
        ReviewNotes notes = context.notes.load();
        responses_ = std::move(notes.responses);
        unreadBelow_ = notes.unreadBelow;
    }

    /// Takes a page; whether reading until the first page without news ends here.
    bool take(const CustomerReviewService::Page& page) {
        std::optional<Date> oldest;
        bool hasNews = false;
        for (const CustomerReview& each : page.reviews) {
            CachedReview review = ReviewsService::recordOf(each, app_);
            if (review.createdAt != Date{})
                oldest = std::min(oldest.value_or(review.createdAt), review.createdAt);
            if (!outcome_.fetchedReviewIds.insert(review.id).second) continue;
            ++outcome_.fetched;
            hasNews = takeResponse(each) || hasNews;
            hasNews = takeReview(std::move(review)) || hasNews;
        }
        if (oldest) oldest_ = std::min(oldest_.value_or(*oldest), *oldest);
        ++pages_;
        ++pagesWaiting_;
        // A refresh that was cut off left older reviews unread, below pages that hold nothing new now.
        const bool isAboveGap = unreadBelow_ && oldest_.value_or(Date{}) >= *unreadBelow_;
        return !hasNews && !isAboveGap;
    }

    /// Keeps what was taken, once that is enough of it. Older reviews are still to be read.
    void keepWhenDue() {
        if (pagesWaiting_ > pages_ / 8) keep();
    }
    void keep() {
        if (pagesWaiting_ == 0) return;
        const auto below = unreadBelow_ && oldest_ ? std::min(*unreadBelow_, *oldest_) : oldest_;
        context_.notes.update([&](ReviewNotes& notes) {
            noteResponses(notes);
            notes.unreadBelow = below;
        });
        storeReviews();
        pagesWaiting_ = 0;
    }

    /// Keeps what was taken; nothing is left to be read.
    void finish() {
        storeReviews();
        context_.notes.update([&](ReviewNotes& notes) {
            noteResponses(notes);
            notes.unreadBelow = std::nullopt;
            notes.refreshedAt = now_;
        });
        pagesWaiting_ = 0;
    }

    void removeUnfetched() {
        for (const auto& [id, review] : known_)
            if (!outcome_.fetchedReviewIds.contains(id) && context_.records.remove(id)) ++outcome_.removed;
        context_.notes.update([&](ReviewNotes& notes) {
            std::erase_if(notes.responses,
                          [&](const auto& each) { return !outcome_.fetchedReviewIds.contains(each.first); });
        });
    }

    [[nodiscard]] std::size_t pages() const { return pages_; }

  private:
    bool takeReview(CachedReview review) {
        const auto found = known_.find(review.id);
        if (found == known_.end()) {
            ++outcome_.newRecords;
            new_.push_back(std::move(review));
            return true;
        }
        const CachedReview& before = found->second;
        if (saysTheSame(before, review)) {
            takeClassification(before, review);
            if (review == before) return false;
        } else {
            ++outcome_.updated;
        }
        changed_.emplace_back(before, std::move(review));
        return true;
    }

    // Another process may classify meanwhile, which costs money.
    void storeReviews() {
        (void)context_.records.addNew(new_);
        new_.clear();
        for (auto& [before, review] : changed_) {
            if (context_.records.replace(before, review)) continue;
            const auto now = context_.records.find(review.id);
            if (!now) continue; // somebody removed it
            if (saysTheSame(*now, review)) takeClassification(*now, review);
            (void)context_.records.replace(*now, review);
        }
        changed_.clear();
    }

    bool takeResponse(const CustomerReview& each) {
        const std::string& id = each.review.id;
        const auto found = responses_.find(id);
        const bool isNews = each.response ? found == responses_.end() || found->second != *each.response
                                          : found != responses_.end();
        if (each.response) outcome_.responses[id] = *each.response;
        if (isNews) changedResponses_[id] = each.response;
        return isNews;
    }

    void noteResponses(ReviewNotes& notes) const {
        for (const auto& [id, response] : changedResponses_)
            if (response)
                notes.responses[id] = *response;
            else
                notes.responses.erase(id);
    }

    const ManagedApp& app_;
    const ReviewsContext& context_;
    const Date now_;
    ReviewsService::RefreshOutcome& outcome_;
    std::unordered_map<std::string, CachedReview> known_; // before the refresh
    std::map<std::string, CustomerReviewResponseAttributes> responses_;
    std::map<std::string, std::optional<CustomerReviewResponseAttributes>> changedResponses_;
    std::optional<Date> unreadBelow_;                            // before the refresh
    std::optional<Date> oldest_;                                 // of the reviews taken
    std::vector<CachedReview> new_;                              // to be stored
    std::vector<std::pair<CachedReview, CachedReview>> changed_; // what is kept, and what takes its place
    std::size_t pages_ = 0;
    std::size_t pagesWaiting_ = 0;
};

} // namespace

CachedReview ReviewsService::recordOf(const CustomerReview& source, const ManagedApp& app) {
    const CustomerReviewAttributes& attributes = source.review.attributes;
    CachedReview review{.id = source.review.id,
                        .rating = attributes.rating.value_or(0),
                        .title = attributes.title.value_or(""),
                        .body = attributes.body.value_or(""),
                        .reviewerNickname = attributes.reviewerNickname.value_or(""),
                        .territory = attributes.territory.value_or(""),
                        .createdAtRaw = attributes.createdDate.value_or(""),
                        .createdAt = {},
                        .sentiment = {},
                        .themes = {},
                        .sentimentClassifiedAt = {},
                        .app = app.id};
    review.createdAt = parseISO8601(review.createdAtRaw).value_or(Date{});
    return review;
}

ReviewsService::RefreshOutcome ReviewsService::fetch(const ManagedApp& app, const ReviewsContext& context,
                                                     Reach reach, const Progress& progress) const {
    RefreshOutcome outcome;
    ReviewIntake intake(app, context, parts_.clock(), outcome);
    bool isWhole = false; // the last page was read
    bool isCut = false;   // there were more pages than anybody has
    std::optional<std::int64_t> total;
    const auto take = [&](const CustomerReviewService::Page& page) {
        const bool endsNews = intake.take(page);
        isWhole = page.isLast;
        total = page.total;
        if (progress)
            progress(static_cast<std::size_t>(outcome.fetched),
                     total && reach == Reach::all ? std::optional(static_cast<std::size_t>(*total))
                                                  : std::nullopt);
        isCut = !page.isLast && intake.pages() >= parts_.mostPages;
        if (isCut || (endsNews && reach == Reach::news)) return Reading::stop;
        if (!page.isLast) intake.keepWhenDue();
        return Reading::goOn;
    };
    try {
        CustomerReviewService(*parts_.asc).read(app.appStoreId, take);
    } catch (...) {
        intake.keep();
        throw;
    }
    if (isCut) {
        intake.keep();
        outcome.errors.push_back(
            fmt::format("The list of reviews does not end: it was left after {} pages.", parts_.mostPages));
        return outcome;
    }
    intake.finish();
    if (reach != Reach::all || !isWhole) return outcome; // an empty list is no reason to remove all
    if (total.value_or(outcome.fetched) == outcome.fetched)
        intake.removeUnfetched();
    else
        outcome.errors.push_back(
            fmt::format("The list of reviews changed while it was read ({} of {} came), so none was removed.",
                        outcome.fetched, *total));
    return outcome;
}

ReviewsService::RefreshOutcome ReviewsService::refresh(const ManagedApp& app, const ReviewsContext& context,
                                                       Reach reach) const {
    RefreshOutcome outcome;
    try {
        outcome = fetch(app, context, reach);
    } catch (const ASCError& error) {
        outcome.errors.push_back(error.description());
    }
    if (parts_.claude) classifyAll(app, context, outcome);
    return outcome;
}

} // namespace quorvel
