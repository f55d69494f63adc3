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
    auto bytes = readFile(path, largestReplyText);
    if (!bytes)
        throw ApplicationError(FailureKind::noFolder,
                               fmt::format("there is no file {}", escapeControls(path.string())));
    return *std::move(bytes);
}

// `source` names where the text comes from.
void requireReplyText(const std::string& text, const std::string& source) {
    const auto refuse = [&](std::string_view problem) {
        throw ApplicationError(FailureKind::badRequest, fmt::format("{} {}", source, problem),
                               "Nothing was sent.");
    };
    if (text.size() > largestReplyText) refuse(fmt::format("has more than {} bytes", largestReplyText));
    if (!isValidUTF8(text) || text.find('\0') != std::string::npos) refuse("is no text in UTF-8");
    if (isBlank(text)) refuse("is empty");
}

// The text that a request brings; nothing when it is about the reply that is typed already.
std::optional<std::string> givenText(const Application& application,
                                     const PlanReviewReply::Request& request) {
    if (request.text && request.file)
        throw ApplicationError(FailureKind::badRequest, "a reply has a text or a file, not both");
    if (!request.text && !request.file) return std::nullopt;
    const std::string text = request.file ? replyInFile(application, *request.file) : *request.text;
    requireReplyText(text, request.file ? escapeControls(application.absolutePath(*request.file).string())
                                        : "the reply");
    return std::string(trim(text));
}

// With the text in its sheet, where one is given.
OpenedReply openedWithText(Application& application, const PlanReviewReply::Request& request,
                           const std::optional<std::string>& text) {
    OpenedReply opened = openReply(application, request);
    if (!text && !opened.seen.hasDraft)
        throw ApplicationError(FailureKind::notFound, "there is no typed reply to this review",
                               "Draft one, or give its text.");
    if (text) opened.sheet->replaceReplyText(*text);
    return opened;
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

PlanReviewReply::Request PlanReviewReply::keep(Application& application, const Request& request) {
    Request kept = request;
    kept.text = givenText(application, request);
    kept.file.reset();
    (void)openedWithText(application, kept, kept.text);
    return kept;
}

PlanReviewReply::Result PlanReviewReply::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    const auto text = givenText(application, request);
    const OpenedReply opened = openedWithText(application, request, text);
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
    // What was planned was typed, until App Store Connect had it: who emptied the draft since took it back.
    if (!seen.hasDraft && found != kept.end() && !plan.isSent)
        throw ApplicationError(FailureKind::stalePlan,
                               "The typed reply was emptied since it was shown. Nothing was sent.");
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
