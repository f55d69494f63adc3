#include "Tests/Core/ai/TranslationFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>

using namespace quorvel;
using test::FakeClaude;
using test::TranslationFixture;
using testing::EndsWith;
using testing::HasSubstr;

TEST(TranslationPipeline, generatesKeywordsAfterTheTextsWhoseWordsTheyLeaveOut) {
    TranslationFixture fixture({FakeClaude::says("Gezeiten im Blick"), FakeClaude::says("tide, surf，ebbe")});
    const auto outcomes = fixture.pipeline().translate(
        {{"en-US", "de-DE", FieldType::keywords}, {"en-US", "de-DE", FieldType::subtitle}}, fixture.settings);
    EXPECT_EQ(outcomes[0].translation, "tide,surf,ebbe");
    EXPECT_EQ(outcomes[1].translation, "Gezeiten im Blick");
    const ClaudeRequest sent = fixture.claude->requests().at(1);
    EXPECT_THAT(*sent.system, HasSubstr("- App name: (not localized)\n- App subtitle: Gezeiten im Blick\n"));
    EXPECT_THAT(*sent.system, HasSubstr("exclude from keywords:\nGezeiten\nim\nBlick\n\nReference"));
    EXPECT_THAT(*sent.system, HasSubstr("actually search):\ntide,surf\n\nRules:"));
    EXPECT_THAT(sent.messages[0].content,
                EndsWith("Reminder: ≤ 100 characters total. Count before you respond."));
}

TEST(TranslationPipeline, asksForKeywordsAgainOnceTheNameOrTheSubtitleHasChanged) {
    TranslationFixture fixture({FakeClaude::says("tide,Gezeiten,ebbe")});
    EXPECT_EQ(fixture.translate(FieldType::keywords).translation, "tide,Gezeiten,ebbe");
    fixture.store.write("de-DE", FieldType::name, "Gezeiten");
    EXPECT_EQ(fixture.translate(FieldType::keywords).translation, "tide,ebbe");
    fixture.store.write("de-DE", FieldType::name, "");
    fixture.store.write("de-DE", FieldType::subtitle, "Gezeiten");
    EXPECT_EQ(fixture.translate(FieldType::keywords).translation, "tide,ebbe");
    EXPECT_EQ(fixture.claude->requests().size(), 3u);
    EXPECT_TRUE(fixture.translate(FieldType::keywords).fromCache);
    fixture.store.write("de-DE", FieldType::name, "Tide Ebbe");
    const auto nothingNew = fixture.translate(FieldType::keywords);
    EXPECT_THAT(*nothingNew.error, HasSubstr("nothing but words of the name and the subtitle"));
}

TEST(TranslationPipeline, letsNoKeywordsWaitForTheTextsOfAnotherLocale) {
    // The German name is answered only once the French keywords were asked for.
    std::promise<void> frenchKeywords;
    auto wereAsked = frenchKeywords.get_future().share();
    std::atomic<bool> waitedInVain = false;
    const auto answer = [&](const ClaudeRequest& request) {
        const std::string& user = request.messages.at(0).content;
        if (user.find("keywords field for the fr-FR") != user.npos) frenchKeywords.set_value();
        if (user.find("app name from en-US to de-DE") != user.npos)
            waitedInVain = wereAsked.wait_for(std::chrono::seconds(10)) != std::future_status::ready;
        return FakeClaude::response("Antwort " + std::to_string(user.size()));
    };
    TranslationFixture fixture({answer});
    TranslationPipeline::Parts parts = fixture.parts();
    parts.width = 2;
    const auto outcomes = TranslationPipeline(parts).translate({{"en-US", "de-DE", FieldType::name},
                                                                {"en-US", "fr-FR", FieldType::name},
                                                                {"en-US", "de-DE", FieldType::keywords},
                                                                {"en-US", "fr-FR", FieldType::keywords}},
                                                               fixture.settings);
    EXPECT_FALSE(waitedInVain);
    for (const TranslationOutcome& outcome : outcomes)
        EXPECT_EQ(outcome.error, std::nullopt);
    EXPECT_THAT(*fixture.claude->requests().back().system, HasSubstr("App name: Antwort"))
        << "the German keywords waited for the German name";
}

TEST(TranslationPipeline, dropsWholeKeywordsAndSaysSo) {
    std::string terms = "ebbe";
    for (int term = 0; term < 15; ++term)
        terms += ",gezeit" + std::string(1, static_cast<char>('a' + term));
    TranslationFixture fixture({FakeClaude::says(terms)}); // 124 characters
    const TranslationOutcome outcome = fixture.translate(FieldType::keywords);
    EXPECT_EQ(outcome.translation, terms.substr(0, 100));
    EXPECT_EQ(outcome.warning, "Keywords are over the 100-char limit even after retry. "
                               "Cut from 124 to 100 chars at a word boundary — review before pushing.");
    EXPECT_THAT(fixture.claude->requests()[1].messages[0].content,
                EndsWith("\nThe previous attempt was 124 characters; the hard limit is 100. "
                         "Drop low-impact terms and try again."));
    EXPECT_EQ(fixture.translate(FieldType::keywords).warning,
              "Cached keywords are over the 100-char limit. "
              "Cut from 124 to 100 chars at a word boundary — review before pushing.");
}
