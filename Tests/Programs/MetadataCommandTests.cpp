#include "Platform/text/Text.h"
#include "Tests/Programs/QuorvelFixture.h"
#include "Tests/support/ScriptedServer.h"

#include <signal.h>

#include <random>
#include <thread>

namespace quorvel::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class MetadataCommands : public QuorvelAccountTest {
  protected:
    explicit MetadataCommands(sandbox::Seed seed = sandbox::Seed::demo) : QuorvelAccountTest(seed) {}

    ProgramResult pull() { return run({"pull", "--app", app, "--folder", "texts"}); }
    ProgramResult push(std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"push", "--app", app, "--folder", "texts"});
        return run(std::move(more));
    }
    void write(std::string_view locale, std::string_view file, std::string_view content) const {
        createFolders(text(locale, file).parent_path());
        writeFileAtomically(text(locale, file), content);
    }
    std::string read(std::string_view locale, std::string_view file) const {
        return readFile(text(locale, file)).value_or("(no file)");
    }
    static void expectRebuilds(const JSONValue& change) {
        std::string remote;
        std::string local;
        for (const JSONValue& segment : *change.find("segments")->items()) {
            const std::string& kind = *segment.find("kind")->text();
            if (kind != "added") remote += *segment.find("text")->text();
            if (kind != "removed") local += *segment.find("text")->text();
        }
        EXPECT_EQ(remote, *change.find("remote")->text());
        EXPECT_EQ(local, *change.find("local")->text());
    }
    JSONValue document(std::vector<std::string> words) {
        words.push_back("--json");
        const auto result = run(words);
        EXPECT_EQ(result.status, 0) << result.error;
        return onlyDocument(result.out);
    }
};

TEST_F(MetadataCommands, pullsEditsComparesAndPushesWithTheFewestRequests) {
    const JSONValue pulled = document({"pull", "--app", app, "--folder", "texts"});
    EXPECT_EQ(pulled.at("summary", "locales")->items()->size(), 40u);
    EXPECT_EQ(server.requests().size(), 5u); // the apps, then two and two lists at once

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
    EXPECT_EQ(*status.find("context")->text(), "ios/next");
    EXPECT_EQ(*status.at("cells", "fr-FR", "name", "status")->text(), "overLimit");
    EXPECT_EQ(*status.at("cells", "de-DE", "subtitle", "charCount")->integer(), 27);
    EXPECT_EQ(status.find("changes")->items()->size(), 8u);
    std::vector<std::string> reasons;
    for (const JSONValue& one : *status.find("leftOut")->items())
        reasons.push_back(*one.find("reason")->text());
    EXPECT_THAT(reasons,
                ElementsAre("notAnAppStoreLocale", "overLimit", "onlyFinalLineBreak", "clearsField"));
    const auto shown = run({"status", "--folder", "texts"});
    EXPECT_THAT(shown.out, HasSubstr("42 locales on disk. 8 waiting for Push. 1 to trim before Push."));
    EXPECT_THAT(shown.out, HasSubstr("!31*"));

    const JSONValue plan = document({"push", "--app", app, "--folder", "texts", "--dry-run"});
    EXPECT_EQ(plan.items()->size(), 3u); // one for each resource that has changes
    EXPECT_EQ(changesSent(), 0u);

    server.forgetRequests();
    const auto pushed = push();
    EXPECT_EQ(pushed.status, 7) << pushed.all(); // a text is too long, and one would be removed
    EXPECT_THAT(pushed.out, HasSubstr("Pushed 4 fields · 2 locales"));
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

TEST_F(MetadataCommands, putsAnEditAsideBeforeAPullReplacesIt) {
    ASSERT_EQ(pull().status, 0);
    const std::string before = read("ja", "subtitle.txt");
    write("ja", "subtitle.txt", "編集");
    const auto left = run({"pull", "--app", app, "--folder", "texts", "--leave-edits"});
    EXPECT_THAT(left.error, HasSubstr("left in place"));
    EXPECT_EQ(read("ja", "subtitle.txt"), "編集");
    const JSONValue pulled = document({"pull", "--app", app, "--folder", "texts"});
    EXPECT_EQ(read("ja", "subtitle.txt"), before);
    ASSERT_EQ(pulled.find("kept")->items()->size(), 1u);
    EXPECT_EQ(readFile(*pulled.find("kept")->items()->front().find("path")->text()), "編集");
}

TEST_F(MetadataCommands, showsWordsThatChangedInAnyScriptAndRebuildsBothTexts) {
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

    const JSONValue changes = document({"diff", "--folder", "texts"});
    for (const JSONValue& change : *changes.items())
        expectRebuilds(change);
}

TEST_F(MetadataCommands, rebuildsAnyTwoTextsFromTheirDiff) {
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
    const JSONValue changes = document({"diff", "--folder", "texts"});
    EXPECT_GE(changes.items()->size(), 19u);
    for (const JSONValue& change : *changes.items())
        expectRebuilds(change);
}

TEST_F(MetadataCommands, asksOnATerminalBeforeItPushes) {
    ASSERT_EQ(pull().status, 0);
    write("de-DE", "subtitle.txt", "Eins");
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
    }
    auto waiting = call({"auth", "set"});
    forgetEnvironmentKey();
    waiting.environment = environment;
    waiting.streams = ProgramCall::Streams::terminal;
    ChildProgram asking(waiting);
    std::string seen;
    while (seen.find("Issuer ID") == std::string::npos)
        seen += asking.readSome();
    asking.signal(SIGTERM);
    EXPECT_EQ(asking.wait().status, 130);
}

