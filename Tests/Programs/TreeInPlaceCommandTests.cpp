#include "Core/metadata/FieldType.h"
#include "Tests/Programs/MetadataFixture.h"
#include "Tests/support/GitRepository.h"

#include <algorithm>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class TreeInPlaceCommands : public MetadataCommands {
  protected:
    TreeInPlaceCommands() {
        EXPECT_EQ(run({"apps", "import", app}).status, 0);
        put("en-US/name.txt", "Mosswick\n");
        put("default/promotional_text.txt", "Fixes\n");
    }
    void put(const std::filesystem::path& path, std::string_view content) const {
        createFolders((tree / path).parent_path());
        writeFileAtomically(tree / path, content);
    }
    [[nodiscard]] std::string get(const std::filesystem::path& path) const {
        return readFile(tree / path).value_or("(no file)");
    }
    ProgramResult set(std::vector<std::string> more) {
        more.insert(more.begin(), {"apps", "set", app});
        return run(std::move(more));
    }
    std::vector<std::string> entries() const {
        std::vector<std::string> names;
        const auto all = listFolder(tree);
        for (const FolderEntry& entry : all.value())
            names.push_back(entry.name);
        return names;
    }

    std::filesystem::path tree = folder / "repository/store";
};

TEST_F(TreeInPlaceCommands, workOnTheTreeWhereItIs) {
    const GitRepository repository(folder / "repository");
    const auto several = set({"--tree", "repository/store"});
    EXPECT_EQ(several.status, 2) << several.all();
    EXPECT_THAT(several.error, HasSubstr("ios and macos"));
    EXPECT_FALSE(std::filesystem::exists(tree / ".brevant"));

    const auto done = set({"--tree", "repository/store/", "--platform", "ios"});
    ASSERT_EQ(done.status, 0) << done.all();
    EXPECT_THAT(done.out, HasSubstr("in place; its locales are those of ios/next"));
    EXPECT_THAT(done.error, AllOf(HasSubstr("\".brevant/\""), HasSubstr(".gitignore")));
    EXPECT_THAT(run({"status", "--app", app}).error, HasSubstr(".gitignore"));
    writeFileAtomically(repository.root() / ".gitignore", ".brevant/\n");
    EXPECT_THAT(run({"status", "--app", app}).error, Not(HasSubstr(".gitignore")));

    // A pull brings the locales into the tree and everything else into the private folder.
    ASSERT_EQ(run({"pull", "--app", app, "--all-contexts"}).status, 0);
    EXPECT_NE(get("de-DE/name.txt"), "(no file)");
    EXPECT_EQ(get("default/promotional_text.txt"), "Fixes\n");
    EXPECT_TRUE(std::filesystem::exists(tree / ".brevant/ios/live/de-DE/name.txt"));
    EXPECT_TRUE(std::filesystem::exists(tree / ".brevant/macos/next/de-DE/name.txt"));
    for (const std::string& name : entries())
        EXPECT_TRUE(name == ".brevant" || name == "default" || name == reviewFolderName ||
                    std::ranges::find(pageFields, name, fileNameOf) != pageFields.end() ||
                    std::filesystem::exists(tree / name / "name.txt"))
            << name;
    // Where the tree and App Store Connect had different texts before the first pull, the user chooses.
    EXPECT_THAT(run({"conflicts", "--app", app}).all(), AllOf(HasSubstr("en-US"), Not(HasSubstr("de-DE"))));
    ASSERT_EQ(run({"resolve", "--theirs", "--all", "--app", app}).status, 0);
    const auto quiet = run({"status", "--app", app});
    EXPECT_THAT(quiet.out, HasSubstr("Local matches App Store Connect."));

    // The text of all locales goes to those without their own, and says so.
    std::filesystem::remove(tree / "de-DE/promotional_text.txt");
    put("default/promotional_text.txt", "Noch mehr\n");
    const auto status = run({"status", "--app", app});
    EXPECT_THAT(status.all(), AllOf(HasSubstr("d the text of default/"), HasSubstr("From default/. Edited")));
    const auto diff = run({"diff", "--app", app});
    EXPECT_THAT(diff.out,
                AllOf(HasSubstr("de-DE"), HasSubstr("From default/"), HasSubstr("1 change in all")));
    const auto pushed = run({"push", "--app", app, "--yes"});
    EXPECT_EQ(pushed.status, 0) << pushed.all();
    EXPECT_THAT(run({"status", "--app", app}).out, HasSubstr("Local matches App Store Connect."));
    EXPECT_EQ(get("de-DE/promotional_text.txt"), "(no file)");
    ASSERT_EQ(run({"pull", "--app", app, "--folder", "elsewhere"}).status, 0);
    EXPECT_EQ(readFile(folder / "elsewhere/ios/next/de-DE/promotional_text.txt"), "Noch mehr");
}

