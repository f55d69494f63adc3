#include "Core/asc/ASCError.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/ReviewRendering.h"
#include "Programs/quorvel/commands/TextReports.h"
#include "Quorvel/actions/ReviewReplyActions.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

std::string sendTypedReply(const Invocation& invocation) {
    return fmt::format("'quorvel reviews reply {} --draft{}'", *invocation.arguments.value("ID"),
                       invocation.global.app ? " --app " + *invocation.global.app : "");
}

ArgumentSpec reviewArgument() {
    return {"ID", "ID", "The review: its id, or a part that no other has", {}, ArgumentSpec::Need::required};
}

ExitStatus showReview(Invocation& invocation) {
    Output& output = invocation.output;
    auto request = requestOf<ShowReview::Request>(invocation);
    request.review = *invocation.arguments.value("ID");
    const auto result = perform<ShowReview>(invocation, request);
    output.document(result);
    if (output.isJSON()) return ExitStatus::done;
    printReview(output, result.review, ReviewForm::whole);
    if (result.review.response) {
        output.line();
        printResponse(output, *result.review.response);
    }
    if (result.reply) {
        output.line();
        printReply(output, result.reply->text, result.reply->length);
        output.note(fmt::format("Not sent. It is kept in {}; {} sends it.", result.reply->file,
                                sendTypedReply(invocation)));
        if (result.reply->outcomeIsUnknown)
            output.note("A sending of it was cut off; the next one looks first whether it arrived.");
    }
    return ExitStatus::done;
}

template <typename Result>
void printTyped(Invocation& invocation, const Result& result) {
    Output& output = invocation.output;
    output.document(result);
    if (!output.isJSON()) {
        printReview(output, result.review, ReviewForm::whole);
        output.line();
        printReply(output, result.reply.text, result.reply.length);
        output.line();
    }
    output.note(fmt::format("Kept in {}, to be edited there. {} shows it beside the review and sends it.",
                            result.reply.file, sendTypedReply(invocation)));
}

ExitStatus draftReply(Invocation& invocation) {
    const Arguments& arguments = invocation.arguments;
    if (arguments.has("--restore")) {
        if (arguments.has("--note") || arguments.has("--fresh"))
            throw UsageError("--restore puts a text back and takes neither --note nor --fresh");
        auto request = requestOf<RestoreReviewReply::Request>(invocation);
        request.review = *arguments.value("ID");
        printTyped(invocation, perform<RestoreReviewReply>(invocation, request));
        return ExitStatus::done;
    }
    auto request = requestOf<DraftReviewReply::Request>(invocation);
    request.review = *arguments.value("ID");
    request.note = arguments.value("--note");
    request.fresh = arguments.has("--fresh");
    const auto result = perform<DraftReviewReply>(invocation, request);
    printTyped(invocation, result);
    if (result.reply.textBeforeDraft)
        invocation.output.note("Your previous text is kept too; --restore puts it back.");
    invocation.output.note(fmt::format("Drafted for {}.", priceText(result.costUSD, result.costIsAtMost)));
    return ExitStatus::done;
}

void printReplyPlan(Output& output, const ReviewReplyPlan& plan) {
    printReview(output, {plan.review, plan.response, false}, ReviewForm::whole);
    if (plan.response) {
        output.line();
        printResponse(output, *plan.response);
    }
    output.line();
    printReply(output, plan.text, plan.length);
    output.line();
}

PlanReviewReply::Request replyRequest(Invocation& invocation) {
    const Arguments& arguments = invocation.arguments;
    auto request = requestOf<PlanReviewReply::Request>(invocation);
    request.review = *arguments.value("ID");
    request.text = arguments.value("--text");
    request.file = arguments.value("--file");
    const int given = arguments.has("--text") + arguments.has("--file") + arguments.has("--draft");
    if (given != 1) throw UsageError("Say what to send with one of --text, --file and --draft");
    if (request.file == "-") {
        request.file.reset();
        request.text = invocation.output.streams().readAll();
    }
    return request;
}

