#include "Tests/Programs/MetadataFixture.h"

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* tides = "studio.fernhollow.tides";
constexpr const char* sketchbook = "studio.fernhollow.mosswick.sketchbook";
constexpr std::string_view removalText =
    "Quorvel will stop tracking this app — the local metadata files in ~/Documents/Brevant/ stay on disk so "
    "you can re-import them later. Tracked keywords, push history and review snapshots for this app are "
    "deleted.";

class RecordCommands : public MetadataCommands {
  protected:
    // A member of each object of a list, in its order.
    std::vector<std::string> texts(const std::vector<std::string>& words, std::string_view list,
                                   std::string_view member) {
        std::vector<std::string> found;
        const JSONValue all = documented(words, list);
        for (const JSONValue& one : *all.items())
            found.push_back(one.find(member) ? *one.find(member)->text() : "");
        return found;
    }
    ProgramResult onTerminal(std::vector<std::string> words, const std::string& answer) {
        auto asking = call(std::move(words));
        asking.streams = ProgramCall::Streams::terminal;
        asking.input = answer;
        return runProgram(asking);
    }
};

TEST_F(RecordCommands, tellsByItsStatusHowManyAppsCouldBeImported) {
    for (const auto& [failures, status] : {std::pair{2, 1}, {1, 7}, {0, 0}}) {
        server.setFaults({{.route = "GET /v1/apps/*/appInfos", .status = 403, .count = failures}});
        const auto imported = run({"apps", "import", app, tides});
        EXPECT_EQ(imported.status, status) << imported.all();
    }
}

TEST_F(RecordCommands, groupsAppsIntoWorkspaces) {
    EXPECT_THAT(run({"workspaces"}).out, HasSubstr("There is no workspace yet."));
    // The first import makes one.
    const auto imported = run({"apps", "import", app, tides});
    EXPECT_EQ(imported.status, 0) << imported.all();
    EXPECT_THAT(imported.error, AllOf(HasSubstr("Made the workspace \"My apps\"."),
                                      HasSubstr("Imported Pocket Tides in the workspace \"My apps\".")));
    EXPECT_EQ(run({"workspaces", "create", "Sketches"}).status, 0);
    for (const auto* name : {"Sketches", "SKETCHES", "two\nlines"})
        EXPECT_EQ(run({"workspaces", "create", name}).status, 1) << name;
    for (const auto* name : {"sKetches", "Sketches"}) // its own name is not another's
        EXPECT_EQ(run({"workspaces", "rename", "sketches", name}).status, 0);
    EXPECT_EQ(run({"apps", "import", sketchbook, "--workspace", "sketches"}).status, 0);
    EXPECT_THAT(texts({"apps"}, "apps", "bundleId"), ElementsAre(app, tides));
    EXPECT_THAT(texts({"apps", "--workspace", "Sketches"}, "apps", "bundleId"), ElementsAre(sketchbook));
    EXPECT_EQ(texts({"apps", "--all"}, "apps", "bundleId").size(), 3u);

    EXPECT_EQ(run({"workspaces", "use", "Sketches"}).status, 0);
    EXPECT_THAT(texts({"apps"}, "apps", "bundleId"), ElementsAre(sketchbook));
    EXPECT_EQ(*document({"apps", "show"}).at("app", "bundleId")->text(), sketchbook); // the only one
    EXPECT_THAT(run({"pull", "--app", tides, "--workspace", "Sketches"}).error,
                HasSubstr("Pocket Tides is not in the workspace \"Sketches\""));
    // An import of what is there moves nothing that was not asked for.
    EXPECT_EQ(run({"apps", "import", tides}).status, 0);
    EXPECT_THAT(texts({"apps"}, "apps", "bundleId"), ElementsAre(sketchbook));
    EXPECT_EQ(run({"apps", "move", "Pocket Tides", "Sketches"}).status, 0);
    EXPECT_EQ(run({"workspaces", "rename", "sketches", "My Apps"}).status, 1);
    EXPECT_EQ(run({"workspaces", "rename", "Sketches", "Drawn"}).status, 0);
    EXPECT_THAT(run({"workspaces"}).out, testing::ContainsRegex("\\* +Drawn +2"));

    EXPECT_EQ(run({"workspaces", "delete", "Drawn"}).status, 2); // nobody to ask
    EXPECT_EQ(onTerminal({"workspaces", "delete", "Drawn"}, "n\n").status, 1);
    EXPECT_EQ(onTerminal({"workspaces", "delete", "Drawn"}, "y\n").status, 0);
    EXPECT_THAT(texts({"apps", "--all"}, "apps", "workspaceName"), ElementsAre("", "My apps", ""));
    EXPECT_THAT(run({"workspaces", "use", "Drwn"}).error, HasSubstr("no workspace \"Drwn\""));
}

