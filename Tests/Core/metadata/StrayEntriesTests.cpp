#include "Core/metadata/FieldType.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataTransfer.h"
#include "Core/metadata/StrayEntries.h"
#include "Platform/files/Files.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

struct Place {
    test::TemporaryFolder outer;

    void put(const std::filesystem::path& path) const {
        createFolders((outer / path).parent_path());
        writeFileAtomically(outer / path, "text");
    }
};

} // namespace

TEST(StrayEntries, tellWhichFieldAFileMeans) {
    using F = FieldType;
    const std::pair<std::string, std::optional<F>> cases[] = {
        {"whats_new.txt", F::releaseNotes},
        {"What's New.md", F::releaseNotes},
        {"whatsNew.txt", F::releaseNotes},
        {"changelog.txt", F::releaseNotes},
        {"Description.txt", F::description},
        {"description", F::description},
        {"full_description.txt", F::description},
        {"promotionalText.txt", F::promotionalText},
        {"promotional-text.txt", F::promotionalText},
        {"KEYWORDS.TXT", F::keywords},
        {"title.txt", F::name},
        {"name.txt", std::nullopt}, // is the field
        {"marketing_url.txt", std::nullopt},
        {"name.txt.bak", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [name, field] : cases)
        EXPECT_EQ(fieldMeantBy(name), field) << name;
    for (const char* locale : {"fil", "sr-Latn-RS", "de", "es-419"})
        EXPECT_TRUE(looksLikeLocale(locale)) << locale;
    for (const char* name : {"default", "review_information", "", "d", "de-", "12", "de--AT", "screenshots"})
        EXPECT_FALSE(looksLikeLocale(name)) << name;
}

TEST(StrayEntries, nameTheTextsOfATreeThatNoPushTakes) {
    const Place place;
    for (const char* path :
         {"tree/de-DE/name.txt", "tree/de-DE/Description.txt", "tree/de-DE/whats_new.txt",
          "tree/de-DE/release_notes.txt", "tree/de-DE/marketing_url.txt", "tree/de/name.txt",
          "tree/fr/name.txt", "tree/default/name.txt", "tree/review_information/notes.txt", "tree/name.txt",
          "tree/ja", "tree/.brevant/asc/de/name.txt"})
        place.put(path);
    std::vector<std::string> lines;
    for (const SkippedEntry& entry : misnamedEntries({place.outer / "tree"})) {
        EXPECT_EQ(entry.kind, SkippedEntry::Kind::misnamed);
        lines.push_back(entry.path + " " + entry.reason);
    }
    EXPECT_THAT(lines,
                ElementsAre(HasSubstr("de is no App Store locale; \"de-DE\" lies beside it"),
                            HasSubstr("de-DE/Description.txt is no field of the metadata; rename it to "
                                      "\"description.txt\""),
                            HasSubstr("de-DE/whats_new.txt is no field of the metadata; "
                                      "\"release_notes.txt\" beside it is the one that counts"),
                            HasSubstr("default is no App Store locale; other tools take its texts"),
                            HasSubstr("fr is no App Store locale; rename it to \"fr-FR\""),
                            HasSubstr("ja is a file where a locale's folder belongs"),
                            HasSubstr("name.txt lies outside of a locale's folder")));
}

TEST(StrayEntries, pointAtTheTreeThatAnImportMeant) {
    const Place place;
    place.put("repository/store/metadata/de-DE/name.txt");
    place.put("repository/store/metadata/de-DE/keywords.txt");
    place.put("repository/store/screenshots/de-DE/1.png");
    place.put("repository/source/main.c");
    place.put("elsewhere/notes.txt");
    place.put("short/de/name.txt");
    const MetadataStore store(MetadataFolder{place.outer / "app/ios/next"});
    const std::pair<std::string, std::string> cases[] = {
        {"repository", "repository/store/metadata; name that"},           // above
        {"repository/store", "repository/store/metadata; name that"},     // its parent
        {"repository/source", "repository/store/metadata; name that"},    // beside its parent
        {"repository/store/metadata/de-DE", "store/metadata; name that"}, // a single locale
        {"repository/store/screenshots/", "store/metadata; name that"},   // beside it, without any text
        {"short", "\"de\" may mean \"de-DE\"; rename it"},
    };
    for (const auto& [folder, advice] : cases) {
        std::string said = "nothing";
        try {
            (void)importTree(treeToImport(place.outer / folder), store, systemClock());
        } catch (const MetadataError& error) {
            EXPECT_EQ(error.kind(), MetadataError::Kind::noLocales);
            said = error.what();
        }
        EXPECT_THAT(said, HasSubstr(advice)) << folder;
    }
    EXPECT_FALSE(std::filesystem::exists(store.folder().rootURL));
}
