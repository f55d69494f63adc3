#include "Platform/text/Text.h"
#include "Tests/Programs/MetadataFixture.h"

#include <signal.h>

namespace quorvel::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

TEST_F(MetadataCommands, knowATreeOfTheOlderLayoutBeforeAnyPull) {
    const auto older = folder / "texts";
    for (const auto& [place, content] : {std::pair<const char*, const char*>("bn-BD", "Neu"),
                                         std::pair<const char*, const char*>(".brevant/asc/bn-BD", "Alt")}) {
        createFolders(older / place);
        writeFileAtomically(older / place / "description.txt", content);
    }
    for (const std::vector<std::string>& command : {std::vector<std::string>{"push", "--app", app},
                                                    {"metadata", "tidy"},
                                                    {"metadata", "export", "tree"},
                                                    {"locale", "add", "ja", "--app", app}}) {
        std::vector<std::string> dry = command;
        dry.insert(dry.end(), {"--folder", "texts", "--dry-run"});
        const auto refused = run(dry);
        EXPECT_EQ(refused.status, 1) << refused.all();
        EXPECT_THAT(refused.error,
                    HasSubstr("holds texts in an older layout, which a dry run does not move"));
    }
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(older))
        if (!entry.is_directory()) files.push_back(entry.path().lexically_relative(older).string());
    EXPECT_THAT(files,
                testing::UnorderedElementsAre("bn-BD/description.txt", ".brevant/asc/bn-BD/description.txt"));

    const auto shown = run({"status", "--folder", "texts"});
    EXPECT_EQ(shown.status, 0) << shown.all();
    EXPECT_THAT(shown.out, HasSubstr("1 locale on disk. 1 waiting for Push."));
    EXPECT_THAT(shown.error, HasSubstr("Carried 2 folders of the older layout over"));
    EXPECT_EQ(read("bn-BD", "description.txt"), "Neu");

    std::filesystem::remove_all(folder / "texts/ios/next/.brevant");
    EXPECT_THAT(run({"status", "--folder", "texts"}).all(),
                HasSubstr("Nothing is known here of what App Store Connect holds for ios/next"));
    const JSONValue status = document({"status", "--folder", "texts"});
    ASSERT_EQ(status.find("notices")->items()->size(), 1u);
    EXPECT_THAT(*status.find("notices")->items()->front().text(), HasSubstr("Nothing is known here"));
}

TEST_F(MetadataCommands, tellWhatTheySendAndWhatWouldConflict) {
    ASSERT_EQ(pull().status, 0);
    EXPECT_THAT(run({"versions", "--app", app, "--verbose"}).error, HasSubstr("GET v1/apps/"));
    std::filesystem::copy(folder / "texts", folder / "theirs", std::filesystem::copy_options::recursive);
    writeFileAtomically(folder / "theirs/ios/next/de-DE/subtitle.txt", "Von anderen");
    ASSERT_EQ(run({"push", "--app", app, "--folder", "theirs", "--yes"}).status, 0);
    writeFileAtomically(folder / "texts/ios/next/de-DE/subtitle.txt", "Von mir");
    const auto dry = run({"push", "--app", app, "--folder", "texts", "--dry-run"});
    EXPECT_EQ(dry.status, 1) << dry.all();
    EXPECT_THAT(dry.error, HasSubstr("de-DE Subtitle would fail: changed on App Store Connect"));
    const auto missing = run({"push", "--app", app, "--folder", "nowhere", "--yes"});
    EXPECT_THAT(missing.error, testing::ContainsRegex("nowhere/ios/next has not been pulled"));
    EXPECT_THAT(missing.error, Not(HasSubstr("pulled Pull")));
}

