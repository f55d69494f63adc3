#include "Core/metadata/MetadataError.h"
#include "Platform/log/Log.h"
#include "Tests/Quorvel/workspace/WorkspaceFixture.h"

namespace quorvel::test {
namespace {

using testing::HasSubstr;
using AppFolder = WorkspaceFixture;

TEST_F(AppFolder, isTheDefaultOneUntilAnotherIsChosen) {
    const ManagedApp app = addApp("notes");
    EXPECT_EQ(appFolderOf(app, home, apps).rootURL, home.documents() / "Brevant/notes");
    EXPECT_FALSE(std::filesystem::exists(home.documents()));
    const ManagedApp chosen = chooseAppFolder(app, {folder / "my texts/notes"}, home, apps);
    EXPECT_EQ(chosen, apps.find(app.id));
    EXPECT_EQ(appFolderOf(chosen, home, apps).rootURL, folder / "my texts/notes");
    EXPECT_TRUE(std::filesystem::is_directory(folder / "my texts/notes"));

    writeFileAtomically(folder / "file", "");
    const LogCapture log;
    EXPECT_THROW(chooseAppFolder(app, {folder / "file/notes"}, home, apps), FileError);
    EXPECT_THAT(log.text(), HasSubstr("Could not create metadata folder "));
    EXPECT_EQ(apps.find(app.id), chosen);
}

TEST_F(AppFolder, isNoneThatAnotherAppUsesOrThatHoldsMoreThanOneApp) {
    const ManagedApp other = chooseAppFolder(addApp("other"), {folder / "trees/other"}, home, apps);
    addApp("unpulled"); // with the default folder, which need not exist
    ManagedApp lost = chooseAppFolder(addApp("lost"), {folder / "gone/lost"}, home, apps);
    std::filesystem::remove_all(folder / "gone");
    std::filesystem::create_directory_symlink(folder / "trees", folder / "link");
    const ManagedApp app = addApp("notes");
    const std::map<std::filesystem::path, std::string> refused = {
        {folder / "trees/other", "is the metadata folder of other"},
        {folder / "trees/other/", "is the metadata folder of other"},
        {folder / "link/other", "is the metadata folder of other"},
        {folder / "trees/other/ios", "lies in the metadata folder of other"},
        {folder / "trees", "holds the metadata folder of other"},
        {home.documents() / "Brevant/unpulled", "is the metadata folder of unpulled"},
        {home.documents() / "Brevant", "holds the metadata folder of unpulled"},
        {home.root, "holds your home folder"},
        {"/", "holds your home folder"}};
    for (const auto& [path, problem] : refused) {
        try {
            (void)chooseAppFolder(app, {path}, home, apps);
            ADD_FAILURE() << path << " was taken";
        } catch (const MetadataError& error) {
            EXPECT_EQ(error.kind(), MetadataError::Kind::folderInUse);
            EXPECT_THAT(error.what(), HasSubstr(problem)) << path;
        }
    }
    EXPECT_EQ(apps.find(app.id)->metadataFolderBookmark, std::nullopt);
    for (const auto& path :
         {folder / "trees/others", folder / "gone/lost", home.documents() / "Brevant/notes"})
        EXPECT_TRUE(chooseAppFolder(app, {path}, home, apps).metadataFolderBookmark) << path;
}

TEST_F(AppFolder, isFollowedWhenItMovesAndItsBookmarkRenewed) {
    ManagedApp app = chooseAppFolder(addApp("notes"), {folder / "trees/notes"}, home, apps);
    save(app, {});
    const ManagedApp old = app;
    app.brandVoice = "calm"; // since the copy that is asked about was read
    app = apps.update(app);
    std::filesystem::rename(folder / "trees/notes", folder / "trees/renamed");
    const LogCapture log;
    EXPECT_EQ(appFolderOf(old, home, apps).rootURL, folder / "trees/renamed");
    EXPECT_THAT(log.text(),
                HasSubstr("Wrote fresh bookmark for notes → " + (folder / "trees/renamed").native()));
    const ManagedApp now = apps.find(app.id).value();
    EXPECT_EQ(now.brandVoice, "calm");
    EXPECT_NE(now.metadataFolderBookmark, old.metadataFolderBookmark);
    const std::string before = log.text();
    EXPECT_EQ(appFolderOf(now, home, apps).rootURL, folder / "trees/renamed");
    EXPECT_EQ(log.text(), before); // nothing left to renew

    std::filesystem::rename(folder / "trees/renamed", folder / "trees/again");
    ASSERT_TRUE(apps.remove(app.id));
    EXPECT_EQ(appFolderOf(now, home, apps).rootURL, folder / "trees/again");
    EXPECT_THAT(log.text(), HasSubstr("Could not store the new bookmark of notes: "));
    std::filesystem::remove_all(folder / "trees");
    EXPECT_THROW((void)appFolderOf(now, home, apps), MetadataError);
}

TEST_F(AppFolder, isCarriedOverFromTheOlderLayoutOnceItWasPulled) {
    const MetadataFolder app{folder / "trees/notes"};
    const MetadataStore older(app);
    older.write("de-DE", FieldType::name, "Name");
    const LogCapture log;
    carryOverPulledTree(app); // it may be another tool's
    EXPECT_FALSE(holdsOlderLayout(app));
    EXPECT_TRUE(older.exists("de-DE", FieldType::name));
    older.write("de-DE", FieldType::name, "Name", TextSide::pulled);
    EXPECT_TRUE(holdsOlderLayout(app));
    carryOverPulledTree(app);
    EXPECT_FALSE(older.exists("de-DE", FieldType::name));
    EXPECT_FALSE(holdsOlderLayout(app));
    EXPECT_THAT(log.text(), HasSubstr("Carried 2 folders of the older layout over"));
    EXPECT_FALSE(hasLockFile(app)); // the lock is the caller's
}

} // namespace
} // namespace quorvel::test
