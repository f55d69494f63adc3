#include "Tests/Programs/MetadataFixture.h"

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// A tree in a repository, and nothing else: no home, no account, no recorded app.
class CheckCommand : public QuorvelTest {
  protected:
    void put(std::string_view path, std::string_view content) const {
        const auto file = folder / "texts/ios/next" / path;
        createFolders(file.parent_path());
        writeFileAtomically(file, content);
    }
    void putWhole(const std::string& locale) const {
        put(locale + "/name.txt", "Mosswick");
        put(locale + "/subtitle.txt", "Plan beds");
        put(locale + "/description.txt", "Plans a garden.");
        put(locale + "/keywords.txt", "compost,seeds");
        put(locale + "/release_notes.txt", "Calmer.");
        put(locale + "/support_url.txt", "https://example.com/help");
    }
    ProgramResult check(std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"check", "--folder", "texts"});
        return run(std::move(more));
    }
};

TEST_F(CheckCommand, isAGateWithoutAnAccount) {
    for (const auto* locale : {"en-US", "de-DE", "fr-FR"})
        putWhole(locale);
    const auto clean = check();
    EXPECT_EQ(clean.status, 0) << clean.all();
    EXPECT_EQ(clean.out, "ios/next: 18 texts and 0 pictures checked.\nNothing would be refused.\n");
    EXPECT_FALSE(std::filesystem::exists(folder / "home")); // nothing is written
    EXPECT_FALSE(std::filesystem::exists(folder / "texts/.brevant"));

    put("de-DE/keywords.txt", "kompost, saat");
    const auto warned = check();
    EXPECT_EQ(warned.status, 0);
    EXPECT_THAT(warned.out,
                HasSubstr("texts/ios/next/de-DE/keywords.txt:1:9: warning: Has blanks beside commas"));
    EXPECT_THAT(warned.out, HasSubstr("[blankAfterComma]\n"));
    EXPECT_THAT(warned.out, HasSubstr("0 errors, 1 warning. Nothing would be refused."));
    EXPECT_EQ(check({"--strict"}).status, 1);
    EXPECT_EQ(check({"--strict", "--locale", "fr-FR"}).status, 0);
    EXPECT_EQ(check({"--strict", "--field", "name"}).status, 0);
    EXPECT_EQ(check({"--strict", "--locale", "de-DE", "--field", "keywords"}).status, 1);

    put("fr-FR/name.txt", std::string(31, 'n'));
    put("de/name.txt", "Moos");
    const auto refused = check();
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.out,
                HasSubstr("texts/ios/next/fr-FR/name.txt:1:31: error: name.txt has 31 characters "
                          "where 30 are allowed. Shorten it. [overLimit]\n"));
    EXPECT_THAT(refused.out, HasSubstr("texts/ios/next/de: error: \"de\" is no App Store locale"));
    EXPECT_THAT(check({"--locale", "xx"}).error, HasSubstr("xx"));
    EXPECT_EQ(check({"--locale", "xx"}).status, 4);
    EXPECT_EQ(check({"--format", "yaml"}).status, 2);
    EXPECT_EQ(check({"--json", "--format", "github"}).status, 2);

    const auto json = check({"--json"});
    EXPECT_EQ(json.status, 1);
    EXPECT_EQ(check({"--format", "json"}).out, json.out);
    const JSONValue document = onlyDocument(json.out);
    EXPECT_EQ(*document.find("errors")->integer(), 2);
    const JSONValue& finding = document.find("checks")->items()->front().find("findings")->items()->front();
    EXPECT_EQ(*finding.find("rule")->text(), "overLimit");
    EXPECT_EQ(*finding.find("file")->text(), "ios/next/fr-FR/name.txt");
    EXPECT_EQ(*finding.find("column")->integer(), 31);
}

