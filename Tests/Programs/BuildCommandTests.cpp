#include "Tests/Programs/QuorvelFixture.h"
#include "Tests/support/DeveloperTools.h"
#include "Tests/support/FileMode.h"

#include <csignal>
#include <thread>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

/// The program with the stand-in tools, which upload to its sandbox.
class BuildCommands : public QuorvelAccountTest {
  protected:
    explicit BuildCommands(sandbox::Seed seed = sandbox::Seed::demo) : QuorvelAccountTest(seed) {
        environment["QUORVEL_XCRUN"] = tools.xcrun().string();
        createFolders(folder / ".git"); // no project is looked for above
        behave({});
    }
    void behave(JSONValue::Object more, int processingSeconds = 0) const {
        more.insert(
            more.begin(),
            {{"sandbox", server.access().url}, {"bundleID", app}, {"processingSeconds", processingSeconds}});
        tools.behave(JSONValue::object(std::move(more)));
    }
    static std::pair<std::string, JSONValue> manner(const char* tool, JSONValue::Object how) {
        return {tool, JSONValue::object(std::move(how))};
    }
    [[nodiscard]] std::vector<std::string> build(std::vector<std::string> more = {}) const {
        more.insert(more.begin(),
                    {"build", "run", "--yes", "--app", app, "--project", tools.project().string()});
        return more;
    }
    [[nodiscard]] std::filesystem::path home() const {
        return folder / "home/Library/Application Support/Brevant/builds/studio.fernhollow.mosswick-ios";
    }
    [[nodiscard]] std::string logText() const {
        std::string text;
        const auto logs = listFolder(home() / "logs");
        if (logs)
            for (const FolderEntry& log : *logs)
                text += readFile(home() / "logs" / log.name).value_or("");
        return text;
    }
    /// The number of the build that is attached to the coming iOS version; empty for none.
    [[nodiscard]] std::string attached() const {
        const JSONValue state = server.state();
        for (const auto& [id, version] : *state.find("appStoreVersions")->members())
            if (*version.at("attributes", "versionString")->text() == "3.5" &&
                *version.at("attributes", "platform")->text() == "IOS")
                if (const JSONValue* build = version.at("links", "build"))
                    return *state.at("builds", *build->text(), "attributes", "version")->text();
        return "";
    }
    [[nodiscard]] std::size_t buildsOnASC() const { return server.state().find("builds")->members()->size(); }
    std::vector<std::string> keyFolders() const {
        std::vector<std::string> found;
        const auto entries = listFolder(folder.path());
        for (const FolderEntry& entry : *entries)
            if (entry.name.starts_with("brevant-asc-key-")) found.push_back(entry.name);
        return found;
    }
    template <typename IsDue>
    static void await(const IsDue& isDue) {
        for (int waited = 0; !isDue(); ++waited) {
            ASSERT_LT(waited, 1'000'000) << "it never came";
            for (int turn = 0; turn < 100; ++turn) // the server needs its turns
                std::this_thread::yield();
        }
    }
    [[nodiscard]] bool wasAsked(std::string_view path) const {
        return std::ranges::any_of(server.requests(),
                                   [&](const auto& request) { return request.path.starts_with(path); });
    }

    DeveloperTools tools{QUORVEL_XCRUN};
};

struct EmptyAccountBuilds : BuildCommands {
    EmptyAccountBuilds() : BuildCommands(sandbox::Seed::empty) {}
};