TEST_F(RecordCommands, findsAnAppByEachOfItsNamesWithoutTheNetwork) {
    ASSERT_EQ(run({"apps", "import", "--all"}).status, 0);
    const std::vector<std::string> names = {app, "mosswick-garden-journal", "mosswick: garden journal",
                                            *document({"apps", "show", app}).at("app", "appStoreId")->text(),
                                            *document({"apps", "show", app}).at("app", "id")->text()};
    server.forgetRequests();
    for (const std::string& name : names) {
        const JSONValue shown = document({"apps", "show", name});
        EXPECT_EQ(*shown.at("app", "bundleId")->text(), app) << name;
        EXPECT_EQ(shown.find("locales")->items()->size(), 40u);
    }
    const auto nobody = run({"apps", "show"});
    EXPECT_EQ(nobody.status, 2);
    EXPECT_THAT(nobody.error,
                AllOf(HasSubstr("say which app"), HasSubstr("Name one with --app."), HasSubstr(tides)));
    EXPECT_THAT(run({"status", "--app", "pocket-tide"}).error, HasSubstr("Did you mean pocket-tides?"));
    EXPECT_THAT(server.requests(), IsEmpty());
    const JSONValue account = documented({"apps", "--remote"}, "apps");
    for (const JSONValue& one : *account.items())
        EXPECT_TRUE(*one.find("isRecorded")->boolean());
}

TEST_F(RecordCommands, removesAnAppWithItsHistoryAndKeyAndNoFile) {
    ASSERT_EQ(run({"pull", "--app", app}).status, 0);
    const auto file = folder / "home/Documents/Brevant/mosswick-garden-journal/ios/next/de-DE/subtitle.txt";
    writeFileAtomically(file, "Beete planen");
    ASSERT_EQ(run({"push", "--yes"}).status, 0);
    ASSERT_EQ(run({"auth", "set", "--app", app}).status, 0);
    const auto refused = run({"apps", "remove", app});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.error, HasSubstr("needs --yes"));
    const auto declined = onTerminal({"apps", "remove", app}, "n\n");
    EXPECT_EQ(declined.status, 1);
    std::string onOneLine = declined.out;
    for (auto at = onOneLine.find("\r\n"); at != std::string::npos; at = onOneLine.find("\r\n"))
        onOneLine.replace(at, 2, " ");
    EXPECT_THAT(onOneLine, HasSubstr(removalText));
    EXPECT_EQ(texts({"history"}, "runs", "versionString").size(), 1u);

    const auto removed = run({"apps", "remove", app, "--yes"});
    EXPECT_EQ(removed.status, 0);
    EXPECT_THAT(removed.out, HasSubstr("its key forgotten"));
    EXPECT_THAT(readFile(folder / "home/Library/Application Support/Brevant/credentials.json").value_or(""),
                Not(HasSubstr("asc-private-key-pem")));
    EXPECT_THAT(texts({"apps", "--all"}, "apps", "slug"), IsEmpty());
    EXPECT_EQ(readFile(file), "Beete planen");
    ASSERT_EQ(run({"apps", "import", app}).status, 0);
    EXPECT_THAT(texts({"history"}, "runs", "versionString"), IsEmpty());
    EXPECT_THAT(run({"status"}).out, HasSubstr("Local matches App Store Connect."));
}

