#include "Platform/files/Files.h"
#include "Quorvel/actions/AppActions.h"
#include "Quorvel/actions/ReviewActions.h"
#include "Quorvel/actions/ReviewReplyActions.h"
#include "Tests/Core/ai/FakeClaude.h"
#include "Tests/support/ApplicationSandbox.h"
#include "Tests/support/FileMode.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace quorvel::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ReviewReplies : public testing::Test {
  protected:
    void SetUp() override {
        (void)RefreshReviews::perform(application(), {.app = gardenID});
        const auto listed = ListReviews::perform(application(), {.unanswered = true});
        ASSERT_GT(listed.reviews.size(), 10u);
        review = listed.reviews.front().review;
    }
    Application& application() const { return *sandbox.application; }
    PlanReviewReply::Result planned(std::optional<std::string> text) const {
        return PlanReviewReply::perform(application(), {.review = review.id, .text = std::move(text)});
    }
    SendReviewReply::Result send(const ReviewReplyPlan& plan) const {
        return SendReviewReply::perform(application(), {plan, {}});
    }
    ShowReview::Result shown() const { return ShowReview::perform(application(), {.review = review.id}); }
    std::string errorOf(const std::function<void()>& work) const {
        try {
            work();
        } catch (const std::exception& error) {
            return error.what();
        }
        return "nothing was thrown";
    }
    std::shared_ptr<ReplySheet> opened() const {
        const auto controller = openReviews(application(), {});
        return controller->openReply(requireReview(*controller, review.id)); // outlives the controller
    }
    std::filesystem::path replies() const {
        return sandbox.folder / "home/Library/Application Support/Brevant/Reviews/Replies";
    }
    std::size_t posts() const {
        const auto requests = sandbox.server.requests();
        return static_cast<std::size_t>(
            std::ranges::count_if(requests, [](const auto& each) { return each.method == "POST"; }));
    }

    ApplicationSandbox sandbox;
    CachedReview review;
};

