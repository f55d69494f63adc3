#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataTransfer.h"
#include "Platform/files/Files.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

struct Trees {
    test::TemporaryFolder outer;
    std::filesystem::path foreign = outer / "foreign";
    MetadataStore store{MetadataFolder{outer / "ios/next"}};
    Clock clock = [] { return dateFromSecondsSince1970(1772368200); };

    Trees() { createFolders(foreign); }
    void put(const std::filesystem::path& path, std::string_view bytes) const {
        createFolders((foreign / path).parent_path());
        writeFileAtomically(foreign / path, bytes);
    }
    [[nodiscard]] std::vector<std::string> skipped(const ImportReport& report) const {
        std::vector<std::string> lines;
        for (const SkippedEntry& entry : report.skipped)
            lines.push_back(entry.path + ": " + entry.reason);
        return lines;
    }
};

} // namespace

TEST(MetadataTransfer, importsFieldsAndNamesTheRest) {
    const Trees trees;
    trees.put("de-DE/name.txt", "Name\n");
    trees.put("de-DE/description.txt", "\uFEFFeins\r\nzwei\r\n\r\n");
    trees.put("de-DE/keywords.txt", std::string(101, 'k'));
    trees.put("de-DE/marketing_url.txt", "https://example.test\n");
    trees.put("de-DE/subtitle.txt", "\xFF");
    trees.put("de/name.txt", "Name");
    trees.put("default/release_notes.txt", "Notes");
    trees.put("copyright.txt", "me");
    trees.put(".hidden/name.txt", "x");
    trees.put("fr-FR/name.txt", "");
    const auto before = importTree(treeToImport(trees.foreign), trees.store, trees.clock, DryRun::yes);
    EXPECT_THAT(trees.store.localesOnDisk(), IsEmpty());

    const auto report = importTree(treeToImport(trees.foreign), trees.store, trees.clock);
    EXPECT_EQ(encodeJSON(before), encodeJSON(report));
    EXPECT_EQ(trees.store.read("de-DE", FieldType::name), "Name");
    EXPECT_EQ(trees.store.read("de-DE", FieldType::description), "\uFEFFeins\r\nzwei\r\n");
    EXPECT_THAT(report.locales, ElementsAre("de-DE", "fr-FR"));
    EXPECT_EQ(trees.store.read("de-DE", FieldType::marketingURL), "https://example.test");
    EXPECT_EQ(trees.store.read(pageLocale, FieldType::copyright), "me");
    EXPECT_THAT(report.imported, SizeIs(8));
    EXPECT_THAT(report.fromDefault, ElementsAre(FieldKey{"de-DE", FieldType::releaseNotes},
                                                FieldKey{"fr-FR", FieldType::releaseNotes}));
    EXPECT_EQ(trees.store.read("fr-FR", FieldType::releaseNotes), "Notes");
    EXPECT_EQ(report.stripped, 3);
    EXPECT_THAT(report.overLimit, ElementsAre(FieldKey{"de-DE", FieldType::keywords}));
    EXPECT_THAT(trees.skipped(report),
                ElementsAre(HasSubstr("de: is no App Store locale; \"de-DE\" lies beside it"),
                            HasSubstr("de-DE/subtitle.txt: is not valid UTF-8 at byte 0")));
    EXPECT_EQ(importTree(treeToImport(trees.foreign), trees.store, trees.clock).unchanged, 8);
    EXPECT_THROW((void)importTree(treeToImport(trees.outer / "none"), trees.store, trees.clock),
                 MetadataError);
    EXPECT_THROW((void)importTree(treeToImport(trees.store.folder().rootURL), trees.store, trees.clock),
                 MetadataError);
}

TEST(MetadataTransfer, importsOverEditsOnlyAfterKeepingThem) {
    const Trees trees;
    for (const FieldType field : {FieldType::name, FieldType::subtitle, FieldType::keywords}) {
        trees.store.write("de-DE", field, "pulled", TextSide::pulled);
        trees.store.write("de-DE", field, "pulled");
    }
    trees.store.write("de-DE", FieldType::name, "mine");
    trees.put("de-DE/name.txt", "theirs\n");
    trees.put("de-DE/subtitle.txt", "theirs");
    trees.put("de-DE/keywords.txt", "\n");
    const auto report = importTree(treeToImport(trees.foreign), trees.store, trees.clock);
    ASSERT_THAT(report.kept, SizeIs(1));
    EXPECT_EQ(readFile(report.kept[0].path), "mine");
    EXPECT_EQ(trees.store.read("de-DE", FieldType::name), "theirs");
    EXPECT_EQ(trees.store.read("de-DE", FieldType::subtitle), "theirs");
    EXPECT_EQ(trees.store.read("de-DE", FieldType::keywords), "pulled"); // a blank file erases nothing
    EXPECT_THAT(trees.skipped(report), ElementsAre(HasSubstr("is blank")));
    EXPECT_EQ(trees.store.read("de-DE", FieldType::name, TextSide::pulled), "pulled");
}

