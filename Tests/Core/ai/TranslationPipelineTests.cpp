#include "Core/ai/CachedClaudeClient.h"
#include "Core/ai/ClaudeError.h"
#include "Core/ai/ClaudePricing.h"
#include "Core/ai/translation/TranslationOrigins.h"
#include "Core/metadata/MetadataError.h"
#include "Platform/log/Log.h"
#include "Platform/task/Task.h"
#include "Tests/Core/ai/TranslationFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sqlite3.h>

using namespace quorvel;
using test::FakeClaude;
using test::TranslationFixture;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

FakeClaude::Answer fails(ClaudeError::Case problem) {
    return [=](const ClaudeRequest&) -> ClaudeResponse { throw ClaudeError(problem); };
}

FakeClaude::Answer breaksOff() {
    return [](const ClaudeRequest&) {
        ClaudeResponse response = FakeClaude::response("Halb");
        response.stopReason = "length";
        return response;
    };
}

const std::string thirty(30, 'x');

} // namespace

TEST(TranslationPipeline, asksOnceWritesTheAnswerAndTakesItFromTheCacheNextTime) {
    TranslationFixture fixture({FakeClaude::says(thirty)}); // exactly the limit
    const TranslationOutcome first = fixture.translate(FieldType::subtitle);
    EXPECT_EQ(first, (TranslationOutcome{.item = {"en-US", "de-DE", FieldType::subtitle},
                                         .translation = thirty,
                                         .inputTokens = 10,
                                         .outputTokens = 5,
                                         .costUSD = ClaudePricing::cost("m", 10, 5),
                                         .review = ReviewMark::generated}));
    EXPECT_EQ(fixture.textOf(FieldType::subtitle), thirty);
    const ClaudeRequest sent = fixture.claude->requests().at(0);
    EXPECT_EQ(sent.model, "m");
    EXPECT_EQ(sent.maxTokens, TranslationPipeline::defaultMaxOutputTokens);
    EXPECT_THAT(*sent.system, HasSubstr("for the de-DE market"));

    const TranslationOutcome second = fixture.translate(FieldType::subtitle);
    EXPECT_TRUE(second.fromCache);
    EXPECT_EQ(second.translation, thirty);
    EXPECT_EQ(second.inputTokens + second.outputTokens, 0);
    EXPECT_EQ(second.costUSD, 0);
    EXPECT_EQ(fixture.claude->requests().size(), 1u);
}

TEST(TranslationPipeline, asksAgainAsSoonAsAnythingThatTheTextDependsOnChanges) {
    TranslationFixture fixture;
    std::size_t asked = 0;
    const auto asksAgain = [&] {
        (void)fixture.translate(FieldType::subtitle);
        return std::exchange(asked, fixture.claude->requests().size()) != asked;
    };
    EXPECT_TRUE(asksAgain());
    EXPECT_FALSE(asksAgain());
    fixture.settings.brand.brandVoice = "Calm.";
    EXPECT_TRUE(asksAgain());
    fixture.settings.brand.glossary["tide"]["de-DE"] = "Tide";
    EXPECT_TRUE(asksAgain());
    fixture.settings.brand.protectedTerms = {"Tide Pool", "Moon"};
    EXPECT_TRUE(asksAgain());
    fixture.settings.brand.protectedTerms = {"Moon", "Tide Pool"};
    EXPECT_FALSE(asksAgain()) << "their order means nothing";
    fixture.settings.locales["de-DE"].preferredScript = "Latn";
    EXPECT_TRUE(asksAgain());
    fixture.store.write("en-US", FieldType::subtitle, "Tides in view");
    EXPECT_TRUE(asksAgain());
    const TranslationKeyParts parts{"m", "ab", "c", FieldType::name, fixture.settings.brand};
    EXPECT_NE(TranslationCache::key(parts),
              TranslationCache::key({"ma", "b", "c", FieldType::name, fixture.settings.brand}));
    EXPECT_NE(TranslationCache::key(parts),
              TranslationCache::key({"m", "ab", "c", FieldType::subtitle, fixture.settings.brand}));
}

