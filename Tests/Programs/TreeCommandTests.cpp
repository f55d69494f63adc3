#include "Tests/Programs/MetadataFixture.h"

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class EmptyAccount : public MetadataCommands {
  protected:
    EmptyAccount() : MetadataCommands(sandbox::Seed::empty) {}

    /// Imports the account's one app and gives it a first version.
    void begin() {
        const JSONValue apps = documented({"apps", "--remote"}, "apps");
        const std::string bundleID = *apps.items()->front().at("attributes", "bundleId")->text();
        ASSERT_EQ(run({"apps", "import", bundleID}).status, 0);
        ASSERT_EQ(run({"versions", "create", "--platform", "ios", "--version", "1.0", "--yes"}).status, 0);
    }
};

TEST_F(EmptyAccount, pullsAFirstVersionWithoutAnyTextAndGoesOnFromThere) {
    begin();
    const auto nothing = run({"status", "--folder", "texts"});
    EXPECT_EQ(nothing.status, 4) << nothing.all();
    EXPECT_THAT(nothing.error, HasSubstr("Pull first"));

    server.forgetRequests();
    const auto first = run({"pull", "--folder", "texts"});
    ASSERT_EQ(first.status, 0) << first.all();
    const auto empty = run({"status", "--folder", "texts"});
    EXPECT_EQ(empty.status, 0) << empty.all();
    EXPECT_THAT(empty.out, HasSubstr("compared with the pull of "));

    ASSERT_EQ(run({"locale", "add", "de-DE", "--folder", "texts"}).status, 0);
    ASSERT_EQ(run({"pull", "--folder", "texts"}).status, 0);
    write("de-DE", "name.txt", "Obstgarten");
    write("de-DE", "description.txt", "Text");
    const auto status = run({"status", "--folder", "texts"});
    EXPECT_THAT(status.out, HasSubstr(" waiting for Push."));
    EXPECT_THAT(status.error, testing::Not(HasSubstr("Nothing is known here")));
    const auto pushed = run({"push", "--folder", "texts", "--yes"});
    EXPECT_EQ(pushed.status, 0) << pushed.all();
    EXPECT_THAT(run({"status", "--folder", "texts"}).out, HasSubstr("Local matches App Store Connect."));

    for (const auto* locale : {"de-DE", "en-US"})
        (void)run({"locale", "disable", locale});
    for (const auto* place : {"texts", "fresh"})
        EXPECT_EQ(run({"pull", "--folder", place}).status, 0) << place;
    EXPECT_EQ(run({"status", "--folder", "fresh"}).status, 0);
}

TEST_F(EmptyAccount, claimsNoMatchBeforeAnyPull) {
    begin();
    ASSERT_EQ(run({"locale", "add", "de-DE", "--folder", "texts"}).status, 0);
    for (const auto* command : {"status", "diff"}) {
        const auto shown = run({command, "--folder", "texts"});
        EXPECT_EQ(shown.status, 0) << shown.all();
        EXPECT_THAT(shown.all(), testing::AllOf(HasSubstr("not pulled yet"),
                                                testing::Not(testing::ContainsRegex("[Ll]ocal matches"))));
    }
    EXPECT_FALSE(*document({"status", "--folder", "texts"}).find("wasPulled")->boolean());
}

TEST_F(EmptyAccount, importsIntoNoVersionThatTheAppLacks) {
    begin();
    createFolders(folder / "tree/de-DE");
    writeFileAtomically(folder / "tree/de-DE/name.txt", "Obstgarten");
    for (const auto* context : {"macos/next", "ios/live"}) {
        const auto refused = run({"metadata", "import", "tree", "--folder", "texts", "--context", context});
        EXPECT_EQ(refused.status, 4) << refused.all();
        EXPECT_THAT(refused.error, HasSubstr("This app has: ios/next."));
        EXPECT_FALSE(std::filesystem::exists(folder / "texts" / context));
    }
    EXPECT_EQ(run({"metadata", "import", "tree", "--folder", "texts"}).status, 0);
}