TEST_F(TreeInPlaceCommands, keepALocaleAwayThatIsRemovedBesideTheTextsOfAllLocales) {
    ASSERT_EQ(set({"--tree", "repository/store", "--platform", "ios"}).status, 0);
    ASSERT_EQ(run({"pull", "--app", app, "--replace-edits"}).status, 0);
    put("default/promotional_text.txt", "For all\n");
    const auto remove = [&](const std::string& locale, std::vector<std::string> more) {
        more.insert(more.begin(), {"locale", "remove", locale, "--app", app, "--yes"});
        return run(std::move(more));
    };
    const auto sends = [&](std::string_view locale) {
        return run({"push", "--app", app, "--dry-run"}).out.find(locale) != std::string::npos;
    };
    const auto refused = remove("de-DE", {"--local"});
    EXPECT_EQ(refused.status, 5) << refused.all();
    EXPECT_THAT(refused.out, AllOf(HasSubstr("de-DE stays: it would take the texts of default/"),
                                   HasSubstr("Disable the locale first")));
    EXPECT_NE(get("de-DE/name.txt"), "(no file)");
    ASSERT_EQ(run({"locale", "disable", "de-DE", "--app", app}).status, 0);
    EXPECT_EQ(remove("de-DE", {"--local"}).status, 0);
    EXPECT_FALSE(sends("de-DE"));

    // Its name stays for macOS, and is no reason to send it the texts of all locales.
    ASSERT_EQ(remove("fr-FR", {}).status, 0);
    ASSERT_EQ(run({"pull", "--app", app}).status, 0);
    EXPECT_FALSE(sends("fr-FR"));
    // A locale that only the texts of all locales stand for is pushed by its name, too.
    const auto pushOf = [&](const std::string& locale, std::vector<std::string> more) {
        more.insert(more.begin(), {"push", "--app", app, "--locale", locale});
        return run(std::move(more));
    };
    std::filesystem::remove_all(tree / "sv");
    const auto pushed = pushOf("sv", {"--yes"});
    EXPECT_EQ(pushed.status, 0) << pushed.all();
    EXPECT_THAT(pushed.out, HasSubstr("Pushed 1 field · 1 locale"));
    EXPECT_EQ(pushOf("fr-FR", {"--dry-run"}).status, 4) << "it was removed";
    // Nor are the copies of its name where only its files were gone before.
    std::filesystem::remove_all(tree / "ja");
    EXPECT_TRUE(sends("ja"));
    ASSERT_EQ(remove("ja", {"--remote"}).status, 0);
    EXPECT_FALSE(sends("ja"));
    std::filesystem::remove_all(tree / ".brevant");
    put("default/promotional_text.txt", "For all, once more\n");
    EXPECT_EQ(pushOf("sv", {"--overwrite", "--dry-run"}).status, 0);
    EXPECT_EQ(pushOf("bn-BD", {"--overwrite", "--dry-run"}).status, 4);
}

TEST_F(TreeInPlaceCommands, takeARunBackAndLeaveAloneWhatCountsAlike) {
    ASSERT_EQ(set({"--tree", "repository/store", "--platform", "ios"}).status, 0);
    ASSERT_EQ(run({"pull", "--app", app, "--replace-edits"}).status, 0);
    put("default/promotional_text.txt", "For all\n");
    const auto push = [&](std::string_view german) {
        put("de-DE/promotional_text.txt", german);
        EXPECT_EQ(
            run({"push", "--app", app, "--yes", "--locale", "de-DE", "--field", "promotionalText"}).status,
            0);
    };
    const auto revert = [&] { return run({"history", "revert", "last", "--app", app}).all(); };
    push("Eins\n");
    push("Zwei\n");
    const auto reverted = revert();
    EXPECT_THAT(reverted, AllOf(HasSubstr("has its previous text"), Not(HasSubstr("kept"))));
    EXPECT_EQ(get("de-DE/promotional_text.txt"), "Eins\n");
    EXPECT_THAT(revert(), HasSubstr("had it already"));
    put("de-DE/promotional_text.txt", "Drei\n"); // newer than what was sent
    EXPECT_THAT(revert(), HasSubstr("kept"));

    // What stands for a blank file is the previous text, and stays where it is.
    push("\n");
    push("Vier\n");
    put("de-DE/promotional_text.txt", "\n");
    EXPECT_THAT(revert(), HasSubstr("had it already"));
    EXPECT_EQ(get("de-DE/promotional_text.txt"), "\n");
}

