#include "Tests/Programs/MetadataFixture.h"

#include <signal.h>
#include <unistd.h>

#include <thread>

namespace quorvel::test {
namespace {

using testing::HasSubstr;

using ExitStatuses = MetadataCommands;

TEST_F(ExitStatuses, endsWithTheStatusThatTellsWhy) {
    const auto nothing = run({"status"});
    EXPECT_EQ(nothing.status, 4);
    EXPECT_THAT(nothing.error, HasSubstr("'quorvel apps import BUNDLE_ID'"));
    const auto unnamed = run({"pull"});
    EXPECT_EQ(unnamed.status, 2);
    EXPECT_THAT(unnamed.error, testing::AllOf(HasSubstr("say which app"), HasSubstr("Name one with --app."),
                                              HasSubstr(app)));
    ASSERT_EQ(pull().status, 0);
    write("de-DE", "subtitle.txt", "Eins");
    struct Case {
        std::string what;
        std::vector<std::string> words;
        int status;
        std::string text;
    };
    const std::vector<Case> cases = {
        {"an unknown app",
         {"pull", "--app", "studio.fernhollow.moswick"},
         4,
         "Did you mean studio.fernhollow.mosswick"},
        {"no workspace", {"pull", "--workspace", "Elsewhere"}, 4, "There are My apps."},
        {"an unknown run", {"history", "show", "f00"}, 4, "has no run \"f00\""},
        {"an app that is not recorded", {"history", "--app", "pocket-tides"}, 4, "no app \"pocket-tides\""},
        {"a context that is none", {"pull", "--app", app, "--context", "ios"}, 2, "ios/next"},
        {"a context in capitals", {"status", "--context", "IOS/Next"}, 2, "Did you mean ios/next?"},
        {"a locale in capitals",
         {"push", "--app", app, "--folder", "texts", "--locale", "EN-us", "--yes"},
         4,
         "Did you mean en-US?"},
        {"a context without a version", {"pull", "--app", app, "--context", "tvos/next"}, 4, "tvos/next"},
        {"a locale that is not there",
         {"push", "--app", app, "--folder", "texts", "--locale", "xx", "--yes"},
         4,
         "\"xx\""},
        {"a version that is there",
         {"versions", "create", "--app", app, "--platform", "ios", "--version", "3.5", "--yes"},
         5,
         "there is ios 3.5 already (PREPARE_FOR_SUBMISSION)"},
        {"a version beside an open one",
         {"versions", "create", "--app", app, "--platform", "ios", "--version", "9.0", "--yes"},
         5,
         "ios 3.5 is open already (PREPARE_FOR_SUBMISSION)"},

        {"the folder of another app",
         {"push", "--app", "pocket-tides", "--folder", "texts", "--yes"},
         1,
         "another app"},
        {"a folder that cannot be made",
         {"pull", "--app", app, "--folder", "texts/ios/next/de-DE/name.txt/x"},
         1,
         "name.txt"},
        {"a pull over another app", {"pull", "--app", "pocket-tides", "--folder", "texts"}, 1, "another app"},
        {"no such tree", {"metadata", "import", "nowhere", "--folder", "texts"}, 4, "nowhere"},
    };
    for (const Case& one : cases) {
        const auto result = run(one.words);
        EXPECT_EQ(result.status, one.status) << one.what << "\n" << result.all();
        EXPECT_THAT(result.error, HasSubstr(one.text)) << one.what;
    }

    ASSERT_EQ(run({"apps", "set", app, "--folder", "own"}).status, 0);
    std::filesystem::remove(folder / "own");
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"pull"}, {"push"}, {"status"}, {"screenshots", "pull"}}) {
        auto ofApp = words;
        ofApp.insert(ofApp.end(), {"--app", app, "--yes"});
        const auto lost = run(ofApp);
        EXPECT_EQ(lost.status, 4) << words[0] << "\n" << lost.all();
        EXPECT_THAT(lost.error, testing::AllOf(HasSubstr("own: the metadata folder"),
                                               HasSubstr("'quorvel apps set APP")));
    }
    const std::string versionID = [&] {
        const JSONValue versions = documented({"versions", "--app", app, "--platform", "ios"}, "versions");
        for (const JSONValue& version : *versions.items())
            if (*version.at("attributes", "versionString")->text() == "3.5")
                return *version.find("id")->text();
        return std::string();
    }();
    server.setVersionState(versionID, "WAITING_FOR_REVIEW");
    const auto waiting = push();
    EXPECT_EQ(waiting.status, 5) << waiting.all();
    EXPECT_THAT(waiting.error, HasSubstr("WAITING_FOR_REVIEW"));
    server.setVersionState(versionID, "PREPARE_FOR_SUBMISSION");

    writeFileAtomically(text("de-DE", "name.txt"), "\xff\xfe");
    const auto damaged = run({"status", "--folder", "texts"});
    EXPECT_EQ(damaged.status, 0);
    EXPECT_THAT(damaged.all(), HasSubstr("de-DE/name.txt: is not valid UTF-8"));

    server.setFaults({{.route = "*", .status = 404}});
    EXPECT_EQ(run({"apps", "--remote"}).status, 4);
    server.setFaults({{.route = "*", .status = 429, .retryAfter = 0}});
    EXPECT_EQ(run({"apps", "--remote"}).status, 6);
    server.setFaults({});
    environment["ASC_PRIVATE_KEY_PATH"] = "missing.p8";
    for (const auto& words : {std::vector<std::string>{"apps", "--remote"},
                              {"apps", "--remote", "--key-id", "ABCDEFGHIJ", "--p8", "missing.p8"}}) {
        const auto keyless = run(words);
        EXPECT_EQ(keyless.status, 3);
        EXPECT_THAT(keyless.error, HasSubstr("missing.p8"));
    }
    forgetEnvironmentKey();
    const auto nobody = run({"apps", "--remote"});
    EXPECT_EQ(nobody.status, 3);
    EXPECT_THAT(nobody.error, HasSubstr("quorvel auth set"));
}

