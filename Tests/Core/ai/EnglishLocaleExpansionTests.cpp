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
    EXPECT_EQ(expansion.result.inputTokens, 10);
    EXPECT_GT(expansion.result.costUSD, 0);
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

TEST(EnglishLocaleExpansion, writesTheListsAndBacksUpOldOnes) {
    const test::TemporaryFolder folder;
    const MetadataStore store(MetadataFolder{folder.path()});
    store.write("en-US", FieldType::keywords, "old");
    store.write("en-AU", FieldType::keywords, "by hand");
    const Expansion expansion(
        R"({"entries":[{"locale":"en-US","keywords_field":"tide"},{"locale":"en-GB","keywords_field":"ebb"},)"
        R"({"locale":"en-AU","keywords_field":"flow"},{"locale":"en-CA","keywords_field":"moon"}]})");
    const auto entries =
        EnglishLocaleExpansion::write(store.folder(), expansion.result.entries,
                                      {{"en-AU", {.aiSafeMode = true}}, {"en-CA", {.aiSafeMode = true}}},
                                      dateFromSecondsSince1970(1'772'368'200));
    EXPECT_EQ(store.read("en-US", FieldType::keywords), "tide");
    EXPECT_EQ(store.read("en-GB", FieldType::keywords), "ebb");
    EXPECT_EQ(store.read("en-AU", FieldType::keywords), "by hand") << "safe mode keeps what is there";
    EXPECT_EQ(store.read("en-CA", FieldType::keywords), "moon") << "and fills what is empty";
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(readFile(entries[0].kept.value()), "old");
    EXPECT_EQ(entries[1].kept, std::nullopt);
    EXPECT_TRUE(entries[2].skipped && !entries[3].skipped);
}
