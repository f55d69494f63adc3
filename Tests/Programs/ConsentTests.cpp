#include "Tests/Programs/MetadataFixture.h"

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Consents : public MetadataCommands {
  protected:
    // With every stream redirected, under a terminal at which `answer` is typed.
    ProgramResult answered(std::vector<std::string> words, const std::string& answer) {
        auto asking = call(std::move(words));
        asking.streams = ProgramCall::Streams::pipesUnderTerminal;
        asking.input = answer;
        return runProgram(asking);
    }
    std::map<std::string, std::string> filesBelow(const char* name) const {
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / name))
            files[entry.path().string()] = entry.is_directory() ? "" : readFile(entry.path()).value_or("");
        return files;
    }
};

TEST_F(Consents, areNeededForEveryCommandThatChangesAppStoreConnectOrDeletes) {
    ASSERT_EQ(run({"auth", "set", "--p8", environment["ASC_PRIVATE_KEY_PATH"]}).status, 0);
    ASSERT_EQ(pull().status, 0);
    ASSERT_EQ(run({"workspaces", "create", "Spare"}).status, 0);
    write("de-DE", "subtitle.txt", "Eins");
    createFolders(folder / "texts/screenshots");
    struct Case {
        std::vector<std::string> words;
        std::string question;
        bool hasDryRun;
    };
    const std::vector<Case> cases = {
        {{"push", "--app", app, "--folder", "texts"}, "Push 1 field", true},
        {{"versions", "create", "--app", app, "--platform", "tvos", "--version", "1.0"},
         "Make version 1.0 of Mosswick: Garden Journal for tvos?",
         true},
        {{"builds", "attach", "353", "--app", app}, "Attach build 353 (3.5) to version 3.5", true},
        {{"builds", "compliance", "353", "--exempt", "--app", app}, "Declare that build 353 (3.5)", true},
        {{"testflight", "groups", "create", "Readers", "--app", app},
         "Make the external group Readers",
         true},
        {{"release", "--app", "studio.fernhollow.tides"}, "Release 1.9 of Pocket Tides for ios", true},
        {{"workspaces", "delete", "Spare"}, "Delete the workspace \"Spare\"?", false},
        {{"auth", "forget"}, "Forget key ", false},
        {{"apps", "remove", app}, "Remove Mosswick: Garden Journal?", false},
        {{"screenshots", "push", "--app", app, "--folder", "texts"}, "", true}, // finds nothing to ask about
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.words[0] + " " + one.words[1]);
        server.forgetRequests();
        const auto refused = run(one.words);
        EXPECT_EQ(refused.status, 2) << refused.all();
        EXPECT_THAT(refused.error, AllOf(HasSubstr("needs --yes where nobody can be asked"),
                                         one.hasDryRun ? testing::Matcher<std::string>(HasSubstr("--dry-run"))
                                                       : Not(HasSubstr("--dry-run"))));
        EXPECT_THAT(server.requests(), IsEmpty());
        auto help = one.words;
        help.push_back("--help");
        EXPECT_THAT(run(help).out, HasSubstr("Asks on the terminal first"));
        if (one.hasDryRun) {
            auto dry = one.words;
            dry.push_back("--dry-run");
            EXPECT_NE(run(dry).status, 2);
        }
        if (one.question.empty()) continue;
        const auto declined = answered(one.words, "n\n");
        EXPECT_EQ(declined.status, 1) << declined.all();
        EXPECT_THAT(declined.terminal, AllOf(HasSubstr(one.question), HasSubstr("[y/N]")));
        EXPECT_THAT(declined.all(), AllOf(Not(HasSubstr("[y/N]")), HasSubstr("Nothing was")));
        EXPECT_EQ(changesSent(), 0u);
    }
    for (const Case& one : cases) {
        if (one.question.empty()) continue;
        const auto agreed = answered(one.words, "y\n");
        EXPECT_EQ(agreed.status, 0) << one.words[0] << "\n" << agreed.all();
    }
    EXPECT_EQ(changesSent(), 6u);
}

