#include "Core/ai/CachedClaudeClient.h"
#include "Core/ai/ClaudeAsker.h"
#include "Core/ai/ClaudePricing.h"
#include "Tests/Core/ai/FakeClaude.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace quorvel;
using test::FakeClaude;

namespace {

struct Mood {
    std::string mood;
    QUORVEL_RECORD(Mood, mood)
};

// The model behind a real cache: a new asker is a new run.
struct Asked {
    explicit Asked(std::vector<FakeClaude::Answer> answers)
        : model(std::make_shared<FakeClaude>(std::move(answers))) {}

    // The mood in the answer, or the error's text.
    std::string ask() {
        ClaudeAsker asker(client);
        std::string mood;
        try {
            mood = asker
                       .askForJSON<Mood>({.model = "m", .maxTokens = 9, .messages = {{"user", "How?"}}},
                                         [](const Mood& answer) {
                                             if (answer.mood.empty())
                                                 throw ClaudeError(ClaudeError::Decoding{"no mood"});
                                         })
                       .mood;
        } catch (const ClaudeError& error) {
            mood = error.what();
        }
        cost = asker.cost();
        return mood;
    }
    std::size_t paid() const { return model->requests().size(); }

    test::TemporaryFolder folder;
    std::shared_ptr<FakeClaude> model;
    CachedClaudeClient client{model, std::make_shared<ClaudeResponseCache>(folder / "cache", 86'400),
                              nullptr};
    AnswerCost cost; // of the last ask
};

FakeClaude::Answer breaksOff(std::string text) {
    return [=](const ClaudeRequest&) {
        ClaudeResponse response = FakeClaude::response(text);
        response.stopReason = "length";
        return response;
    };
}

} // namespace

TEST(ClaudeAsker, asksOnceMoreForAnAnswerThatCannotBeUsedAndKeepsTheBetterOne) {
    for (const char* unusable : {"I would rather not.", "{\"mood\":7}", "{\"mood\":\"\"}"}) {
        Asked asked({FakeClaude::says(unusable), FakeClaude::says("Sure: {\"mood\":\"calm\"}")});
        EXPECT_EQ(asked.ask(), "calm") << unusable;
        EXPECT_EQ(asked.model->requests().at(0).responseFormat, "json_object");
        EXPECT_EQ(asked.cost, (AnswerCost{20, 10, ClaudePricing::cost("m", 20, 10)})) << "both were paid for";
        EXPECT_EQ(asked.ask(), "calm");
        EXPECT_EQ(asked.paid(), 2u) << "the better answer is kept";
        EXPECT_EQ(asked.cost.costUSD, 0);
    }
}

TEST(ClaudeAsker, asksAgainInALaterRunThoughTheUnusableAnswerIsKept) {
    Asked never({FakeClaude::says("no"), FakeClaude::says("never"), FakeClaude::says("{\"mood\":\"calm\"}")});
    EXPECT_THAT(never.ask(), testing::HasSubstr("holds no JSON object"));
    EXPECT_EQ(never.paid(), 2u) << "one further answer, not any number of them";
    EXPECT_EQ(never.ask(), "calm");

    Asked broken({breaksOff("{\"mood\":\"ca"), FakeClaude::says("{\"mood\":\"calm\"}")});
    EXPECT_THAT(broken.ask(), testing::HasSubstr("broke off at the limit of 9 output tokens"));
    EXPECT_EQ(broken.paid(), 1u) << "the same limit would cut it again";
    EXPECT_EQ(broken.ask(), "calm") << "the user asked again";
}