TEST_F(MetadataCommands, sayThatALocaleWithoutItsFolderStaysOnAppStoreConnect) {
    ASSERT_EQ(pull().status, 0);
    const std::string before = read("de-DE", "name.txt");
    for (const auto* locale : {"de-DE", "ja", "it"})
        std::filesystem::remove_all(folder / "texts/ios/next" / locale);
    ASSERT_EQ(run({"locale", "disable", "it"}).status, 0);
    constexpr const char* notice = "de-DE, ja are on App Store Connect but have no folder here. "
                                   "Removing a folder removes nothing there; a pull brings it back.";
    const JSONValue status = document({"status", "--folder", "texts"});
    ASSERT_EQ(status.find("notices")->items()->size(), 1u);
    EXPECT_EQ(*status.find("notices")->items()->front().text(), notice);
    for (const auto* command : {"status", "diff"})
        EXPECT_THAT(run({command, "--folder", "texts"}).error, HasSubstr(notice));
    EXPECT_THAT(run({"diff", "--folder", "texts", "--json"}).error, HasSubstr(notice));
    ASSERT_EQ(pull().status, 0);
    EXPECT_EQ(read("de-DE", "name.txt"), before);
    EXPECT_THAT(run({"status", "--folder", "texts"}).error, Not(HasSubstr("no folder here")));
}

TEST_F(MetadataCommands, pullsEditsComparesAndPushesWithTheFewestRequests) {
    EXPECT_EQ(*documented({"apps", "--remote"}, "apps").items()->back().find("slug")->text(), "pocket-tides");
    server.forgetRequests();
    const JSONValue pulled = pulledResult({"pull", "--app", app, "--folder", "texts"});
    EXPECT_EQ(pulled.at("summary", "locales")->items()->size(), 40u);
    // The apps, the locales of the app's two app infos to record it, then two and two lists at once.
    EXPECT_EQ(server.requests().size(), 4u + 6u);
    server.forgetRequests();
    EXPECT_EQ(pulledResult({"pull", "--folder", "texts"}).find("updated")->items()->size(), 0u);
    EXPECT_EQ(server.requests().size(), 6u);

    write("de-DE", "subtitle.txt", "Beete planen, Ernten feiern");
    write("de-DE", "name.txt", "Mosswick: Gartentagebücher");
    write("de-DE", "keywords.txt", "garten,beet");
    write("bn-BD", "description.txt", "বাগান");
    write("fr-FR", "name.txt", std::string(31, 'x'));
    write("default", "name.txt", "Not a locale");
    write("it", "keywords.txt", read("it", "keywords.txt") + "\n");
    write("sv", "promotional_text.txt", "");

    server.forgetRequests();
    const JSONValue status = document({"status", "--folder", "texts"});
    EXPECT_EQ(server.requests().size(), 0u);
    EXPECT_EQ(*status.at("compared", "context")->text(), "ios/next");
    EXPECT_EQ(*status.at("cells", "fr-FR", "name", "status")->text(), "overLimit");
    EXPECT_EQ(*status.at("cells", "de-DE", "subtitle", "charCount")->integer(), 27);
    EXPECT_EQ(status.find("changes")->items()->size(), 8u);
    std::vector<std::string> reasons;
    for (const JSONValue& one : *status.find("leftOut")->items())
        reasons.push_back(*one.find("reason")->text());
    EXPECT_THAT(reasons,
                ElementsAre("notAnAppStoreLocale", "overLimit", "onlyFinalLineBreak", "clearsField"));
    const auto shown = run({"status", "--folder", "texts"});
    EXPECT_THAT(shown.out, HasSubstr("42 locales on disk. 4 waiting for Push. 4 left out of it. "
                                     "1 to trim before Push."));
    EXPECT_THAT(shown.out, HasSubstr("!31*"));

    const auto dry = push({"--dry-run", "--json"});
    EXPECT_EQ(dry.status, 7) << "as the push ends";
    const JSONValue plan = *onlyDocument(dry.out).find("plan");
    EXPECT_EQ(plan.find("requests")->items()->size(), 3u); // one for each resource that has changes
    EXPECT_EQ(plan.find("leftOut")->items()->size(), 4u);
    EXPECT_NE(plan.find("warnings"), nullptr);
    EXPECT_EQ(changesSent(), 0u);

    server.forgetRequests();
    const auto pushed = push();
    EXPECT_EQ(pushed.status, 7) << pushed.all(); // a text is too long, and one would be removed
    EXPECT_THAT(pushed.out, HasSubstr("Pushed 4 fields · 2 locales"));
    EXPECT_THAT(pushed.out, testing::StartsWith("4 changes left out:\n"));
    EXPECT_THAT(pushed.out, HasSubstr("\n\nLocale "));
    for (const auto* leftOut : {"default Name: ", "fr-FR Name: ", "it Keywords: ", "sv Promo text: "})
        EXPECT_THAT(pushed.out, HasSubstr(leftOut));
    EXPECT_EQ(changesSent(), 3u);
    const auto nothing = push();
    EXPECT_EQ(nothing.status, 1);
    EXPECT_THAT(nothing.out, HasSubstr("Nothing selected to push."));
    EXPECT_EQ(push({"--locale", "it"}).status, 0); // only a final line break

    EXPECT_EQ(push({"--allow-clear", "--locale", "sv"}).status, 0);
    EXPECT_EQ(push({"--locale", "it", "--field", "keywords"}).status, 0);
    EXPECT_EQ(run({"pull", "--app", app, "--folder", "second"}).status, 0);
    for (const auto* file : {"name.txt", "subtitle.txt", "keywords.txt"})
        EXPECT_EQ(readFile(folder / "second/ios/next/de-DE" / file), read("de-DE", file));
    EXPECT_EQ(readFile(folder / "second/ios/next/sv/promotional_text.txt"), "");
}