TEST_F(BuildCommands, takeANewAppFromAnEmptyHomeToABuildOnItsVersion) {
    auto words = build({"--exempt-encryption", "--dry-run"});
    auto result = run(words);
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.out, AllOf(HasSubstr("Version  1.2 → 3.5, which is being prepared"),
                                  ContainsRegex("Build    7 → [0-9]+ \\(the highest"),
                                  HasSubstr("scheme Garden App, Release"), HasSubstr("attach it")));
    EXPECT_EQ(changesSent(), 0u);
    EXPECT_FALSE(std::filesystem::exists(folder / "home/Library")) << "a dry run leaves nothing";
    EXPECT_EQ(tools.calls().find("archive"), std::string::npos);

    words = build({"--exempt-encryption", "--json"});
    result = run(words);
    ASSERT_EQ(result.status, 0) << result.error;
    const JSONValue report = *onlyDocument(result.out).find("report");
    const std::string number = *report.at("run", "readyBuildVersion")->text();
    EXPECT_EQ(attached(), number);
    EXPECT_THAT(result.error, AllOf(HasSubstr("== archiving ==\nStarting archive of Garden App\n"),
                                    HasSubstr("Synced MARKETING_VERSION 1.2 → 3.5"),
                                    HasSubstr("Build configuration auto-saved for this app + platform.")));
    const std::filesystem::path log = *report.find("log")->text();
    EXPECT_EQ(modeOf(log), 0600u);
    EXPECT_EQ(modeOf(log.parent_path()), 0700u);
    EXPECT_THAT(logText(),
                AllOf(ContainsRegex("== [0-9T:Z-]+ archiving =="), HasSubstr("note: archived Garden App"),
                      HasSubstr("Attached build " + number)));
    EXPECT_FALSE(std::filesystem::exists(home() / "awaited.json"));
    EXPECT_THAT(keyFolders(), IsEmpty());
    EXPECT_THAT(tools.calls(), Not(HasSubstr("PRIVATE")));

    EXPECT_THAT(run({"builds", "--version", "3.5"}).out, ContainsRegex(number + " +VALID +.* exempt"));
    EXPECT_THAT(run({"build", "config"}).out,
                AllOf(HasSubstr("Scheme         Garden App"), HasSubstr("declared exempt after the upload")));
    result = run({"build", "run", "--yes", "--no-attach", "--no-exempt-encryption"}); // all else is saved
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(attached(), number) << "the next build is another one";
    EXPECT_EQ(run({"builds", "compliance", "--not-exempt", "--yes"}).status, 0);
    EXPECT_EQ(run({"builds", "compliance", number, "--not-exempt", "--yes"}).status, 5) << "answered already";
    result = run({"builds", "attach", "--yes"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(attached(), std::to_string(std::stoi(number) + 1));
}

TEST_F(EmptyAccountBuilds, uploadTheFirstBuildBeforeThereIsAVersion) {
    const std::string bundleID = *onlyDocument(run({"apps", "--remote", "--json"}).out)
                                      .find("apps")
                                      ->items()
                                      ->at(0)
                                      .at("attributes", "bundleId")
                                      ->text();
    tools.behave(JSONValue::object(
        {{"sandbox", server.access().url}, {"bundleID", bundleID}, {"processingSeconds", 0}}));
    std::filesystem::create_directory_symlink(tools.project(), folder / "Garden App.xcodeproj");
    const auto result = run({"build", "run", "--yes", "--app", bundleID}); // the only project and scheme
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.error, AllOf(HasSubstr("No editable ASC version yet. Local MARKETING_VERSION is 1.2"),
                                    HasSubstr("No editable AppStoreVersion found — skip auto-attach.")));
    EXPECT_THAT(result.out, HasSubstr("Build is ready for review (v1.2, build 8)."));
}

