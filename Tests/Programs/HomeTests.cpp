#include "Tests/Programs/MetadataFixture.h"

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class HomeCommand : public MetadataCommands {
  protected:
    std::string idOfVersion(const std::string& bundleID, const std::string& version) {
        const JSONValue versions =
            documented({"versions", "--app", bundleID, "--platform", "ios"}, "versions");
        for (const JSONValue& one : *versions.items())
            if (*one.at("attributes", "versionString")->text() == version) return *one.find("id")->text();
        return {};
    }
    std::map<std::string, std::string> buckets() {
        std::map<std::string, std::string> found; // short name → bucket
        const JSONValue home = document({});
        for (const JSONValue& one : *home.find("apps")->items())
            found[*one.find("slug")->text()] = *one.find("bucket")->text();
        return found;
    }
    std::size_t countIn(const std::string& text, const std::string& part) {
        std::size_t count = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++count;
        return count;
    }
};

TEST_F(HomeCommand, groupsTheAppsByWhatTheyNeed) {
    ASSERT_EQ(run({"apps", "import", "--all"}).status, 0);
    EXPECT_THAT(run({}).out, AllOf(HasSubstr("My apps · 3 apps\n"), HasSubstr("\nNot pulled\n"),
                                   Not(HasSubstr("Needs attention"))));
    server.setVersionState(idOfVersion("studio.fernhollow.tides", "1.9"), "WAITING_FOR_REVIEW");
    ASSERT_EQ(run({"pull", "--all-apps", "--quiet"}).status, 0);
    const std::map<std::string, std::string> expected = {{"mosswick-garden-journal", "attention"},
                                                         {"mosswick-skizzenbuch", "attention"},
                                                         {"pocket-tides", "inReview"}};
    EXPECT_EQ(buckets(), expected);
    const auto journal = folder / "home/Documents/Brevant/mosswick-garden-journal/ios/next/ja/keywords.txt";
    writeFileAtomically(journal, "庭");
    server.forgetRequests();
    const auto home = run({});
    EXPECT_EQ(server.requests().size(), 0u);
    EXPECT_THAT(home.out, HasSubstr("My apps · 3 apps · 3 versions need attention"));
    EXPECT_THAT(home.out,
                testing::ContainsRegex("Garden Journal  pulled just now · 1 local edit\n +ios/next +3.5 "));
    EXPECT_THAT(home.out, testing::ContainsRegex("\n +macos/next +3.5 +PREPARE_FOR_SUBMISSION"));
    EXPECT_LT(home.out.find("Needs attention"), home.out.find("In review"));
    EXPECT_EQ(*document({}).find("attentionCount")->integer(), 3);
    // A damaged text keeps nobody from seeing the rest.
    writeFileAtomically(journal, "\xff");
    const auto damaged = run({});
    EXPECT_EQ(damaged.status, 0);
    EXPECT_THAT(damaged.error, HasSubstr("warning: Mosswick: Garden Journal: " + journal.string()));
    EXPECT_THAT(run({"--app", "pocket-tides"}).out,
                AllOf(HasSubstr("My apps · 1 app\n"), HasSubstr("Pocket Tides")));
    EXPECT_EQ(run({"--app", "nobody"}).status, 4);
}

TEST_F(HomeCommand, leadsTheNewcomerFromTheStepThatWasTaken) {
    const auto key = run({});
    EXPECT_THAT(key.out, AllOf(HasSubstr("An API key is set."), Not(HasSubstr("auth set"))));
    ASSERT_EQ(run({"apps", "import", app}).status, 0);
    EXPECT_EQ(run({}).error, "");
    forgetEnvironmentKey();
    EXPECT_THAT(run({}).error, HasSubstr("No API key is found: 'quorvel auth set"));
    const auto& access = server.access();
    // The app's own key is enough for its requests.
    ASSERT_EQ(run({"auth", "set", "--issuer-id", access.issuerID, "--p8", access.privateKeyFile.string(),
                   "--app", app})
                  .status,
              0);
    EXPECT_EQ(run({}).error, "");
}

TEST_F(HomeCommand, completesWhatIsRecorded) {
    ASSERT_EQ(run({"apps", "import", app, "studio.fernhollow.tides"}).status, 0);
    ASSERT_EQ(run({"workspaces", "create", "$(touch made) 'two'"}).status, 0);
    ASSERT_EQ(run({"pull", "--app", app, "--folder", "texts"}).status, 0);
    writeFileAtomically(text("de-DE", "subtitle.txt"), "Eins");
    ASSERT_EQ(run({"push", "--app", app, "--folder", "texts", "--yes"}).status, 0);
    const JSONValue runs = documented({"history", "--app", app}, "runs");
    const std::string pushed = *runs.items()->front().find("shortName")->text();
    server.forgetRequests();
    EXPECT_THAT(completedInBash({"quorvel pull --app po", "quorvel apps remove mos",
                                 "quorvel status --workspace My", "quorvel workspaces use '$'",
                                 "quorvel --app " + std::string(app) + " history show " + pushed.substr(0, 3),
                                 "quorvel history revert --app " + std::string(app) + " la",
                                 "quorvel locale disable --app " + std::string(app) + " zh-H",
                                 "quorvel push --locale pt"}),
                testing::ElementsAre("pocket-tides", "mosswick-garden-journal", "My\\ apps",
                                     R"(\$\(touch\ made\)\ \'two\')", pushed, "last", "zh-Hans zh-Hant",
                                     "pt-BR pt-PT"));
    EXPECT_FALSE(std::filesystem::exists(folder / "made"));
    EXPECT_EQ(server.requests().size(), 0u);
}

