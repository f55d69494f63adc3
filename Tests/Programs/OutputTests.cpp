#include "Platform/text/Text.h"
#include "Platform/time/Date.h"
#include "Tests/Programs/MetadataFixture.h"
#include "Tests/support/ScriptedServer.h"

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
        for (const std::string& word :
             {*one.find("slug")->text(), *one.find("id")->text(), *one.at("attributes", "bundleId")->text()})
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
    const std::string orchard = R"({"name": "Orchard", "bundleId": "studio.fernhollow.orchard"})";
    const ScriptedServer service(
        {{Receive{},
          Send{answer("200 OK", R"({"data": [{"type": "apps", "id": "1", "attributes": )" + orchard + "}]}")},
          Receive{},
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

} // namespace
} // namespace quorvel::test