// What another tool laid out, with nothing beside it that says so.
TEST_F(CheckCommand, findsHowTheLocalesOfABareTreeLie) {
    const auto putBare = [&](const std::string& path, std::string_view content) {
        createFolders((folder / path).parent_path());
        writeFileAtomically(folder / path, content);
    };
    putBare("store/de-DE/name.txt", std::string(31, 'n') + "\n");
    const auto locales = run({"check", "--folder", "store/"});
    EXPECT_EQ(locales.status, 1) << locales.all();
    EXPECT_THAT(locales.out, AllOf(HasSubstr("store/de-DE/name.txt:1:31: error: "),
                                   HasSubstr("ios/next: 1 text and 0 pictures checked.")));
    EXPECT_THAT(run({"check", "--folder", "store", "--context", "macos/next"}).out,
                HasSubstr("macos/next: 1 text and"));
    putBare("platforms/mac/fr-FR/name.txt", std::string(31, 'n'));
    EXPECT_THAT(
        run({"check", "--folder", "platforms"}).out,
        AllOf(HasSubstr("platforms/mac/fr-FR/name.txt:1:31: error: "), HasSubstr("macos/next: 1 text")));
    EXPECT_THAT(run({"check", "--folder", "platforms/mac"}).out, HasSubstr("macos/next: 1 text and"));
    EXPECT_FALSE(std::filesystem::exists(folder / "store/.brevant")); // nothing is written
    putBare("other/readme.md", "x");
    EXPECT_EQ(run({"check", "--folder", "other"}).status, 4);
}

TEST_F(CheckCommand, writesWorkflowCommandsThatNoNameBreaks) {
    putWhole("en-US");
    put("en-US/100%,a:b\nc.md", "x");
    put("en-US/name.txt", std::string(31, 'n'));
    const auto shown = check({"--format", "github"});
    EXPECT_EQ(shown.status, 1);
    EXPECT_EQ(shown.error, "");
    EXPECT_EQ(
        shown.out,
        "::error file=texts/ios/next/en-US/name.txt,line=1,col=31,title=overLimit::name.txt has 31 "
        "characters where 30 are allowed. Shorten it.\n"
        "::warning file=texts/ios/next/en-US/100%25%2Ca%3Ab%0Ac.md,title=unknownFile::\"100%25,a:b\\nc.md\" "
        "is no field of the metadata. No push takes it.\n");
}

// As the current folder sees the files, and for annotations as the top of the repository does.
TEST_F(CheckCommand, namesFilesFromWhereItRuns) {
    putWhole("en-US");
    put("en-US/name.txt", std::string(31, 'n'));
    createFolders(folder / "texts/.git");
    createFolders(folder / "texts/tools/ci");
    const auto from = [&](const std::string& place, std::vector<std::string> words) {
        words.insert(words.begin(), "check");
        ProgramCall typed = call(std::move(words));
        typed.workingFolder = folder / place;
        return runProgram(typed).out;
    };
    const std::string place = "ios/next/en-US/name.txt";
    EXPECT_THAT(from("texts/tools", {"--folder", ".."}), testing::StartsWith("../" + place + ":1:31: error"));
    EXPECT_THAT(from("texts/tools/ci", {"--folder", "../..", "--format", "github"}),
                HasSubstr("::error file=" + place + ",line=1"));
    EXPECT_THAT(from("", {"--folder", "texts", "--format", "github"}), HasSubstr("::error file=" + place));
    EXPECT_THAT(from("texts/ios/next/en-US", {"--folder", "../../.."}),
                testing::StartsWith("name.txt:1:31: error"));
}

