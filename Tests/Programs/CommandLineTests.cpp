#include "Platform/text/Text.h"
#include "Tests/Programs/QuorvelFixture.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

namespace quorvel::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class CommandLine : public QuorvelTest {
  protected:
    // The names in a section of a help text.
    static std::vector<std::string> namesIn(const std::string& help, const std::string& section) {
        std::vector<std::string> names;
        std::istringstream lines(help);
        bool inside = false;
        for (std::string line; std::getline(lines, line);) {
            if (line == section + ":")
                inside = true;
            else if (line.empty())
                inside = false;
            else if (inside && line.starts_with("  ") && line[2] != ' ')
                names.push_back(line.substr(2, line.find(' ', 2) - 2));
        }
        return names;
    }

    // Every command with its words, found by walking the help.
    std::vector<std::vector<std::string>> allCommands(const std::vector<std::string>& above = {}) {
        std::vector<std::vector<std::string>> commands;
        auto words = above;
        words.push_back("--help");
        const auto help = run(words);
        EXPECT_EQ(help.status, 0);
        for (const auto& name : namesIn(help.out, "Commands")) {
            auto command = above;
            command.push_back(name);
            commands.push_back(command);
            for (auto& deeper : allCommands(command))
                commands.push_back(std::move(deeper));
        }
        return commands;
    }
};

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

TEST_F(CommandLine, namesWhatIsWrongAndTheNearestSpelling) {
    struct Case {
        std::vector<std::string> words;
        std::string problem, hint;
    };
    const std::vector<Case> cases = {
        {{"statsu"}, "unknown command \"statsu\"", "Did you mean status?"},
        {{"psuh"}, "unknown command \"psuh\"", "Did you mean push?"},
        {{"help", "psuh"}, "unknown command \"psuh\"", "Did you mean push?"},
        {{"help", "auth", "sett"}, "unknown command \"auth sett\"", "Did you mean auth set?"},
        {{"frobnicate"}, "unknown command \"frobnicate\"", "--help"},
        {{"auth"}, "\"auth\" needs a command", "auth --help"},
        {{"apps", "--json=1"}, "--json takes no value", ""},
        {{"apps", "--all=yes"}, "--all takes no value", ""},
        {{"apps", "--", "--all"}, "unknown argument \"--all\"", ""},
        {{"auth", "chekc"}, "unknown command \"chekc\" of \"auth\"", "Did you mean check?"},
        {{"pull", "--flder", "x"}, "unknown option \"--flder\"", "Did you mean --folder?"},
        {{"pull", "--flder=x"}, "unknown option \"--flder\"", "Did you mean --folder?"},
        {{"pull", "extra"}, "unknown argument \"extra\"", ""},
        {{"pull", "--app"}, "--app needs a value", ""},
        {{"pull", "--app="}, "\"--app\" is empty", ""},
        {{"pull", "--app=", "--yes"}, "\"--app\" is empty", ""},
        {{"pull", "--app", "--yes"}, "--app needs a value, and \"--yes\" is an option", ""},
        {{"pull", "--app", "a", "--app", "b"}, "--app is given more than once", ""},
        {{"pull", "--context", "ios"}, "\"ios\" is no context", "ios/next"},
        {{"pull", "--all-contexts", "--context", "ios/next"}, "exclude each other", ""},
        {{"pull", "--nope"}, "unknown option \"--nope\"", "See 'quorvel pull --help'."},
        {{"push", "--field", "keywords,titel"}, "\"titel\" is no value of --field", "subtitle"},
        {{"push", "--field", ","}, "the value of --field is empty", ""},
        {{"push", "--field", "titel"}, "\"titel\" is no value of --field", "subtitle"},
        {{"push", "--field", "keyword"}, "\"keyword\" is no value", "Did you mean keywords?"},
        {{"versions", "create", "--version", "1.0"}, "needs --platform", ""},
        {{"versions", "create", "--platform", "ios"}, "needs --version", ""},
        {{"versions", "create", "--platform", "watch"}, "\"watch\" is no value of --platform", "ios, macos"},
        {{"versions", "create", "--platform", "ios", "--version", "v1.2", "--yes"},
         "\"v1.2\" is no version",
         "mean 1.2?"},
        {{"versions", "create", "--platform", "ios", "--version", "1.2.3.4", "--yes"},
         "is no version",
         "three numbers"},
        {{"versions", "create", "--platform", "ios", "--version", "1..2", "--yes"},
         "is no version",
         "three numbers"},
        {{"metadata", "import"}, "needs DIR", ""},
        {{"sandbox", "--state", "s", "--port", "70000"}, "\"70000\" is no value of --port", "0 to 65535"},
        {{"sandbox", "--state", "s", "--port", "8x"}, "\"8x\" is no value of --port", ""},
        {{"sandbox", "--state", "s", "--fault", "GET /v1/apps"}, "is no value of --fault", "ROUTE"},
        {{"completion", "powershell"}, "\"powershell\" is no value of SHELL", "bash, zsh, fish"},
        {{"costs", "--dry-run"}, "\"costs\" has no dry run", ""},
        {{"apps", "import"}, "needs bundle ids, or --all", "--remote"},
        {{"apps", "--remote", "--all"}, "exclude each other", ""},
        {{"apps", "remove"}, "needs APP", ""},
        {{"rules", "set", "name"}, "needs --translate MODE", ""},
        {{"locale", "add", "de_DE"}, "\"de_DE\" is no App Store locale", "Did you mean de-DE?"},
    };
    environment["ASC_KEY_ID"] = "incomplete";
    for (const Case& one : cases) {
        const auto result = run(one.words);
        EXPECT_EQ(result.status, 2) << joined(one.words) << "\n" << result.all();
        EXPECT_THAT(result.error, HasSubstr(one.problem)) << joined(one.words);
        EXPECT_THAT(result.error, HasSubstr(one.hint)) << joined(one.words);
        EXPECT_THAT(result.error, StartsWith("quorvel: ")) << joined(one.words);
        EXPECT_THAT(result.out, IsEmpty()) << joined(one.words);

        auto words = one.words;
        words.insert(words.begin(), "--json");
        if (joined(one.words).ends_with("--app")) continue;
        const auto json = run(words);
        EXPECT_EQ(json.status, result.status) << joined(words);
        const JSONValue document = onlyDocument(json.out);
        const auto* status = document.at("error", "exitStatus");
        ASSERT_NE(status, nullptr) << joined(words);
        EXPECT_EQ(*status->integer(), result.status) << joined(words);
    }
}

