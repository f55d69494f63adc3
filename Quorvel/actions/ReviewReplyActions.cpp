#include "Quorvel/actions/ReviewReplyActions.h"

#include "Core/ai/ClaudePricing.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::uint64_t largestReplyText = 1 << 20; // bytes of a file

/// A review with its sheet.
struct OpenedReply {
    std::unique_ptr<ReviewsController> reviews;
    SeenReview seen;
    std::shared_ptr<ReplySheet> sheet;
};

template <typename Request>
OpenedReply openReply(Application& application, const Request& request) {
    OpenedReply opened{
        .reviews = openReviews(application, targetOf(request).choice), .seen = {}, .sheet = {}};
    opened.seen = requireReview(*opened.reviews, request.review);
    opened.sheet = opened.reviews->openReply(opened.seen);
    return opened;
}

TypedReply typedReply(const ReplySheet& sheet) {
    const auto state = sheet.state();
    return {.text = state->replyText,
            .length = static_cast<std::int64_t>(graphemeCount(trim(state->replyText))),
            .note = state->developerNote,
            .textBeforeDraft = state->textBeforeDraft,
            .file = sheet.draftFile().string(),
            .outcomeIsUnknown = sheet.outcomeIsUnknown()};
}

std::string replyInFile(const Application& application, const std::string& file) {
    const auto path = application.absolutePath(file);
    const auto bytes = readFile(path, largestReplyText);
    if (!bytes)
        throw ApplicationError(FailureKind::noFolder,
                               fmt::format("there is no file {}", escapeControls(path.string())));
    if (!isValidUTF8(*bytes) || bytes->find('\0') != std::string::npos)
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("{} is no text in UTF-8", escapeControls(path.string())));
    return *bytes;
}

} // namespace

ShowReview::Result ShowReview::perform(Application& application, const Request& request,
                                       const ActionProgress&) {
    const OpenedReply opened = openReply(application, request);
    Result result{.app = referenceOf(opened.reviews->app()), .review = opened.seen, .reply = {}, .sent = {}};
    if (opened.seen.hasDraft) result.reply = typedReply(*opened.sheet);
    const auto sent = ReviewReplyLog(application.userDefaults()).entries();
    if (const auto found = sent.find(opened.seen.review.id); found != sent.end()) result.sent = found->second;
    return result;
}

DraftReviewReply::Result DraftReviewReply::perform(Application& application, const Request& request,
                                                   const ActionProgress& progress) {
    const OpenedReply opened = openReply(application, request);
    const auto stack = application.aiStack();
    if (request.note) opened.sheet->setDeveloperNote(*request.note);
    progress.step({"Asking for a draft…", {}, 0});
    const AnswerCost cost = opened.sheet->draft(stack.client, stack.model,
                                                request.fresh ? KeptAnswers::renewed : KeptAnswers::taken);
    return {.app = referenceOf(opened.reviews->app()),
            .review = opened.seen,
            .reply = typedReply(*opened.sheet),
            .costUSD = cost.costUSD,
            .costIsAtMost = !ClaudePricing::isKnown(stack.model)};
}

RestoreReviewReply::Result RestoreReviewReply::perform(Application& application, const Request& request,
                                                       const ActionProgress&) {
    const OpenedReply opened = openReply(application, request);
    opened.sheet->restorePreviousText();
    return {referenceOf(opened.reviews->app()), opened.seen, typedReply(*opened.sheet)};
}

PlanReviewReply::Result PlanReviewReply::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    if (request.text && request.file)
        throw ApplicationError(FailureKind::badRequest, "a reply has a text or a file, not both");
    std::optional<std::string> text = request.text;
    if (request.file) text = replyInFile(application, *request.file);
    if (text && isBlank(*text))
        throw ApplicationError(FailureKind::badRequest, "the reply is empty", "Nothing was sent.");
    const OpenedReply opened = openReply(application, request);
    if (!text && !opened.seen.hasDraft)
        throw ApplicationError(FailureKind::notFound, "there is no typed reply to this review",
                               "Draft one, or give its text.");
    if (text) opened.sheet->replaceReplyText(std::string(trim(*text)));
    return {opened.sheet->plan(), opened.sheet->draftFile().string()};
}

SendReviewReply::Result SendReviewReply::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress) {
    const ReviewReplyPlan& plan = request.plan;
    const auto reviews = openReviews(application, {plan.app.id, request.workspace});
    const auto kept = reviews->reviews();
    const auto found =
        std::ranges::find(kept, plan.review.id, [](const SeenReview& seen) { return seen.review.id; });
    const SeenReview seen = found == kept.end() ? SeenReview{plan.review, plan.response, false} : *found;
    const auto sheet = reviews->openReply(seen);
    if (!seen.hasDraft)
        sheet->setReplyText(plan.text);
    else if (!isSameReply(sheet->state()->replyText, plan.text))
        throw ApplicationError(
            FailureKind::stalePlan,
            fmt::format("The typed reply is another one than was shown. Nothing was sent; it "
                        "is kept in {}.",
                        escapeControls(sheet->draftFile().string())));
    progress.step({"Sending the reply…", {}, 0});
    sheet->send(plan);
    return {plan.app, plan.review.id, plan.text, std::string(ReplySheet::sentText)};
}

} // namespace quorvel
