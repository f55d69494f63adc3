#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/FinalLineBreak.h"
#include "Core/metadata/PullWriter.h"
#include "Core/metadata/TextComparison.h"
#include "Core/metadata/TreeInPlace.h"
#include "Core/metadata/merge/RemoteComparison.h"
#include "Platform/files/Files.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

constexpr ContextID iosNext{};
constexpr ContextID macNext{ASCPlatform::macOS, AppStoreVersionStateClass::editable};
constexpr ContextID iosLive{ASCPlatform::iOS, AppStoreVersionStateClass::live};

struct InPlace {
    test::TemporaryFolder outer;
    std::filesystem::path tree = outer / "tree";
    MetadataFolder folder{tree, TreeInPlace{}};

    void put(const std::filesystem::path& path, std::string_view text) const {
        createFolders((tree / path).parent_path());
        writeFileAtomically(tree / path, text);
    }
    [[nodiscard]] std::string get(const std::filesystem::path& path) const {
        return readFile(tree / path).value_or("(no file)");
    }
    [[nodiscard]] MetadataStore store() const { return MetadataStore(folder.contextFolder(iosNext)); }
    [[nodiscard]] TextComparison compare() const {
        return compareTexts(store(), iosNext, {{}, finalLineBreakOf(folder)});
    }
    // One field of one locale comes in.
    PullResult pull(const std::string& locale, const std::string& text) const {
        LocaleTexts texts;
        texts[locale][FieldType::releaseNotes] = text;
        return writePulledTexts(store(), {{FieldHome::versionLocalization, texts}},
                                {LocalEdits::keepBeside, {}, FinalLineBreak::strip}, Date());
    }
};

std::string errorOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const MetadataError& error) {
        return error.what();
    }
    return "no error";
}

} // namespace

TEST(TreeInPlace, givesEachContextItsPlaceAndTheRestToThePrivateFolder) {
    const InPlace one;
    one.put("Mac/en-US/name.txt", "Name");
    const MetadataFolder platforms{one.tree, TreeInPlace{TreeLayout::platforms}};
    struct Case {
        MetadataFolder folder;
        ContextID context;
        std::filesystem::path texts;
        std::filesystem::path copies;
    };
    const Case cases[] = {
        {one.folder, iosNext, "", ".brevant/ios/next/asc"},
        {one.folder, macNext, ".brevant/macos/next", ".brevant/macos/next/.brevant/asc"},
        {one.folder, iosLive, ".brevant/ios/live", ".brevant/ios/live/.brevant/asc"},
        {platforms, macNext, "Mac", ".brevant/macos/next/asc"},
        {platforms, iosNext, "ios", ".brevant/ios/next/asc"},
        {platforms, iosLive, ".brevant/ios/live", ".brevant/ios/live/.brevant/asc"},
    };
    for (const auto& [folder, context, texts, copies] : cases) {
        const MetadataFolder place = folder.contextFolder(context);
        EXPECT_EQ(place.localeFolder("de-DE"), one.tree / texts / "de-DE") << context.text();
        EXPECT_EQ(place.textsFolder(TextSide::pulled), one.tree / copies) << context.text();
    }
    // Copies are written, read and removed in the private folder, and never seen as locales.
    const MetadataStore store(platforms.contextFolder(macNext));
    store.write("de-DE", FieldType::name, "copy", TextSide::pulled);
    EXPECT_EQ(store.read("de-DE", FieldType::name, TextSide::pulled), "copy");
    EXPECT_THAT(store.localesOnDisk(), ElementsAre("en-US"));
    EXPECT_THAT(store.localesOnDisk(TextSide::pulled), ElementsAre("de-DE"));
}