TEST_F(TreeInPlaceCommands, keepToOneAppAndOneTree) {
    ASSERT_EQ(set({"--tree", "repository/store", "--platform", "ios"}).status, 0);
    ASSERT_EQ(run({"apps", "import", "studio.fernhollow.tides"}).status, 0);
    put("below/en-US/name.txt", "Name");
    std::filesystem::create_directory_symlink(tree, folder / "link");
    const std::pair<std::string, std::string> refused[] = {
        {"repository/store", "is the metadata folder of"},
        {"link", "is the metadata folder of"},
        {"repository/store/below", "lies in the metadata folder of"},
        {"nowhere", "nowhere"},
        {"home", "no text of an App Store locale"},
    };
    for (const auto& [place, reason] : refused) {
        const auto result =
            run({"apps", "set", "studio.fernhollow.tides", "--tree", place, "--platform", "ios"});
        EXPECT_NE(result.status, 0) << place;
        EXPECT_THAT(result.error, HasSubstr(reason)) << place;
    }
    // Also where nobody's record knows that the folder around it is one.
    createFolders(folder / "copy/below/en-US");
    writeFileAtomically(folder / "copy/below/en-US/name.txt", "Name");
    createFolders(folder / "copy/.brevant");
    writeFileAtomically(folder / "copy/.brevant/tree.json", get(".brevant/tree.json"));
    const auto nested = set({"--tree", "copy/below", "--platform", "ios"});
    EXPECT_THAT(nested.error, HasSubstr("a tree that is worked on in place itself"));
    EXPECT_THAT(set({"--tree", "copy", "--folder", "texts"}).error, HasSubstr("Leave one out"));
    EXPECT_EQ(set({"--platform", "ios"}).status, 2);

    // A tree that takes no private folder is refused whole.
    createFolders(folder / "closed/en-US");
    writeFileAtomically(folder / "closed/en-US/name.txt", "Name");
    writeFileAtomically(folder / "closed/.brevant", "no folder");
    const auto closed = set({"--tree", "closed", "--platform", "ios"});
    EXPECT_NE(closed.status, 0);
    EXPECT_THAT(closed.error, HasSubstr("closed/.brevant"));
    EXPECT_EQ(*documented({"apps", "show", app}, "folder").text(), tree.string());

    // Back again: the note goes, the texts stay.
    const auto back = set({"--tree", "none"});
    EXPECT_EQ(back.status, 0) << back.all();
    EXPECT_THAT(back.out, HasSubstr("Documents/Brevant"));
    EXPECT_FALSE(std::filesystem::exists(tree / ".brevant/tree.json"));
    EXPECT_EQ(get("en-US/name.txt"), "Mosswick\n");
    EXPECT_EQ(set({"--tree", "none"}).status, 2);
}

TEST_F(TreeInPlaceCommands, followATreeThatMovesAndMakeNoneAnew) {
    std::filesystem::create_directory_symlink(tree, folder / "link");
    ASSERT_EQ(set({"--tree", "link", "--platform", "ios"}).status, 0);
    ASSERT_EQ(run({"pull", "--app", app}).status, 0);
    ASSERT_EQ(set({"--tree", "repository/store", "--platform", "ios"}).status, 0);
    const auto moved = folder / "repository/texts";
    std::filesystem::rename(tree, moved);
    EXPECT_THAT(run({"status", "--app", app}).out, HasSubstr(moved.string()));

    // A fresh clone in its place has no private folder, and still is a tree in place.
    std::filesystem::remove_all(moved / ".brevant");
    put("../texts/en-US/name.txt", "Mosswick Two\n");
    const auto fresh = run({"status", "--app", app});
    EXPECT_EQ(fresh.status, 0) << fresh.all();
    EXPECT_THAT(fresh.error, HasSubstr("Nothing is known here"));
    ASSERT_EQ(run({"pull", "--app", app}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(moved / "ios"));

    std::filesystem::remove_all(moved);
    for (const char* command : {"status", "diff", "pull"}) {
        const auto lost = run({command, "--app", app, "--quiet"});
        EXPECT_NE(lost.status, 0);
        EXPECT_THAT(lost.error, HasSubstr(moved.string() + ": the metadata folder was moved or removed"));
    }
    EXPECT_FALSE(std::filesystem::exists(moved));
}

TEST_F(TreeInPlaceCommands, giveEachPlatformItsFolder) {
    const std::filesystem::path wide = folder / "wide";
    for (const char* path : {"wide/ios/en-US/name.txt", "wide/mac/en-US/name.txt"}) {
        createFolders((folder / path).parent_path());
        writeFileAtomically(folder / path, "Mosswick for us\n");
    }
    ASSERT_EQ(set({"--tree", "wide"}).status, 0);
    EXPECT_EQ(set({"--tree", "wide", "--platform", "ios"}).status, 2);
    const auto mac = run({"status", "--app", app, "--context", "macos/next"});
    EXPECT_EQ(mac.status, 0) << mac.all();
    EXPECT_THAT(mac.out, HasSubstr((wide / "mac").string()));
    ASSERT_EQ(run({"pull", "--app", app, "--context", "macos/next"}).status, 0);
    EXPECT_TRUE(std::filesystem::exists(wide / "mac/de-DE/name.txt"));
    EXPECT_FALSE(std::filesystem::exists(wide / "ios/de-DE"));

    // An import understands the same tree.
    const auto imported = run({"metadata", "import", "wide", "--app", app, "--folder", "own", "--json"});
    EXPECT_EQ(imported.status, 0) << imported.all();
    for (const char* place : {"own/ios/next/en-US/name.txt", "own/macos/next/en-US/name.txt"})
        EXPECT_TRUE(std::filesystem::exists(folder / place)) << place;
    const auto none = run({"metadata", "import", "wide", "--app", app, "--context", "tvos/next"});
    EXPECT_EQ(none.status, 4) << none.all();
    EXPECT_THAT(none.error, HasSubstr("has no folder for tvOS"));
}

} // namespace
} // namespace quorvel::test
