// Writing, drafting and sending the reply to one review.
#pragma once

#include "Core/ai/ClaudeAsker.h"
#include "Core/asc/ASCClientProtocol.h"
#include "Core/asc/services/CustomerReviewService.h"
#include "Core/reviews/ReviewReplyDrafter.h"
#include "Core/reviews/ReviewReplyLog.h"
#include "Core/reviews/SeenReview.h"
#include "Platform/notify/Published.h"
#include "Quorvel/controllers/metadata/PushPlan.h"
#include "Quorvel/controllers/reviews/ReplyDrafts.h"

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvel {

/// A reply that was not sent; the typed text is kept.
class ReplyError : public std::runtime_error {
  public:
    enum class Kind {
        blank,
        tooLong,
        reviewGone,      // App Store Connect does not have the review any more
        stalePlan,       // the review or the response to it has changed since the plan was made
        nothingReplaced, // no draft has replaced a text yet
    };
    ReplyError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    [[nodiscard]] Kind kind() const { return kind_; }

  private:
    Kind kind_;
};

/// A reply with the review that it goes under, as App Store Connect has it now.
struct ReviewReplyPlan {
    AppReference app;
    CachedReview review;
    std::optional<CustomerReviewResponseAttributes> response; // that the reply takes the place of
    std::string text;
    std::int64_t length = 0; // characters
    bool isSent = false;     // App Store Connect has this very reply already
    QUORVEL_RECORD(ReviewReplyPlan, app, review, response, text, length, isSent)
};

struct ReplySheetState {
    std::string replyText;
    std::string developerNote;
    bool isDrafting = false;
    bool isSending = false;
    std::optional<std::string> error;
    bool sent = false;
    std::optional<std::string> textBeforeDraft; // that the last draft replaced
    bool isEditingExisting = false;             // the review has a response already
};

/// Whatever is typed is kept in a file until App Store Connect has it; what an editor saves in that file is
/// taken over with the next change. Thread-safe; one draft or one sending
/// at a time.
class ReplySheet {
  public:
    static constexpr std::string_view draftTitle = "Draft with Penwise";
    static constexpr std::string_view redraftTitle = "Redraft with Penwise";
    static constexpr std::string_view restoreTitle = "Restore my previous text";
    static constexpr std::string_view noteTitle = "What the draft may say";
    static constexpr std::string_view noteHint =
        "Optional — e.g. “fixed in 2.0.1, out next week” or “export is under File → Export”";
    static constexpr std::string_view noteExplanation =
        "The AI draft states only facts from the review and from this note — it won't invent fixes or dates.";
    static constexpr std::string_view sentText =
        "Reply sent. Apple reviews developer responses before they appear — usually within a day. The "
        "reviewer gets an email.";
    static constexpr std::string_view reviewGoneText =
        "App Store Connect doesn't have this review any more — the customer probably deleted or rewrote it. "
        "Your text is still here; refresh reviews and reply to the new one.";

    struct Parts {
        ManagedApp app;
        SeenReview seen;
        ReplyDrafts drafts;
        std::function<std::shared_ptr<const ASCClientProtocol>()> client; // asked when something is sent
        std::function<void(const std::string& text)> record;              // a reply that was sent
        std::function<void(const std::string& text)> onSent = {};         // with the text that was sent
        Clock clock = systemClock();
    };

    /// Opens with the text that was typed before, else with the response that there is. Throws `FileError`.
    explicit ReplySheet(Parts parts);

    [[nodiscard]] std::shared_ptr<const ReplySheetState> state() const { return state_.current(); }
    NotificationCenter::Subscription observe(Executor executor, std::function<void()> wake) {
        return state_.observe(std::move(executor), std::move(wake));
    }
    [[nodiscard]] const SeenReview& seen() const { return parts_.seen; }
    [[nodiscard]] std::filesystem::path draftFile() const {
        return parts_.drafts.textFile(parts_.seen.review.id);
    }
    /// Whether a reply was being sent when its answer, or the program, was lost.
    [[nodiscard]] bool outcomeIsUnknown() const;
    /// Of the button that drafts.
    [[nodiscard]] std::string_view draftButton() const;

    /// Throws `FileError`.
    void setReplyText(std::string text);
    void setDeveloperNote(std::string note);
    /// A text from elsewhere in the place of the typed one, which can be restored; the one that could be
    /// restored until then goes to the file of earlier texts. Throws `FileError`.
    void replaceReplyText(std::string text);

    /// Lets the AI service write; what it cost. A draft that takes the place of a draft as it was leaves the
    /// text that can be restored alone. The text is as it was when that fails, with the error in the
    /// state. Throws `ClaudeError`, `FileError`.
    AnswerCost draft(std::shared_ptr<const ClaudeClientProtocol> claude, const std::string& model,
                     KeptAnswers keptAnswers = KeptAnswers::taken);
    /// Exchanges the text for the one that the last draft replaced. Throws `ReplyError`, `FileError`.
    void restorePreviousText();

    /// What sending the text now would do; asks App Store Connect. Throws `ReplyError`, `ASCError`.
    [[nodiscard]] ReviewReplyPlan plan() const;
    /// Sends the text. A reply whose outcome is not known is looked for first, and so is what a plan shows.
    /// A failure is in the state too, in the words for users. Throws `ReplyError`, `ASCError`, `FileError`.
    void send(const std::optional<ReviewReplyPlan>& plan = {});

  private:
    [[nodiscard]] std::string sendableText() const;
    [[nodiscard]] CustomerReview lookUp(const ASCClientProtocol& client) const;
    void sendOrFind(const std::string& text, const std::optional<ReviewReplyPlan>& plan);
    void finish(const std::string& text);
    bool takeEdits(ReplySheetState& state);
    void replace(ReplySheetState& state, std::string text);
    [[nodiscard]] bool isAnswer(std::string_view text) const;
    void keep(const ReplySheetState& state);
    template <typename Change>
    void change(Change&& change);

    const Parts parts_;
    // Guarded by the state's updates.
    std::optional<ReplyDraft::Sending> unknownSending_;
    std::optional<std::string> answer_;    // that App Store Connect has, as far as is known
    std::optional<std::string> lastDraft_; // as the AI service wrote it
    std::string keptText_;                 // that the file held when it was read or written last
    Published<ReplySheetState> state_;
};

} // namespace quorvel