TEST_F(CommandLine, helpsForEveryCommandAndAcceptsGlobalOptionsOnBothSides) {
    const auto commands = allCommands();
    EXPECT_GE(commands.size(), 20u);
    for (const auto& command : commands) {
        auto words = command;
        words.insert(words.begin(), "--quiet");
        words.push_back("-h");
        const auto help = run(words);
        EXPECT_EQ(help.status, 0) << joined(words);
        EXPECT_THAT(help.out, HasSubstr("Usage: quorvel " + joined(command))) << joined(words);
        EXPECT_THAT(help.error, IsEmpty());
    }
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"help", "push"}, {"push", "--help"}}) {
        auto asJSON = words;
        asJSON.push_back("--json");
        EXPECT_EQ(*onlyDocument(run(asJSON).out).find("help")->text(), run(words).out);
    }
    EXPECT_THAT(run({"push", "--help"}).out, HasSubstr("--dry-run"));
    EXPECT_THAT(run({"costs", "--help"}).out, Not(HasSubstr("--dry-run")));
    EXPECT_THAT(run({"--help"}).out, HasSubstr("Usage: quorvel COMMAND"));
    EXPECT_EQ(run({"help"}).out, run({"--help"}).out);
    EXPECT_EQ(run({"help", "push"}).out, run({"push", "--help"}).out);
    EXPECT_EQ(run({"help", "auth", "set"}).out, run({"auth", "set", "--help"}).out);
    const auto home = run({});
    EXPECT_EQ(home.status, 0);
    EXPECT_THAT(home.out, testing::AllOf(HasSubstr("The first steps:"), HasSubstr("'quorvel help'")));
    EXPECT_LT(std::ranges::count(home.out, '\n'), 24) << "more is scrolled away";
    EXPECT_TRUE(onlyDocument(run({"--json"}).out).find("apps")->items()->empty());
    EXPECT_FALSE(std::filesystem::exists(folder / "home")); // looking makes nothing
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"--version"}, {"status", "--version"}, {"--no-color", "--version"}})
        EXPECT_THAT(run(words).out, StartsWith("quorvel ")) << joined(words);
    EXPECT_NE(onlyDocument(run({"--version", "--json"}).out).find("version"), nullptr);

    // A file that is not there shows that the option was heard.
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"--endpoints", "none", "auth", "status"},
          {"auth", "--endpoints=none", "status"},
          {"auth", "status", "--endpoints", "none"}})
        EXPECT_THAT(run(words).error, HasSubstr("There is no endpoints file")) << joined(words);
}

TEST_F(CommandLine, helpsInWholeWordsAtTheTerminalsWidth) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{"--help"},
                                                  {"push", "--help"},
                                                  {"auth", "set", "--help"},
                                                  {"sandbox", "-h"},
                                                  {"keywords", "expand-english", "-h"},
                                                  {}}) {
        auto asking = call(words);
        asking.streams = ProgramCall::Streams::terminal; // 80 columns
        const std::string shown = runProgram(asking).out;
        std::istringstream lines(shown);
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(displayWidth(line.substr(0, line.find('\r'))), 80u) << line;
        std::istringstream broken(shown), whole(run(words).out);
        using Words = std::istream_iterator<std::string>;
        EXPECT_TRUE(std::equal(Words(broken), Words(), Words(whole), Words())) << shown;
    }
}