TEST_F(CheckCommand, tellsManyAlikeTogetherAndPicturesBesideTexts) {
    for (const auto* locale : {"en-US", "de-DE", "fr-FR", "ja", "it", "sv"}) {
        putWhole(locale);
        put(std::string(locale) + "/description.txt", "Plans.\n");
    }
    const auto shown = check();
    EXPECT_THAT(shown.out,
                AllOf(HasSubstr("texts/ios/next/de-DE/description.txt:1:7 and 5 more (en-US, fr-FR, it, ja, "
                                "sv): warning: Ends with a line break, which counts as a character"),
                      HasSubstr("[finalLineBreak]\n")));
    EXPECT_THAT(check({"--verbose"}).out, HasSubstr("sv/description.txt:1:7: warning: "));
    // Errors that say the same, too; what tells of different texts stays apart.
    for (const auto* locale : {"en-US", "de-DE", "fr-FR", "ja", "it", "sv"}) {
        put(std::string(locale) + "/keywords.txt", "");
        put(std::string(locale) + "/.keep", "");
        put(std::string(locale) + "/name.txt", std::string(31 + std::string_view(locale).front() % 7, 'n'));
    }
    const auto grouped = check();
    EXPECT_THAT(grouped.out, HasSubstr("texts/ios/next/de-DE/keywords.txt and 5 more (en-US, fr-FR, it, ja, "
                                       "sv): warning: Is missing; without this text"));
    EXPECT_THAT(grouped.out, AllOf(HasSubstr("ja/name.txt:1:31: error: name.txt has 32 characters where 30"),
                                   HasSubstr("fr-FR/name.txt:1:31: error: name.txt has 35 characters")));
    EXPECT_THAT(check({"--locale", "ja", "--locale", "it"}).out,
                HasSubstr("12 texts and 0 pictures checked."));
    EXPECT_THAT(check({"--field", "name"}).out, HasSubstr("6 texts and 0 pictures checked."));
    for (int number = 1; number <= 11; ++number) {
        const auto file =
            folder / "texts/screenshots/en-US/APP_IPHONE_67" / (std::to_string(number) + ".png");
        createFolders(file.parent_path());
        writeFileAtomically(file, "no picture");
    }
    const auto refused = check();
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.out, AllOf(HasSubstr("texts/screenshots/en-US/APP_IPHONE_67/1.png: error: "),
                                   HasSubstr("[pictureRefused]"), HasSubstr("has 11 pictures"),
                                   HasSubstr("36 texts and 11 pictures checked.")));
    EXPECT_THAT(check({"--locale", "ja"}).out, HasSubstr("6 texts and 0 pictures checked."));
}

TEST_F(CheckCommand, warnsOfAPasswordThatARepositoryWouldTake) {
    putWhole("en-US");
    put("review_information/demo_password.txt", "\n");
    ASSERT_EQ(runProgram({"/usr/bin/git", {"init", "--quiet"}, environment, folder.path(), ""}).status, 0);
    EXPECT_THAT(check().out, Not(HasSubstr("secretInRepository"))); // there is none to be taken
    put("review_information/demo_password.txt", "sesame");
    const auto warned = check();
    EXPECT_THAT(warned.out,
                AllOf(HasSubstr("demo_password.txt: warning: "), HasSubstr("[secretInRepository]")));
    EXPECT_THAT(warned.all(), Not(HasSubstr("sesame")));
    writeFileAtomically(folder / ".gitignore", "demo_password.txt\n");
    EXPECT_THAT(check().out, Not(HasSubstr("secretInRepository")));
}

TEST_F(MetadataCommands, checksAllAppsEachWithItsOwnOutcome) {
    ASSERT_EQ(run({"pull", "--app", app}).status, 0);
    ASSERT_EQ(run({"apps", "import", "studio.fernhollow.tides"}).status, 0);
    EXPECT_EQ(run({"check", "--all-apps"}).status, 1); // release notes are still to be written
    const auto shown = run({"check", "--all-apps", "--field", "name"});
    EXPECT_EQ(shown.status, 7) << shown.all();
    EXPECT_THAT(shown.all(),
                AllOf(HasSubstr("Mosswick: Garden Journal ios/next: "), HasSubstr("has not been pulled")));
    EXPECT_EQ(run({"check", "--all-apps", "--app", app}).status, 2);
}

} // namespace
} // namespace quorvel::test