TEST_F(MetadataCommands, listsEachFailureAndGoesOn) {
    ASSERT_EQ(pull().status, 0);
    write("de-DE", "subtitle.txt", "Eins");
    write("fr-FR", "subtitle.txt", "Deux");
    const JSONValue plan =
        document({"push", "--app", app, "--folder", "texts", "--locale", "de-DE", "--dry-run"});
    const std::string german = "PATCH /" + *plan.items()->front().find("path")->text();
    const auto outcomeOf = [](const JSONValue& push, std::size_t index) {
        return *(*push.find("outcomes")->items())[index].find("success")->boolean();
    };
    // What all failures share tells how the program ends, and some success makes it 7.
    for (const auto& [refusal, status] : {std::pair{409, 5}, {403, 3}, {429, 6}}) {
        server.setFaults({{.route = german, .status = refusal, .retryAfter = 0}});
        const auto alone = push({"--locale", "de-DE"});
        EXPECT_EQ(alone.status, status) << alone.all();
        EXPECT_THAT(alone.out, HasSubstr("FAILED"));
        EXPECT_THAT(alone.error, HasSubstr("de-DE Subtitle: "));
    }
    const auto partly = push({"--json"});
    EXPECT_EQ(partly.status, 7) << partly.all();
    EXPECT_FALSE(outcomeOf(onlyDocument(partly.out), 0));
    EXPECT_TRUE(outcomeOf(onlyDocument(partly.out), 1));
    server.setFaults({});
    const auto again = push();
    EXPECT_EQ(again.status, 0);
    EXPECT_THAT(again.out, HasSubstr("Pushed 1 field · 1 locale"));
}

TEST_F(MetadataCommands, endsWithTheStatusThatTellsWhy) {
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
        {"no app", {"pull"}, 2, "say which app with --app"},
        {"a context that is none", {"pull", "--app", app, "--context", "ios"}, 2, "ios/next"},
        {"a context without a version", {"pull", "--app", app, "--context", "tvos/next"}, 4, "tvos/next"},
        {"a locale that is not there",
         {"push", "--app", app, "--folder", "texts", "--locale", "xx"},
         4,
         "\"xx\""},
        {"a version that is there",
         {"versions", "create", "--app", app, "--platform", "ios", "--version", "3.5"},
         5,
         "[ENTITY_"},
        {"the folder of another app",
         {"push", "--app", "pocket-tides", "--folder", "texts"},
         1,
         "another app"},
        {"a pull over another app", {"pull", "--app", "pocket-tides", "--folder", "texts"}, 1, "another app"},
        {"no such tree", {"metadata", "import", "nowhere", "--folder", "texts"}, 1, "nowhere"},
    };
    for (const Case& one : cases) {
        const auto result = run(one.words);
        EXPECT_EQ(result.status, one.status) << one.what << "\n" << result.all();
        EXPECT_THAT(result.error, HasSubstr(one.text)) << one.what;
    }

    const std::string versionID = [&] {
        const JSONValue versions = document({"versions", "--app", app, "--platform", "ios"});
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
    EXPECT_EQ(damaged.status, 1);
    EXPECT_THAT(damaged.error, HasSubstr("de-DE/name.txt"));

    server.setFaults({{.route = "*", .status = 404}});
    EXPECT_EQ(run({"apps", "--remote"}).status, 4);
    server.setFaults({{.route = "*", .status = 429, .retryAfter = 0}});
    EXPECT_EQ(run({"apps", "--remote"}).status, 6);
    server.setFaults({});
    forgetEnvironmentKey();
    const auto nobody = run({"apps", "--remote"});
    EXPECT_EQ(nobody.status, 3);
    EXPECT_THAT(nobody.error, HasSubstr("quorvel auth set"));
}

