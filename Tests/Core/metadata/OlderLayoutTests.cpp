#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/OlderLayout.h"
#include "Platform/files/Files.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;

namespace fs = std::filesystem;

namespace {

// Path under the root → content, of every file but locks.
using TreeTexts = std::map<std::string, std::string>;

void put(const fs::path& root, const TreeTexts& tree) {
    for (const auto& [path, content] : tree) {
        createFolders((root / path).parent_path());
        writeFileAtomically(root / path, content, FileMode::shared, Durability::later);
    }
}

TreeTexts treeAt(const fs::path& root) {
    TreeTexts tree;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (entry.is_regular_file() && entry.path().filename() != "lock")
            tree[entry.path().lexically_relative(root).generic_string()] = readFile(entry.path()).value();
    return tree;
}

std::vector<std::string> movesOf(const OlderLayoutReport& report) {
    std::vector<std::string> moves;
    for (const CarriedFolder& folder : report.moved)
        moves.push_back(folder.from + " > " + folder.to);
    return moves;
}

std::vector<std::string> leftOf(const OlderLayoutReport& report) {
    std::vector<std::string> left;
    for (const LeftFolder& one : report.leftInPlace)
        left.push_back(one.folder.from);
    return left;
}

} // namespace

TEST(OlderLayout, movesTheLocalesOfEachPlatformWithAllTheyHold) {
    const test::TemporaryFolder folder;
    const MetadataFolder app{folder.path()};
    put(app.rootURL, {
                         {"de-DE/name.txt", "Name"},
                         {"de-DE/screenshots/1.png", "picture"},
                         {"de-DE/.DS_Store", "x"},
                         {".brevant/asc/de-DE/name.txt", "Pulled"},
                         {".brevant/asc/fr-FR/name.txt", "Nom"}, // its texts were removed
                         {".brevant/contexts.json", "{}"},
                         {"macos/ja/keywords.txt", "k"},
                         {"macos/.brevant/asc/ja/keywords.txt", "k"},
                         {"visionos/en-US/name.txt", "V"},
                         {"no/thanks.txt", "no locale: holds no field"},
                         {"docs/name.txt", "no locale"},
                         {"ios/next/it/name.txt", "is at its place"},
                         {"README.md", "r"},
                         {"tvos", "a file"},
                     });
    const OlderLayoutReport report = carryOverOlderLayout(app);
    EXPECT_THAT(movesOf(report),
                ElementsAre("de-DE > ios/next/de-DE", ".brevant/asc/de-DE > ios/next/.brevant/asc/de-DE",
                            ".brevant/asc/fr-FR > ios/next/.brevant/asc/fr-FR", "macos/ja > macos/next/ja",
                            "macos/.brevant/asc/ja > macos/next/.brevant/asc/ja",
                            "visionos/en-US > visionos/next/en-US"));
    EXPECT_THAT(report.lines(),
                ElementsAre("Carried 6 folders of the older layout over, such as de-DE to ios/next/de-DE."));
    EXPECT_EQ(treeAt(app.rootURL), (TreeTexts{
                                       {"ios/next/de-DE/name.txt", "Name"},
                                       {"ios/next/de-DE/screenshots/1.png", "picture"},
                                       {"ios/next/de-DE/.DS_Store", "x"},
                                       {"ios/next/.brevant/asc/de-DE/name.txt", "Pulled"},
                                       {"ios/next/.brevant/asc/fr-FR/name.txt", "Nom"},
                                       {".brevant/contexts.json", "{}"},
                                       {"macos/next/ja/keywords.txt", "k"},
                                       {"macos/next/.brevant/asc/ja/keywords.txt", "k"},
                                       {"visionos/next/en-US/name.txt", "V"},
                                       {"no/thanks.txt", "no locale: holds no field"},
                                       {"docs/name.txt", "no locale"},
                                       {"ios/next/it/name.txt", "is at its place"},
                                       {"README.md", "r"},
                                       {"tvos", "a file"},
                                   }));
    EXPECT_FALSE(fs::exists(app.rootURL / "macos/.brevant"));
    EXPECT_TRUE(carryOverOlderLayout(app).isEmpty());
    const MetadataStore next(app.contextFolder({}));
    const auto changes = MetadataDiff::compare(next);
    ASSERT_EQ(changes.size(), 2U); // the edit, and the locale that lies there without a copy
    EXPECT_EQ(changes.front().remote, "Pulled");
}

TEST(OlderLayout, isFoundWithoutBeingMoved) {
    const test::TemporaryFolder folder;
    const MetadataFolder app{folder.path()};
    put(app.rootURL, {
                         {"de-DE/name.txt", "Name"},
                         {".brevant/asc/de-DE/name.txt", "Pulled"},
                         {"fr-FR/name.txt", "old"},
                         {"ios/next/fr-FR/name.txt", "new"},
                         {"macos/ja/keywords.txt", "k"},
                         {"macos/live/ja/keywords.txt", "live"},
                     });
    const TreeTexts before = treeAt(app.rootURL);
    const OlderLayoutReport found = findOlderLayout(app);
    EXPECT_EQ(treeAt(app.rootURL), before);
    EXPECT_THAT(movesOf(found),
                ElementsAre("de-DE > ios/next/de-DE", ".brevant/asc/de-DE > ios/next/.brevant/asc/de-DE",
                            "macos/ja > macos/next/ja"));
    EXPECT_EQ(carryOverOlderLayout(app), found);
    EXPECT_THAT(movesOf(findOlderLayout(app)), ElementsAre());
}