TEST_F(ReviewReplies, areSentRecordedAndReplaced) {
    const auto plan = planned("  Danke!  ");
    EXPECT_EQ(plan.plan.text, "Danke!");
    EXPECT_FALSE(plan.plan.response);
    EXPECT_EQ(readFile(plan.draftFile), "Danke!");
    EXPECT_EQ(modeOf(plan.draftFile), 0600u);
    EXPECT_EQ(modeOf(std::filesystem::path(plan.draftFile).parent_path()), 0700u);
    EXPECT_EQ(send(plan.plan).message,
              "Reply sent. Apple reviews developer responses before they appear — usually within a day. The "
              "reviewer gets an email.");
    EXPECT_FALSE(std::filesystem::exists(plan.draftFile)) << "it is kept until it is sent";
    auto now = shown();
    EXPECT_EQ(now.sent->text, "Danke!");
    EXPECT_EQ(now.sent->state, "PENDING_PUBLISH");
    EXPECT_EQ(now.review.response->responseBody, "Danke!") << "known without another refresh";
    EXPECT_FALSE(now.reply);

    const auto again = planned("Vielen Dank!");
    EXPECT_EQ(again.plan.response->responseBody, "Danke!");
    (void)send(again.plan);
    EXPECT_EQ(shown().review.response->responseBody, "Vielen Dank!");
    // The same reply once more is not sent.
    const auto same = planned("Vielen Dank!");
    EXPECT_TRUE(same.plan.isSent);
    sandbox.server.forgetRequests();
    (void)send(same.plan);
    EXPECT_EQ(posts(), 0u);
    sandbox.server.advance(86'401);
    (void)RefreshReviews::perform(application(), {.app = gardenID});
    EXPECT_EQ(shown().review.response->state, "PUBLISHED");
}

TEST_F(ReviewReplies, areNotSentWhenAnythingChangedSinceTheyWereShown) {
    const auto plan = planned("Danke!").plan;
    sandbox.server.changeReview(review.id, {.body = "Something else"});
    EXPECT_EQ(kindOf([&] { (void)send(plan); }), FailureKind::stalePlan);
    const auto second = planned({}).plan; // the text stayed
    EXPECT_EQ(second.text, "Danke!");
    EXPECT_EQ(second.review.body, "Something else");
    writeFileAtomically(planned({}).draftFile, "Edited meanwhile");
    EXPECT_EQ(kindOf([&] { (void)send(second); }), FailureKind::stalePlan);
    EXPECT_EQ(posts(), 0u);

    sandbox.server.changeReview(review.id, {.isDeleted = true});
    constexpr auto gone =
        "App Store Connect doesn't have this review any more — the customer probably deleted "
        "or rewrote it. Your text is still here; refresh reviews and reply to the new one.";
    EXPECT_EQ(errorOf([&] { (void)planned({}); }), gone);
    EXPECT_EQ(kindOf([&] { (void)planned({}); }), FailureKind::notFound);
    EXPECT_EQ(shown().reply->text, "Edited meanwhile");
    const auto removed = RefreshReviews::perform(application(), {.app = gardenID, .all = true});
    EXPECT_EQ(removed.removed, 1);
    ASSERT_EQ(removed.strandedReplies.size(), 1u);
    EXPECT_EQ(readFile(removed.strandedReplies[0]), "Edited meanwhile");
}

TEST_F(ReviewReplies, toADeletedReviewFailWithoutAPlanToo) {
    const auto controller = openReviews(application(), {});
    const auto sheet = controller->openReply(requireReview(*controller, review.id));
    EXPECT_EQ(controller->state()->replyingTo, review.id);
    EXPECT_EQ(sheet->draftButton(), "Draft with Penwise");
    sheet->setReplyText("Typed");
    sandbox.server.changeReview(review.id, {.isDeleted = true});
    EXPECT_THROW(sheet->send(), ReplyError);
    EXPECT_EQ(posts(), 1u);
    const auto state = sheet->state();
    EXPECT_THAT(state->error.value_or(""), StartsWith("App Store Connect doesn't have this review any more"));
    EXPECT_EQ(state->replyText, "Typed");
    EXPECT_FALSE(state->isSending || state->sent);
    EXPECT_FALSE(sheet->outcomeIsUnknown());
    controller->closeReply();
    EXPECT_FALSE(controller->state()->replyingTo);
}

TEST_F(ReviewReplies, whoseOutcomeIsUnknownAreLookedForBeforeTheyAreSentAgain) {
    (void)planned("Danke!");
    // The reply arrives, its answer is lost, and nobody can be asked whether it arrived.
    const auto controller = openReviews(application(), {});
    const auto sheet = controller->openReply(requireReview(*controller, review.id));
    sandbox.server.setFaults({{.route = "POST /v1/customerReviewResponses", .action = "resetAfter"},
                              {.route = "GET /v1/customerReviews/*", .status = 403}});
    EXPECT_THROW(sheet->send(), ASCError);
    EXPECT_TRUE(shown().reply->outcomeIsUnknown);
    EXPECT_EQ(shown().reply->text, "Danke!");
    EXPECT_FALSE(shown().sent);
    sandbox.server.setFaults({});
    sandbox.server.forgetRequests();
    const auto process = sandbox.made(); // as after a kill
    const auto later = openReviews(*process, {});
    const auto opened = later->openReply(requireReview(*later, review.id));
    EXPECT_EQ(opened->state()->replyText, "Danke!");
    opened->send();
    EXPECT_TRUE(opened->state()->sent);
    EXPECT_EQ(posts(), 0u) << "it was there";
    EXPECT_EQ(shown().sent->text, "Danke!");
    EXPECT_FALSE(shown().reply);
}

TEST_F(ReviewReplies, thatArrivedBeforeAKillAreSettledByTheNextRefresh) {
    const ReplyDrafts drafts(replies());
    drafts.save(review.id, {"Danke!", "", {}, ReplyDraft::Sending{"Danke!", Date{}}});
    (void)application().client()->createReviewResponse(review.id, "Danke!");
    (void)RefreshReviews::perform(application(), {.app = gardenID});
    EXPECT_EQ(shown().sent->text, "Danke!");
    EXPECT_FALSE(shown().reply);
}

TEST_F(ReviewReplies, areDraftedFromTheNoteAndGiveTheFormerTextBack) {
    (void)planned("My own words");
    const auto drafted =
        DraftReviewReply::perform(application(), {.review = review.id, .note = "Fixed in 2.0.1."});
    EXPECT_THAT(drafted.reply.text, HasSubstr("Fixed in 2.0.1."));
    EXPECT_EQ(drafted.reply.textBeforeDraft, "My own words");
    EXPECT_GT(drafted.costUSD, 0);
    const auto restored = RestoreReviewReply::perform(application(), {.review = review.id});
    EXPECT_EQ(restored.reply.text, "My own words");
    EXPECT_EQ(restored.reply.note, "Fixed in 2.0.1.");
    EXPECT_EQ(RestoreReviewReply::perform(application(), {.review = review.id}).reply.text,
              drafted.reply.text);
    // A service that fails leaves the text alone.
    sandbox.server.setFaults({{.route = "POST /relay/**", .status = 401}});
    EXPECT_EQ(
        kindOf([&] { (void)DraftReviewReply::perform(application(), {.review = review.id, .fresh = true}); }),
        FailureKind::noModelAccess);
    EXPECT_EQ(shown().reply->text, drafted.reply.text);
}

TEST_F(ReviewReplies, loseNoTypedTextToDraftsAndOtherTexts) {
    (void)planned("First words");
    const auto sheet = opened();
    const auto model = std::make_shared<FakeClaude>(
        std::vector<FakeClaude::Answer>{[&](const ClaudeRequest&) {
                                            writeFileAtomically(sheet->draftFile(), "Edited meanwhile\n");
                                            return FakeClaude::response("A draft");
                                        },
                                        FakeClaude::says("Another draft")});
    (void)sheet->draft(model, "m");
    EXPECT_EQ(sheet->state()->replyText, "A draft");
    EXPECT_EQ(sheet->state()->textBeforeDraft, "Edited meanwhile");
    (void)opened()->draft(model, "m"); // as another process does
    EXPECT_EQ(shown().reply->text, "Another draft");
    EXPECT_EQ(shown().reply->textBeforeDraft, "Edited meanwhile") << "a draft was replaced";
    (void)planned("Second words");
    EXPECT_EQ(shown().reply->textBeforeDraft, "Edited meanwhile");
    const auto earlier = ReplyDrafts(replies()).earlierFile(review.id);
    EXPECT_FALSE(readFile(earlier));
    const auto last = planned("Third words");
    EXPECT_EQ(shown().reply->textBeforeDraft, "Second words");
    EXPECT_EQ(readFile(earlier), "Edited meanwhile\n\n");
    EXPECT_EQ(modeOf(earlier), 0600u);
    (void)send(last.plan);
    EXPECT_FALSE(readFile(earlier));
    // What cannot be read is not written over.
    const auto rest = replies() / (review.id + ".json");
    writeFileAtomically(rest, "{\"textBeforeDraft\": \"Mine");
    (void)planned("Fourth words");
    EXPECT_EQ(readFile(rest.string() + ".damaged"), "{\"textBeforeDraft\": \"Mine");
}

TEST_F(ReviewReplies, typedWhileAnotherIsSentStay) {
    const auto controller = openReviews(application(), {});
    std::string told;
    std::optional<std::string> typed = "Second";
    std::shared_ptr<ReplySheet> sheet;
    sheet = std::make_shared<ReplySheet>(
        ReplySheet::Parts{.app = controller->app(),
                          .seen = requireReview(*controller, review.id),
                          .drafts = ReplyDrafts(replies()),
                          .client =
                              [&] {
                                  if (typed) sheet->setReplyText(*typed);
                                  return application().client();
                              },
                          .record = [](const std::string&) {},
                          .onSent = [&](const std::string& text) { told = text; }});
    sheet->setReplyText("First");
    sheet->send();
    EXPECT_EQ(told, "First");
    EXPECT_EQ(sheet->state()->replyText, "Second");
    EXPECT_FALSE(sheet->state()->sent || sheet->outcomeIsUnknown());
    EXPECT_EQ(shown().reply->text, "Second");
    typed.reset();
    sheet->send();
    EXPECT_EQ(told, "Second");
    EXPECT_TRUE(sheet->state()->sent);
    EXPECT_EQ(posts(), 2u);
    sheet->setDeveloperNote("For the next draft");
    EXPECT_FALSE(shown().reply) << "what was sent is no draft";
    sheet->setReplyText("Third");
    EXPECT_EQ(shown().reply->text, "Third");
}

TEST_F(ReviewReplies, areRecordedAlsoWhenTheirControllerIsGone) {
    const auto sheet = opened();
    sheet->setReplyText("Danke!");
    sheet->send();
    EXPECT_EQ(shown().sent->text, "Danke!");
}

TEST_F(ReviewReplies, thatAreBlankOrTooLongAreRefusedBeforeAnythingIsSent) {
    sandbox.server.forgetRequests();
    EXPECT_EQ(kindOf([&] { (void)planned(" \n"); }), FailureKind::badRequest);
    EXPECT_EQ(kindOf([&] { (void)planned({}); }), FailureKind::notFound) << "nothing is typed";
    const std::string longText(5971, 'x');
    EXPECT_THAT(errorOf([&] { (void)planned(longText); }), HasSubstr("5971 characters"));
    EXPECT_EQ(shown().reply->text, longText) << "it stays to be shortened";
    for (const std::string& bad : {std::string("a\0b", 3), std::string("a\xFF"), std::string(1'048'577, 'x')})
        EXPECT_EQ(kindOf([&] { (void)planned(bad); }), FailureKind::badRequest) << bad.size();
    EXPECT_EQ(shown().reply->text, longText) << "what is refused replaces nothing";
    EXPECT_EQ(sandbox.server.requests().size(), 0u);
    EXPECT_EQ(planned(longText.substr(1)).plan.length, 5970);
    EXPECT_EQ(kindOf([&] { (void)ShowReview::perform(application(), {.review = "-"}); }),
              FailureKind::badRequest);
    EXPECT_EQ(kindOf([&] { (void)ShowReview::perform(application(), {.review = "nowhere"}); }),
              FailureKind::notFound);
}

TEST(ReviewActions, areOfTheAppThatIsMeantAndFilterWhatWasRead) {
    const ApplicationSandbox sandbox;
    Application& application = *sandbox.application;
    EXPECT_EQ(kindOf([&] { (void)ListReviews::perform(application, {}); }), FailureKind::noAppRecorded);
    const auto read = RefreshReviews::perform(application, {.app = gardenID});
    EXPECT_EQ(read.newReviews, 120);
    EXPECT_EQ(read.unclassified, 120);
    EXPECT_GT(read.estimatedCostUSD, 0);
    EXPECT_TRUE(read.imported);
    EXPECT_EQ(ClassifyReviews::perform(application, {}).classified, 120);
    const auto matching = [&](ListReviews::Request request) {
        return ListReviews::perform(application, request).matching;
    };
    EXPECT_EQ(matching({}), 120);
    EXPECT_EQ(matching({.unanswered = true}), 96);
    const auto low = matching({.stars = {1, 2}});
    EXPECT_GT(low, 0);
    EXPECT_EQ(matching({.stars = {1, 2, 3, 4, 5}}), 120);
    EXPECT_EQ(matching({.stars = {1, 2}, .sentiments = {"positive"}}), 0);
    EXPECT_GT(matching({.territories = {"deu", "USA"}}), 0);
    EXPECT_GT(matching({.theme = "FROST"}), 0);
    EXPECT_LT(matching({.since = "7d"}), 120);
    EXPECT_EQ(matching({.since = "2099-01-01"}), 0);
    EXPECT_EQ(ListReviews::perform(application, {.limit = 3}).reviews.size(), 3u);
    const std::vector<ListReviews::Request> refused = {
        {.stars = {6}}, {.territories = {"DE"}}, {.sentiments = {"angry"}}, {.since = "soon"}, {.limit = 0}};
    for (const ListReviews::Request& bad : refused)
        EXPECT_EQ(kindOf([&] { (void)ListReviews::perform(application, bad); }), FailureKind::badRequest);
}

} // namespace
} // namespace quorvel::test