TEST(TreeInPlace, findsTheLayoutOrSaysWhatIsThere) {
    struct Case {
        std::vector<std::filesystem::path> files;
        std::string layout; // or a part of the error
    };
    const Case cases[] = {
        {{"en-US/name.txt", "default/name.txt"}, "locales"},
        {{"ios/en-US/name.txt", "osx/ja/name.txt"}, "platforms ios macos"},
        {{"appletvos/en-US/name.txt", "xros/en-US/name.txt"}, "platforms tvos visionos"},
        {{"en-US/name.txt", "mac/en-US/name.txt"}, "locales"},
        {{".git/config"}, "locales"},
        {{"mac/en-US/name.txt", "osx/en-US/name.txt"}, "mac and osx are both of macOS"},
        {{"de/name.txt"}, "\"de\" may mean \"de-DE\""},
        {{"below/en-US/name.txt"}, "There is a tree in"},
        {{"ios/next/en-US/name.txt"}, "There is a tree in"},
    };
    for (const auto& [files, layout] : cases) {
        const InPlace one;
        for (const auto& file : files)
            one.put(file, "text");
        std::string said;
        try {
            const FoundLayout found = findLayout(one.tree);
            said = rawValue(found.layout);
            for (const ASCPlatform platform : found.platforms)
                said += " " + std::string(platformFolderName(platform));
        } catch (const MetadataError& error) {
            said = error.what();
        }
        EXPECT_THAT(said, HasSubstr(layout)) << files.front();
    }
    EXPECT_THAT(errorOf([] { (void)findLayout("/nowhere"); }), HasSubstr("/nowhere"));
}

TEST(TreeInPlace, isNotedInTheTreeItselfWithoutAnyPath) {
    const InPlace one;
    const MetadataFolder mac{one.tree, TreeInPlace{TreeLayout::locales, ASCPlatform::macOS}};
    keepTreeNote(mac);
    EXPECT_EQ(folderAt(one.tree), mac);
    const auto moved = one.outer / "moved";
    std::filesystem::rename(one.tree, moved);
    EXPECT_EQ(folderAt(moved), (MetadataFolder{moved, mac.inPlace}));
    writeFileAtomically(moved / ".brevant/tree.json", "{");
    EXPECT_THAT(errorOf([&] { (void)folderAt(moved); }), HasSubstr("tree.json: cannot be understood"));
    removeTreeNote(moved);
    EXPECT_EQ(folderAt(moved), MetadataFolder{moved});

    // The folder of a context stands for the app's where that was pulled.
    EXPECT_EQ(folderAt(moved / "ios/next"), MetadataFolder{moved / "ios/next"});
    const auto contexts = MetadataFolder{moved}.contextsFile();
    createFolders(contexts.parent_path());
    writeFileAtomically(contexts, "{}");
    for (const char* place : {"ios/next", "macos/live/", "tvos/next"})
        EXPECT_EQ(folderAt(moved / place), MetadataFolder{moved}) << place;
    for (const char* place : {"ios", "next", "ios/next/de-DE", "ios/later"})
        EXPECT_EQ(folderAt(moved / place), MetadataFolder{moved / place}) << place;
}

TEST(TreeInPlace, namesWhatNoPushTakesOfAnotherToolsFolder) {
    const InPlace one;
    for (const char* path :
         {"mac/en-US/name.txt", "mac/si/name.txt", "mac/en/name.txt", "mac/default/whats_new.txt",
          "mac/android/en-US/title.txt", "android/en-US/title.txt", "appletv/1.png", "screenshots/a.png",
          "trade_representative_contact_information/state.txt", "notes.md"})
        one.put(path, "text");
    const MetadataFolder platforms{one.tree, TreeInPlace{TreeLayout::platforms}};
    std::vector<std::string> lines;
    for (const SkippedEntry& entry : misnamedEntries(platforms.contextFolder(macNext)))
        lines.push_back(entry.path + " " + entry.reason);
    EXPECT_THAT(lines,
                ElementsAre("android holds the texts for another store", "appletv is no platform's folder",
                            "mac/android holds the texts for another store",
                            HasSubstr("mac/default/whats_new.txt is no field of the metadata; rename it"),
                            HasSubstr("mac/en is no App Store locale; \"en-US\" lies beside it"),
                            "mac/si is no App Store locale", "notes.md lies outside of a platform's folder",
                            HasSubstr("trade_representative_contact_information holds what App Store")));
    EXPECT_THAT(MetadataStore(platforms.contextFolder(macNext)).localesOnDisk(),
                ElementsAre("en", "en-US", "si"));
}