TEST(OlderLayout, touchesNothingWhereThereIsNothingOfIt) {
    const test::TemporaryFolder folder;
    EXPECT_TRUE(carryOverOlderLayout({folder / "missing"}).isEmpty());
    EXPECT_FALSE(fs::exists(folder / "missing"));
    put(folder.path(), {{"ios/live/de-DE/name.txt", "Name"}, {"it/notes.txt", "n"}});
    EXPECT_TRUE(carryOverOlderLayout({folder.path()}).isEmpty());
    EXPECT_FALSE(fs::exists(folder / ".brevant"));
    EXPECT_FALSE(fs::exists(folder / "ios/next"));
}

TEST(OlderLayout, replacesNothingAndNamesWhatItLeaves) {
    const test::TemporaryFolder folder;
    const MetadataFolder app{folder.path()};
    const TreeTexts stays = {
        {"de-DE/name.txt", "old"}, // both sides are taken
        {".brevant/asc/de-DE/name.txt", "old copy"},
        {"ios/next/de-DE/name.txt", "new"},
        {"fr-FR/name.txt", "old"}, // its copy's place is taken: old texts must not become edits
        {".brevant/asc/fr-FR/name.txt", "old copy"},
        {"ios/next/.brevant/asc/fr-FR/name.txt", "new copy"},
        {"ja/name.txt", "old"}, // a file is in its place
        {"ios/next/ja", "a file"},
        {"elsewhere/name.txt", "E"},
    };
    put(app.rootURL, stays);
    put(app.rootURL, {{"it/name.txt", "moves"}, {"macos/ko/name.txt", "moves"}});
    createFolders(folder / "ios/next/it"); // empty: nothing would be lost
    fs::create_directory_symlink("elsewhere", folder / "sv");
    const OlderLayoutReport report = carryOverOlderLayout(app);
    EXPECT_THAT(movesOf(report), ElementsAre("it > ios/next/it", "macos/ko > macos/next/ko"));
    EXPECT_THAT(leftOf(report),
                ElementsAre("de-DE", "fr-FR", "ja", "sv", ".brevant/asc/de-DE", ".brevant/asc/fr-FR"));
    EXPECT_THAT(
        report.lines(),
        IsSupersetOf(
            {HasSubstr("Carried 2 folders of the older layout over"),
             HasSubstr(
                 "de-DE stays where it is: ios/next/de-DE is there already. Compare the two and remove one."),
             HasSubstr("fr-FR stays where it is: ios/next/.brevant/asc/fr-FR is there")}));
    TreeTexts expected = stays;
    expected["ios/next/it/name.txt"] = expected["macos/next/ko/name.txt"] = "moves";
    expected["sv/name.txt"] = "E"; // through the link
    TreeTexts present = treeAt(app.rootURL);
    present["sv/name.txt"] = readFile(folder / "sv/name.txt").value();
    EXPECT_EQ(present, expected);
    EXPECT_EQ(leftOf(carryOverOlderLayout(app)), leftOf(report));
    EXPECT_THAT(movesOf(carryOverOlderLayout(app)), ElementsAre());
}

TEST(OlderLayout, killedAtAnyMomentLosesNothingAndEndsAtTheNextCall) {
    const std::vector<std::string> prefixes = {"", "macos/", "tvos/", "visionos/"};
    const auto prefixOfNext = [](const std::string& prefix) {
        return (prefix.empty() ? "ios/" : prefix) + "next/";
    };
    TreeTexts older, carried;
    for (const std::string& prefix : prefixes)
        for (const std::string locale : {"de-DE", "en-US", "fr-FR", "ja", "ko", "zh-Hans"})
            for (const std::string& side : {std::string(), std::string(".brevant/asc/")})
                for (const FieldType field : {FieldType::name, FieldType::keywords}) {
                    const std::string file = side + locale + "/" + std::string(fileNameOf(field));
                    older[prefix + file] = carried[prefixOfNext(prefix) + file] = prefix + file;
                }
    int kills = 0, ends = 0, between = 0;
    for (double microseconds = 100; ends < 3; microseconds *= 1.15) {
        const test::TemporaryFolder folder;
        put(folder.path(), older);
        const pid_t child = ::fork();
        if (child == 0) {
            const itimerval timer{{0, 0}, {0, static_cast<int>(microseconds)}};
            ::setitimer(ITIMER_REAL, &timer, nullptr); // the alarm ends the process as a kill does
            (void)carryOverOlderLayout({folder.path()});
            ::_exit(0);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        ++(WIFSIGNALED(status) ? kills : ends);
        TreeTexts left = treeAt(folder.path());
        ASSERT_EQ(left.size(), older.size());
        std::size_t moved = 0;
        for (const auto& [path, content] : left) {
            const auto place = older.find(path);
            moved += place == older.end();
            ASSERT_EQ(content, place == older.end() ? carried.at(path) : place->second) << path;
        }
        between += moved > 0 && moved < older.size();
        (void)carryOverOlderLayout({folder.path()});
        ASSERT_EQ(treeAt(folder.path()), carried) << "after " << microseconds << " µs";
    }
    EXPECT_GT(kills, 5);
    EXPECT_GT(between, 0);
}