TEST(TranslationPipeline, skipsWhatIsEmptyAndWhatItMustNotTouch) {
    TranslationFixture fixture;
    fixture.settings.locales["fr-FR"].aiSafeMode = true;
    fixture.store.write("fr-FR", FieldType::subtitle, "Écrit à la main");
    const auto outcomes = fixture.pipeline().translate({{"en-US", "de-DE", FieldType::releaseNotes},
                                                        {"en-US", "en-US", FieldType::name},
                                                        {"en-US", "fr-FR", FieldType::subtitle},
                                                        {"en-US", "fr-FR", FieldType::name}},
                                                       fixture.settings);
    EXPECT_EQ(outcomes[0].warning, "What's new of en-US is empty — skipped.");
    EXPECT_EQ(outcomes[1].warning, "en-US is the source locale — skipped.");
    EXPECT_EQ(outcomes[2].warning,
              "Subtitle of fr-FR has a text, which the locale's safe mode keeps — skipped.");
    for (int index = 0; index < 3; ++index)
        EXPECT_TRUE(outcomes[static_cast<std::size_t>(index)].skipped);
    EXPECT_FALSE(outcomes[3].skipped) << "safe mode fills what is empty";
    EXPECT_EQ(fixture.claude->requests().size(), 1u);
    EXPECT_EQ(fixture.textOf(FieldType::subtitle, "fr-FR"), "Écrit à la main");
}

TEST(TranslationPipeline, retriesAnAnswerOverTheLimitWithANoteAndAddsUpWhatItTook) {
    const LogCapture log;
    TranslationFixture fixture({FakeClaude::says(thirty + "x"), FakeClaude::says("Kurz")});
    const TranslationOutcome outcome = fixture.translate(FieldType::subtitle);
    EXPECT_EQ(outcome.translation, "Kurz");
    EXPECT_FALSE(outcome.isOverLimit);
    EXPECT_EQ(outcome.warning, std::nullopt);
    EXPECT_EQ(outcome.inputTokens, 20);
    EXPECT_EQ(outcome.outputTokens, 10);
    const auto sent = fixture.claude->requests();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1].system, sent[0].system);
    EXPECT_EQ(sent[1].messages.size(), 1u);
    EXPECT_EQ(sent[1].messages[0].content.substr(0, sent[0].messages[0].content.size()),
              sent[0].messages[0].content);
    EXPECT_THAT(sent[1].messages[0].content, HasSubstr("was 31 characters — 1 over the hard limit of 30."));
    EXPECT_THAT(log.text(), HasSubstr("Field subtitle for de-DE was 31/30 chars; retry 1 of 2.\n"));
    EXPECT_THAT(log.text(), Not(HasSubstr("xxx"))) << "no text reaches the log";
}

TEST(TranslationPipeline, cutsWhatStaysOverTheLimitAndAsksForReview) {
    const LogCapture log;
    TranslationFixture fixture({FakeClaude::says("Gezeiten und Mondphasen überall im Blick")});
    const TranslationOutcome outcome = fixture.translate(FieldType::subtitle);
    EXPECT_EQ(fixture.claude->requests().size(), 3u);
    EXPECT_TRUE(outcome.isOverLimit);
    EXPECT_EQ(outcome.translation, "Gezeiten und Mondphasen");
    EXPECT_EQ(outcome.warning, "Translation is over the 30-char limit even after retries. "
                               "Cut from 40 to 23 chars at a word boundary — review before pushing.");
    EXPECT_EQ(fixture.textOf(FieldType::subtitle), "Gezeiten und Mondphasen");
    EXPECT_THAT(log.text(), HasSubstr("Hard-trimmed subtitle for de-DE: 40 → 23 chars at word boundary."));

    EXPECT_TRUE(
        fixture.pipeline().preview({{"en-US", "de-DE", FieldType::subtitle}}, fixture.settings)[0].fromCache)
        << "a preview announces what the run does";
    const TranslationOutcome again = fixture.translate(FieldType::subtitle);
    EXPECT_EQ(fixture.claude->requests().size(), 3u);
    EXPECT_TRUE(again.fromCache && again.isOverLimit);
    EXPECT_EQ(again.translation, outcome.translation);
    EXPECT_EQ(again.warning, "Cached translation is over the 30-char limit. "
                             "Cut from 40 to 23 chars at a word boundary — review before pushing.");
    EXPECT_THAT(log.text(), HasSubstr("Salvaged over-limit cached subtitle for de-DE: 40 → 23 chars."));
}

