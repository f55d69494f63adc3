#include "Quorvel/controllers/reviews/ReplySheet.h"

#include "Core/asc/ASCError.h"
#include "Core/asc/services/CreateOrAdopt.h"
#include "Core/reviews/ReviewsService.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/metadata/MetadataController.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

/// Sets a flag of the state for the time of a call.
class BusyFlag {
  public:
    BusyFlag(Published<ReplySheetState>& state, bool ReplySheetState::*flag) : state_(state), flag_(flag) {
        set(true);
    }
    ~BusyFlag() { set(false); }
    BusyFlag(const BusyFlag&) = delete;
    BusyFlag& operator=(const BusyFlag&) = delete;

  private:
    void set(bool value) {
        state_.update([&](ReplySheetState& state) { state.*flag_ = value; });
    }

    Published<ReplySheetState>& state_;
    bool ReplySheetState::*flag_;
};

[[noreturn]] void refuseGone() {
    throw ReplyError(ReplyError::Kind::reviewGone, std::string(ReplySheet::reviewGoneText));
}

bool saysGone(std::string_view description) {
    return description.find("RELATIONSHIP.INVALID") != description.npos ||
           description.find("NOT_FOUND") != description.npos;
}

bool isResponse(const std::optional<CustomerReviewResponseAttributes>& response, std::string_view text) {
    return response && isSameReply(response->responseBody.value_or(""), text);
}

// Whether somebody who agreed to a plan saw what is there now. A response's state moves by itself.
void requireUnchanged(const ReviewReplyPlan& plan, const CachedReview& review,
                      const std::optional<CustomerReviewResponseAttributes>& response) {
    const auto bodyOf = [](const auto& each) { return each ? each->responseBody : std::nullopt; };
    if (plan.review.rating == review.rating && plan.review.title == review.title &&
        plan.review.body == review.body && plan.response.has_value() == response.has_value() &&
        bodyOf(plan.response) == bodyOf(response))
        return;
    throw ReplyError(
        ReplyError::Kind::stalePlan,
        "The review or the response to it has changed since it was shown. Nothing was sent; your "
        "text is still here.");
}

} // namespace

ReplySheet::ReplySheet(Parts parts) : parts_(std::move(parts)) {
    ReplySheetState state;
    if (parts_.seen.response) {
        answer_ = parts_.seen.response->responseBody.value_or("");
        state.isEditingExisting = true;
    }
    if (const auto kept = parts_.drafts.load(parts_.seen.review.id)) {
        state.replyText = kept->replyText;
        state.developerNote = kept->developerNote;
        state.textBeforeDraft = kept->textBeforeDraft;
        unknownSending_ = kept->sending;
        lastDraft_ = kept->lastDraft;
        keptText_ = kept->replyText;
    }
    if (isBlank(state.replyText)) state.replyText = answer_.value_or("");
    state_.publish(std::move(state));
}

bool ReplySheet::outcomeIsUnknown() const {
    return unknownSending_.has_value();
}

std::string_view ReplySheet::draftButton() const {
    return isBlank(state()->replyText) ? draftTitle : redraftTitle;
}

template <typename Change>
void ReplySheet::change(Change&& change) {
    state_.update([&](ReplySheetState& state) {
        takeEdits(state);
        change(state);
        keep(state);
    });
}

// The file's name is told, so that it is edited elsewhere; whether it was. Another process may have put texts
// beside it too.
bool ReplySheet::takeEdits(ReplySheetState& state) {
    const auto now = parts_.drafts.load(parts_.seen.review.id);
    if (!now || isBlank(now->replyText) || isSameReply(now->replyText, keptText_)) return false;
    state.replyText = now->replyText;
    state.sent = false;
    if (now->textBeforeDraft) state.textBeforeDraft = now->textBeforeDraft;
    if (now->lastDraft) lastDraft_ = now->lastDraft;
    return true;
}

bool ReplySheet::isAnswer(std::string_view text) const {
    return answer_ && isSameReply(*answer_, text);
}

void ReplySheet::keep(const ReplySheetState& state) {
    // The response that there is is no typed text.
    const std::string text = isAnswer(state.replyText) ? "" : state.replyText;
    parts_.drafts.save(parts_.seen.review.id,
                       {text, state.developerNote, state.textBeforeDraft, unknownSending_, lastDraft_});
    keptText_ = text;
}

void ReplySheet::setReplyText(std::string text) {
    state_.update([&](ReplySheetState& state) {
        if (takeEdits(state)) parts_.drafts.keepEarlier(parts_.seen.review.id, state.replyText);
        state.replyText = std::move(text);
        state.sent = false;
        keep(state);
    });
}

void ReplySheet::setDeveloperNote(std::string note) {
    change([&](ReplySheetState& state) { state.developerNote = std::move(note); });
}

void ReplySheet::replaceReplyText(std::string text) {
    change([&](ReplySheetState& state) { replace(state, std::move(text)); });
}