TEST_F(Consents, areAskedForWithWhatWouldChangeOnTheTerminalItself) {
    ASSERT_EQ(pull().status, 0);
    write("de-DE", "subtitle.txt", "Eins");
    const auto pushed =
        answered({"push", "--app", app, "--folder", "texts", "--json", "--no-color"}, "yes\n");
    EXPECT_EQ(pushed.status, 0) << pushed.all();
    EXPECT_THAT(pushed.terminal, testing::ContainsRegex("de-DE +Subtitle +Edited locally"));
    EXPECT_NE(onlyDocument(pushed.out).at("report", "run"), nullptr) << "and nothing but the document";
    EXPECT_THAT(answered({"push", "--app", app, "--folder", "texts", "--yes"}, "").terminal, IsEmpty());
}

TEST_F(Consents, areNotNeededForADryRunWhichEndsAsThePushWould) {
    ASSERT_EQ(pull().status, 0);
    std::filesystem::copy(folder / "texts", folder / "theirs", std::filesystem::copy_options::recursive);
    const std::string tooLong(31, 'x');
    struct Case {
        std::string_view what;
        std::vector<std::pair<std::string, std::string>> subtitles; // by locale
        std::vector<std::string> more;
        int status;
        std::string text;
    };
    const std::vector<Case> cases = {
        {"nothing", {}, {}, 0, "No pending changes"},
        {"a conflict", {{"ja", "私"}}, {}, 1, "ja Subtitle would fail: changed on App Store Connect"},
        {"one of two", {{"ja", "私"}, {"it", "Uno"}}, {}, 7, "would be pushed"},
        {"a text too long", {{"nl-NL", tooLong}}, {}, 1, "31 characters where 30"},
        {"one of two too long", {{"it", tooLong}, {"sv", "Ett"}}, {}, 7, "31 characters where 30"},
        {"a folder almost a locale", {{"de", "Eins"}}, {}, 1, "Did you mean \"de-DE\"?"},
        {"a folder asked for", {{"de", "Eins"}}, {"--locale", "de"}, 1, "Did you mean \"de-DE\"?"},
        {"beside another", {{"de", "Eins"}, {"fi", "Yksi"}}, {}, 7, "Did you mean \"de-DE\"?"},
        {"no locale", {{"default", "Eins"}, {"da", "En"}}, {}, 0, "default Subtitle"},
        {"a disabled one, named", {{"vi", "Mot"}}, {"--locale", "vi"}, 1, "disabled for this app"},
        {"all", {{"ko", "하나"}}, {}, 0, "would be pushed"},
    };
    ASSERT_EQ(run({"locale", "disable", "vi", "--app", app}).status, 0);
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        // Somebody else changes a text after our pull.
        writeFileAtomically(folder / "theirs/ios/next/ja/subtitle.txt", one.what);
        ASSERT_EQ(run({"push", "--app", app, "--folder", "theirs", "--yes"}).status, 0);
        for (const auto& [locale, subtitle] : one.subtitles)
            write(locale, "subtitle.txt", subtitle);
        auto words = std::vector<std::string>{"push", "--app", app, "--folder", "texts"};
        words.insert(words.end(), one.more.begin(), one.more.end());
        auto dry = words;
        dry.push_back("--dry-run");
        server.forgetRequests();
        const auto texts = filesBelow("texts");
        const auto home = filesBelow("home");
        const auto shown = run(dry);
        EXPECT_EQ(shown.status, one.status) << shown.all();
        EXPECT_THAT(shown.all(), AllOf(HasSubstr(one.text), Not(HasSubstr("\"data\""))));
        EXPECT_EQ(filesBelow("texts"), texts);
        EXPECT_EQ(filesBelow("home"), home);
        EXPECT_EQ(changesSent(), 0u);
        words.push_back("--yes");
        const auto pushed = run(words);
        EXPECT_EQ(pushed.status, one.status) << pushed.all();
        for (const auto& [locale, subtitle] : one.subtitles)
            std::filesystem::remove_all(folder / "texts/ios/next" / locale);
        ASSERT_EQ(pull().status, 0);
    }
    write("ko", "subtitle.txt", "둘");
    EXPECT_THAT(push({"--dry-run", "--verbose"}).out, HasSubstr("\"data\""));
    const auto meant = push({"--locale", "ko,da,fr"});
    EXPECT_EQ(meant.status, 4);
    EXPECT_THAT(meant.error, HasSubstr("Did you mean fr-FR?"));
}

} // namespace
} // namespace quorvel::test
