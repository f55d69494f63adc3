#include "Platform/text/Text.h"
#include "Platform/time/Date.h"
#include "Tests/Programs/MetadataFixture.h"
#include "Tests/support/ScriptedServer.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace quorvel::test {
namespace {

using testing::HasSubstr;
using testing::Not;

using OutputOfCommands = MetadataCommands;

TEST_F(OutputOfCommands, showsBuildsWithTheirPlatformsAndTimesInUTC) {
    const JSONValue builds = documented({"builds", "--app", app, "--limit", "1"}, "builds");
    EXPECT_EQ(*builds.items()->front().find("platform")->text(), "IOS");
    const std::string& raw = *builds.items()->front().at("build", "attributes", "uploadedDate")->text();
    const auto uploaded = parseISO8601(raw);
    ASSERT_TRUE(uploaded) << raw;
    const auto shown = run({"builds", "--app", app, "--limit", "1"});
    EXPECT_THAT(shown.out, HasSubstr("  " + formatISO8601(*uploaded).substr(0, 10) + " " +
                                     formatISO8601(*uploaded).substr(11, 5) + "Z  "));
    EXPECT_THAT(run({"versions", "--app", app}).out, HasSubstr("Created (UTC)"));
}

TEST_F(OutputOfCommands, keepsWhatIsTypedAgainWholeOnANarrowTerminal) {
    const auto onTerminal = [&](std::vector<std::string> words) {
        auto asking = call(std::move(words));
        asking.streams = ProgramCall::Streams::terminal; // 80 columns
        return runProgram(asking).out;
    };
    const auto expectNarrow = [](const std::string& shown) {
        std::istringstream lines(shown);
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(displayWidth(line.substr(0, line.find('\r'))), 80u) << line;
    };
    const std::string apps = onTerminal({"apps", "--remote", "--no-color"});
    expectNarrow(apps);
    const JSONValue records = documented({"apps", "--remote"}, "apps");
    for (const JSONValue& one : *records.items())
        for (const std::string& word : {*one.at("attributes", "name")->text(), *one.find("id")->text(),
                                        *one.at("attributes", "bundleId")->text()})
            EXPECT_THAT(apps, HasSubstr(word));

    const std::string versions = onTerminal({"versions", "--app", app});
    EXPECT_THAT(versions, HasSubstr("REPLACED_WITH_NEW_VERSION"));
    EXPECT_THAT(versions, Not(HasSubstr("\x1b[32mREPLACED")));
    EXPECT_THAT(versions, HasSubstr("\x1b[32mREADY_FOR_SALE"));

    ASSERT_EQ(pull().status, 0);
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"--no-color"}, {"workspaces", "--no-color"}, {"history", "--no-color"}})
        expectNarrow(onTerminal(words));
    const std::string recorded = onTerminal({"apps"});
    EXPECT_THAT(recorded, HasSubstr("Mosswick: Garden Journal  mosswick-garden-"));
    EXPECT_THAT(recorded, testing::AllOf(Not(HasSubstr("Bundle ID")), Not(HasSubstr("Folder")),
                                         Not(HasSubstr(" \x1b[0m")), Not(HasSubstr("\r\n\r\n"))));
    expectNarrow(onTerminal({"apps", "--workspace", "none", "--no-color"}));
    write("de-DE", "subtitle.txt", "Eins");
    write("de-DE", "promotional_text.txt", std::string(170, 'x') + "\n\n");
    const std::string status = onTerminal({"status", "--folder", "texts", "--no-color"});
    ASSERT_THAT(status, HasSubstr("warning: "));
    expectNarrow(status);
    EXPECT_THAT(status, HasSubstr("Push to update ASC."));

    const std::string key = onTerminal({"auth", "status", "--no-color"});
    EXPECT_THAT(key, HasSubstr(server.access().privateKeyFile.string()));
    EXPECT_THAT(key, testing::ContainsRegex("Key ID +" + server.access().keyID));
    EXPECT_THAT(key, HasSubstr("credentials.json\r"));
}

