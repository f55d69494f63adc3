#include "Core/ai/translation/FixedParts.h"
#include "Core/ai/translation/TranslationChecks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace quorvel;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(FixedParts, areToldFromTheTextAroundThem) {
    EXPECT_THAT(placeholdersIn("%@ has %1$@ of %ld, {name}: 50%discount, 5 % of {two words}, %.2f%%, %d件"),
                ElementsAre("%@", "%1$@", "%ld", "{name}", "%.2f", "%d"));
    EXPECT_THAT(addressesIn("See https://example.com/a_(b)?x=1, (www.tide.pool) or help@tide-pool.app. "
                            "Also example.com/help; not Node.js, e.g. this.That or 10.30."),
                ElementsAre("https://example.com/a_(b)?x=1", "www.tide.pool", "help@tide-pool.app",
                            "example.com/help"));
    EXPECT_THAT(addressesIn("詳しくはhttps://example.com/jaをご覧ください"),
                ElementsAre("https://example.com/ja"));
    EXPECT_THAT(numbersIn("3 of 10,000 in 2026, 24/7, 1.5 or ١٢٣ at https://x.com/99, %10d, 12’500, 10.12."),
                ElementsAre("10000", "2026", "24", "123", "12500", "10", "12"));
}

TEST(TranslationChecks, nameTheRuleThatAnAnswerBreaks) {
    const BrandContext brand{.brandVoice = {},
                             .protectedTerms = {"Tide Pool", " "},
                             .glossary = {{"log", {{"de-DE", "Logbuch"}, {"ja", "記録"}}}}};
    const std::string longSource = "Know the tides. " + std::string(300, 'x');
    const struct {
        const char* locale;
        FieldType field;
        std::string source, text;
        std::vector<std::string_view> rules;
        std::optional<std::string> stopReason = {};
    } cases[] = {
        {"de-DE",
         FieldType::description,
         "Tide Pool: %@ at 10:30, see example.com",
         "Tide Pool: %@ um 10.30 Uhr, siehe example.com",
         {}},
        {"de-DE", FieldType::description, "%@ and {name} and %@", "%@ und {Name}", {"placeholder"}},
        {"de-DE",
         FieldType::description,
         "See https://example.com/en",
         "Siehe https://example.com/de",
         {"address"}},
        {"de-DE",
         FieldType::subtitle,
         "Tides with Tide Pool",
         "Gezeiten mit Gezeitentümpel",
         {"protectedTerm"}},
        {"de-DE",
         FieldType::subtitle,
         "Tide Pools are rare",
         "Gezeitentümpel sind selten",
         {}}, // another word
        {"de-DE", FieldType::subtitle, "Your Log of tides", "Dein Protokoll", {"glossary"}},
        {"de-DE", FieldType::subtitle, "Your log of tides", "Dein LOGBUCH", {}},
        {"fr-FR", FieldType::subtitle, "Your log of tides", "Votre journal", {}}, // has no rendering
        {"de-DE", FieldType::releaseNotes, "1,200 spots in 3 days", "1.200 Orte in drei Tagen", {}},
        {"de-DE", FieldType::releaseNotes, "1200 spots since 2024", "1 200 Orte seit 2023", {"number"}},
        {"ar-SA", FieldType::releaseNotes, "24 hours", "\u200F٢٤ ساعة", {}},
        {"ja", FieldType::releaseNotes, "20,000 spots, 15 new", "2万か所、新規15", {}},
        {"de-DE", FieldType::subtitle, "Tides and moon phases", "Tides and moon phases", {"echo"}},
        {"en-GB", FieldType::subtitle, "Tides and moon phases", "Tides and moon phases", {}},
        {"de-DE", FieldType::subtitle, "Tide Pool Premium", "Tide Pool Premium", {}},
        {"de-DE", FieldType::name, "Tides and moon phases", "Tides and moon phases", {}},
        {"ja", FieldType::description, "Tides.", "I’m sorry, but I can't help with that.", {"refusal"}},
        {"de-DE", FieldType::keywords, "tide,surf", "I cannot assist with this request.", {"refusal"}},
        {"de-DE", FieldType::releaseNotes, "Sorry, we broke it.", "Es tut mir leid, aber ich war es.", {}},
        {"de-DE", FieldType::keywords, "tide 2026,Tide Pool", "ebbe", {}},
        {"de-DE",
         FieldType::description,
         "One.\n\nTwo.",
         "Eins.\n\nZwei.\n\n**Note:** I kept it short.",
         {"remarkBehind"}},
        {"de-DE", FieldType::description, "One.\n\nTwo.", "Eins.\n\nHinweis: zwei.", {}},
        {"de-DE", FieldType::description, "One.", "Eins.\n\n(5 characters)", {"remarkBehind"}},
        {"de-DE", FieldType::description, longSource, "Gezeiten.", {"stump"}},
        {"de-DE", FieldType::description, longSource, "Gezei", {"filtered", "stump"}, "content_filter"},
        {"zh-Hans", FieldType::description, longSource, std::string(60, 'x'), {}},
    };
    for (const auto& each : cases) {
        const TranslationItem item{"en-US", each.locale, each.field};
        std::vector<std::string_view> rules;
        for (const TextFinding& finding :
             findingsIn({item, each.source, each.text, limitOf(each.field), brand, each.stopReason}))
            rules.push_back(finding.rule);
        EXPECT_THAT(rules, ElementsAreArray(each.rules))
            << each.locale << " " << each.source << " → " << each.text;
    }
}

TEST(TranslationChecks, tellUserAndModelWhatIsMissing) {
    const TranslationItem item{"en-US", "de-DE", FieldType::description};
    const auto findings = findingsIn({item, "{a} {b} {a} in 2026", "{b}", 4000, {}});
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(findings[0].problem, "the answer lost what programs fill in: {a}");
    EXPECT_THAT(findings[0].note, HasSubstr("\nThe previous attempt lost these placeholders"));
    EXPECT_THAT(findings[0].note, HasSubstr("exactly as written: {a}."));
    EXPECT_TRUE(hasFailure(findings));
    EXPECT_EQ(findings[1].problem, "Numbers of the source are missing: 2026.");
    EXPECT_EQ(findings[1].meaning, TextFinding::Meaning::remark);
}
