#include "Core/build/notes/ReleaseNotesGenerator.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Tests/Core/ai/FakeClaude.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvel {

namespace {

using test::FakeClaude;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using Kind = ReleaseNotesError::Kind;

ReleaseNotesContext contextWith(const std::vector<std::string>& subjects) {
    ReleaseNotesContext context{.appName = "Tide Pool"};
    for (const std::string& subject : subjects)
        context.commits.push_back(CommitFilter::classify({.subject = subject}));
    return context;
}

const std::string goodAnswer = R"({"whatsNew":"• Widgets","promotionalText":"Tides on your lock screen."})";
const ReleaseNotesDraft goodDraft{"• Widgets", "Tides on your lock screen."};
const std::string parseFailed = "characters\n\nJSON parse failed; please return only valid JSON next time\n\n"
                                "Return the JSON object now.";

// A generator over scripted answers, and what came of it.
struct Generation {
    explicit Generation(std::vector<FakeClaude::Answer> answers, const ReleaseNotesLimits& limits = {})
        : claude(std::make_shared<FakeClaude>(std::move(answers))) {
        const LogCapture captured;
        try {
            result = ReleaseNotesGenerator({.client = claude}).generate(contextWith({"Add widgets"}), limits);
        } catch (const ReleaseNotesError& thrown) {
            error = thrown;
        }
        log = captured.text();
    }
    [[nodiscard]] std::string asked(std::size_t attempt) const {
        return claude->requests().at(attempt - 1).messages.at(0).content;
    }
    std::shared_ptr<FakeClaude> claude;
    ReleaseNotesGenerator::Result result;
    std::optional<ReleaseNotesError> error;
    std::string log;
};

} // namespace

TEST(ReleaseNotesGenerator, asksAsTheGoldenFileSays) {
    auto context = contextWith({"Grüße 🌱", "feat: widgets for the lock screen", "Faster launch",
                                "docs: left out", "Fix a crash at low tide", "ui: softer colours",
                                "Add tide alerts", "chore: included by hand"});
    context.commits.back().include = true;
    context.brandVoice = "Calm, precise, never salesy.";
    context.protectedTerms = {"Tide Pool", "FernHollow"};
    context.previousWhatsNew = "• Moon phases\n• Faster charts";
    context.previousPromotionalText = "Know the tides.";
    const auto prompt = ReleaseNotesGenerator::prompt(context, {}).value();
    EXPECT_EQ("SYSTEM\n" + prompt.system + "\nUSER\n" + prompt.user + "\n",
              readFile(std::filesystem::path(QUORVEL_SOURCE_DIR) / "Tests/Core/ai/golden/release-notes.txt"));
    context.previousWhatsNew = " \n";
    EXPECT_THAT(ReleaseNotesGenerator::prompt(context, {})->user, Not(HasSubstr("What's New")));
}

TEST(ReleaseNotesGenerator, takesTheObjectOutOfProseAndCleansItsTexts) {
    for (const std::string& answer :
         {goodAnswer, "Here you go:\n```json\n" + goodAnswer + "\n```\nEnjoy!",
          std::string(R"({"promotionalText":"Tides on your lock\u0007 screen.\r\n","other":[1],)"
                      R"("whatsNew":" \n• Widgets\n"})")}) {
        const Generation made({FakeClaude::says(answer)});
        EXPECT_EQ(made.result.draft, goodDraft) << answer;
        EXPECT_EQ(made.result.attempts, 1) << answer;
        EXPECT_EQ(made.claude->requests().size(), 1U);
    }
}