TEST_F(BuildCommands, endWithWhatWentWrongFirstAndTheLog) {
    const std::size_t atFirst = buildsOnASC();
    JSONValue::Array lines = {"error: No profiles for 'x' were found",
                              "error: No profiles for 'x' were found"};
    for (int line = 0; line < 3000; ++line)
        lines.emplace_back("warning " + std::to_string(line));
    behave({manner("archive", {{"errors", lines}, {"exitCode", 65}})});
    auto result = run(build({"--quiet"}));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error,
                ContainsRegex("^quorvel: The build failed while archiving \\(exit code 65\\)\\.\n"
                              "  error: No profiles for 'x' were found\nThe log is /.*\\.log\n$"))
        << "though it is not among the last lines";
    EXPECT_THAT(logText(), HasSubstr("warning 2999"));

    const std::string key = *readFile(server.access().privateKeyFile);
    const std::string secret = key.substr(key.find('\n') + 1, 40);
    struct Case {
        const char* what;
        JSONValue::Object manner;
        const char* text;
    };
    const Case cases[] = {
        {"exit code 0",
         {{"lines", JSONValue::array({R"({"product-errors":[{"message":"Taken."}]})"})}, {"exitCode", 0}},
         "quorvel: Taken."},
        {"the key", {{"lines", JSONValue::array({"key: " + key})}, {"exitCode", 3}}, "(not shown)"},
        {"no text",
         {{"lines", JSONValue::array({"\xff\xfe\x1b[2J", std::string(300'000, 'x')})}, {"exitCode", 3}},
         "exit code 3"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        behave({{"upload", JSONValue::object(one.manner)}});
        result = run(build({"--json"}));
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.error, AllOf(HasSubstr(one.text), Not(HasSubstr("\x1b[2J"))));
        EXPECT_FALSE(onlyDocument(result.out).at("report", "run", "outcome", "success")->boolean() ==
                     nullptr);
        EXPECT_THAT(result.all() + logText() + tools.calls(), Not(HasSubstr(secret)));
        EXPECT_THAT(keyFolders(), IsEmpty());
    }
    EXPECT_EQ(buildsOnASC(), atFirst);
}

TEST_F(BuildCommands, refuseWhatCannotWork) {
    EXPECT_EQ(run({"build", "run", "--app", app}).status, 2) << "nobody can be asked";
    auto result = run({"build", "run", "--app", app, "--dry-run"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.error, AllOf(HasSubstr("Build config incomplete — pick project and scheme."),
                                    HasSubstr("There is no project in "), HasSubstr("--scheme NAME")));
    tools.behave(JSONValue::object({{"schemes", JSONValue::array({"One", "Two"})}}));
    result = run(build());
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.error, HasSubstr("The project has several schemes: One, Two."));
    EXPECT_EQ(run(build({"--scheme", "../x"})).status, 2);
    EXPECT_EQ(run(build({"--attach", "--no-attach"})).status, 2);
    environment["QUORVEL_XCRUN"] = "/nowhere/xcrun";
    result = run(build({"--scheme", "One"}));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error,
                HasSubstr("xcrun not found at /nowhere/xcrun — install Xcode command-line tools."));
    EXPECT_EQ(run({"build", "resume", "--yes"}).status, 4);
    EXPECT_EQ(run({"builds", "attach", "1000", "--app", app, "--yes"}).status, 4);
}

TEST_F(BuildCommands, goOnAfterAKillWhileUploading) {
    behave({manner("upload", {{"linger", 1}})});
    const std::size_t before = buildsOnASC();
    {
        ChildProgram child(call(build()));
        await([&] { return buildsOnASC() > before; }); // it is there, and nobody noted that
        child.signal(SIGKILL);
        (void)child.wait();
    }
    EXPECT_THAT(keyFolders(), SizeIs(1)) << "nobody could remove it";
    const auto result = run({"build", "resume", "--yes"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_FALSE(attached().empty());
    EXPECT_THAT(keyFolders(), IsEmpty()) << "the next run sweeps it";
    EXPECT_EQ(run({"build", "resume", "--yes"}).status, 4) << "nothing is left to do";
    EXPECT_EQ(buildsOnASC(), before + 1);
}

TEST_F(BuildCommands, goOnAfterAnInterruptedWaitAndKeepASecondProcessOut) {
    behave({}, 300);
    const std::size_t before = buildsOnASC();
    auto onTerminal = call(build({"--no-color"}));
    onTerminal.streams = ProgramCall::Streams::terminal;
    ChildProgram child(onTerminal);
    await([&] { return wasAsked("/v1/builds/"); });
    auto result = run(build());
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error, ContainsRegex("A build of .* for iOS is at work \\(process [0-9]+\\)"));
    child.signal(SIGINT);
    const auto ended = child.wait();
    EXPECT_EQ(ended.status, 130);
    EXPECT_THAT(ended.out, AllOf(HasSubstr("Cancelled while waiting for App Store processing."),
                                 HasSubstr("'quorvel build resume' goes on waiting"),
                                 ContainsRegex("archiving took 0:0[0-9]"), HasSubstr("\x1b[Kuploading 0:0")));
    EXPECT_EQ(run({"build", "resume"}).status, 2) << "it would attach the build";
    server.advance(301);
    result = run({"build", "resume", "--yes"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.out, HasSubstr("Build is ready for review (v3.5, build " + attached() + ")."));
    EXPECT_EQ(buildsOnASC(), before + 1) << "nothing was uploaded twice";
}

TEST_F(BuildCommands, endTheToolsWhenTheyAreInterrupted) {
    behave({manner("archive", {{"lines", JSONValue::array({"compiling"})}, {"seconds", 100}})});
    ChildProgram child(call(build()));
    await([&] { return logText().find("compiling") != std::string::npos; });
    child.signal(SIGINT);
    EXPECT_EQ(child.wait().status, 130); // a tool that lives on would hold its output open
    EXPECT_EQ(run({"build", "resume", "--yes"}).status, 4) << "no upload had begun";
}

TEST_F(BuildCommands, setTheNumbersOfAProject) {
    const std::string project = tools.project().string();
    struct Case {
        std::vector<std::string> words;
        int status;
        const char* text;
        const char* version;
        const char* number;
    };
    const Case cases[] = {
        {{"--dry-run"}, 0, "Would set: version 1.2, build 7 → 8", "1.2", "7"},
        {{}, 0, "version 1.2, build 7 → 8", "1.2", "8"},
        {{"--version", "2.0", "--increment"}, 0, "version 1.2 → 2.0, build 8 → 9", "2.0", "9"},
        {{"--number", "40"}, 0, "version 2.0, build 9 → 40", "2.0", "40"},
        {{"--version", "two"}, 2, "\"two\" is no version", "2.0", "40"},
        {{"--number", "4\"; x = 1"}, 2, "is no version", "2.0", "40"},
        {{"--number", "41", "--increment"}, 2, "opposites", "2.0", "40"},
    };
    for (const Case& one : cases) {
        std::vector<std::string> words = {"build", "bump", "--project", project};
        words.insert(words.end(), one.words.begin(), one.words.end());
        const auto result = run(words);
        EXPECT_EQ(result.status, one.status) << result.all();
        EXPECT_THAT(result.all(), HasSubstr(one.text));
        const std::string text = *readFile(tools.projectFile());
        EXPECT_THAT(text, HasSubstr(std::string("MARKETING_VERSION = ") + one.version + ";"));
        EXPECT_THAT(text, HasSubstr(std::string("CURRENT_PROJECT_VERSION = ") + one.number + ";"));
    }
    EXPECT_THAT(run({"build", "schemes", "--project", project + "/"}).out, HasSubstr("Garden App"));
    EXPECT_FALSE(std::filesystem::exists(folder / "home")) << "no app has to be recorded for this";
}

} // namespace
} // namespace quorvel::test