TEST_F(MetadataCommands, endsAPushAsPartlyDoneForATextThatItWouldRemove) {
    ASSERT_EQ(pull().status, 0);
    write("de-DE", "subtitle.txt", "Eins");
    write("sv", "promotional_text.txt", "");
    const auto partly = push({"--yes"});
    EXPECT_EQ(partly.status, 7) << partly.all();
    EXPECT_THAT(partly.out, HasSubstr("Pushed 1 field · 1 locale"));
    EXPECT_EQ(push({"--yes"}).status, 1);
    EXPECT_EQ(push({"--yes", "--allow-clear"}).status, 0);
}

TEST_F(MetadataCommands, backsUpAnEditBeforeAPullReplacesIt) {
    EXPECT_THAT(pull().out, HasSubstr("3.5 (ios/next, PREPARE_FOR_SUBMISSION): 40 locales"));
    const std::string before = read("ja", "subtitle.txt");
    write("ja", "subtitle.txt", "編集");
    const auto left = run({"pull", "--app", app, "--folder", "texts", "--leave-edits"});
    EXPECT_THAT(left.error, HasSubstr("left in place"));
    EXPECT_EQ(read("ja", "subtitle.txt"), "編集");
    EXPECT_THAT(pull().error, HasSubstr("1 text edited locally, left in place: ja Subtitle"));
    EXPECT_EQ(read("ja", "subtitle.txt"), "編集");
    const JSONValue pulled = pulledResult({"pull", "--app", app, "--folder", "texts", "--replace-edits"});
    EXPECT_EQ(read("ja", "subtitle.txt"), before);
    ASSERT_EQ(pulled.find("kept")->items()->size(), 1u);
    EXPECT_EQ(readFile(*pulled.find("kept")->items()->front().find("path")->text()), "編集");
    for (const auto* locale : {"de-DE", "ja"})
        write(locale, "subtitle.txt", "編集");
    EXPECT_THAT(run({"pull", "--app", app, "--folder", "texts", "--replace-edits"}).error,
                testing::AllOf(HasSubstr("2 texts edited locally, backed up under "),
                               HasSubstr(": de-DE Subtitle, ja Subtitle\n"), HasSubstr("then push")));
}

