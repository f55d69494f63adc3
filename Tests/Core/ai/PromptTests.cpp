#include "Core/ai/translation/EnglishLocaleExpansion.h"
#include "Core/ai/translation/LocaleNotes.h"
#include "Core/ai/translation/PromptBuilder.h"
#include "Core/metadata/Locales.h"
#include "Platform/files/Files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace quorvel;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

// Golden files hold both parts of a prompt whole.
std::string golden(std::string_view name) {
    return readFile(std::filesystem::path(QUORVEL_SOURCE_DIR) / "Tests/Core/ai/golden" /
                    (std::string(name) + ".txt"))
        .value();
}

std::string whole(const PromptBuilder::Prompt& prompt) {
    return "SYSTEM\n" + prompt.system + "\nUSER\n" + prompt.user + "\n";
}

const BrandContext brand{
    "Calm, precise, never salesy.",
    {"Tide Pool", "FernHollow"},
    {{"high tide", {{"de-DE", "Hochwasser"}, {"fr-FR", "marée haute"}}}, {"moon", {{"fr-FR", "lune"}}}}};

} // namespace

TEST(PromptBuilder, writesTheTranslationPromptsOfTheGoldenFiles) {
    const struct {
        std::string name;
        PromptBuilder::TranslationRequest request;
    } cases[] = {
        {"subtitle-de-DE", {{"en-US", "de-DE", FieldType::subtitle}, "Tides at a glance", 30, brand, {}}},
        {"name-pa-IN", {{"en-US", "pa-IN", FieldType::name}, "Tide Pool", 30, {}, "latn"}},
        {"description-en-GB",
         {{"en-US", "en-GB", FieldType::description}, "Know the tides.\n\n• Charts\n• Alerts", 4000, {}, {}}},
        {"releaseNotes-ja",
         {{"en-US", "ja", FieldType::releaseNotes},
          "2.4.3\n- Bug fixes and improvements",
          4000,
          {" ", {"Tide Pool"}, {}},
          {}}},
        {"promotionalText-he",
         {{"fr-FR", "he", FieldType::promotionalText}, "Marées en direct", 150, {}, {}}}, // an app's own
                                                                                          // limit
    };
    for (const auto& each : cases)
        EXPECT_EQ(whole(PromptBuilder::translation(each.request)), golden(each.name)) << each.name;
}

TEST(PromptBuilder, writesTheKeywordsPromptsOfTheGoldenFiles) {
    EXPECT_EQ(whole(PromptBuilder::keywords({.locale = "fr-FR",
                                             .limit = 100,
                                             .appName = "Tide Pool",
                                             .appSubtitle = "Marées en direct",
                                             .brand = {"Calm, precise.", {"ignored"}, {}},
                                             .indexedTerms = {"marée", "côte"},
                                             .referenceKeywords = "tide,surf,moon,fishing"})),
              golden("keywords-fr-FR"));
    EXPECT_EQ(whole(PromptBuilder::keywords(
                  {.locale = "ko", .limit = 100, .appSubtitle = "", .referenceKeywords = "tide"})),
              golden("keywords-ko"));
    EXPECT_EQ(
        whole(EnglishLocaleExpansion::prompt({"tide,surf", "Tide Pool", "At a glance", {"Calm.", {}, {}}})),
        golden("english-expansion"));
}

TEST(PromptBuilder, tellsARetryByHowMuchItWasOverAndHowToGetShorter) {
    constexpr const char* drop =
        ". The limit is non-negotiable. If the source is comma-separated, "
        "DROP the lowest-value item entirely rather than abbreviating the others. "
        "Single-word omissions are preferred over awkward truncations. Return ONLY the shorter version.";
    const std::string over = "\nThe previous attempt was 41 characters — 11 over the hard limit of 30";
    EXPECT_EQ(PromptBuilder::retryNote(FieldType::subtitle, "Tides", 41, 30), over + drop);
    EXPECT_EQ(PromptBuilder::retryNote(FieldType::promotionalText, "Charts, alerts, moon, surf", 41, 30),
              over + drop);
    EXPECT_EQ(PromptBuilder::retryNote(FieldType::description,
                                       "Know the tides, everywhere you are going to be.", 41, 30),
              over + ". Condense aggressively while preserving the core meaning.");
    EXPECT_EQ(PromptBuilder::retryNote(FieldType::keywords, "a,b", 104, 100),
              "\nThe previous attempt was 104 characters; the hard limit is 100. "
              "Drop low-impact terms and try again.");
}

TEST(LocaleNotes, coverEveryAppStoreLocale) {
    ASSERT_EQ(allLocaleNotes().size(), appStoreLocales().size());
    for (std::size_t index = 0; index < appStoreLocales().size(); ++index) {
        const LocaleNote& note = allLocaleNotes()[index];
        EXPECT_EQ(note.locale, appStoreLocales()[index]);
        EXPECT_GT(note.note.size(), 20u) << note.locale;
        EXPECT_EQ(note.note.find('\n'), std::string_view::npos) << note.locale;
        EXPECT_TRUE(note.lengthFactor >= 0.4 && note.lengthFactor <= 1.5) << note.locale;
    }
    EXPECT_THAT(notesFor("de-DE"),
                EndsWith("\n- Length expansion factor vs English: ~1.3×. Plan accordingly."));
    EXPECT_EQ(notesFor("gu"), notesFor("gu-IN"));
    EXPECT_THAT(notesFor("en-AU"), Not(HasSubstr("expansion")));
    EXPECT_THAT(notesFor("tlh"), HasSubstr("conventions of tlh"));
}
