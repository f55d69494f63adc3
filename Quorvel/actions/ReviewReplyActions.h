// The reply to a customer review: looking at it, drafting and sending it.
#pragma once

#include "Quorvel/actions/OpenedReviews.h"
#include "Quorvel/application/Failure.h"

namespace quorvel {

/// A reply that is typed and not sent.
struct TypedReply {
    std::string text;
    std::int64_t length = 0; // characters
    std::int64_t limit = static_cast<std::int64_t>(longestReply);
    std::string note;                           // of facts that a draft may state
    std::optional<std::string> textBeforeDraft; // that can be restored
    std::string file;                           // of the text
    bool outcomeIsUnknown = false;              // it was being sent when its answer, or the program, was lost
    QUORVEL_RECORD(TypedReply, text, length, limit, note, textBeforeDraft, file, outcomeIsUnknown)
};

struct ReviewRequest {
    std::string review;
    std::optional<std::string> app;
    std::optional<std::string> workspace;
    QUORVEL_RECORD(ReviewRequest, review, app, workspace)
    static constexpr JSONMember members[] = {reviewMember, appMember, workspaceMember};
};

struct ShowReview {
    static constexpr ActionInfo info{"show_review", "Show a customer review with the replies to it"};
    using Request = ReviewRequest;
    struct Result {
        AppReference app;
        SeenReview review;
        std::optional<TypedReply> reply;
        std::optional<ReviewReplyLog::Entry> sent; // from this machine
        QUORVEL_RECORD(Result, app, review, reply, sent)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct DraftReviewReply {
    static constexpr ActionInfo info{
        "draft_review_reply", "Draft a reply to a customer review with the AI service", Effect::localFiles};
    struct Request {
        std::string review;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> note;
        bool fresh = false;
        QUORVEL_RECORD(Request, review, app, workspace, note, fresh)
        static constexpr JSONMember members[] = {
            reviewMember,
            appMember,
            workspaceMember,
            {"note", "The facts that the draft may state beyond the review; the last ones when left out."},
            {"fresh", "Ask the model again, also where an answer of it is kept."}};
    };
    struct Result {
        AppReference app;
        SeenReview review;
        TypedReply reply;
        double costUSD = 0;
        bool costIsAtMost = false;
        QUORVEL_RECORD(Result, app, review, reply, costUSD, costIsAtMost)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct RestoreReviewReply {
    static constexpr ActionInfo info{"restore_review_reply",
                                     "Put the text back that the last draft of a reply replaced",
                                     Effect::localFiles};
    using Request = ReviewRequest;
    struct Result {
        AppReference app;
        SeenReview review;
        TypedReply reply;
        QUORVEL_RECORD(Result, app, review, reply)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct PlanReviewReply {
    static constexpr ActionInfo info{"plan_review_reply",
                                     "Keep a reply to a customer review and show what sending it would do",
                                     Effect::localFiles};
    /// Without a text and a file it is about the reply that is typed already.
    struct Request {
        std::string review;
        std::optional<std::string> text;
        std::optional<std::string> file;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, review, text, file, app, workspace)
        static constexpr JSONMember members[] = {reviewMember,
                                                 {"text", "The reply; it is kept until it is sent."},
                                                 {"file", "A file with the reply, instead of its text."},
                                                 appMember,
                                                 workspaceMember};
    };
    struct Result {
        ReviewReplyPlan plan;
        std::string draftFile; // where the text is kept
        QUORVEL_RECORD(Result, plan, draftFile)
    };
    /// The first step of it, which asks nobody: keeps the text that is given. The request with the text that
    /// is kept. Throws `ApplicationError`, `FileError`, `StoreError`; nothing is kept then.
    [[nodiscard]] static Request keep(Application& application, const Request& request);
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct SendReviewReply {
    static constexpr ActionInfo info{"send_review_reply", "Publish a reply to a customer review",
                                     Effect::remote};
    struct Request {
        ReviewReplyPlan plan;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, plan, workspace)
        static constexpr JSONMember members[] = {
            {"plan", "The plan, as plan_review_reply made it.", JSONMember::required}, workspaceMember};
    };
    struct Result {
        AppReference app;
        std::string review; // its id
        std::string text;
        std::string message;
        QUORVEL_RECORD(Result, app, review, text, message)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