TEST_F(MetadataCommands, asksOnATerminalBeforeItPushes) {
    ASSERT_EQ(pull().status, 0);
    write("de-DE", "subtitle.txt", "Eins");
    write("default", "name.txt", "Not a locale");
    for (const auto& [answer, status] : {std::pair{"n\n", 1}, {"\n", 1}, {"\x04", 1}, {"y\n", 0}}) {
        auto asking = call({"push", "--app", app, "--folder", "texts"});
        asking.streams = ProgramCall::Streams::terminal;
        asking.input = answer;
        server.forgetRequests();
        const auto result = runProgram(asking);
        EXPECT_EQ(result.status, status) << result.out;
        EXPECT_THAT(result.out,
                    HasSubstr("Push 1 field · 1 locale to Mosswick: Garden Journal 3.5 (ios/next)? [y/N]"));
        EXPECT_EQ(changesSent(), status == 0 ? 1u : 0u);
        EXPECT_LT(result.out.find("default Name: "), result.out.find("[y/N]"));
        if (std::string_view(answer) == "\x04") { // no return key ended the line of the question
            EXPECT_THAT(result.out, testing::EndsWith("\n\x1b[31mquorvel:\x1b[0m Nothing was pushed.\r\n"));
        }
    }
    write("de-DE", "subtitle.txt", "Zwei");
    writeFileAtomically(folder / "texts/ios/next/.brevant/pulling", "");
    auto refused = call({"push", "--app", app, "--folder", "texts"});
    refused.streams = ProgramCall::Streams::terminal;
    EXPECT_THAT(runProgram(refused).out, testing::AllOf(HasSubstr("interrupted"), Not(HasSubstr("[y/N]"))));
    std::filesystem::remove(folder / "texts/ios/next/.brevant/pulling");
    const auto interruptedAt = [&](std::vector<std::string> words, std::string_view question, int signal) {
        auto waiting = call(std::move(words));
        waiting.streams = ProgramCall::Streams::terminal;
        ChildProgram asking(waiting);
        std::string seen;
        while (seen.find(question) == std::string::npos)
            seen += asking.readSome();
        asking.signal(signal);
        return asking.wait().status;
    };
    for (const int signal : {SIGINT, SIGTERM})
        EXPECT_EQ(interruptedAt({"push", "--app", app, "--folder", "texts"}, "[y/N]", signal), 130);
    forgetEnvironmentKey();
    EXPECT_EQ(interruptedAt({"auth", "set"}, "Issuer ID", SIGTERM), 130);
}

TEST_F(MetadataCommands, listsEachFailureAndGoesOn) {
    ASSERT_EQ(pull().status, 0);
    write("de-DE", "subtitle.txt", "Eins");
    write("fr-FR", "subtitle.txt", "Deux");
    const JSONValue plan =
        documented({"push", "--app", app, "--folder", "texts", "--locale", "de-DE", "--dry-run"}, "plan");
    const std::string german = "PATCH /" + *plan.find("requests")->items()->front().find("path")->text();
    const auto outcomeOf = [](const JSONValue& push, std::size_t index) {
        return *(*push.at("report", "outcomes")->items())[index].find("success")->boolean();
    };
    // What all failures share tells how the program ends, and some success makes it 7.
    for (const auto& [refusal, status] : {std::pair{409, 5}, {403, 3}, {429, 6}}) {
        server.setFaults({{.route = german, .status = refusal, .retryAfter = 0}});
        const auto alone = push({"--locale", "de-DE"});
        EXPECT_EQ(alone.status, status) << alone.all();
        EXPECT_THAT(alone.out, testing::ContainsRegex("de-DE +Subtitle +FAILED"));
        const std::string_view shown = alone.out;
        const std::string_view problem = trim(shown.substr(shown.find("First error: ") + 13));
        EXPECT_FALSE(problem.empty());
        EXPECT_EQ(alone.all().find(problem), alone.all().rfind(problem)) << alone.all();
    }
    server.setFaults(
        {{.route = german, .status = 403}, {.route = "PATCH /v1/appInfoLocalizations/*", .status = 409}});
    EXPECT_EQ(push().status, 1) << "the failures share no reason";
    server.setFaults({{.route = german, .status = 429, .retryAfter = 0}});
    const auto partly = push({"--json"});
    EXPECT_EQ(partly.status, 7) << partly.all();
    EXPECT_FALSE(outcomeOf(onlyDocument(partly.out), 0));
    EXPECT_TRUE(outcomeOf(onlyDocument(partly.out), 1));
    server.setFaults({});
    const auto again = push();
    EXPECT_EQ(again.status, 0);
    EXPECT_THAT(again.out, HasSubstr("Pushed 1 field · 1 locale"));
    write("bn-BD", "subtitle.txt", "Eins");
    const auto named = push();
    EXPECT_EQ(named.status, 0) << named.all();
    EXPECT_THAT(named.error, HasSubstr("bn-BD was created with the name"));
}