// Whether a reply was asked about or sent, and not merely kept or read, when this happened.
bool isAboutSending(const std::exception& error) {
    const ExitStatus status = reportOf(error).status;
    return dynamic_cast<const ASCError*>(&error) || status == ExitStatus::serviceTrouble ||
           status == ExitStatus::noCredentials || status == ExitStatus::interrupted;
}

// Runs what asks App Store Connect once a reply is kept, and says that it is when that fails.
template <typename Work>
auto tellingThatItIsKept(Invocation& invocation, Work&& work) {
    try {
        return work();
    } catch (const std::exception& error) {
        if (isAboutSending(error))
            invocation.output.note(fmt::format("The text is kept; {} sends it.", sendTypedReply(invocation)));
        throw;
    }
}

ExitStatus sendReply(Invocation& invocation) {
    Output& output = invocation.output;
    const auto request = PlanReviewReply::keep(invocation.application, replyRequest(invocation));
    const auto planned =
        tellingThatItIsKept(invocation, [&] { return perform<PlanReviewReply>(invocation, request); });
    const ReviewReplyPlan& plan = planned.plan;
    if (invocation.global.dryRun) {
        output.document(planned);
        if (!output.isJSON()) printReplyPlan(output, plan);
        if (plan.response && !plan.isSent) output.note("It would replace the response that is there.");
        output.note(fmt::format("Dry run: nothing was sent. The text is kept in {}.", planned.draftFile));
        return ExitStatus::done;
    }
    const Consent consent =
        plan.isSent
            ? consentToNothing()
            : askConsent(invocation, {.text = plan.response ? "Replace your response with this reply?"
                                                            : "Send this reply? It is public.",
                                      .declined = fmt::format("Nothing was sent. The text is kept in {}.",
                                                              planned.draftFile),
                                      .details = [&](Output& terminal) { printReplyPlan(terminal, plan); }});
    const auto result = tellingThatItIsKept(invocation, [&] {
        return perform<SendReviewReply>(invocation, {plan, invocation.global.workspace}, consent);
    });
    output.document(result);
    if (plan.isSent)
        output.line("App Store Connect has this reply already; it was not sent again.");
    else if (plan.response)
        output.line("It replaces your earlier response. " + result.message);
    else
        output.line(result.message);
    return ExitStatus::done;
}

} // namespace

std::vector<Command> reviewReplyCommands() {
    return {
        {.name = "reviews show",
         .summary = "Show a review whole, with the response to it and a reply that is typed",
         .arguments = {reviewArgument()},
         .heeds = {"--app", "--workspace"},
         .run = showReview,
         .details = "Asks nobody. A part of an id that no other review has is enough."},
        {.name = "reviews draft",
         .summary = "Draft a reply to a review with AI",
         .arguments = {reviewArgument(),
                       {"--note", "TEXT", "What the draft may say: facts such as \"fixed in 2.0.1\""},
                       {"--restore", "", "Restore my previous text, which the last draft replaced"},
                       freshArgument()},
         .heeds = {"--app", "--workspace"},
         .run = draftReply,
         .details =
             "The AI draft states only facts from the review and from the note; it won't invent fixes or "
             "dates. It is written in the review's language, keeps to the app's brand voice ('quorvel apps "
             "set') and goes into a file of its own until it is sent; nothing is published. The text that it "
             "replaces is kept. Example: quorvel reviews draft 86c7 --note \"export is under File → Export\""},
        {.name = "reviews reply",
         .summary = "Publish a reply to a review",
         .arguments = {reviewArgument(),
                       {"--text", "TEXT", "The reply"},
                       {"--file", "FILE", "A file with the reply; - for standard input"},
                       {"--draft", "", "The reply that was drafted or typed before"}},
         .heeds = {"--app", "--workspace", "--yes", "--dry-run"},
         .run = sendReply,
         .details =
             "Shows the review beside the reply and asks. A review has one response: another one takes its "
             "place. A reply has at most 5970 characters; Apple reviews it before it appears. The text is kept "
             "until App Store Connect has it, whatever happens; one that was cut off on its way is looked for "
             "before it is sent again. Example: quorvel reviews reply 86c7 --draft",
         .asksFirst = true}};
}

} // namespace quorvel