TEST_F(CommandLine, completesEveryCommandInEveryShell) {
    for (const std::string shell : {"bash", "zsh", "fish"}) {
        const auto script = run({"completion", shell});
        ASSERT_EQ(script.status, 0);
        for (const auto& command : allCommands())
            EXPECT_THAT(script.out, HasSubstr(command.back())) << shell;
        EXPECT_EQ(*onlyDocument(run({"completion", shell, "--json"}).out).find("script")->text(), script.out);
    }
}

TEST_F(CommandLine, completesInBash) {
    struct Case {
        std::string words, expected;
    };
    const std::vector<Case> cases = {
        {"quorvel sta", "status"},
        {"quorvel auth ch", "check"},
        {"quorvel workspaces cr", "create"},
        {"quorvel rules set key", "keywords"},
        {"quorvel locale disable de", "de-DE"},
        {"quorvel --json auth f", "forget"},
        {"quorvel versions create --platform mac", "macos"},
        {"quorvel push --field key", "keywords"},
        {"quorvel push --locale de", "de-DE"},
        {"quorvel locale add pt-B", "pt-BR"},
        {"quorvel status --context tvos/l", "tvos/live"},
        {"quorvel sandbox --se", "--seed"},
        {"quorvel sandbox --seed e", "empty"},
        {"quorvel completion zs", "zsh"},
        {"quorvel push --allow-c", "--allow-clear"},
        {"quorvel pull --verb", "--verbose"},
    };
    std::vector<std::string> lines, expected;
    for (const Case& one : cases) {
        lines.push_back(one.words);
        expected.push_back(one.expected);
    }
    EXPECT_EQ(completedInBash(lines), expected);
}

TEST_F(CommandLine, hasAReferenceThatIsCurrent) {
    const std::filesystem::path source = QUORVEL_SOURCE_DIR;
    const auto written =
        runProgram({source / "scripts/commands", {QUORVEL_PROGRAM}, environment, folder.path(), ""});
    ASSERT_EQ(written.status, 0) << written.error;
    EXPECT_EQ(written.out, readFile(source / "docs/commands.md").value_or(""))
        << "Write it anew: scripts/commands build/dev/bin/quorvel > docs/commands.md";
}

// A line that begins like a request of the formatter would be taken for one.
TEST_F(CommandLine, hasAManualPagePerCommandThatHoldsWhatItsHelpHolds) {
    const auto manual = folder / "manual";
    ASSERT_EQ(run({"help", "--manual-pages", manual}).status, 0);
    const auto unescaped = [](std::string text) {
        for (std::size_t at = 0; (at = text.find("\\-", at)) != std::string::npos; ++at)
            text.erase(at, 1);
        return text;
    };
    const std::string reference =
        readFile(std::filesystem::path(QUORVEL_SOURCE_DIR) / "docs/commands.md").value_or("");
    const std::string heading = "\n## quorvel ";
    int commands = 0;
    for (std::size_t at = 0; (at = reference.find(heading, at)) != std::string::npos; ++commands) {
        at += heading.size();
        const std::string command = reference.substr(at, reference.find('\n', at) - at);
        SCOPED_TRACE(command);
        const std::string help = reference.substr(at, reference.find(heading, at) - at);
        const std::string name = command.substr(0, command.find(' '));
        const std::string page = unescaped(readFile(manual / ("quorvel-" + name + ".1")).value_or(""));
        EXPECT_THAT(page, HasSubstr("quorvel " + command));
        for (const auto& option : namesIn(help, "Options"))
            EXPECT_THAT(page, HasSubstr(".B " + option));
        std::istringstream lines(page);
        for (std::string line; std::getline(lines, line);)
            EXPECT_FALSE(line.starts_with('\'') ||
                         (line.starts_with('.') && !line.starts_with(".TH") && !line.starts_with(".S") &&
                          !line.starts_with(".B ") && line != ".TP" && line != ".PP" && line != ".br"))
                << line;
    }
    EXPECT_GT(commands, 50);
    EXPECT_THAT(readFile(manual / "quorvel.1").value_or(""), HasSubstr("QUORVEL_ENDPOINTS"));
    writeFileAtomically(folder / "taken", "");
    EXPECT_EQ(run({"help", "--manual-pages", folder / "taken"}).status, 1);
}

TEST_F(CommandLine, isQuietWhenItsReaderGoesAwayAndLoudWhenTheDiskIsFull) {
    ChildProgram reader(call({"--help"}));
    reader.closeOutput();
    const auto result = reader.wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.error, IsEmpty());
    if (std::filesystem::exists("/dev/full")) {
        for (const std::string form : {"", "--json"}) {
            const auto full =
                runProgram({"/bin/sh",
                            {"-c", "'" QUORVEL_PROGRAM "' completion bash " + form + " > /dev/full"},
                            environment,
                            folder.path(),
                            ""});
            EXPECT_EQ(full.status, 1);
            EXPECT_THAT(full.error, HasSubstr("standard output"));
        }
    }
}

} // namespace
} // namespace quorvel::test