TEST_F(RecordCommands, leavesTheFolderOfARemovedAppToThatApp) {
    ASSERT_EQ(run({"pull", "--app", app}).status, 0);
    ASSERT_EQ(run({"apps", "remove", app, "--yes"}).status, 0);
    const auto trees = folder / "home/Documents/Brevant";
    std::filesystem::rename(trees / "mosswick-garden-journal", trees / "pocket-tides"); // as if named so
    const auto pulled = run({"pull", "--app", tides});
    EXPECT_EQ(pulled.status, 0) << pulled.all();
    EXPECT_THAT(pulled.error, HasSubstr("Brevant/pocket-tides holds the texts of another app, so those of"));
    EXPECT_THAT(*document({"apps", "show"}).find("folder")->text(),
                testing::EndsWith("Brevant/pocket-tides-6700000102"));
    EXPECT_THAT(run({"status"}).out, HasSubstr("Local matches App Store Connect."));
    EXPECT_TRUE(std::filesystem::exists(trees / "pocket-tides/ios/next/de-DE/name.txt"));
}

TEST_F(RecordCommands, removesNoneOfSeveralAppsWhenOneIsDeclined) {
    ASSERT_EQ(run({"apps", "import", app, tides}).status, 0);
    const auto declined = onTerminal({"apps", "remove", app, tides}, "y\nn\n");
    EXPECT_EQ(declined.status, 1);
    EXPECT_THAT(declined.out, HasSubstr("Nothing was changed."));
    EXPECT_THAT(texts({"apps"}, "apps", "bundleId"), ElementsAre(app, tides));
    EXPECT_THAT(run({"apps", "remove", "Sun, Moon", "--yes"}).error, HasSubstr("no app \"Sun, Moon\""))
        << "a name may hold a comma";
    EXPECT_EQ(onTerminal({"apps", "remove", app, tides}, "y\ny\n").status, 0);
    EXPECT_THAT(texts({"apps"}, "apps", "bundleId"), IsEmpty());
}

TEST_F(RecordCommands, doesNotTakeAStoreThatIsOutOfReachForANewHome) {
    const auto support = folder / "home/Library/Application Support";
    createFolders(support);
    std::filesystem::create_symlink("unmounted/default.store", support / "default.store");
    EXPECT_THAT(run({"apps"}).error, HasSubstr("The store of your records could not be opened"));
    EXPECT_THAT(run({"apps"}).error, IsEmpty());
}

TEST_F(RecordCommands, tellsWhatBecameOfATreeOfTheOlderLayout) {
    ASSERT_EQ(run({"pull", "--app", app}).status, 0);
    const auto root = folder / "home/Documents/Brevant/mosswick-garden-journal";
    const auto next = root / "ios/next";
    createFolders(root / ".brevant/asc");
    std::filesystem::rename(next / "de-DE", root / "de-DE");
    std::filesystem::rename(next / ".brevant/asc/de-DE", root / ".brevant/asc/de-DE");
    writeFileAtomically(root / "de-DE/subtitle.txt", "Von früher");
    std::filesystem::copy(next / "fr-FR", root / "fr-FR");
    for (const std::vector<std::string>& words : {std::vector<std::string>{"push"},
                                                  {"translate"},
                                                  {"keywords", "expand-english"},
                                                  {"metadata", "tidy"},
                                                  {"metadata", "export", "tree"}}) {
        auto dry = words;
        dry.push_back("--dry-run");
        const auto refused = run(dry);
        EXPECT_EQ(refused.status, 1) << words.back() << "\n" << refused.all();
        EXPECT_THAT(refused.error, HasSubstr("holds texts in an older layout")) << words.back();
    }
    EXPECT_TRUE(std::filesystem::exists(root / "de-DE/subtitle.txt"));
    const auto pushed = run({"push", "--yes"});
    EXPECT_EQ(pushed.status, 0) << pushed.all();
    EXPECT_THAT(pushed.error,
                AllOf(HasSubstr("Carried 2 folders of the older layout over"),
                      HasSubstr("fr-FR stays where it is: ios/next/.brevant/asc/fr-FR is there already.")));
    EXPECT_THAT(pushed.out, HasSubstr("Pushed 1 field · 1 locale"));
    EXPECT_EQ(readFile(next / "de-DE/subtitle.txt"), "Von früher");
    const auto later = run({"status"});
    EXPECT_THAT(later.error, Not(HasSubstr("Carried")));
}

