#include "Platform/text/Text.h"
#include "Tests/Programs/MetadataFixture.h"

#include <random>

namespace quorvel::test {
namespace {

using testing::HasSubstr;

using DiffCommand = MetadataCommands;

TEST_F(DiffCommand, showsWordsThatChangedInAnyScriptAndRebuildsBothTexts) {
    ASSERT_EQ(pull().status, 0);
    std::string longText;
    for (int index = 0; index < 500; ++index)
        longText += "word" + std::to_string(index) + (index % 40 == 39 ? "\n" : " ");
    std::string edited = longText;
    edited.replace(edited.find("word250"), 7, "replaced");
    write("en-US", "description.txt", longText);
    ASSERT_EQ(push({"--locale", "en-US"}).status, 0);
    write("en-US", "description.txt", edited);
    write("ja", "description.txt", "庭仕事がもっと楽しく。\n" + read("ja", "description.txt"));
    write("th", "promotional_text.txt", read("th", "promotional_text.txt") + "ใหม่");
    write("de-DE", "description.txt", std::string(3900, 'z')); // nothing in common

    const auto shown = run({"diff", "--folder", "texts"});
    EXPECT_THAT(shown.out, HasSubstr("word249 [-word250-]{+replaced+} word251"));
    EXPECT_THAT(shown.out, HasSubstr("{+庭仕事がもっと楽しく。⏎+}"));
    EXPECT_THAT(shown.out, HasSubstr("unchanged lines"));
    EXPECT_THAT(shown.out, HasSubstr("{+ใหม่+}"));
    EXPECT_THAT(shown.out, HasSubstr("4 changes in all."));

    const JSONValue differences = documented({"diff", "--folder", "texts"}, "differences");
    for (const JSONValue& difference : *differences.items())
        expectRebuilds(difference);
}

TEST_F(DiffCommand, rebuildsAnyTwoTextsFromTheirDiff) {
    const std::vector<std::string> words = {"a", "b",    "cc", " ", "  ", "\n",
                                            ",", "日本", "語", "é", "🌿",  "x"};
    std::mt19937 random(7);
    const auto randomText = [&](std::size_t length) {
        std::string result;
        for (std::size_t index = 0; index < length; ++index)
            result += words[random() % words.size()];
        return result + ".";
    };
    std::map<std::string, std::pair<std::string, std::string>> texts;
    for (const std::string locale :
         {"ar-SA", "ca", "cs", "da", "de-DE", "el", "en-AU", "en-CA", "en-GB", "en-US"}) {
        for (const auto* field : {"description.txt", "release_notes.txt"}) {
            const std::string before = randomText(random() % 300);
            std::string after = randomText(random() % 300);
            const std::string half = before.substr(0, before.size() / 2);
            if (random() % 2 && isValidUTF8(half)) after = half + after;
            write(locale, field, after);
            const auto copy = folder / "texts/ios/next/.brevant/asc" / locale / field;
            createFolders(copy.parent_path());
            writeFileAtomically(copy, before);
        }
    }
    const JSONValue differences = documented({"diff", "--folder", "texts"}, "differences");
    EXPECT_GE(differences.items()->size(), 19u);
    for (const JSONValue& difference : *differences.items())
        expectRebuilds(difference);
}

} // namespace
} // namespace quorvel::test