TEST_F(MetadataCommands, importTheAppThatIsNotRecordedUnlessItIsADryRun) {
    ASSERT_EQ(pull().status, 0);
    write("de-DE", "subtitle.txt", "Eins");
    createFolders(folder / "tree/de-DE");
    writeFileAtomically(folder / "tree/de-DE/keywords.txt", "beet");
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"push"}, {"locale", "add", "bn-BD"}, {"metadata", "import", "tree"}}) {
        environment["HOME"] = (folder / ("home of " + command.front())).string();
        auto words = command;
        words.insert(words.end(), {"--app", app, "--folder", "texts", "--json", "--yes"});
        auto dry = words;
        dry.push_back("--dry-run");
        const auto shown = run(dry);
        EXPECT_EQ(shown.status, 0) << shown.all();
        EXPECT_FALSE(std::filesystem::exists(environment["HOME"])) << command.front();
        const auto done = run(words);
        EXPECT_EQ(done.status, 0) << done.all();
        EXPECT_THAT(done.error, HasSubstr("Imported Mosswick: Garden Journal in the workspace \"My apps\"."))
            << command.front();
        EXPECT_NE(onlyDocument(done.out).at("imported", "app", "id"), nullptr) << command.front();
    }
}

TEST_F(MetadataCommands, pushesNothingIntoAVersionThatWasNotPulled) {
    ASSERT_EQ(pull().status, 0);
    const auto copies = readFile(folder / "texts/.brevant/contexts.json");
    const JSONValue versions = documented({"versions", "--app", app, "--platform", "ios"}, "versions");
    for (const JSONValue& version : *versions.items())
        if (*version.at("attributes", "versionString")->text() == "3.5")
            server.setVersionState(*version.find("id")->text(), "READY_FOR_SALE");
    ASSERT_EQ(
        run({"versions", "create", "--app", app, "--platform", "ios", "--version", "3.6", "--yes"}).status,
        0);
    server.forgetRequests();
    for (const auto* edit : {"", "Beete planen"}) {
        if (*edit) write("de-DE", "subtitle.txt", edit);
        const auto early = push();
        EXPECT_EQ(early.status, 5) << early.all();
        EXPECT_THAT(early.error, HasSubstr("The last pull was of another version than 3.6."));
    }
    EXPECT_EQ(changesSent(), 0u);
    EXPECT_EQ(readFile(folder / "texts/.brevant/contexts.json"), copies);
    ASSERT_EQ(run({"pull", "--app", app, "--folder", "texts", "--leave-edits"}).status, 0);
    EXPECT_EQ(push().status, 0);
    EXPECT_EQ(changesSent(), 1u);
}

TEST_F(MetadataCommands, makesNoFolderForAMisspeltName) {
    for (const std::vector<std::string>& command : {std::vector<std::string>{"push"},
                                                    {"push", "--context", "ios/next"},
                                                    {"status"},
                                                    {"diff"},
                                                    {"metadata", "tidy"},
                                                    {"metadata", "export", "tree"}}) {
        auto words = command;
        words.insert(words.end(), {"--app", app, "--folder", "txets", "--yes"});
        const auto result = run(words);
        EXPECT_EQ(result.status, 4) << result.all();
        EXPECT_THAT(result.error, HasSubstr("txets/ios/next has not been pulled")) << command[0];
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "txets"));
    EXPECT_FALSE(std::filesystem::exists(folder / "tree"));
}

} // namespace
} // namespace quorvel::test