TEST_F(RecordCommands, keepsWhatIsSetOfAnApp) {
    ASSERT_EQ(run({"apps", "import", app, "--folder", "own"}).status, 0);
    ASSERT_EQ(run({"apps", "set", app, "--brand-voice", "Calm, plain", "--protected-term", "Mosswick",
                   "--protected-term", "Beet", "--source-locale", "de-DE"})
                  .status,
              0);
    JSONValue shown = document({"apps", "show"});
    EXPECT_EQ(*shown.at("app", "brandVoice")->text(), "Calm, plain");
    EXPECT_EQ(shown.at("app", "protectedTerms")->items()->size(), 2u);
    EXPECT_EQ(*shown.at("app", "sourceLocale")->text(), "de-DE");
    EXPECT_EQ(*shown.find("folder")->text(), (folder / "own").string());
    EXPECT_EQ(run({"apps", "set", app, "--source-locale", "de"}).status, 2);
    EXPECT_EQ(run({"apps", "set", app}).status, 2);
    const auto refused = run({"apps", "set", app, "--brand-voice", "Loud", "--folder", "home"});
    EXPECT_THAT(refused.error, HasSubstr("holds your home folder"));
    EXPECT_EQ(*document({"apps", "show"}).at("app", "brandVoice")->text(), "Calm, plain");

    // --folder of another command is for that command alone.
    ASSERT_EQ(run({"pull", "--folder", "once"}).status, 0);
    EXPECT_EQ(*document({"apps", "show"}).find("folder")->text(), (folder / "own").string());
    ASSERT_EQ(run({"apps", "set", app, "--clear", "folder", "--clear", "brand-voice"}).status, 0);
    ASSERT_EQ(run({"pull", "--folder", "once"}).status, 0);
    shown = document({"apps", "show"});
    EXPECT_THAT(*shown.find("folder")->text(), HasSubstr("Documents/Brevant/mosswick-garden-journal"));
    EXPECT_EQ(*shown.at("app", "brandVoice")->text(), "");

    ASSERT_EQ(run({"rules", "set", "keywords", "--translate", "optimized", "--max", "90"}).status, 0);
    EXPECT_EQ(run({"rules", "set", "keywords", "--translate", "on", "--max", "101"}).status, 2);
    EXPECT_THAT(run({"rules"}).out, testing::ContainsRegex("keywords +optimized +100  90"));
    EXPECT_EQ(documented({"rules", "reset", "keywords"}, "rules").items()->size(), 0u);
}

TEST_F(RecordCommands, leavesDisabledLocalesAlone) {
    ASSERT_EQ(run({"pull", "--app", app, "--folder", "texts"}).status, 0);
    EXPECT_THAT(run({"locale", "disable", "de-DE", "ja", "ja"}).out, HasSubstr("2 locales no longer"));
    EXPECT_EQ(run({"locale", "disable", "xx-XX"}).status, 4);
    write("de-DE", "subtitle.txt", "Eins");
    EXPECT_THAT(run({"status", "--folder", "texts"}).out,
                AllOf(HasSubstr("1 change left out:"), HasSubstr("'quorvel locale enable LOCALE'")));
    const auto dry = run({"locale", "add", "bn-BD", "--folder", "texts", "--dry-run"});
    EXPECT_THAT(dry.out, AllOf(HasSubstr("Would add bn-BD in "), HasSubstr("nothing was written")));
    EXPECT_FALSE(std::filesystem::exists(folder / "texts/ios/next/bn-BD"));
    server.forgetRequests();
    EXPECT_EQ(push().status, 0);
    EXPECT_EQ(changesSent(), 0u);
    EXPECT_EQ(pull().status, 0);
    EXPECT_EQ(read("de-DE", "subtitle.txt"), "Eins");
    EXPECT_THAT(run({"locale", "list"}).out, testing::ContainsRegex("ja +no"));
    EXPECT_EQ(run({"locale", "enable", "de-DE"}).status, 0);
    EXPECT_EQ(push().status, 0);
    EXPECT_EQ(changesSent(), 1u);
}

} // namespace
} // namespace quorvel::test
