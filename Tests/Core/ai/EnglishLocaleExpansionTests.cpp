#include "Core/ai/ClaudeError.h"
#include "Core/ai/translation/EnglishLocaleExpansion.h"
#include "Core/metadata/MetadataStore.h"
#include "Platform/text/Text.h"
#include "Tests/Core/ai/FakeClaude.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace quorvel;
using test::FakeClaude;
using testing::HasSubstr;
using Which = TranslationWish::Which;

namespace {

struct Expansion {
    explicit Expansion(std::string answer, std::size_t limit = 100)
        : claude(std::make_shared<FakeClaude>(
              std::vector<FakeClaude::Answer>{FakeClaude::says(std::move(answer))})),
          result(EnglishLocaleExpansion(claude).expand({.baseKeywords = "tide,surf", .limit = limit})) {}
    std::shared_ptr<FakeClaude> claude;
    EnglishLocaleExpansion::Result result;
};

} // namespace

TEST(EnglishLocaleExpansion, readsTheFourListsInTheirOrderAndBringsThemUnderTheLimit) {
    const std::string tooLong = "favourite tide, " + std::string(95, 'x');
    const Expansion expansion(
        "Sure!\n```json\n"
        R"({"entries":[{"locale":"en-CA","keywords_field":" tide, moon "},)"
        R"({"locale":"fr-FR","keywords_field":"marée"},{"locale":"en-US","keywords_field":"tide,tide"},)"
        R"({"locale":"en-AU","keywords_field":" , "},{"locale":"en-GB","keywords_field":")" +
        tooLong +
        R"("}],"rationale":"Because."})"
        "\n```");
    using Entry = EnglishLocaleExpansion::Entry;
    EXPECT_EQ(expansion.result.entries,
              (std::vector<Entry>{{"en-US", "tide", {}},
                                  {"en-GB", "favourite tide",
                                   "Keywords are over the 100-char limit. "
                                   "Cut from 110 to 14 chars at a word boundary — review before pushing."},
                                  {"en-CA", "tide,moon", {}}}));
    EXPECT_EQ(expansion.result.rationale, "Because.");
    EXPECT_EQ(expansion.result.cost.inputTokens, 10);
    EXPECT_GT(expansion.result.cost.costUSD, 0);
    EXPECT_EQ(expansion.claude->requests().at(0).responseFormat, "json_object");
}

TEST(EnglishLocaleExpansion, keepsToAnAppsOwnLimit) {
    const Expansion expansion(R"({"entries":[{"locale":"en-GB","keywords_field":"tide,surf,moon"}]})", 9);
    EXPECT_EQ(expansion.result.entries.at(0).keywordsField, "tide,surf");
    EXPECT_EQ(expansion.result.entries.at(0).warning,
              "Keywords are over the 9-char limit. Cut from 14 to 9 chars at a word boundary — review "
              "before pushing.");
}

TEST(EnglishLocaleExpansion, refusesAnAnswerWithoutKeywords) {
    for (const char* answer :
         {"I cannot do that.", "{", "{}", R"({"entries":[]})", R"({"entries":[{"locale":"en-US"}]})"})
        try {
            const Expansion expansion(answer);
            FAIL() << answer;
        } catch (const ClaudeError& error) {
            EXPECT_TRUE(error.as<ClaudeError::Decoding>()) << answer;
        }
}

TEST(EnglishLocaleExpansion, leavesOutWordsThatALocalesNameAndSubtitleHoldAlready) {
    const auto claude = std::make_shared<FakeClaude>(std::vector<FakeClaude::Answer>{
        FakeClaude::says(R"({"entries":[{"locale":"en-US","keywords_field":"tide,surf,tide chart"},)"
                         R"({"locale":"en-GB","keywords_field":"ebb,tide,surf"}]})")});
    const auto result =
        EnglishLocaleExpansion(claude).expand({.baseKeywords = "tide",
                                               .appName = "Tide",
                                               .appSubtitle = "All you need",
                                               .indexedTexts = {{"en-GB", {"The Ebb", "Surf's up"}}}});
    ASSERT_EQ(result.entries.size(), 2u);
    EXPECT_EQ(result.entries[0].keywordsField, "surf,tide chart");
    EXPECT_EQ(result.entries[1].keywordsField, "tide,surf");
}

