#include "Core/ai/ClaudeError.h"
#include "Core/aso/ASOError.h"
#include "Core/reviews/ReviewReplyDrafter.h"
#include "Core/reviews/ReviewReplyLog.h"
#include "Core/reviews/ReviewStatistics.h"
#include "Core/reviews/ReviewsService.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"
#include "Tests/Core/ai/FakeClaude.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvel::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

std::string goldenPrompt(std::string_view name) {
    return readFile(std::filesystem::path(QUORVEL_SOURCE_DIR) / "Tests/Core/ai/golden" /
                    (std::string(name) + ".txt"))
        .value();
}

std::string wholeRequest(const ClaudeRequest& request) {
    return "SYSTEM\n" + request.system.value_or("") + "\nUSER\n" + request.messages.at(0).content + "\n";
}

std::string sentimentError(const std::string& answer) {
    const ReviewsService service(
        {.asc = nullptr, .claude = std::make_shared<FakeClaude>(std::vector{FakeClaude::says(answer)})});
    try {
        return service.classify({.id = "1", .rating = 3}).sentiment;
    } catch (const ASOError& error) {
        return error.description();
    }
}

TEST(ReviewClassification, asksAsItsGoldenFileSays) {
    const auto claude = std::make_shared<FakeClaude>(std::vector{
        FakeClaude::says("Here you are:\n{\"sentiment\":\"Mixed\",\"themes\":[\"late\",\"x\"]} OK?")});
    const ReviewsService service({.asc = nullptr, .claude = claude, .model = "openai/gpt-4.1-mini"});
    const auto result =
        service.classify({.id = "r",
                          .rating = 2,
                          .body = "Avisos tarde.\nLos recordatorios me llegan un día después.",
                          .territory = "ESP"});
    EXPECT_EQ(result, (ReviewsService::SentimentResult{"mixed", {"late", "x"}}));
    ASSERT_THAT(claude->requests(), SizeIs(1));
    const ClaudeRequest request = claude->requests()[0];
    EXPECT_EQ(wholeRequest(request), goldenPrompt("review-sentiment"));
    EXPECT_EQ(request.model, "openai/gpt-4.1-mini");
    EXPECT_EQ(request.maxTokens, 400);
    EXPECT_FALSE(request.temperature || request.responseFormat);
}

TEST(ReviewClassification, refusesWhatIsNoClassification) {
    const std::pair<std::string, std::string> cases[] = {
        {"I cannot help.", "no JSON object in classifier response"},
        {"} {", "no JSON object in classifier response"},
        {R"({"sentiment":"Angry","themes":[]})", "unknown sentiment 'Angry'"},
        {R"({"sentiment":" positive","themes":[]})", "unknown sentiment ' positive'"},
        {R"({"sentiment":"positive"})", "themes"},
        {R"({"sentiment":"positive","themes":[]} {"sentiment":"negative","themes":[]})", "Failed to parse"},
    };
    for (const auto& [answer, problem] : cases)
        EXPECT_THAT(sentimentError(answer), HasSubstr(problem)) << answer;
    EXPECT_EQ(sentimentError("```json\n{\"sentiment\":\"NEUTRAL\",\"themes\":[]}\n```"), "neutral");
}

TEST(ReviewReplyDrafter, asksAsItsGoldenFilesSay) {
    const auto claude = std::make_shared<FakeClaude>(std::vector{FakeClaude::says("“Hello.”")});
    const ReviewReplyDrafter drafter({claude, "m"});
    EXPECT_EQ(drafter.draft({.appName = "Tide Pool",
                             .rating = 3,
                             .title = "Lovely but slow",
                             .body = "Opening the photo page takes ages.",
                             .territory = "GBR",
                             .reviewerNickname = "AllotmentAnnie",
                             .brandVoice = " Calm, precise.\n",
                             .developerNote = "\tfixed in 2.0.1, out next week "}),
              "Hello.");
    const ClaudeRequest request = claude->requests().at(0);
    EXPECT_EQ(wholeRequest(request), goldenPrompt("review-reply"));
    EXPECT_EQ(request.maxTokens, 700);
    EXPECT_EQ(request.temperature, 0.4);
    EXPECT_FALSE(request.responseFormat);
    const auto bare =
        ReviewReplyDrafter::prompt({.appName = "Tide Pool", .rating = 5, .developerNote = " \n"});
    EXPECT_EQ("SYSTEM\n" + bare.system + "\nUSER\n" + bare.user + "\n", goldenPrompt("review-reply-bare"));

    const ReviewReplyDrafter silent({std::make_shared<FakeClaude>(std::vector{FakeClaude::says("“”")}), "m"});
    EXPECT_THROW((void)silent.draft({}), ClaudeError);
}