TEST(MetadataTransfer, exportsWhatAnImportTakesBack) {
    const Trees trees;
    const LocaleTexts texts = [] {
        LocaleTexts all;
        all["de-DE"][FieldType::name] = "Name";
        all["de-DE"][FieldType::description] = "ends with a break\n";
        all["ja"][FieldType::keywords] = "";
        return all;
    }();
    for (const auto& [locale, fields] : texts)
        for (const FieldType field : localeFields)
            if (fields[field]) trees.store.write(locale, field, *fields[field]);
    trees.put("de-DE/name.txt", "Other\n");
    trees.put("de-DE/video.txt", "stays");
    const auto report = exportTree(trees.store, trees.foreign);
    EXPECT_EQ(report.written, 3);
    EXPECT_THAT(report.replaced, ElementsAre(FieldKey{"de-DE", FieldType::name}));
    EXPECT_EQ(readFile(trees.foreign / "de-DE/name.txt"), "Name\n");
    EXPECT_EQ(readFile(trees.foreign / "ja/keywords.txt"), "");
    EXPECT_EQ(readFile(trees.foreign / "de-DE/video.txt"), "stays");
    EXPECT_EQ(exportTree(trees.store, trees.foreign).unchanged, 3);

    const MetadataStore back(MetadataFolder{trees.outer / "back"});
    (void)importTree(treeToImport(trees.foreign), back, trees.clock);
    EXPECT_EQ(back.readAll(), texts);
    EXPECT_THROW((void)exportTree(trees.store, trees.store.folder().rootURL), MetadataError);
}

TEST(MetadataTransfer, tidiesSlipsOfEditorsOnly) {
    const Trees trees;
    trees.store.write("de-DE", FieldType::name, "Name\n");
    trees.store.write("de-DE", FieldType::name, "Name", TextSide::pulled);
    trees.store.write("de-DE", FieldType::subtitle, "from App Store Connect\n");
    trees.store.write("de-DE", FieldType::subtitle, "from App Store Connect\n", TextSide::pulled);
    trees.store.write("de-DE", FieldType::description, "\uFEFFtext\r\n");
    trees.store.write("de-DE", FieldType::keywords, "a,b");
    const auto expected = ElementsAre(TidiedField{"de-DE", FieldType::name, true, false},
                                      TidiedField{"de-DE", FieldType::description, true, true});
    EXPECT_THAT(tidyTree(trees.store, DryRun::yes).tidied, expected);
    EXPECT_THAT(tidyTree(trees.store).tidied, expected);
    EXPECT_THAT(tidyTree(trees.store).tidied, IsEmpty());
    EXPECT_EQ(trees.store.read("de-DE", FieldType::description), "text");
    EXPECT_THAT(MetadataDiff::compare(trees.store), SizeIs(2)); // the name is as it was pulled again
}

TEST(MetadataTransfer, skipsAndNamesLocalFilesThatAreNoTexts) {
    const Trees trees;
    trees.store.write("de-DE", FieldType::name, "Name\n");
    const auto broken = trees.store.folder().fieldFile("de-DE", FieldType::subtitle);
    writeFileAtomically(broken, "a\xFF\n");
    const auto isNamed = ElementsAre(testing::Field(&SkippedEntry::path, "de-DE/subtitle.txt"));
    const auto exported = exportTree(trees.store, trees.foreign);
    EXPECT_EQ(exported.written, 1);
    EXPECT_THAT(exported.skipped, isNamed);
    EXPECT_FALSE(std::filesystem::exists(trees.foreign / "de-DE/subtitle.txt"));
    const auto tidied = tidyTree(trees.store);
    EXPECT_THAT(tidied.tidied, SizeIs(1));
    EXPECT_THAT(tidied.skipped, isNamed);
    trees.put("de-DE/subtitle.txt", "Unter");
    trees.put("de-DE/keywords.txt", "a,b");
    const auto imported = importTree(treeToImport(trees.foreign), trees.store, trees.clock);
    EXPECT_THAT(imported.skipped, isNamed);
    EXPECT_EQ(trees.store.read("de-DE", FieldType::keywords), "a,b");
    EXPECT_EQ(readFile(broken), "a\xFF\n");
}