TEST_F(ExitStatuses, writesIntoNoConnectionWhenItsStreamsAreClosed) {
    if (!std::filesystem::exists("/proc/self/fd")) GTEST_SKIP() << "no list of open files";
    server.setFaults({{.route = "*", .status = 429, .retryAfter = 600}});
    ChildProgram waiting({"/bin/sh",
                          {"-c", "echo $$; exec '" QUORVEL_PROGRAM "' apps --remote <&- >&- 2>&-"},
                          environment,
                          folder.path()});
    const std::filesystem::path files = "/proc/" + waiting.readLine() + "/fd";
    while (server.requests().empty()) // until its connections are open
        std::this_thread::yield();
    for (const auto* descriptor : {"0", "1", "2"})
        EXPECT_EQ(std::filesystem::read_symlink(files / descriptor), "/dev/null");
}

TEST_F(ExitStatuses, saysWhatItWaitsFor) {
    const auto apps = [&](const std::string& form) {
        server.setFaults({{.route = "*", .status = 429, .count = 1, .retryAfter = 0}});
        const auto result = run({"apps", "--remote", form});
        EXPECT_EQ(result.status, 0) << result.error;
        return result.error;
    };
    const std::string told = "ASC 429 — retrying in 0.0s (attempt 1 of";
    EXPECT_THAT(apps("--json"), HasSubstr("quorvel: " + told));
    EXPECT_THAT(apps("--verbose"), HasSubstr("warning ASCClient: " + told));
    EXPECT_EQ(apps("--quiet"), "");
}

TEST_F(ExitStatuses, canBeInterrupted) {
    server.setFaults({{.route = "*", .status = 429, .retryAfter = 600}});
    ChildProgram waiting(call({"apps", "--remote"}));
    while (server.requests().empty()) // until it has begun to wait
        std::this_thread::yield();
    waiting.signal(SIGINT);
    const auto result = waiting.wait();
    EXPECT_EQ(result.status, 130);
    EXPECT_THAT(result.error, HasSubstr("Cancelled."));

    server.setFaults({});
    ASSERT_EQ(pull().status, 0);
    for (const auto* locale : {"da", "de-DE", "fi", "fr-FR", "it", "ja", "ko", "sv", "tr", "vi"})
        write(locale, "subtitle.txt", "Eins");
    server.setFaults({{.route = "PATCH /v1/appInfoLocalizations/*", .status = 429, .retryAfter = 600}});
    server.forgetRequests();
    ChildProgram pushing(call({"push", "--app", app, "--folder", "texts", "--yes"}));
    while (changesSent() == 0)
        std::this_thread::yield();
    pushing.signal(SIGINT);
    const auto cancelled = pushing.wait();
    EXPECT_EQ(cancelled.status, 130) << cancelled.all();
    // Those under way may have been taken; the others were not sent, which is said once.
    EXPECT_THAT(cancelled.out, testing::ContainsRegex("vi +Subtitle +not sent"));
    EXPECT_THAT(cancelled.error, testing::ContainsRegex("warning: the push was cancelled; [1-9] fields not"));
    EXPECT_THAT(cancelled.error, testing::Not(HasSubstr("warning: vi")));
    EXPECT_THAT(cancelled.out,
                testing::ContainsRegex(
                    "Pushed 0 fields · 0 locales. [1-9] not sent. [1-9] failed.\nFirst error: Cancelled"));
}

} // namespace
} // namespace quorvel::test