TEST_F(MetadataCommands, pushesNothingIntoAVersionThatWasNotPulled) {
    ASSERT_EQ(pull().status, 0);
    const auto copies = readFile(folder / "texts/.brevant/contexts.json");
    const JSONValue versions = document({"versions", "--app", app, "--platform", "ios"});
    for (const JSONValue& version : *versions.items())
        if (*version.at("attributes", "versionString")->text() == "3.5")
            server.setVersionState(*version.find("id")->text(), "READY_FOR_SALE");
    ASSERT_EQ(run({"versions", "create", "--app", app, "--platform", "ios", "--version", "3.6"}).status, 0);
    server.forgetRequests();
    for (const auto* edit : {"", "Beete planen"}) {
        if (*edit) write("de-DE", "subtitle.txt", edit);
        const auto early = push();
        EXPECT_EQ(early.status, 5) << early.all();
        EXPECT_THAT(early.error, HasSubstr("ios/next is now 3.6, the last pull was of 3.5"));
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
        words.insert(words.end(), {"--app", app, "--folder", "txets"});
        const auto result = run(words);
        EXPECT_EQ(result.status, 4) << result.all();
        EXPECT_THAT(result.error, HasSubstr("txets/ios/next has not been pulled")) << command[0];
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "txets"));
    EXPECT_FALSE(std::filesystem::exists(folder / "tree"));
}

TEST_F(MetadataCommands, saysWhatItWaitsFor) {
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

TEST_F(MetadataCommands, showsNoControlCharacterThatTheServiceSent) {
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
        {"versions", "create", "--app", "1", "--platform", "ios", "--version", "3.6"},
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

TEST_F(MetadataCommands, canBeInterrupted) {
    server.setFaults({{.route = "*", .status = 429, .retryAfter = 600}});
    ChildProgram waiting(call({"apps", "--remote"}));
    while (server.requests().empty()) // until it has begun to wait
        std::this_thread::yield();
    waiting.signal(SIGINT);
    const auto result = waiting.wait();
    EXPECT_EQ(result.status, 130);
    EXPECT_THAT(result.error, HasSubstr("Cancelled."));
}

class EmptyAccount : public MetadataCommands {
  protected:
    EmptyAccount() : MetadataCommands(sandbox::Seed::empty) {}
};

TEST_F(EmptyAccount, takesATreeOfAnotherToolToAnAppWithoutAVersion) {
    const JSONValue apps = document({"apps", "--remote"});
    ASSERT_EQ(apps.items()->size(), 1u);
    const std::string bundleID = *apps.items()->front().at("attributes", "bundleId")->text();
    const auto writeTree = [&](const std::string& name, std::string_view content) {
        createFolders((folder / "export" / name).parent_path());
        writeFileAtomically(folder / "export" / name, content);
    };
    writeTree("en-US/name.txt", "Orchard\n");
    writeTree("en-US/description.txt", "Two lines\nof text\n");
    writeTree("de-DE/name.txt", "Obstgarten\n");
    writeTree("de-DE/description.txt", "Zwei Zeilen\n");
    writeTree("de-DE/keywords.txt", std::string(101, 'k'));
    writeTree("default/name.txt", "Fallback\n");
    writeTree("review_information/notes.txt", "Notes\n");

    const std::vector<std::string> import = {"metadata", "import",   "export", "--app",
                                             bundleID,   "--folder", "texts"};
    const auto early = run(import);
    EXPECT_EQ(early.status, 4);
    EXPECT_THAT(early.error, HasSubstr("versions create"));
    const std::vector<std::string> create = {"versions",   "create", "--app",     bundleID,
                                             "--platform", "ios",    "--version", "1.0"};
    auto rehearsed = create;
    rehearsed.push_back("--dry-run");
    EXPECT_THAT(run(rehearsed).out, HasSubstr("POST v1/appStoreVersions"));
    ASSERT_EQ(run(create).status, 0);

    const auto imported = run(import);
    ASSERT_EQ(imported.status, 0) << imported.error;
    EXPECT_THAT(imported.error, HasSubstr("skipped default"));
    EXPECT_THAT(imported.error, HasSubstr("de-DE Keywords is over its limit of 100"));
    server.forgetRequests();
    const auto pushed = run({"push", "--app", bundleID, "--folder", "texts"});
    EXPECT_EQ(pushed.status, 7) << pushed.all();
    EXPECT_THAT(pushed.out,
                HasSubstr("de-DE Keywords: keywords.txt has 101 characters where 100 are allowed."));

    ASSERT_EQ(run({"pull", "--app", bundleID, "--folder", "second"}).status, 0);
    EXPECT_EQ(readFile(folder / "second/ios/next/en-US/description.txt"), "Two lines\nof text");
    EXPECT_EQ(readFile(folder / "second/ios/next/de-DE/name.txt"), "Obstgarten");
    ASSERT_EQ(run({"metadata", "export", "out", "--folder", "second"}).status, 0);
    EXPECT_EQ(readFile(folder / "out/en-US/description.txt"), "Two lines\nof text\n");

    write("en-US", "name.txt", "Orchards\n");
    EXPECT_THAT(run({"metadata", "tidy", "--folder", "texts", "--dry-run"}).out,
                HasSubstr("final line break"));
    EXPECT_EQ(read("en-US", "name.txt"), "Orchards\n");
    EXPECT_EQ(run({"metadata", "tidy", "--folder", "texts"}).status, 0);
    EXPECT_EQ(read("en-US", "name.txt"), "Orchards");
}

} // namespace
} // namespace quorvel::test