TEST(TranslationPipeline, translatesAnewWhatCannotBeSalvaged) {
    const LogCapture log;
    const std::string oneWord(40, 'x');
    TranslationFixture fixture({FakeClaude::says(oneWord), FakeClaude::says(oneWord),
                                FakeClaude::says(oneWord), FakeClaude::says("Kurz")});
    const TranslationOutcome outcome = fixture.translate(FieldType::subtitle);
    EXPECT_EQ(outcome.translation, thirty);
    EXPECT_THAT(*outcome.warning, HasSubstr("Cut from 40 to 30 chars inside a word"));
    EXPECT_EQ(fixture.translate(FieldType::subtitle).translation, "Kurz");
    EXPECT_THAT(log.text(),
                HasSubstr("Cached subtitle for de-DE is over-limit and not salvageable; re-translating."));
}

TEST(TranslationPipeline, keepsToAnAppsOwnLimitButNeverAboveTheStoresOne) {
    TranslationFixture fixture({FakeClaude::says("Gezeiten im Blick"), FakeClaude::says("Gezeiten im Blick"),
                                FakeClaude::says("Gezeiten im Blick")});
    fixture.settings.rules = {FieldRule::of(FieldType::subtitle, TranslateMode::on, 10)};
    EXPECT_EQ(fixture.translate(FieldType::subtitle).translation, "Gezeiten");
    fixture.settings.rules = {FieldRule::of(FieldType::subtitle, TranslateMode::on, 60)};
    EXPECT_EQ(fixture.translate(FieldType::subtitle).translation, "Gezeiten im Blick")
        << "the kept answer fits now";
    const auto preview =
        fixture.pipeline().preview({{"en-US", "fr-FR", FieldType::subtitle}}, fixture.settings);
    EXPECT_THAT(preview[0].prompt->system, HasSubstr("MUST be ≤ 30 characters"));
}