TEST_F(EmptyAccount, tellsOfTextsThatAnImportLeavesBehind) {
    begin();
    const auto put = [&](const std::string& path, std::string_view content) {
        createFolders((folder / path).parent_path());
        writeFileAtomically(folder / path, content);
    };
    const auto import = [&](const std::string& tree) {
        return run({"metadata", "import", tree, "--folder", "texts"});
    };
    put("repository/store/de-DE/name.txt", "\xFF\xFEN\0a"); // UTF-16
    const auto foreign = import("repository/store");
    EXPECT_EQ(foreign.status, 1) << foreign.all();
    EXPECT_THAT(foreign.error, HasSubstr("Save the file as UTF-8"));
    put("repository/store/de-DE/keywords.txt", "obst");
    EXPECT_EQ(import("repository/store").status, 7);
    put("repository/store/de-DE/name.txt", "Obstgarten");
    EXPECT_EQ(import("repository/store").status, 0);
    put("repository/store/de-DE/whats_new.txt", "Neu");
    const auto misnamed = import("repository/store");
    EXPECT_EQ(misnamed.status, 7);
    EXPECT_THAT(misnamed.error, HasSubstr("rename it to \"release_notes.txt\" if that is meant"));
    for (const auto* place : {"repository", "repository/store/de-DE"}) {
        const auto astray = import(place);
        EXPECT_EQ(astray.status, 4) << astray.all();
        EXPECT_THAT(astray.error, testing::ContainsRegex("There is a tree in .*repository/store; name that"));
    }
    std::filesystem::create_symlink("loop", folder / "loop");
    const auto loop = import("loop");
    EXPECT_EQ(loop.status, 4) << loop.all();
    EXPECT_THAT(loop.error, testing::Not(HasSubstr("filesystem error")));
}

TEST_F(EmptyAccount, sendsNoFinalLineBreakOfATreeThatIsWorkedOnInPlace) {
    begin();
    ASSERT_EQ(run({"pull"}).status, 0);
    const JSONValue record = document({"apps", "show"});
    const std::filesystem::path texts =
        std::filesystem::path(*record.find("folder")->text()) / "ios/next/de-DE";
    const std::string slug = *record.at("app", "slug")->text();
    EXPECT_EQ(*record.find("finalLineBreak")->text(), "keep");
    createFolders(texts);
    writeFileAtomically(texts / "name.txt", "Obstgarten mit dreißig Zeichen\n");
    writeFileAtomically(texts / "description.txt", "Text\n");
    EXPECT_THAT(run({"status"}).all(), HasSubstr("finalLineBreak = strip"));

    const auto set = run({"apps", "set", slug, "--final-line-break", "strip"});
    ASSERT_EQ(set.status, 0) << set.all();
    EXPECT_EQ(run({"apps", "set", slug, "--final-line-break", "strip"}).status, 2); // nothing to change
    EXPECT_THAT(run({"status"}).error, testing::Not(HasSubstr("line break")));
    const auto pushed = run({"push", "--yes"});
    EXPECT_EQ(pushed.status, 0) << pushed.all();
    EXPECT_THAT(run({"diff"}).out, HasSubstr("No pending changes"));
    EXPECT_EQ(readFile(texts / "description.txt"), "Text\n");
    ASSERT_EQ(run({"pull", "--folder", "second"}).status, 0);
    EXPECT_EQ(readFile(folder / "second/ios/next/de-DE/description.txt"), "Text");
    EXPECT_THAT(run({"pull"}).error, testing::Not(HasSubstr("edited locally")));
}