TEST(TreeInPlace, lendsTheTextOfAllLocalesToThoseWithoutOne) {
    const InPlace one;
    one.put("default/release_notes.txt", "Fixes\n");
    one.put("default/keywords.txt", " \n");
    one.put("de-DE/release_notes.txt", "Fehler\n");
    one.put("fr-FR/release_notes.txt", "\n"); // blank
    one.put("ja/name.txt", "名\n");           // missing
    one.put("ko/release_notes.txt", "\xFF");  // unreadable, which is no reason to send another text
    const MetadataStore store = one.store();
    store.write("pl", FieldType::releaseNotes, "Old", TextSide::pulled); // has no folder
    store.write("pl", FieldType::name, "Nazwa", TextSide::pulled);
    const auto texts = one.compare();
    EXPECT_THAT(texts.fromDefault, ElementsAre(FieldKey{"fr-FR", FieldType::releaseNotes},
                                               FieldKey{"ja", FieldType::releaseNotes},
                                               FieldKey{"pl", FieldType::releaseNotes}));
    std::map<std::string, std::string> sent;
    for (const PendingChange& change : texts.selection.chosen)
        if (change.field == FieldType::releaseNotes) sent[change.locale] = change.local;
    using Sent = std::pair<const std::string, std::string>;
    EXPECT_THAT(sent, UnorderedElementsAre(Sent{"de-DE", "Fehler"}, Sent{"fr-FR", "Fixes"},
                                           Sent{"ja", "Fixes"}, Sent{"pl", "Fixes"}));
    EXPECT_THAT(texts.misnamed, IsEmpty());
    ASSERT_EQ(texts.selection.leftOut.size(), 1u); // nothing of pl's name, which only lacks its folder
    EXPECT_EQ(texts.selection.leftOut[0].change.locale, "ko");

    one.put("default/release_notes.txt", "\xFF");
    const auto broken = one.compare();
    EXPECT_THAT(broken.fromDefault, IsEmpty());
    for (const PendingChange& change : broken.selection.chosen)
        EXPECT_TRUE(change.locale == "de-DE" || change.field != FieldType::releaseNotes) << change.locale;
    EXPECT_FALSE(MetadataStore(one.folder.contextFolder(iosLive)).exists("default", FieldType::releaseNotes));
}

TEST(TreeInPlace, comparesTheTextOfAllLocalesWithWhatAppStoreConnectHoldsNow) {
    const InPlace one;
    one.put("default/release_notes.txt", "Fixes\n");
    one.put("de-DE/name.txt", "Name\n");
    const MetadataStore store = one.store();
    for (const char* locale : {"de-DE", "pl"}) { // pl has no folder
        store.write(locale, FieldType::releaseNotes, "Old", TextSide::pulled);
        store.write(locale, FieldType::name, "Name", TextSide::pulled);
    }
    const auto look = [&](const std::string& notes) {
        ReadTexts remote;
        for (const char* locale : {"de-DE", "pl"}) {
            remote.texts[locale][FieldType::releaseNotes] = notes;
            remote.texts[locale][FieldType::name] = "Name";
        }
        std::map<FieldKey, ChangedBy> changed;
        const auto texts = compareWithRemote(store, {{}, finalLineBreakOf(one.folder)}, remote);
        EXPECT_THAT(texts.removedLocales, ElementsAre("pl"));
        for (const RemoteDifference& difference : texts.differences) {
            changed[difference.key] = difference.changedBy;
            EXPECT_EQ(difference.local, "Fixes") << difference.key.locale;
        }
        return changed;
    };
    const FieldKey german{"de-DE", FieldType::releaseNotes}, polish{"pl", FieldType::releaseNotes};
    for (const auto& [notes, changedBy] :
         {std::pair("Old", ChangedBy::local), std::pair("Fixes", ChangedBy::bothAlike),
          std::pair("Other", ChangedBy::bothDifferently)})
        EXPECT_THAT(look(notes),
                    UnorderedElementsAre(std::pair(german, changedBy), std::pair(polish, changedBy)))
            << notes;
}