void ReplySheet::replace(ReplySheetState& state, std::string text) {
    const auto isDraft = [&](const std::string& some) {
        return lastDraft_ && isSameReply(*lastDraft_, some);
    };
    auto& before = state.textBeforeDraft;
    // A draft can be had again, what somebody typed cannot.
    if (!isBlank(state.replyText) && !isSameReply(state.replyText, text) &&
        !(before && isDraft(state.replyText))) {
        if (before && !isBlank(*before) && !isSameReply(*before, state.replyText) &&
            !isSameReply(*before, text) && !isDraft(*before) && !isAnswer(*before))
            parts_.drafts.keepEarlier(parts_.seen.review.id, *before);
        before = state.replyText;
    }
    state.replyText = std::move(text);
    state.error.reset();
    state.sent = false;
}

AnswerCost ReplySheet::draft(std::shared_ptr<const ClaudeClientProtocol> claude, const std::string& model,
                             KeptAnswers keptAnswers) {
    ClaudeAsker asker(*claude);
    const CachedReview& review = parts_.seen.review;
    try {
        const BusyFlag drafting(state_, &ReplySheetState::isDrafting);
        const std::string text = ReviewReplyDrafter({claude, model})
                                     .draft({.appName = parts_.app.displayName,
                                             .rating = review.rating,
                                             .title = review.title,
                                             .body = review.body,
                                             .territory = review.territory,
                                             .reviewerNickname = review.reviewerNickname,
                                             .brandVoice = parts_.app.brandVoice,
                                             .developerNote = state()->developerNote},
                                            keptAnswers, asker);
        change([&](ReplySheetState& state) {
            replace(state, text);
            lastDraft_ = text;
        });
    } catch (const std::exception& error) {
        state_.update([&](ReplySheetState& state) { state.error = error.what(); });
        throw;
    }
    return asker.cost();
}

void ReplySheet::restorePreviousText() {
    change([&](ReplySheetState& state) {
        if (!state.textBeforeDraft)
            throw ReplyError(ReplyError::Kind::nothingReplaced,
                             "No draft has replaced a text of yours, so there is none to restore.");
        std::swap(*state.textBeforeDraft, state.replyText);
    });
}

std::string ReplySheet::sendableText() const {
    std::string text(trim(state()->replyText));
    if (text.empty()) throw ReplyError(ReplyError::Kind::blank, "There is no reply to send yet.");
    if (const std::size_t length = graphemeCount(text); length > longestReply)
        throw ReplyError(ReplyError::Kind::tooLong,
                         fmt::format("The reply has {} characters; App Store Connect takes {} at most. Your "
                                     "text is still here.",
                                     length, longestReply));
    return text;
}

CustomerReview ReplySheet::lookUp(const ASCClientProtocol& client) const {
    auto found = CustomerReviewService(client).find(parts_.seen.review.id);
    if (!found) refuseGone();
    return *std::move(found);
}

ReviewReplyPlan ReplySheet::plan() const {
    ReviewReplyPlan plan{.app = referenceOf(parts_.app), .text = sendableText()};
    plan.length = static_cast<std::int64_t>(graphemeCount(plan.text));
    const CustomerReview now = lookUp(*parts_.client());
    plan.review = ReviewsService::recordOf(now, parts_.app);
    plan.response = now.response;
    plan.isSent = isResponse(now.response, plan.text);
    return plan;
}

void ReplySheet::send(const std::optional<ReviewReplyPlan>& plan) {
    std::string text;
    try {
        text = sendableText();
        {
            const BusyFlag sending(state_, &ReplySheetState::isSending);
            sendOrFind(text, plan);
        }
        finish(text);
    } catch (const std::exception& error) {
        state_.update([&](ReplySheetState& state) { state.error = error.what(); });
        throw;
    }
    if (parts_.onSent) parts_.onSent(text);
}

void ReplySheet::sendOrFind(const std::string& text, const std::optional<ReviewReplyPlan>& plan) {
    const auto client = parts_.client();
    if (plan || unknownSending_) {
        const CustomerReview now = lookUp(*client);
        if (isResponse(now.response, text)) return;
        if (plan) requireUnchanged(*plan, ReviewsService::recordOf(now, parts_.app), now.response);
    }
    // Noted before the request: a program that is killed now looks before it sends again.
    change([&](ReplySheetState&) { unknownSending_ = {text, parts_.clock()}; });
    try {
        static_cast<void>(CustomerReviewService(*client).respond(parts_.seen.review.id, text));
    } catch (const ASCError& error) {
        if (!mayHaveBeenDone(error)) change([&](ReplySheetState&) { unknownSending_.reset(); });
        if (saysGone(error.description())) refuseGone();
        throw;
    }
}

void ReplySheet::finish(const std::string& text) {
    parts_.record(text);
    state_.update([&](ReplySheetState& state) {
        takeEdits(state);
        unknownSending_.reset();
        answer_ = text;
        state.error.reset();
        state.isEditingExisting = true;
        if (!isSameReply(state.replyText, text)) { // typed while the other text was sent
            keep(state);
            return;
        }
        parts_.drafts.remove(parts_.seen.review.id);
        keptText_.clear();
        lastDraft_.reset();
        state.textBeforeDraft.reset();
        state.sent = true;
    });
}

} // namespace quorvel