TEST(ReviewReplyDrafter, takesAwayWhatModelsPutAroundAText) {
    const std::pair<std::string, std::string> cases[] = {
        {"  Hello.\n\n", "Hello."},
        {"```\nHello ``` there.\n```", "Hello  there."},
        {"Hello ```code```.", "Hello ```code```."},
        {"\"Hello.\"", "Hello."},
        {"“ Hello. ”", "Hello."},
        {"«Bonjour.»", "Bonjour."},
        {"„Hallo.“", "Hallo."},
        {"```\n\"“Hello.”\"\n```", "“Hello.”"}, // one pair only
        {"\"", "\""},
        {"“Hello\"", "“Hello\""},
    };
    for (const auto& [answer, text] : cases)
        EXPECT_EQ(ReviewReplyDrafter::cleaned(answer), text) << answer;
    std::string family;
    for (int i = 0; i < 6000; ++i)
        family += "👩‍🌾";
    EXPECT_EQ(graphemeCount(ReviewReplyDrafter::cleaned(family)), 5970u);
}

TEST(ReviewReplyLog, keepsAllThatWasSent) {
    const TemporaryFolder folder;
    const auto defaults = std::make_shared<UserDefaults>(folder / "defaults.json");
    const ReviewReplyLog log(defaults, [] { return dateFromSecondsSince1970(1'772'368'200); });
    log.record("r1", "Hello");
    EXPECT_EQ(defaults->string("ReviewReplyLog.v1"),
              R"({"r1":{"text":"Hello","sentAt":"2026-03-01T12:30:00Z","state":"PENDING_PUBLISH"}})");
    std::map<std::string, ReviewReplyLog::Entry> many;
    for (int i = 0; i < 1000; ++i)
        many["n" + std::to_string(i)] = {"text", dateFromSecondsSince1970(i), {}};
    defaults->set(ReviewReplyLog::key, encodeJSON(many));
    log.record("r1", "Hello");
    EXPECT_THAT(log.entries(), SizeIs(1001));
    EXPECT_EQ(log.entries().at("r1").text, "Hello");
    defaults->set(ReviewReplyLog::key, "{]");
    EXPECT_THAT(log.entries(), SizeIs(0));
    log.record("r2", "Again");
    EXPECT_THAT(log.entries(), SizeIs(1));
}

TEST(ReviewStatistics, countsByStarsThemesAndWeeks) {
    const Date now = *parseISO8601("2026-03-04T12:00:00Z"); // a Wednesday
    const auto review = [](std::int64_t rating, std::string_view date, std::string sentiment,
                           std::vector<std::string> themes) {
        return SeenReview{{.id = std::string(date),
                           .rating = rating,
                           .createdAt = *parseISO8601(date),
                           .sentiment = sentiment,
                           .themes = std::move(themes),
                           .sentimentClassifiedAt = sentiment.empty() ? std::optional<Date>() : Date{}},
                          {},
                          false};
    };
    std::vector<SeenReview> reviews = {
        review(5, "2026-03-02T00:00:00Z", "positive", {"Widget"}),
        review(1, "2026-03-01T23:59:59Z", "negative", {"widget", "crash"}), // a Sunday
        review(4, "2026-02-23T00:00:00Z", "mixed", {"widget"}), review(5, "2020-01-01T00:00:00Z", "", {})};
    reviews[0].response = CustomerReviewResponseAttributes{};
    const auto statistics = ReviewStatistics::of(reviews, now);
    EXPECT_EQ(statistics.count, 4);
    EXPECT_EQ(statistics.averageRating, 3.75);
    EXPECT_EQ(statistics.unanswered, 3);
    EXPECT_EQ(statistics.unclassified, 1);
    EXPECT_THAT(statistics.stars, ElementsAre(ReviewStatistics::Stars{5, 2}, ReviewStatistics::Stars{4, 1},
                                              ReviewStatistics::Stars{3, 0}, ReviewStatistics::Stars{2, 0},
                                              ReviewStatistics::Stars{1, 1}));
    EXPECT_THAT(statistics.themes, ElementsAre(ReviewStatistics::Theme{"widget", 3, {1, 1, 0, 1}},
                                               ReviewStatistics::Theme{"crash", 1, {0, 0, 0, 1}}));
    ASSERT_THAT(statistics.weeks, SizeIs(ReviewStatistics::weeksShown));
    EXPECT_EQ(statistics.weeks[11], (ReviewStatistics::Week{"2026-03-02", 1, 5.0}));
    EXPECT_EQ(statistics.weeks[10], (ReviewStatistics::Week{"2026-02-23", 2, 2.5}));
    EXPECT_EQ(statistics.weeks[0], (ReviewStatistics::Week{"2025-12-15", 0, {}}));
    EXPECT_FALSE(ReviewStatistics::of({}, now).averageRating);
}

} // namespace
} // namespace quorvel::test