TEST_F(EmptyAccount, takesATreeOfAnotherToolToAnAppWithoutAVersion) {
    const JSONValue apps = documented({"apps", "--remote"}, "apps");
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
    for (const std::string locale : {"en-US", "de-DE"})
        writeTree(locale + "/release_notes.txt", "Our first version\n");
    writeTree("default/name.txt", "Fallback\n");
    writeTree("review_information/notes.txt", "Notes\n");
    for (const char letter : std::string("abcdefg"))
        writeTree(std::string("en-US/other_") + letter + ".txt", "Of another tool\n");

    const std::vector<std::string> import = {"metadata", "import",   "export", "--app",
                                             bundleID,   "--folder", "texts"};
    const auto early = run(import);
    EXPECT_EQ(early.status, 4);
    EXPECT_THAT(early.error, HasSubstr("versions create"));
    const auto pictures = run({"screenshots", "pull", "--app", bundleID});
    EXPECT_EQ(pictures.status, 4);
    EXPECT_THAT(pictures.error, HasSubstr("No versions found on App Store Connect."));
    const std::vector<std::string> create = {"versions", "create",    "--app", bundleID, "--platform",
                                             "ios",      "--version", "1.0",   "--yes"};
    auto dry = create;
    dry.push_back("--dry-run");
    EXPECT_THAT(run(dry).out, AllOf(HasSubstr("Would make version 1.0 of "), Not(HasSubstr("POST"))));
    const JSONValue plan = document(dry);
    EXPECT_NE(plan.at("plan", "request", "body", "data", "attributes"), nullptr);
    ASSERT_EQ(run(create).status, 0);

    const auto imported = run(import);
    ASSERT_EQ(imported.status, 0) << imported.error;
    EXPECT_THAT(imported.error, HasSubstr("skipped default/name.txt: stands for no locale"));
    EXPECT_THAT(imported.error, HasSubstr("skipped 7 entries (en-US/other_"));
    EXPECT_THAT(imported.error, HasSubstr(" and 2 more): is no field of the metadata"));
    auto again = import;
    again.insert(again.end(), {"--verbose", "--dry-run"});
    EXPECT_THAT(run(again).error, HasSubstr("skipped en-US/other_g.txt: "));
    EXPECT_THAT(run(again).out, HasSubstr("Would import "));
    EXPECT_THAT(run({"metadata", "export", "out", "--folder", "texts", "--dry-run"}).out,
                HasSubstr("Would export into "));
    EXPECT_THAT(run({"status", "--app", bundleID, "--folder", "texts"}).out,
                testing::ContainsRegex("de-DE +2 fields +New locale"));
    EXPECT_THAT(imported.error, HasSubstr("de-DE Keywords is over its limit of 100"));
    server.forgetRequests();
    const auto pushed = run({"push", "--app", bundleID, "--folder", "texts", "--yes"});
    EXPECT_EQ(pushed.status, 7) << pushed.all();
    EXPECT_THAT(pushed.out,
                AllOf(HasSubstr("de-DE Keywords: keywords.txt has 101 characters where 100 are allowed."),
                      HasSubstr("2 changes (What's new of de-DE, en-US): A first version takes no release")));
    const std::vector<std::string> push = {"push", "--app", bundleID, "--folder", "texts", "--yes"};
    write("de-DE", "keywords.txt", "obst,garten");
    EXPECT_EQ(run(push).status, 0) << "the release notes wait for the next version";
    for (const auto* command : {"status", "diff"})
        EXPECT_THAT(run({command, "--app", bundleID, "--folder", "texts"}).out,
                    HasSubstr("A first version takes no release notes"));
    EXPECT_EQ(run(push).status, 0);
    auto asked = push;
    asked.insert(asked.end(), {"--field", "releaseNotes"});
    EXPECT_EQ(run(asked).status, 1);

    ASSERT_EQ(run({"pull", "--app", bundleID, "--folder", "second"}).status, 0);
    EXPECT_EQ(readFile(folder / "second/ios/next/en-US/description.txt"), "Two lines\nof text");
    EXPECT_EQ(readFile(folder / "second/ios/next/de-DE/name.txt"), "Obstgarten");
    ASSERT_EQ(run({"metadata", "export", "out", "--folder", "second"}).status, 0);
    EXPECT_EQ(readFile(folder / "out/en-US/description.txt"), "Two lines\nof text\n");

    writeFileAtomically(folder / "second/ios/next/en-US/keywords.txt", "\xff");
    const auto damaged = run({"metadata", "export", "out", "--folder", "second"});
    EXPECT_EQ(damaged.status, 7);
    EXPECT_THAT(damaged.error, HasSubstr("warning: skipped en-US/keywords.txt: "));

    write("en-US", "name.txt", "Orchards\n");
    EXPECT_THAT(run({"metadata", "tidy", "--folder", "texts", "--dry-run"}).out,
                HasSubstr("final line break"));
    EXPECT_EQ(read("en-US", "name.txt"), "Orchards\n");
    EXPECT_EQ(run({"metadata", "tidy", "--folder", "texts"}).status, 0);
    EXPECT_EQ(read("en-US", "name.txt"), "Orchards");

    // Tidying leaves alone what App Store Connect holds, and is no advice for it.
    write("en-US", "name.txt", "Orchards\n");
    EXPECT_THAT(run({"status", "--folder", "texts"}).error, HasSubstr("metadata tidy"));
    ASSERT_EQ(run({"push", "--folder", "texts", "--locale", "en-US", "--yes"}).status, 0);
    EXPECT_THAT(run({"status", "--folder", "texts"}).error,
                testing::AllOf(HasSubstr("on App Store Connect too. (en-US Name)"),
                               testing::Not(HasSubstr("metadata tidy"))));
    EXPECT_THAT(run({"metadata", "tidy", "--folder", "texts"}).out, HasSubstr("Nothing to tidy."));
}

} // namespace
} // namespace quorvel::test
