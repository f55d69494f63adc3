#include "Core/metadata/BookmarkResolver.h"
#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataStore.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <functional>

using namespace quorvel;
using testing::HasSubstr;

namespace {

struct Tree {
    test::TemporaryFolder outer;
    MetadataStore store{MetadataFolder{outer / "tree"}};
    std::filesystem::path root = outer / "tree";

    void put(const std::filesystem::path& path, std::string_view bytes) const {
        createFolders((root / path).parent_path());
        writeFileAtomically(root / path, bytes);
    }
};

std::string textOfError(const std::function<void()>& work) {
    try {
        work();
    } catch (const MetadataError& error) {
        return error.what();
    }
    return "no MetadataError";
}

} // namespace

TEST(MetadataStore, keepsTextsByteForByteInTheirPlaces) {
    const Tree tree;
    const std::string text = "\uFEFF zwei\r\nZeilen \U0001F600\n\n";
    tree.store.write("de-DE", FieldType::releaseNotes, text);
    tree.store.write("de-DE", FieldType::promotionalText, "", TextSide::pulled);
    EXPECT_EQ(readFile(tree.root / "de-DE/release_notes.txt"), text);
    EXPECT_EQ(readFile(tree.root / ".brevant/asc/de-DE/promotional_text.txt"), "");
    EXPECT_EQ(tree.store.read("de-DE", FieldType::releaseNotes), text);
    EXPECT_EQ(tree.store.read("de-DE", FieldType::releaseNotes, TextSide::pulled), std::nullopt);
    EXPECT_TRUE(tree.store.exists("de-DE", FieldType::releaseNotes));
    EXPECT_FALSE(tree.store.exists("de-DE", FieldType::name));
    EXPECT_EQ(tree.store.read("fr-FR", FieldType::name), std::nullopt);

    tree.put("zz/name.txt", "x");
    tree.put(".git/name.txt", "x");
    tree.put("README.md", "x");
    EXPECT_EQ(tree.store.localesOnDisk(), (std::vector<std::string>{"de-DE", "zz"}));
    EXPECT_EQ(tree.store.localesOnDisk(TextSide::pulled), std::vector<std::string>{"de-DE"});
    const auto grid = tree.store.snapshot();
    EXPECT_EQ(grid.locales, (std::vector<std::string>{"de-DE", "zz"}));
    EXPECT_EQ(grid.cell("de-DE", FieldType::name).status, MetadataSnapshot::CellStatus::notPulled);
    EXPECT_EQ(grid.cell("zz", FieldType::name).charCount, 1);
}

TEST(MetadataStore, createsALocaleWithoutTouchingItsFiles) {
    const Tree tree;
    tree.put("it/name.txt", "Nome");
    tree.store.createLocaleLocally("it");
    for (const FieldType field : storeTexts)
        EXPECT_EQ(tree.store.read("it", field), field == FieldType::name ? "Nome" : "") << rawValue(field);
    EXPECT_THAT(MetadataDiff::compare(tree.store), testing::SizeIs(1)); // the empty ones are no changes
    EXPECT_TRUE(MetadataStore(MetadataFolder{tree.outer / "none"}).localesOnDisk().empty());
}

TEST(MetadataStore, refusesWhatIsNoTextOrNotItsOwn) {
    const Tree tree;
    createFolders(tree.outer / "outside/de-DE");
    writeFileAtomically(tree.outer / "outside/de-DE/name.txt", "secret");
    tree.put("bad/name.txt", "ab\xC3\x28");
    tree.put("bad/subtitle.txt", std::string_view("a\0b", 3));
    tree.put("bad/keywords.txt", std::string(MetadataStore::fileLimit + 1, 'x'));
    createFolders(tree.root / "bad/description.txt");
    std::filesystem::create_symlink(tree.outer / "outside/de-DE/name.txt",
                                    tree.root / "bad/release_notes.txt");
    std::filesystem::create_symlink(tree.outer / "new.txt", tree.root / "bad/promotional_text.txt");
    std::filesystem::create_symlink("../outside/de-DE", tree.root / "link");
    tree.put("file", "no folder");

    struct Case {
        std::string locale;
        FieldType field;
        std::string problem;
    };
    const std::vector<Case> cases = {
        {"bad", FieldType::name, "bad/name.txt: is not valid UTF-8 at byte 2"},
        {"bad", FieldType::subtitle, "bad/subtitle.txt: holds a NUL character at byte 1"},
        {"bad", FieldType::keywords, "bad/keywords.txt: has 1048577 bytes"},
        {"bad", FieldType::description, "bad/description.txt: is a folder where a text file"},
        {"bad", FieldType::releaseNotes, "bad/release_notes.txt: is a symbolic link that leads out"},
        {"bad", FieldType::promotionalText, "bad/promotional_text.txt: is a symbolic link that leads out"},
        {"link", FieldType::name, "tree/link: is a symbolic link that leads out"},
        {"file", FieldType::name, "tree/file: is a file where a folder belongs"},
        {"..", FieldType::name, "The locale \"..\" cannot be a folder's name"},
        {"a/b", FieldType::name, "The locale \"a/b\" cannot be"},
        {"", FieldType::name, "The locale \"\" cannot be"},
        {".brevant", FieldType::name, "The locale \".brevant\" cannot be"},
        {std::string("a\0b", 3), FieldType::name, "cannot be a folder's name"},
    };
    for (const auto& [locale, field, problem] : cases)
        EXPECT_THAT(textOfError([&] { (void)tree.store.read(locale, field); }), HasSubstr(problem));
    for (const auto& [locale, field] :
         {std::pair("link", FieldType::name), std::pair("..", FieldType::name),
          std::pair("bad", FieldType::releaseNotes), std::pair("bad", FieldType::promotionalText)})
        EXPECT_NE(textOfError([&] { tree.store.write(locale, field, "x"); }), "no MetadataError") << locale;
    EXPECT_EQ(readFile(tree.outer / "outside/de-DE/name.txt"), "secret");
    EXPECT_EQ(readFile(tree.outer / "new.txt"), std::nullopt);
    EXPECT_THROW((void)MetadataDiff::compare(tree.store), MetadataError);
}