TEST_F(HomeCommand, tellsOfAWorkspaceWithoutApps) {
    ASSERT_EQ(run({"apps", "import", app}).status, 0);
    EXPECT_THAT(run({}).out, HasSubstr("  quorvel pull --app mosswick-garden-journal"));
    ASSERT_EQ(run({"workspaces", "create", "Two words"}).status, 0);
    const auto empty = run({"--workspace", "two words"});
    EXPECT_THAT(empty.out, AllOf(HasSubstr("Two words · 0 apps\n"), HasSubstr("'quorvel apps --all'"),
                                 Not(HasSubstr("Welcome"))));
    // Hints lead to where the command worked.
    const auto moved = run({"apps", "import", app, "--workspace", "Two words"});
    EXPECT_THAT(moved.error, HasSubstr("Garden Journal, moved to the workspace \"Two words\"."));
    EXPECT_THAT(moved.out, HasSubstr("'quorvel --workspace \"Two words\" pull --all-apps'"));
    EXPECT_THAT(run({"apps", "import", app}).out,
                HasSubstr("'quorvel --workspace \"Two words\" pull --all-apps'"));
    ASSERT_EQ(run({"workspaces", "use", "Two words"}).status, 0);
    EXPECT_THAT(run({"workspaces", "delete", "Two words", "--yes"}).error,
                HasSubstr("The workspace \"My apps\" is active now."));
}

TEST_F(HomeCommand, pullsAllAndTellsWhatFailed) {
    ASSERT_EQ(run({"apps", "import", "--all"}).status, 0);
    server.forgetRequests();
    const auto all = run({"pull", "--all-apps", "--all-contexts"});
    EXPECT_EQ(all.status, 0) << all.all();
    EXPECT_EQ(countIn(all.out, "new texts"), 7u);
    const auto journal = folder / "home/Documents/Brevant/mosswick-garden-journal";
    for (const auto* context : {"ios/next", "ios/live", "macos/next", "macos/live"})
        EXPECT_TRUE(std::filesystem::exists(journal / context / "de-DE/name.txt")) << context;

    const std::string version = idOfVersion(app, "3.5");
    server.setFaults(
        {{.route = "GET /v1/appStoreVersions/" + version + "/appStoreVersionLocalizations", .status = 404}});
    const auto partly = run({"pull", "--all-contexts", "--app", app, "--json"});
    EXPECT_EQ(partly.status, 7) << partly.all();
    const JSONValue document = onlyDocument(partly.out);
    const JSONValue& pulls = *document.find("pulls");
    ASSERT_EQ(pulls.items()->size(), 4u);
    std::size_t failed = 0;
    for (const JSONValue& one : *pulls.items())
        failed += one.find("failure") != nullptr;
    EXPECT_EQ(failed, 1u);
    for (const auto& [refusal, status] : {std::pair{403, 3}, {404, 4}}) {
        server.setFaults({{.route = "GET /v1/apps/*/appStoreVersions", .status = refusal}});
        const auto none = run({"pull", "--all-apps"});
        EXPECT_EQ(none.status, status) << none.all();
        EXPECT_EQ(countIn(none.out, "FAILED"), 3u);
        EXPECT_THAT(none.error, HasSubstr("warning: Pocket Tides: "));
    }
    EXPECT_EQ(run({"pull", "--all-apps", "--folder", "x"}).status, 2);
}

TEST_F(HomeCommand, tellsWhatWasLostOfADamagedStoreAndGoesOn) {
    ASSERT_EQ(run({"pull", "--app", app}).status, 0);
    const auto store = folder / "home/Library/Application Support/default.store";
    ASSERT_TRUE(std::filesystem::exists(store));
    for (const auto* name : {"default.store-wal", "default.store-shm"})
        std::filesystem::remove(store.parent_path() / name);
    writeFileAtomically(store, std::string(8192, 'x'));
    const auto first = run({"apps"});
    EXPECT_EQ(first.status, 0) << first.all();
    EXPECT_THAT(first.error, AllOf(HasSubstr("warning: "), HasSubstr("default.store")));
    EXPECT_EQ(run({"apps"}).error, "");
    const auto again = run({"pull", "--app", app});
    EXPECT_EQ(again.status, 0) << again.all();
    EXPECT_THAT(again.out, HasSubstr("Nothing new on App Store Connect."));
}

} // namespace
} // namespace quorvel::test