TEST(TreeInPlace, pullsWriteNoFileThatTheTreeNeedsNot) {
    struct Case {
        std::string name;
        std::string own;    // "-": no file
        std::string shared; // the text of all locales
        std::string copy;   // at the last pull
        std::string comes;
        std::string becomes; // the own file
        bool isPending;      // for a push
    };
    const Case cases[] = {
        {"the same text", "-", "Fixes\n", "-", "Fixes", "-", false},
        {"another text", "-", "Fixes\n", "-", "Anders", "Anders", false},
        {"none for a new version", "-", "Fixes\n", "-", "", "-", true},
        {"none any more", "-", "Fixes\n", "Fixes", "", "-", true},
        {"a blank own file", "\n", "Fixes\n", "-", "", "\n", true},
        {"changed by somebody else", "-", "Fixes\n", "Fixes", "Anders", "Anders", false},
        {"no text anywhere", "-", "-", "-", "", "-", false},
        {"a line break of the editor stays", "Alt\n", "Fixes\n", "Alt", "Neu", "Neu\n", false},
        {"an own text becomes that of all", "Alt\n", "Fixes\n", "Alt", "Fixes", "Fixes\n", false},
    };
    for (const Case& one : cases) {
        const InPlace place;
        createFolders(place.tree);
        if (one.own != "-") place.put("de-DE/release_notes.txt", one.own);
        if (one.shared != "-") place.put("default/release_notes.txt", one.shared);
        if (one.copy != "-")
            place.store().write("de-DE", FieldType::releaseNotes, one.copy, TextSide::pulled);
        const auto result = place.pull("de-DE", one.comes);
        EXPECT_EQ(place.get("de-DE/release_notes.txt"), one.becomes == "-" ? "(no file)" : one.becomes)
            << one.name;
        EXPECT_EQ(place.get("default/release_notes.txt"), one.shared == "-" ? "(no file)" : one.shared)
            << one.name;
        EXPECT_THAT(result.kept, IsEmpty()) << one.name;
        EXPECT_EQ(result.leftEdits.size(), one.isPending ? 1u : 0u) << one.name;
        EXPECT_EQ(place.compare().changes.size(), one.isPending ? 1u : 0u) << one.name;
        EXPECT_EQ(std::filesystem::exists(place.tree / "de-DE"), one.own != "-" || one.becomes != "-")
            << one.name;
    }
}

TEST(TreeInPlace, takesLinksThatStayInTheTreeAndRefusesOthers) {
    const InPlace one;
    one.put("ios/en-US/name.txt", "Name");
    createFolders(one.tree / "mac");
    createFolders(one.outer / "elsewhere");
    std::filesystem::create_directory_symlink("../ios/en-US", one.tree / "mac/en-US");
    std::filesystem::create_directory_symlink(one.outer / "elsewhere", one.tree / "mac/ja");
    const MetadataStore store(
        MetadataFolder{one.tree, TreeInPlace{TreeLayout::platforms}}.contextFolder(macNext));
    EXPECT_EQ(store.read("en-US", FieldType::name), "Name");
    EXPECT_THAT(errorOf([&] { (void)store.read("ja", FieldType::name); }), HasSubstr("leads out of"));
    std::filesystem::create_directory_symlink(one.outer / "elsewhere", one.tree / ".brevant");
    EXPECT_THAT(errorOf([&] { store.write("ja", FieldType::name, "x", TextSide::pulled); }),
                HasSubstr("leads out of"));
}