TEST(MetadataStore, refusesAPulledTreeThatIsALinkAway) {
    const Tree tree;
    createFolders(tree.outer / "outside/asc");
    createFolders(tree.root);
    std::filesystem::create_directory_symlink(tree.outer / "outside", tree.root / ".brevant");
    EXPECT_THROW((void)tree.store.readAll(TextSide::pulled), MetadataError);
    EXPECT_THROW(tree.store.write("de-DE", FieldType::name, "x", TextSide::pulled), MetadataError);
    EXPECT_THROW((void)tree.store.keepBeside("de-DE", FieldType::name, "x", Date()), MetadataError);
    EXPECT_FALSE(std::filesystem::exists(tree.outer / "outside/asc/de-DE"));
}

TEST(MetadataStore, leavesOutLinksAwayThatAreNoLocales) {
    const Tree tree;
    tree.put("de-DE/name.txt", "Name");
    tree.put("xx-XX/name.txt", "pulled");
    createFolders(tree.outer / "outside");
    std::filesystem::create_directory_symlink(tree.outer / "outside", tree.root / "linkdir");
    const LogCapture log;
    EXPECT_THAT(tree.store.readAll(), testing::SizeIs(2));
    EXPECT_EQ(tree.store.localesOnDisk(), (std::vector<std::string>{"de-DE", "xx-XX"}));
    EXPECT_THAT(log.text(), HasSubstr("tree/linkdir: is a symbolic link that leads out"));

    // One that stands for a locale is an error still.
    tree.store.write("xx-XX", FieldType::name, "pulled", TextSide::pulled);
    std::filesystem::remove_all(tree.root / "xx-XX");
    for (const std::string locale : {"ja", "xx-XX"}) {
        std::filesystem::create_directory_symlink(tree.outer / "outside", tree.root / locale);
        EXPECT_THAT(textOfError([&] { (void)tree.store.readAll(); }), HasSubstr("tree/" + locale + ": is a"));
        std::filesystem::remove(tree.root / locale);
    }
}

TEST(MetadataStore, followsLinksInsideTheTree) {
    const Tree tree;
    tree.put("en-GB/name.txt", "Colour");
    std::filesystem::create_directory_symlink("en-GB", tree.root / "en-AU");
    createFolders(tree.root / "en-CA");
    std::filesystem::create_symlink("../en-GB/name.txt", tree.root / "en-CA/name.txt");
    EXPECT_EQ(tree.store.localesOnDisk(), (std::vector<std::string>{"en-AU", "en-CA", "en-GB"}));
    tree.store.write("en-CA", FieldType::name, "Kept as a link");
    EXPECT_EQ(tree.store.read("en-AU", FieldType::name), "Kept as a link");
    EXPECT_TRUE(std::filesystem::is_symlink(tree.root / "en-CA/name.txt"));
}

TEST(MetadataStore, putsTextsAsideWithoutReplacingAny) {
    const Tree tree;
    const Date moment = dateFromSecondsSince1970(1772368200);
    const auto first = tree.store.keepBeside("de-DE", FieldType::name, "one", moment);
    EXPECT_EQ(first, tree.root / ".brevant/kept/2026-03-01T12-30-00Z/de-DE/name.txt");
    EXPECT_EQ(tree.store.keepBeside("de-DE", FieldType::name, "one", moment), first);
    EXPECT_EQ(readFile(tree.store.keepBeside("de-DE", FieldType::name, "two", moment)), "two");
    EXPECT_EQ(readFile(first), "one");
}