namespace {

struct EnglishTree {
    EnglishTree() {
        put("en-US", "tide,surf");
        put("en-GB", "ebb");
    }
    void put(std::string_view locale, std::string_view keywords) const {
        store.write(locale, FieldType::keywords, keywords);
    }
    std::string read(std::string_view locale) const {
        return store.read(locale, FieldType::keywords).value_or("(none)");
    }
    EnglishLocaleExpansion::Choice choose(Which which = Which::stale) const {
        return EnglishLocaleExpansion::choose(store, settings, which);
    }
    std::vector<EnglishLocaleExpansion::Entry> write(std::vector<EnglishLocaleExpansion::Entry> entries,
                                                     Which which = Which::stale) const {
        return EnglishLocaleExpansion::write(store, std::move(entries), settings, which,
                                             dateFromSecondsSince1970(1'772'368'200));
    }
    test::TemporaryFolder folder;
    MetadataStore store{MetadataFolder{folder.path()}};
    std::map<std::string, LocaleSettings> settings;
};

} // namespace

TEST(EnglishLocaleExpansion, choosesWhatIsEmptyOrOutdatedAndNeverWhatIsDisabledOrProtected) {
    using Choice = EnglishLocaleExpansion::Choice;
    using enum KeywordsKept;
    EnglishTree tree;
    EXPECT_EQ(tree.choose(),
              (Choice{{"en-AU", "en-CA"}, {{"en-US", upToDate, "tide,surf"}, {"en-GB", upToDate, "ebb"}}}));
    EXPECT_EQ(tree.choose(Which::all), (Choice{{"en-US", "en-GB", "en-AU", "en-CA"}, {}}));
    (void)tree.write({{"en-AU", "moon"}, {"en-CA", "wave"}});
    EXPECT_EQ(tree.choose().filled, std::vector<std::string>()) << "made from these keywords";
    tree.put("en-CA", "wave,by hand");
    tree.put("en-US", "tide,kite");
    EXPECT_EQ(tree.choose().filled, std::vector<std::string>{"en-AU"}) << "older, and not edited since";
    tree.settings = {
        {"en-US", {.aiSafeMode = true}}, {"en-GB", {.enabled = false}}, {"en-CA", {.enabled = false}}};
    tree.put("en-CA", "");
    EXPECT_EQ(
        tree.choose(Which::all),
        (Choice{{"en-AU"},
                {{"en-US", safeMode, "tide,kite"}, {"en-GB", disabled, "ebb"}, {"en-CA", disabled, ""}}}));
}

TEST(EnglishLocaleExpansion, namesTheFieldsThatStaySoThatOthersAreMade) {
    const EnglishTree tree;
    EXPECT_THAT(
        EnglishLocaleExpansion::prompt({.baseKeywords = "tide,surf", .choice = tree.choose()}).user,
        testing::EndsWith("\n\nFields that stay as they are; choose other long-tail terms:\nen-GB: ebb"));
}

TEST(EnglishLocaleExpansion, writesTheListsBacksUpOldOnesAndSparesAnEdit) {
    const EnglishTree tree;
    tree.put("en-CA", "written while the model answered");
    const auto entries = tree.write({{"en-AU", "flow"}, {"en-CA", "moon"}});
    EXPECT_TRUE(!entries.at(0).skipped && entries.at(1).skipped);
    EXPECT_EQ(tree.read("en-AU"), "flow");
    EXPECT_EQ(tree.read("en-CA"), "written while the model answered");
    const auto all = tree.write({{"en-US", "tide,kite"}, {"en-GB", "neap"}}, Which::all);
    EXPECT_EQ(readFile(all.at(0).kept.value()), "tide,surf");
    EXPECT_EQ(readFile(all.at(1).kept.value()), "ebb");
    EXPECT_EQ(tree.choose().filled, std::vector<std::string>{"en-AU"})
        << "en-GB was made together with the new keywords of en-US";
}
