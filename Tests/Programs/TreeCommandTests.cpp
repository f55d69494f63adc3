#include "Tests/Programs/MetadataFixture.h"

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class EmptyAccount : public MetadataCommands {
  protected:
    EmptyAccount() : MetadataCommands(sandbox::Seed::empty) {}
};

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
    EXPECT_THAT(imported.error, HasSubstr("skipped 2 entries (default, review_information): "));
    EXPECT_THAT(imported.error, HasSubstr("skipped 7 entries (en-US/other_"));
    EXPECT_THAT(imported.error, HasSubstr(" and 2 more): is no field of the metadata"));
    auto again = import;
    again.insert(again.end(), {"--verbose", "--dry-run"});
    EXPECT_THAT(run(again).error, HasSubstr("skipped en-US/other_g.txt: "));
    EXPECT_THAT(run(again).out, HasSubstr("Would import "));
    EXPECT_THAT(run({"metadata", "export", "out", "--folder", "texts", "--dry-run"}).out,
                HasSubstr("Would export into "));
    EXPECT_THAT(run({"status", "--app", bundleID, "--folder", "texts"}).out,
                testing::ContainsRegex("de-DE +4 fields +New locale"));
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
    EXPECT_EQ(damaged.status, 0);
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