TEST(BookmarkResolver, noticesMovedReplacedAndLostFolders) {
    const test::TemporaryFolder folder;
    const auto home = folder / "apps/one";
    createFolders(home / ".brevant");
    const std::string bookmark = BookmarkResolver::bookmark(home);
    using Resolved = BookmarkResolver::Resolved;
    EXPECT_EQ(BookmarkResolver::resolve(bookmark), (Resolved{home, false}));

    const std::vector<std::filesystem::path> moves = {"apps/renamed", "up", "other/one"};
    createFolders(folder / "other");
    auto place = home;
    for (const auto& move : moves) {
        std::filesystem::rename(place, folder / move);
        place = folder / move;
        EXPECT_EQ(BookmarkResolver::resolve(bookmark), (Resolved{place, true}));
    }
    createFolders(home); // another folder in the old place does not hide the moved one
    EXPECT_EQ(BookmarkResolver::resolve(bookmark), (Resolved{place, true}));
    EXPECT_EQ(BookmarkResolver::renew({home, false}, "app"), std::nullopt);
    const auto fresh = BookmarkResolver::renew({place, true}, "app");
    EXPECT_EQ(BookmarkResolver::resolve(fresh.value()), (Resolved{place, false}));
    std::filesystem::remove_all(place);
    EXPECT_EQ(BookmarkResolver::resolve(bookmark), (Resolved{home, true}));
    std::filesystem::remove_all(home);
    EXPECT_THAT(textOfError([&] { (void)BookmarkResolver::resolve(bookmark); }),
                HasSubstr("was moved or removed"));
    for (const std::string_view bad : {"", "{}", "\xFF", R"({"version":2,"path":"/","device":1,"inode":1})",
                                       R"({"version":1,"path":"","device":1,"inode":1})"})
        EXPECT_THAT(textOfError([&] { (void)BookmarkResolver::resolve(bad); }),
                    HasSubstr("hoose the folder again in the app's settings"));
    EXPECT_THROW((void)BookmarkResolver::bookmark(folder / "none"), MetadataError);
}

// A bookmark whose folder is gone must not lead to a new folder that was given its number.
TEST(BookmarkResolver, takesNoLaterFolderOfTheSameNumberForALostOne) {
    const test::TemporaryFolder folder;
    createFolders(folder / "apps/one/.brevant");
    auto record = decodeJSON<JSONValue>(BookmarkResolver::bookmark(folder / "apps/one"));
    const JSONValue* const born = record.find("born");
    if (!born || !born->integer()) GTEST_SKIP() << "this file system does not keep when a folder was made";
    std::filesystem::rename(folder / "apps/one", folder / "apps/two");
    EXPECT_TRUE(BookmarkResolver::resolve(encodeJSON(record)).isStale);
    record.set("born", JSONValue(*born->integer() - 1));
    EXPECT_THROW((void)BookmarkResolver::resolve(encodeJSON(record)), MetadataError);
    record.erase("born"); // as older versions wrote it
    EXPECT_TRUE(BookmarkResolver::resolve(encodeJSON(record)).isStale);
}

TEST(MetadataStore, asksAgainWhenAnEditorSavesWhileItReplacesAText) {
    const Tree tree;
    tree.store.write("it", FieldType::name, "read");
    std::vector<std::string> seen;
    const auto replace = [&](const std::optional<std::string>& present) -> std::optional<std::string> {
        seen.push_back(present.value_or("(none)"));
        if (seen.size() == 1) tree.put("it/name.txt", "saved meanwhile");
        return "over " + *present;
    };
    EXPECT_TRUE(tree.store.update("it", FieldType::name, replace));
    EXPECT_THAT(seen, testing::ElementsAre("read", "saved meanwhile"));
    EXPECT_EQ(tree.store.read("it", FieldType::name), "over saved meanwhile");

    // A file that appears meanwhile is not overwritten either.
    const auto fill = [&](const std::optional<std::string>& present) {
        if (present) return std::optional<std::string>();
        tree.put("it/keywords.txt", "mine");
        return std::optional<std::string>("");
    };
    EXPECT_FALSE(tree.store.update("it", FieldType::keywords, fill));
    EXPECT_EQ(tree.store.read("it", FieldType::keywords), "mine");

    int saves = 0;
    const auto restless = [&](const std::optional<std::string>&) {
        tree.put("it/name.txt", "save " + std::to_string(++saves));
        return std::optional<std::string>("lost");
    };
    EXPECT_THAT(textOfError([&] { (void)tree.store.update("it", FieldType::name, restless); }),
                HasSubstr("it/name.txt: is being saved again and again"));
    EXPECT_EQ(tree.store.read("it", FieldType::name), "save " + std::to_string(saves));
}

TEST(MetadataStore, notesWhenAPullWasAndReadsOlderNotes) {
    const Tree tree;
    EXPECT_FALSE(tree.store.wasPulled());
    EXPECT_EQ(tree.store.pulledAt(), std::nullopt);
    tree.store.notePulledVersion("v1", dateFromSecondsSince1970(1772368200));
    EXPECT_TRUE(tree.store.wasPulled());
    EXPECT_EQ(tree.store.pulledVersionID(), "v1");
    EXPECT_EQ(tree.store.pulledAt(), dateFromSecondsSince1970(1772368200));
    tree.put(".brevant/version", "v0");
    EXPECT_EQ(tree.store.pulledVersionID(), "v0");
    EXPECT_EQ(tree.store.pulledAt(), std::nullopt);
}