TEST(ReleaseNotesGenerator, asksAgainForWhatIsNoObjectOfTwoTexts) {
    for (const char* answer :
         {"I'm sorry, but I can't help with that.", "", R"({"whatsNew":"• Widgets","promotionalT)",
          R"([{"whatsNew":"a","promotionalText":"b"}])", R"(["a","b"])",
          R"({"whatsNew":["• Widgets"],"promotionalText":"b"})", R"({"whatsNew":"a"})",
          R"({"whatsNew":" ","promotionalText":"b"})", R"({"whatsNew":"a","promotionalText":null})"}) {
        const Generation recovered({FakeClaude::says(answer), FakeClaude::says(goodAnswer)});
        EXPECT_EQ(recovered.result.draft, goodDraft) << answer;
        EXPECT_EQ(recovered.result.attempts, 2);
        EXPECT_EQ(recovered.result.cost.inputTokens, 20) << "both are paid for";
        EXPECT_THAT(recovered.asked(2), EndsWith(parseFailed));
        EXPECT_THAT(recovered.log, HasSubstr("Generation attempt 1 parse failed; retrying."));

        const Generation failed({FakeClaude::says(answer)});
        ASSERT_TRUE(failed.error) << answer;
        EXPECT_EQ(failed.error->kind(), Kind::modelReturnedInvalidJSON);
        EXPECT_EQ(failed.error->what(),
                  std::string("Claude returned malformed JSON. Raw output:\n") + answer);
        EXPECT_EQ(failed.claude->requests().size(), 3U);
    }
}

TEST(ReleaseNotesGenerator, asksForLessAndReturnsWhatIsTooLongAfterTheLastAttempt) {
    const std::string family = "👨‍👩‍👧‍👦";
    const ReleaseNotesLimits limits{.whatsNew = 9, .promotionalText = 2};
    const auto says = [&](const std::string& promotionalText) {
        return FakeClaude::says(R"({"whatsNew":"• Widgets","promotionalText":")" + promotionalText + R"("})");
    };
    const Generation fits({says(family + family + family), says(family + family)}, limits);
    EXPECT_EQ(fits.result.draft.promotionalText, family + family) << "people count two";
    EXPECT_THAT(fits.asked(2),
                EndsWith("characters\n\nPrevious attempt was rejected: promotionalText was 3 chars — "
                         "keep it under 2. Be shorter and more focused.\n\nReturn the JSON object now."));
    EXPECT_THAT(fits.log,
                HasSubstr("Generation attempt 1 over limit: promotionalText was 3 chars — keep it under 2. "
                          "Retrying."));

    const Generation tooLong({says("abc")}, limits);
    EXPECT_EQ(tooLong.result.draft.promotionalText, "abc");
    EXPECT_EQ(tooLong.result.attempts, 3);
    EXPECT_THAT(tooLong.log,
                HasSubstr("Returning over-limit draft after 3 attempts; UI will prompt user to trim."));
    const Generation mixed({says("abc"), FakeClaude::says("no"), says("ab")}, limits);
    EXPECT_THAT(mixed.asked(3), EndsWith(parseFailed)) << "the last objection only";
    EXPECT_EQ(ReleaseNotesError::lengthBudgetExhausted("promotionalText").what(),
              std::string("promotionalText is over the App Store limit even after retries. Edit by hand."));
}

TEST(ReleaseNotesGenerator, replacesKeptAnswersOfNoUseAtTheLastAttempt) {
    const FakeClaude::Answer kept = [](const ClaudeRequest& request) {
        auto response = FakeClaude::response("no", {10, 5});
        response.fromCache = request.keptAnswers == KeptAnswers::taken;
        if (!response.fromCache) response.content.at(0).text = goodAnswer;
        return response;
    };
    const Generation made({kept});
    EXPECT_EQ(made.result.draft, goodDraft);
    EXPECT_EQ(made.claude->requests().size(), 4U) << "three from the cache, one that is paid for";
}

TEST(ReleaseNotesGenerator, needsACommitThatUsersNotice) {
    const auto claude = std::make_shared<FakeClaude>(std::vector{FakeClaude::says(goodAnswer)});
    const auto context = contextWith({"chore: tidy", "Merge branch 'x'"});
    EXPECT_EQ(ReleaseNotesGenerator::prompt(context, {}), std::nullopt);
    try {
        static_cast<void>(ReleaseNotesGenerator({.client = claude}).generate(context, {}));
        FAIL();
    } catch (const ReleaseNotesError& error) {
        EXPECT_STREQ(error.what(),
                     "No user-relevant commits in the selected range. Add or include commits manually.");
    }
    EXPECT_TRUE(claude->requests().empty());
}

} // namespace quorvel