TEST(TranslationPipeline, draftsAgainWhereTheUserWantsAnotherAnswer) {
    TranslationFixture fixture({FakeClaude::says("Eins"), FakeClaude::says("Zwei")});
    const auto cache = std::make_shared<ClaudeResponseCache>(fixture.folder / "cache", 86'400, fixture.clock);
    TranslationPipeline::Parts parts = fixture.parts();
    parts.claude = std::make_shared<CachedClaudeClient>(fixture.claude, cache, nullptr);
    const std::vector<TranslationItem> items = {{"en-US", "de-DE", FieldType::subtitle}};
    const auto translate = [&] {
        return TranslationPipeline(parts).translate(items, fixture.settings).at(0);
    };
    EXPECT_EQ(translate().translation, "Eins");
    fixture.settings.keptAnswers = KeptAnswers::renewed;
    EXPECT_TRUE(TranslationPipeline(parts).preview(items, fixture.settings).at(0).prompt);
    EXPECT_EQ(translate().translation, "Zwei");
    fixture.settings.keptAnswers = KeptAnswers::taken;
    EXPECT_EQ(translate().translation, "Zwei") << "it took the place of the first";
    EXPECT_EQ(fixture.claude->requests().size(), 2u);
}

TEST(TranslationPipeline, endsOnlyTheItemThatFails) {
    TranslationFixture fixture({FakeClaude::says(thirty + "x"), fails(ClaudeError::ServerError{503, {}}),
                                breaksOff(), FakeClaude::says("```\n```"), FakeClaude::says("```\n```"),
                                FakeClaude::says("Gut")});
    TranslationPipeline::Parts parts = fixture.parts();
    parts.width = 1;
    const auto outcomes = TranslationPipeline(parts).translate({{"en-US", "de-DE", FieldType::subtitle},
                                                                {"en-US", "de-DE", FieldType::name},
                                                                {"en-US", "fr-FR", FieldType::name},
                                                                {"en-US", "../x", FieldType::name},
                                                                {"en-US", "fr-FR", FieldType::subtitle}},
                                                               fixture.settings);
    EXPECT_EQ(outcomes[0].error, "Penwise 503");
    EXPECT_EQ(outcomes[0].inputTokens, 10) << "the first answer was paid for";
    EXPECT_EQ(outcomes[0].translation, "");
    EXPECT_THAT(*outcomes[1].error, HasSubstr("broke off at the limit of 8192 output tokens"));
    EXPECT_EQ(outcomes[2].error, "Penwise returned an empty response.");
    EXPECT_THAT(*outcomes[3].error, HasSubstr("../x"));
    EXPECT_EQ(outcomes[4].translation, "Gut");
    EXPECT_EQ(fixture.textOf(FieldType::subtitle), "");
    EXPECT_EQ(fixture.textOf(FieldType::name), "");
}

TEST(TranslationPipeline, sendsNoMoreAfterAnErrorThatEveryRequestWouldHave) {
    TranslationFixture fixture({fails(ClaudeError::MissingAPIKey{})});
    TranslationPipeline::Parts parts = fixture.parts();
    parts.width = 1;
    const auto outcomes = TranslationPipeline(parts).translate({{"en-US", "de-DE", FieldType::subtitle},
                                                                {"en-US", "de-DE", FieldType::name},
                                                                {"en-US", "fr-FR", FieldType::releaseNotes}},
                                                               fixture.settings);
    EXPECT_EQ(fixture.claude->requests().size(), 1u);
    EXPECT_THAT(*outcomes[0].error, HasSubstr("not configured"));
    EXPECT_EQ(outcomes[1].error, outcomes[0].error);
    EXPECT_TRUE(outcomes[2].skipped);
}

TEST(TranslationPipeline, backsUpATextThatItReplacesAndRemembersTheSource) {
    TranslationFixture fixture({FakeClaude::says("Neu")});
    fixture.store.write("de-DE", FieldType::subtitle, "Von Hand");
    const TranslationOutcome outcome = fixture.translate(FieldType::subtitle);
    EXPECT_EQ(fixture.textOf(FieldType::subtitle), "Neu");
    const auto kept = fixture.folderOfTexts.privateFolder() / "kept/2026-03-01T12-30-00Z/de-DE/subtitle.txt";
    EXPECT_EQ(outcome.kept, kept.native());
    EXPECT_EQ(readFile(kept), "Von Hand");
    TranslationOrigins expected;
    expected.note("de-DE", FieldType::subtitle, "Tides at a glance", "Neu", "en-US");
    EXPECT_EQ(TranslationOrigins::load(fixture.folderOfTexts), expected);
}

TEST(TranslationPipeline, leavesATextThatWasEditedSinceTheItemsWereChosen) {
    TranslationFixture fixture({FakeClaude::says("Name"), [&](const ClaudeRequest&) {
                                    fixture.store.write("de-DE", FieldType::subtitle, "Von Hand");
                                    return FakeClaude::response("Maschine");
                                }});
    fixture.settings.replaced = TranslationWish::Which::stale;
    (void)fixture.translate(FieldType::name);
    fixture.store.write("en-US", FieldType::name, "Tide Pools");
    fixture.store.write("fr-FR", FieldType::name, "À la main");
    TranslationPipeline::Parts parts = fixture.parts();
    parts.width = 1;
    const auto outcomes = TranslationPipeline(parts).translate({{"en-US", "de-DE", FieldType::subtitle},
                                                                {"en-US", "fr-FR", FieldType::name},
                                                                {"en-US", "de-DE", FieldType::name}},
                                                               fixture.settings);
    EXPECT_EQ(outcomes[0].warning,
              "Subtitle of de-DE was edited meanwhile — skipped, so that the edit stays.");
    EXPECT_TRUE(outcomes[0].skipped && outcomes[1].skipped);
    EXPECT_EQ(outcomes[0].translation, "");
    EXPECT_GT(outcomes[0].costUSD, 0) << "it was paid for";
    EXPECT_EQ(outcomes[1].costUSD, 0) << "this one was not even asked for";
    EXPECT_EQ(fixture.textOf(FieldType::subtitle), "Von Hand");
    EXPECT_EQ(fixture.textOf(FieldType::name, "fr-FR"), "À la main");
    EXPECT_EQ(outcomes[2].translation, "Maschine") << "the old translation was not edited";
    fixture.settings.replaced = TranslationWish::Which::all;
    EXPECT_TRUE(fixture.translate(FieldType::subtitle).fromCache) << "what was paid for is not lost";
    fixture.store.write("de-DE", FieldType::subtitle, "");
    fixture.store.write("en-US", FieldType::subtitle, "Tides in view");
    fixture.settings.locales["de-DE"].aiSafeMode = true;
    EXPECT_TRUE(fixture.translate(FieldType::subtitle).skipped) << "filled while the model answered";
    EXPECT_EQ(fixture.textOf(FieldType::subtitle), "Von Hand");
}

TEST(TranslationPipeline, asksAgainForWhatAnAnswerLostAndFailsWhereItStaysLost) {
    TranslationFixture fixture({FakeClaude::says("Hilfe unter example.org"),
                                FakeClaude::says("Hilfe unter example.com/help"),
                                FakeClaude::says("I'm sorry, but I can't help with that.")});
    fixture.store.write("en-US", FieldType::description, "Get help at example.com/help");
    const TranslationOutcome found = fixture.translate(FieldType::description);
    EXPECT_EQ(found.translation, "Hilfe unter example.com/help");
    EXPECT_THAT(found.remarks, testing::IsEmpty());
    EXPECT_THAT(fixture.claude->requests().at(1).messages[0].content,
                testing::AllOf(HasSubstr("Get help at"), HasSubstr("exactly as written: example.com/help.")));

    const TranslationOutcome refused = fixture.translate(FieldType::description, "fr-FR");
    EXPECT_THAT(*refused.error, HasSubstr("the model refused: “I'm sorry, but I can't help with that.”"));
    EXPECT_EQ(refused.inputTokens, 10 * (std::ssize(fixture.claude->requests()) - 2)) << "each was paid for";
    EXPECT_GE(refused.inputTokens, 30);
    EXPECT_EQ(refused.review, std::nullopt);
    EXPECT_EQ(fixture.textOf(FieldType::description, "fr-FR"), "");
    (void)fixture.translate(FieldType::keywords);
    EXPECT_EQ(fixture.textOf(FieldType::keywords), "") << "no sentence is cut into keywords";
    const auto preview =
        fixture.pipeline().preview({{"en-US", "fr-FR", FieldType::description}}, fixture.settings);
    EXPECT_FALSE(preview[0].fromCache) << "a failure is not kept";

    TranslationFixture older({FakeClaude::says("Gezeiten unter example.com")});
    older.store.write("en-US", FieldType::subtitle, "Tides at example.com");
    older.parts().cache.store({.hashKey = TranslationCache::key({"m", "Tides at example.com", "de-DE",
                                                                 FieldType::subtitle, BrandContext{}}),
                               .translation = "Gezeiten im Netz"});
    EXPECT_EQ(older.translate(FieldType::subtitle).translation, "Gezeiten unter example.com")
        << "what was kept before there was the rule";
}

TEST(TranslationPipeline, writesTheBestOfTheAnswersWithWhatIsOddAboutIt) {
    TranslationFixture fixture({FakeClaude::says("Gezeiten seit langem"), FakeClaude::says(thirty + "x"),
                                FakeClaude::says(thirty + "x")});
    fixture.store.write("en-US", FieldType::subtitle, "Tides since 1998");
    const TranslationOutcome first = fixture.translate(FieldType::subtitle);
    EXPECT_EQ(first.translation, "Gezeiten seit langem") << "and not the one that was to be cut";
    EXPECT_THAT(first.remarks, testing::ElementsAre("Numbers of the source are missing: 1998."));
    EXPECT_FALSE(first.isOverLimit);
    const TranslationOutcome again = fixture.translate(FieldType::subtitle);
    EXPECT_TRUE(again.fromCache);
    EXPECT_EQ(again.remarks, first.remarks);

    TranslationFixture broken(
        {FakeClaude::says("Gezeiten seit langem"), fails(ClaudeError::Network{"gone"})});
    broken.store.write("en-US", FieldType::subtitle, "Tides since 1998");
    const TranslationOutcome kept = broken.translate(FieldType::subtitle);
    EXPECT_EQ(kept.error, std::nullopt) << "a text with a remark is better than none";
    EXPECT_EQ(kept.translation, "Gezeiten seit langem");
    TranslationFixture stubborn({FakeClaude::says("Gezeiten seit langem")});
    stubborn.store.write("en-US", FieldType::subtitle, "Tides since 1998");
    EXPECT_THAT(stubborn.translate(FieldType::subtitle).remarks, testing::SizeIs(1));
    EXPECT_EQ(stubborn.claude->requests().size(), 2u) << "a remark is worth one more request only";
}

TEST(TranslationPipeline, marksWhatItWritesAsUnread) {
    TranslationFixture fixture(
        {FakeClaude::says("Gezeiten"), FakeClaude::says("Ein sehr langer Untertitel, zu lang")});
    TranslationPipeline::Parts parts = fixture.parts();
    parts.width = 1;
    const auto outcomes = TranslationPipeline(parts).translate(
        {{"en-US", "de-DE", FieldType::name}, {"en-US", "de-DE", FieldType::subtitle}}, fixture.settings);
    EXPECT_EQ(outcomes[0].review, ReviewMark::generated);
    EXPECT_EQ(outcomes[1].review, ReviewMark::cut);
    ReviewMarks marks = ReviewMarks::load(fixture.folderOfTexts);
    EXPECT_EQ(marks.find("de-DE", FieldType::subtitle, fixture.textOf(FieldType::subtitle)), ReviewMark::cut);
    marks.clear({"de-DE", FieldType::name});
    marks.save(fixture.folderOfTexts);
    EXPECT_EQ(fixture.translate(FieldType::name).review, std::nullopt) << "the very text was accepted before";
}

TEST(TranslationPipeline, takesAFinalLineBreakForNoPartOfATextThatIsRead) {
    TranslationFixture fixture({FakeClaude::says("Im Blick"), FakeClaude::says("ebbe")});
    fixture.store.write("de-DE", FieldType::name, "Gezeiten\n");
    (void)fixture.translate(FieldType::subtitle);
    (void)fixture.translate(FieldType::keywords);
    fixture.store.write("en-US", FieldType::keywords, "tide,surf\n"); // as an editor saves it
    fixture.store.write("en-US", FieldType::subtitle, "\xEF\xBB\xBFTides at a glance\r\n");
    EXPECT_TRUE(fixture.translate(FieldType::keywords).fromCache);
    EXPECT_TRUE(fixture.translate(FieldType::subtitle).fromCache);
    EXPECT_THAT(*fixture.claude->requests().at(1).system,
                HasSubstr("- App name: Gezeiten\n- App subtitle: Im Blick\n"));
}

TEST(TranslationPipeline, translatesAnItemOnceThatIsListedTwice) {
    TranslationFixture fixture;
    const TranslationItem item{"en-US", "de-DE", FieldType::subtitle};
    const auto outcomes = fixture.pipeline().translate({item, item, item}, fixture.settings);
    EXPECT_EQ(fixture.claude->requests().size(), 1u);
    EXPECT_FALSE(outcomes[0].fromCache);
    EXPECT_TRUE(outcomes[1].fromCache && outcomes[2].fromCache);
}

TEST(TranslationPipeline, tellsTrueProgressAndKeepsWhatWasDoneWhenCancelled) {
    std::stop_source stop;
    TranslationFixture fixture(
        {FakeClaude::says("Eins"), FakeClaude::says("Zwei"), [&](const ClaudeRequest&) {
             stop.request_stop();
             checkCancellation();
             return FakeClaude::response("Drei");
         }});
    TranslationPipeline::Parts parts = fixture.parts();
    parts.width = 1;
    std::vector<std::string> told;
    const TaskScope scope(stop.get_token());
    EXPECT_THROW((void)TranslationPipeline(parts).translate(
                     {{"en-US", "de-DE", FieldType::name},
                      {"en-US", "de-DE", FieldType::subtitle},
                      {"en-US", "fr-FR", FieldType::name},
                      {"en-US", "fr-FR", FieldType::subtitle}},
                     fixture.settings,
                     [&](const TranslationPipeline::Progress& progress) {
                         const TranslationItem& item = progress.outcome.item;
                         told.push_back(std::to_string(progress.done) + "/" + std::to_string(progress.total) +
                                        " " + fixture.textOf(item.field, item.targetLocale));
                     }),
                 CancellationError);
    EXPECT_EQ(told, (std::vector<std::string>{"1/4 Eins", "2/4 Zwei"}));
    EXPECT_EQ(fixture.claude->requests().size(), 3u);
    EXPECT_TRUE(TranslationOrigins::load(fixture.folderOfTexts).find("de-DE", FieldType::subtitle));
}

TEST(TranslationPipeline, showsThePromptsWithoutSendingOrWritingAnything) {
    TranslationFixture fixture;
    (void)fixture.translate(FieldType::subtitle);
    const auto previews = fixture.pipeline().preview({{"en-US", "de-DE", FieldType::subtitle},
                                                      {"en-US", "fr-FR", FieldType::subtitle},
                                                      {"en-US", "fr-FR", FieldType::releaseNotes}},
                                                     fixture.settings);
    EXPECT_TRUE(previews[0].fromCache && !previews[0].prompt);
    EXPECT_THAT(previews[1].prompt->user, HasSubstr("Tides at a glance"));
    EXPECT_GT(previews[1].estimatedCostUSD, 0);
    EXPECT_THAT(*previews[2].skippedBecause, HasSubstr("skipped"));
    EXPECT_EQ(fixture.claude->requests().size(), 1u);
    EXPECT_EQ(fixture.textOf(FieldType::subtitle, "fr-FR"), "");
}

TEST(TranslationPipeline, goesOnWithoutItsCache) {
    TranslationFixture fixture;
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(fixture.container->file().c_str(), &other), SQLITE_OK);
    sqlite3_exec(other, "DROP TABLE CachedTranslation", nullptr, nullptr, nullptr);
    sqlite3_close(other);
    const LogCapture log;
    EXPECT_EQ(fixture.translate(FieldType::subtitle).translation, "Übersetzt");
    EXPECT_EQ(fixture.translate(FieldType::subtitle).translation, "Übersetzt");
    EXPECT_EQ(fixture.claude->requests().size(), 2u);
    EXPECT_THAT(log.text(), HasSubstr("A cached translation is not used"));
    EXPECT_THAT(log.text(), HasSubstr("A translation is not kept for later"));
}

TEST(TranslationPipeline, refusesATreeThatIsNotThere) {
    TranslationFixture fixture;
    TranslationPipeline::Parts parts = fixture.parts();
    parts.folder.rootURL = fixture.folder / "elsewhere";
    try {
        (void)TranslationPipeline(parts).translate({}, {});
        FAIL() << "translated into nothing";
    } catch (const MetadataError& error) {
        EXPECT_STREQ(error.what(), "Metadata folder unavailable.");
    }
    EXPECT_FALSE(std::filesystem::exists(parts.folder.rootURL));
}