TEST_F(OutputOfCommands, tellsAPushShortly) {
    ASSERT_EQ(pull().status, 0);
    for (const auto* locale : {"da", "fi", "it", "ja", "ko", "sv", "tr"})
        write(locale, "subtitle.txt", "Eins\n\n");
    // One remark of several texts stands there once.
    const std::string remark = run({"push", "--app", app, "--folder", "texts", "--dry-run"}).error;
    EXPECT_THAT(remark,
                HasSubstr("(da Subtitle, fi Subtitle, it Subtitle, ja Subtitle, ko Subtitle and 2 more)"));
    EXPECT_EQ(remark.find("warning: ", remark.find("warning: ") + 1), std::string::npos) << remark;
    // A status of two lines leaves none of them on the terminal.
    server.setFaults({{.route = "PATCH /v1/appInfoLocalizations/*", .status = 409}});
    auto pushing = call({"push", "--app", app, "--folder", "texts", "--yes"});
    pushing.streams = ProgramCall::Streams::terminal;
    const std::string failed = runProgram(pushing).out;
    EXPECT_THAT(failed, HasSubstr("First error:"));
    EXPECT_EQ(failed.find("First error:"), failed.rfind("First error:")) << failed;
}

TEST_F(OutputOfCommands, showsNoControlCharacterThatTheServiceSent) {
    const std::string attributes =
        R"("attributes": {"platform": "IOS", "versionString": "3\u001b[2J.6", "appStoreState": "NEW\u001b[2J"})";
    const std::string unknown =
        R"("attributes": {"platform": "IOS", "versionString": "3.5", "appStoreState": "NEW"})";
    const std::string orchard = R"({"name": "Orchard", "bundleId": "studio.fernhollow.orchard"})";
    const ScriptedServer service(
        {{Receive{},
          Send{answer("200 OK", R"({"data": [{"type": "apps", "id": "1", "attributes": )" + orchard + "}]}")},
          // What an unknown state allows is left to the service.
          Receive{},
          Send{answer("200 OK", R"({"data": [{"type": "appStoreVersions", "id": "9", )" + unknown + "}]}")},
          Receive{}, Send{answer("200 OK", R"({"data": []})")}, Receive{},
          Send{answer("201 Created",
                      R"({"data": {"type": "appStoreVersions", "id": "2", )" + attributes + "}}")}}});
    writeFileAtomically(folder / "scripted.json", "{\"appStoreConnect\": \"" + service.url("") + "\"}");
    environment["QUORVEL_ENDPOINTS"] = "scripted.json";
    createFolders(folder / "texts/.brevant");
    createFolders(folder / "texts/ios/next");
    writeFileAtomically(folder / "texts/.brevant/contexts.json",
                        R"({"lastUpdated": "2026-01-01T00:00:00Z", "contexts": [{"platform": "IOS",)"
                        R"( "stateClass": "editable", "versionString": "3\u001b[2J.6",)"
                        R"( "appStoreState": "NEW\u001b[2J", "versionId": "2"}]})");
    const std::vector<std::vector<std::string>> commands = {
        {"versions", "create", "--app", "1", "--platform", "ios", "--version", "3.6", "--yes"},
        {"status", "--folder", "texts"},
    };
    for (const auto& command : commands) {
        const auto result = run(command);
        EXPECT_EQ(result.status, 0) << result.all();
        EXPECT_THAT(result.out, HasSubstr("3\\x1B[2J.6")) << command[0];
        EXPECT_THAT(result.out, HasSubstr("NEW\\x1B[2J")) << command[0];
        EXPECT_EQ(result.all().find('\x1b'), std::string::npos) << command[0];
    }
}

// An account with one app, which has no version.
Connection oneApp(const std::string& name) {
    const std::string app =
        R"({"data": [{"type": "apps", "id": "1", "attributes": {"bundleId": "a.b", "name": ")" + name +
        "\"}}]}";
    return {Receive{}, Send{answer("200 OK", app)}, Receive{}, Send{answer("200 OK", R"({"data": []})")}};
}

TEST_F(OutputOfCommands, keepsANameWithALineBreakInItsLine) {
    const std::string name = R"(Orchard\nwarning: \u202Eall is lost\u200F)";
    const auto show = [&](std::vector<std::string> words, ProgramCall::Streams streams) {
        const ScriptedServer service({oneApp(name)});
        writeFileAtomically(folder / "scripted.json", "{\"appStoreConnect\": \"" + service.url("") + "\"}");
        environment["QUORVEL_ENDPOINTS"] = "scripted.json";
        auto shown = call(std::move(words));
        shown.streams = streams;
        return runProgram(shown);
    };
    const auto table = show({"apps", "--remote"}, ProgramCall::Streams::pipes);
    EXPECT_EQ(std::ranges::count(table.out, '\n'), 2) << table.out;
    EXPECT_THAT(table.out, HasSubstr("Orchard\\nwarning: \\u202Eall is lost"));
    const auto text = show({"versions", "--app", "1"}, ProgramCall::Streams::pipes);
    EXPECT_EQ(std::ranges::count(text.error, '\n'), 1) << text.error;
    environment["QUORVEL_ENDPOINTS"] = server.access().endpointsFile.string();
    const auto pulled = run({"pull", "--app", app, "--folder", "te\nxts"});
    EXPECT_EQ(std::ranges::count(pulled.out, '\n'), 2) << pulled.out;

    // A document is shown harmlessly where somebody reads it, and comes as it is where a program does.
    const auto seen = show({"apps", "--remote", "--json"}, ProgramCall::Streams::terminal);
    EXPECT_THAT(seen.out, HasSubstr(R"("Orchard\nwarning: \u202Eall is lost\u200F")"));
    const auto read = show({"apps", "--remote", "--json"}, ProgramCall::Streams::pipes);
    EXPECT_THAT(read.out, HasSubstr("\u202Eall is lost\u200F"));
    std::string unwrapped = seen.out;
    std::erase(unwrapped, '\r');
    EXPECT_EQ(onlyDocument(unwrapped), onlyDocument(read.out));
}

TEST_F(OutputOfCommands, sendsNoSequenceToATerminalThatTakesNone) {
    const std::vector<std::string> words = {"pull", "--app", app, "--folder", "texts"};
    for (const auto& [name, value] : {std::pair{"TERM", "dumb"}, {"TERM", "xterm"}}) {
        environment[name] = value;
        auto asking = call(words);
        asking.streams = ProgramCall::Streams::terminal;
        const std::string pulled = runProgram(asking).out;
        asking.arguments = {"versions", "--app", app};
        const std::string shown = pulled + runProgram(asking).out;
        EXPECT_EQ(shown.find('\x1b') == shown.npos, std::string_view(value) == "dumb") << shown;
        EXPECT_EQ(pulled.find("Discovering") == pulled.npos, std::string_view(value) == "dumb") << pulled;
    }
}

TEST_F(OutputOfCommands, speaksOfCommandsAndNotOfAWindow) {
    forgetEnvironmentKey();
    const auto refused = run({"apps", "--remote"});
    EXPECT_EQ(refused.status, 3);
    EXPECT_THAT(refused.error, testing::AllOf(HasSubstr("'quorvel auth set'"), Not(HasSubstr("Settings"))));
}

TEST_F(OutputOfCommands, saysOnceThatAnAppHasSeveralContexts) {
    EXPECT_THAT(pull().error,
                HasSubstr("The app has ios/next, ios/live, macos/next, macos/live. Switch context"));
    EXPECT_THAT(pull().error, Not(HasSubstr("Switch context")));
}

TEST_F(OutputOfCommands, takesTheFieldsOfAPushInAnySpellingAndTogether) {
    ASSERT_EQ(pull().status, 0);
    for (const auto* file : {"name.txt", "subtitle.txt", "release_notes.txt", "promotional_text.txt"})
        write("de-DE", file, "Anders");
    const JSONValue plan = documented({"push", "--app", app, "--folder", "texts", "--dry-run", "--field",
                                       "whatsNew,promotional_text", "--field", "Subtitle"},
                                      "plan");
    std::set<std::string> fields;
    for (const JSONValue& change : *plan.find("changes")->items())
        fields.insert(*change.find("field")->text());
    EXPECT_THAT(fields, testing::ElementsAre("promotionalText", "releaseNotes", "subtitle"));
}

} // namespace
} // namespace quorvel::test
